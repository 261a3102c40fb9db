// qzdesktop over its WebSocket, each figure beside a baseline of the same run:
//
// - The time from the message of the statement "x = 1" to the first byte of
//   its output, against a loopback WebSocket echo of the same message (a
//   Beast server on a thread of this process). One iteration is the median
//   of 51 round trips, also given as the counter median_us.
// - A 1000-by-1000 double display reaching the client (from the message to
//   the prompt that follows the last byte), against the terminal console
//   showing the same array into /dev/null: the console's run with the display
//   less its run that only makes the array, so that its start is not counted.
//
// Both programs are the release builds beside this one.
#include "ratio_main.hpp"

#include <boost/asio.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <regex>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

namespace net = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using tcp = net::ip::tcp;
using Clock = std::chrono::steady_clock;

constexpr int kSamples = 51;

double seconds(Clock::time_point a, Clock::time_point b) { return std::chrono::duration<double>(b - a).count(); }

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// A running qzdesktop and one page's connection to it.
class DesktopClient {
public:
    DesktopClient() {
        int out[2];
        if (::pipe(out) != 0) std::abort();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        char* argv[] = {const_cast<char*>(QZDESKTOP_PATH), nullptr};
        if (posix_spawn(&pid_, QZDESKTOP_PATH, &actions, nullptr, argv, environ) != 0) std::abort();
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        std::string line;
        char c;
        while (::read(out[0], &c, 1) == 1 && c != '\n') line += c;
        ::close(out[0]);
        std::smatch m;
        if (!std::regex_search(line, m, std::regex("127\\.0\\.0\\.1:(\\d+)/\\?token=([0-9a-f]+)"))) std::abort();
        port_ = m[1];
        std::string const token = m[2];
        auto const results = resolver_.resolve("127.0.0.1", port_);
        net::connect(ws_.next_layer(), results.begin(), results.end());
        ws_.set_option(websocket::stream_base::decorator([this](websocket::request_type& req) {
            req.set(beast::http::field::origin, "http://127.0.0.1:" + port_);
        }));
        ws_.handshake("127.0.0.1:" + port_, "/ws?token=" + token);
        ws_.text(true);
        untilPrompt();
    }

    ~DesktopClient() {
        beast::error_code ignored;
        ws_.close(websocket::close_code::normal, ignored);
        ::kill(pid_, SIGTERM);
        int status = 0;
        ::waitpid(pid_, &status, 0);
    }

    void send(std::string const& text) { ws_.write(net::buffer(text)); }

    // One message; its kind letter first.
    std::string const& next() {
        buffer_.consume(buffer_.size());
        ws_.read(buffer_);
        message_ = beast::buffers_to_string(buffer_.data());
        return message_;
    }

    // Bytes of output up to the prompt.
    std::size_t untilPrompt() {
        std::size_t bytes = 0;
        for (;;) {
            std::string const& m = next();
            if (m[0] == 'o' || m[0] == 'e') bytes += m.size() - 1;
            if (m[0] == 'p') return bytes;
        }
    }

private:
    pid_t pid_ = 0;
    std::string port_;
    net::io_context ioc_;
    tcp::resolver resolver_{ioc_};
    websocket::stream<tcp::socket> ws_{ioc_};
    beast::flat_buffer buffer_;
    std::string message_;
};

// A WebSocket echo server on a thread of this process, and its client.
class EchoPair {
public:
    EchoPair() : acceptor_(serverIoc_, tcp::endpoint(net::ip::make_address("127.0.0.1"), 0)) {
        thread_ = std::thread([this] {
            tcp::socket socket(serverIoc_);
            acceptor_.accept(socket);
            websocket::stream<tcp::socket> ws(std::move(socket));
            ws.accept();
            beast::flat_buffer buffer;
            beast::error_code ec;
            for (;;) {
                ws.read(buffer, ec);
                if (ec) return;
                ws.text(ws.got_text());
                ws.write(buffer.data(), ec);
                if (ec) return;
                buffer.consume(buffer.size());
            }
        });
        client_.next_layer().connect(acceptor_.local_endpoint());
        client_.handshake("127.0.0.1", "/");
        client_.text(true);
    }
    ~EchoPair() {
        beast::error_code ignored;
        client_.close(websocket::close_code::normal, ignored);
        thread_.join();
    }
    void roundTrip(std::string const& text) {
        client_.write(net::buffer(text));
        buffer_.consume(buffer_.size());
        client_.read(buffer_);
    }

private:
    net::io_context serverIoc_;
    tcp::acceptor acceptor_;
    std::thread thread_;
    net::io_context clientIoc_;
    websocket::stream<tcp::socket> client_{clientIoc_};
    beast::flat_buffer buffer_;
};

void BM_DesktopFirstByte(benchmark::State& state) {
    DesktopClient desktop;
    std::vector<double> all;
    for (auto _ : state) {
        std::vector<double> samples;
        for (int i = 0; i < kSamples; ++i) {
            auto const start = Clock::now();
            desktop.send("xx = 1");
            while (desktop.next()[0] != 'o') {
            }
            samples.push_back(seconds(start, Clock::now()));
            desktop.untilPrompt();
        }
        state.SetIterationTime(median(samples));
        all.insert(all.end(), samples.begin(), samples.end());
    }
    state.counters["median_us"] = median(all) * 1e6;
}

void BM_LoopbackEcho(benchmark::State& state) {
    EchoPair echo;
    std::vector<double> all;
    for (auto _ : state) {
        std::vector<double> samples;
        for (int i = 0; i < kSamples; ++i) {
            auto const start = Clock::now();
            echo.roundTrip("xx = 1");
            samples.push_back(seconds(start, Clock::now()));
        }
        state.SetIterationTime(median(samples));
        all.insert(all.end(), samples.begin(), samples.end());
    }
    state.counters["median_us"] = median(all) * 1e6;
}

void BM_DesktopDisplay1000(benchmark::State& state) {
    DesktopClient desktop;
    desktop.send("xA = rand(1000, 1000);");
    desktop.untilPrompt();
    std::size_t bytes = 0;
    for (auto _ : state) {
        auto const start = Clock::now();
        desktop.send("xA");
        bytes = desktop.untilPrompt();
        state.SetIterationTime(seconds(start, Clock::now()));
    }
    state.counters["output_MB"] = bytes / 1e6;
}

// The console's wall time for `input` through a pipe, output into /dev/null.
double consoleRun(std::string const& input) {
    int in[2];
    if (::pipe(in) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_addclose(&actions, in[1]);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char* argv[] = {const_cast<char*>(QZCONSOLE_PATH), nullptr};
    auto const start = Clock::now();
    pid_t pid = 0;
    if (posix_spawn(&pid, QZCONSOLE_PATH, &actions, nullptr, argv, environ) != 0) std::abort();
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    if (::write(in[1], input.data(), input.size()) != static_cast<ssize_t>(input.size())) std::abort();
    ::close(in[1]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return seconds(start, Clock::now());
}

void BM_ConsoleDisplay1000(benchmark::State& state) {
    for (auto _ : state) {
        double const shown = consoleRun("A = rand(1000, 1000);\nA\n");
        double const made = consoleRun("A = rand(1000, 1000);\n");
        state.SetIterationTime(std::max(shown - made, 1e-6));
    }
}

} // namespace

BENCHMARK(BM_DesktopFirstByte)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(3);
BENCHMARK(BM_LoopbackEcho)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(3);
BENCHMARK(BM_DesktopDisplay1000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_ConsoleDisplay1000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

int main(int argc, char** argv) {
    return qzbench::runWithRatios(argc, argv,
                                  {{"BM_DesktopFirstByte", "BM_LoopbackEcho"},
                                   {"BM_DesktopDisplay1000", "BM_ConsoleDisplay1000"}});
}
