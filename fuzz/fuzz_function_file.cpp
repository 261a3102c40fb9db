// Program files over arbitrary bytes: the input (after its first byte) is the
// text of fz.cx in a scratch folder on the search path, and the first byte
// chooses how the session reaches it: a call with no, one or several inputs
// and outputs, a script run, help, type or which. The file is written again
// for every input with a time stamp of its own, so the session's cache reads
// it anew. Nothing may crash, hang or leak; loops and calls stop after a
// bounded number of steps. A run that succeeds writes no error line; one that
// fails says so either in one line "Error: ..." or in a report "Error ..."
// with the file's frames, and not both.
#include <qzlang/Session.hpp>
#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/CXStringSink.hpp>

#include <boost/make_shared.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

qzlang::CommandResult nothing(qzlang::Session&, std::vector<std::string> const&) {
    return qzlang::CommandResult::Continue;
}

// The statements that reach the file; the first byte picks one.
char const* const kCalls[] = {
    "fz",
    "fz;",
    "fz(1)",
    "x = fz(1, 'two');",
    "[a, b, c] = fz({1, 'x'}, [1 2; 3 4], @sin);",
    "y = fz",
    "s.f = 2; r = fz(s, 3, 4, 5, 6);",
    "fz fz fz",
    "try, fz(0), catch e, disp(e.message), end",
    "v = cellfun(@fz, {1, 2}, 'UniformOutput', false);",
    "h = @fz; h(1, 2)",
    "run fz",
    "help fz",
    "type fz",
    "which fz",
    "exist('fz')",
};

std::string gFolder;
std::string gFile;
std::vector<std::string> gErrorReports;  // what the session printed as errors for one input

void removeFolder() {
    std::remove(gFile.c_str());
    ::rmdir(gFolder.c_str());
}

qzlang::Session& session() {
    static qzlang::Session* s = [] {
        qzlang::setMaxElements(10000);
        char pattern[] = "/tmp/fuzz_function_file.XXXXXX";
        if (::mkdtemp(pattern) == nullptr) std::abort();
        gFolder = pattern;
        gFile = gFolder + "/fz.cx";
        std::atexit(&removeFolder);
        auto* created = new qzlang::Session;
        created->limits().maxSteps = 20000;
        for (char const* name : {"feature", "features", "clc", "home", "more"}) created->commands().add({name, name, &nothing});
        created->input().setLineReader([](std::string const&, std::string&) { return false; });
        created->input().setKeyReader([] { return -1; });
        created->sourcePath().setPath({gFolder});
        created->diagnostics().setPrinter([](std::string const& report, bool braces) {
            if (braces) gErrorReports.push_back(report);
        });
        return created;
    }();
    return *s;
}

// Writes the file with a time stamp no earlier write had: the file system's
// clock is coarser than one input, and the cache compares time and size.
void writeFile(char const* data, size_t size) {
    static long long stamp = 0;
    int const fd = ::open(gFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) std::abort();
    for (size_t done = 0; done < size;) {
        ssize_t const n = ::write(fd, data + done, size - done);
        if (n <= 0) std::abort();
        done += static_cast<size_t>(n);
    }
    ++stamp;
    timespec const times[2] = {{stamp / 1000000000, stamp % 1000000000}, {stamp / 1000000000, stamp % 1000000000}};
    if (::futimens(fd, times) != 0) std::abort();
    ::close(fd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    using services::io::CXStream;
    if (size < 1) return 0;
    qzlang::Session& s = session();
    writeFile(reinterpret_cast<char const*>(data) + 1, size - 1);
    std::string const call = kCalls[data[0] % (sizeof kCalls / sizeof kCalls[0])];

    auto out = boost::make_shared<services::io::CXStringSink>(boost::make_shared<std::stringbuf>());
    auto err = boost::make_shared<services::io::CXStringSink>(boost::make_shared<std::stringbuf>());
    CXStream::CXOut.push(out);
    CXStream::CXErr.push(err);
    gErrorReports.clear();
    bool const ok = qzlang::executeAndReport(s, call);
    CXStream::CXOut.flush();
    CXStream::CXErr.flush();
    CXStream::CXErr.pop();
    CXStream::CXOut.pop();
    s.clearAll();

    std::string const errors = err->getString();
    if (ok && !errors.empty()) std::abort();
    if (!ok) {
        bool const line = errors.compare(0, 7, "Error: ") == 0 && errors.find('\n') == errors.size() - 1;
        bool const report = errors.empty() && !gErrorReports.empty() && gErrorReports.back().compare(0, 5, "Error") == 0;
        if (line == report) std::abort();
    }
    return 0;
}
