// ioPrintWrapped of a 1 MB message with a hot link every 200 characters, at a
// window of 80 columns, against `fold -s -w 79` on the same text (as bytes in
// the native encoding) in the same run. Both are measured in process time:
// our own CPU time around the call, and fold's user plus system time as its
// parent sees it after each run (which includes fold's start-up).
#include "ratio_main.hpp"

#include <qzservices/qzservices.hpp>

#include <boost/make_shared.hpp>
#include <fd/i18n/convert.hpp>
#include <uv/uv.hpp>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

size_t const kMessageUnits = 1u << 20;

// Words of 1 to 10 letters between single blanks, a hot link every 200
// characters or so, and a line end every 1000 or so.
std::basic_string<unsigned short> makeMessage() {
    std::basic_string<unsigned short> text;
    text.reserve(kMessageUnits + 64);
    unsigned state = 12345;
    auto next = [&state] {
        state = state * 1103515245u + 12345u;
        return (state >> 16) & 0x7fff;
    };
    size_t sinceLink = 0, sinceLineEnd = 0;
    std::string const open = "<a href=\"matlab:helpview('calyx','page')\">", close = "</a>";
    while (text.size() < kMessageUnits) {
        size_t const letters = 1 + next() % 10;
        bool const linked = sinceLink >= 200;
        if (linked) text.append(open.begin(), open.end());
        for (size_t i = 0; i < letters; ++i) text.push_back(static_cast<unsigned short>('a' + next() % 26));
        if (linked) {
            text.append(close.begin(), close.end());
            sinceLink = 0;
        }
        sinceLink += letters + 1;
        sinceLineEnd += letters + 1;
        if (sinceLineEnd >= 1000) {
            text.push_back('\n');
            sinceLineEnd = 0;
        } else {
            text.push_back(' ');
        }
    }
    text.resize(kMessageUnits);
    return text;
}

std::basic_string<unsigned short> const& message() {
    static std::basic_string<unsigned short> const text = makeMessage();
    return text;
}

// Formats for display and drops what it is given, counting it.
class CountingBuffer : public std::streambuf {
public:
    size_t count = 0;

protected:
    int_type overflow(int_type c) override {
        ++count;
        return c;
    }
    std::streamsize xsputn(char const*, std::streamsize n) override {
        count += static_cast<size_t>(n);
        return n;
    }
};

class DisplaySink : public services::io::CXSink {
public:
    explicit DisplaySink(boost::shared_ptr<CountingBuffer> const& buffer) : CXSink(buffer) {}
    bool needsFormattingForDisplay() const override { return true; }
};

double processSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double childrenSeconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

void PrintWrapped(benchmark::State& state) {
    auto buffer = boost::make_shared<CountingBuffer>();
    auto sink = boost::make_shared<DisplaySink>(buffer);
    services::io::CXStream::CXOut.push(sink);
    ioSetNumWindowColumns(80);
    uvSetHotLinks(true);
    std::basic_string<unsigned short> const& text = message();
    for (auto _ : state) {
        double const start = processSeconds();
        ioPrintWrapped(text.data(), text.size(), false);
        services::io::CXStream::CXOut.flush();
        state.SetIterationTime(processSeconds() - start);
    }
    services::io::CXStream::CXOut.pop();
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
    state.counters["out_bytes_per_run"] = static_cast<double>(buffer->count) / static_cast<double>(state.iterations());
}

std::string const& messageFile() {
    static std::string const path = [] {
        char name[] = "/tmp/bench_print_wrapped_XXXXXX";
        int fd = mkstemp(name);
        if (fd < 0) std::abort();
        std::string const narrow = fd::i18n::to_string(message());
        if (write(fd, narrow.data(), narrow.size()) != static_cast<ssize_t>(narrow.size())) std::abort();
        close(fd);
        return std::string(name);
    }();
    return path;
}

// Spawned without copying this process (posix_spawn), so that fold's time is
// fold's own and not that of duplicating the benchmark's memory.
void runFold(std::string const& input) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char arg0[] = "fold", arg1[] = "-s", arg2[] = "-w", arg3[] = "79";
    char* argv[] = {arg0, arg1, arg2, arg3, nullptr};
    pid_t pid = -1;
    int const rc = posix_spawnp(&pid, "fold", &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) std::abort();
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) std::abort();
}

void Fold(benchmark::State& state) {
    std::string const& input = messageFile();
    for (auto _ : state) {
        double const start = childrenSeconds();
        runFold(input);
        state.SetIterationTime(childrenSeconds() - start);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * message().size()));
}

// fold's start-up alone, to read the figure above with.
void FoldEmptyInput(benchmark::State& state) {
    for (auto _ : state) {
        double const start = childrenSeconds();
        runFold("/dev/null");
        state.SetIterationTime(childrenSeconds() - start);
    }
}

BENCHMARK(PrintWrapped)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Fold)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(FoldEmptyInput)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    int const rc = qzbench::runWithRatios(argc, argv, {{"PrintWrapped", "Fold"}});
    std::remove(messageFile().c_str());
    return rc;
}
