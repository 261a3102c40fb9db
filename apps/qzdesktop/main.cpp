// qzdesktop: the command window in a browser. The library runs at the
// "desktop" support level: hot links are on, the page shows its own more
// sign, and clear, home and input requests reach the page as the sink's
// events. The interpreter runs on this, the main thread; a network thread
// serves the page and hands each message over (see Desktop.hpp).
#include "Desktop.hpp"
#include "DesktopCommands.hpp"
#include "PageSink.hpp"
#include "Server.hpp"

#include <qzhost/Host.hpp>
#include <qzhost/Messages.hpp>
#include <qzlang/Session.hpp>
#include <qzservices/qzservices.hpp>
#include <uv/uv.hpp>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>
#include <system_error>
#include <vector>

namespace {

char const kUsage[] =
    "Usage: qzdesktop [--port N] [--web DIR] [--log FILE | --log-append FILE] [-WORD...]\n"
    "\n"
    "Serves the command window on http://127.0.0.1 and prints the address to open,\n"
    "with the secret token in it. One session per process.\n"
    "\n"
    "  --port N    the port (by default a free one)\n"
    "  --web DIR   the folder of the page's files\n"
    "  --log FILE  copy the session's output into FILE (emptied first)\n"
    "  --log-append FILE  the same, added to what FILE holds\n"
    "  --version   print the version and leave\n"
    "  --help      print this text and leave\n"
    "  -WORD       a start-up word for the session (default -desktop)\n";

// The page's folder: share/qzdesktop/web beside an installed program's bin
// folder when it is there, else the source tree's (a program run from its build).
std::string defaultWebDir() {
    char exe[4096];
    ssize_t const n = ::readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n > 0) {
        std::string dir(exe, static_cast<std::size_t>(n));
        dir = dir.substr(0, dir.rfind('/'));
        std::string const installed = dir + "/../share/qzdesktop/web";
        if (::access((installed + "/index.html").c_str(), R_OK) == 0) return installed;
    }
    return QZDESKTOP_WEB_DIR;
}

struct Options {
    unsigned short port = 0;
    std::string web = defaultWebDir();
    std::string log;
    bool append = false;
    std::vector<std::string> words;
};

// -1 to go on; otherwise the exit status.
int parseOptions(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        std::string const a = argv[i];
        bool const takesValue = a == "--port" || a == "--web" || a == "--log" || a == "--log-append";
        if (takesValue && (i + 1 >= argc || argv[i + 1][0] == '\0')) {
            std::fprintf(stderr, "qzdesktop: %s needs a value\n\n%s", argv[i], kUsage);
            return 2;
        }
        if (a == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (a == "--version") {
            std::printf("qzdesktop %s\n", QZDESKTOP_VERSION);
            return 0;
        } else if (a == "--port") {
            char* end = nullptr;
            errno = 0;
            long const port = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || errno != 0 || port < 0 || port > 65535) {
                std::fprintf(stderr, "qzdesktop: --port takes a number from 0 to 65535\n");
                return 2;
            }
            o.port = static_cast<unsigned short>(port);
        } else if (a == "--web") {
            o.web = argv[++i];
        } else if (a == "--log" || a == "--log-append") {
            o.log = argv[++i];
            o.append = a == "--log-append";
        } else if (a.compare(0, 2, "--") == 0) {
            std::fprintf(stderr, "qzdesktop: unknown option %s\n\n%s", argv[i], kUsage);
            return 2;
        } else {
            o.words.push_back(a[0] == '-' ? a.substr(1) : a);
        }
    }
    return -1;
}

// How far the output may run ahead of the slowest page.
constexpr std::size_t kBacklogLimit = 8 * 1024 * 1024;

// ---- what only the desktop does ----

int readKey() { return qzdesktop::Desktop::instance()->readKey(); }
void removeMoreSign() { qzdesktop::Desktop::instance()->outbox().control("M"); }
void beep() { qzdesktop::Desktop::instance()->outbox().control("b"); }
void applyWindowSize() { qzdesktop::Desktop::instance()->applyWindowSize(); }
void installInterruptSignal() { qzdesktop::Desktop::installInterruptSignal(); }
void installDesktopParts() {
    qzdesktop::Desktop::instance()->install();
    qzhost::installMessagePrinters();
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    int const early = parseOptions(argc, argv, options);
    if (early >= 0) return early;

    // The server is made first, so that a port in use is said before anything starts;
    // its thread starts once the host stands.
    std::unique_ptr<qzdesktop::Server> server;
    qzdesktop::Outbox outbox([&server](std::shared_ptr<std::string const> message) {
        if (!server) return;
        server->broadcast(std::move(message));
        server->waitForBacklogBelow(kBacklogLimit);
    });
    qzdesktop::Desktop desktop(outbox);
    qzdesktop::ServerOptions serverOptions;
    serverOptions.port = options.port;
    serverOptions.webRoot = options.web;
    try {
        serverOptions.token = qzdesktop::makeToken();
        server.reset(new qzdesktop::Server(
            serverOptions, [&desktop](qzdesktop::ClientMessage&& m) { desktop.handOver(std::move(m)); },
            [&desktop] { desktop.interrupt(); }));
    } catch (std::exception const& e) {
        std::fprintf(stderr, "qzdesktop: cannot listen on 127.0.0.1 port %u: %s\n", unsigned(options.port), e.what());
        return 1;
    }

    static qzdesktop::PageSinkFactory factory(outbox);
    qzhost::HostCallbacks callbacks;
    callbacks.beep = &beep;
    callbacks.readKey = &readKey;
    callbacks.deleteCurrentLine = &removeMoreSign;
    callbacks.updateWindowSize = &applyWindowSize;
    // SIGUSR1 marks an interrupt as pending: the page's Stop and ctrl-C.
    callbacks.installSignalHandlers = &installInterruptSignal;
    callbacks.installHostParts = &installDesktopParts;
    callbacks.factory = &factory;
    qzhost::Host host(callbacks);
    if (!options.log.empty() && !qzhost::Host::openLog(options.log.c_str(), options.append)) {
        std::fprintf(stderr, "qzdesktop: cannot open the log file %s\n", options.log.c_str());
        return 2;
    }
    for (std::string const& word : qzhost::Host::takeStartupWords(options.words, "desktop"))
        std::fprintf(stderr, "qzdesktop: the start-up word -%s is not known; it is ignored\n", word.c_str());

    qzlang::Session language;
    qzdesktop::addDesktopCommands(language.commands());

    server->start();
    std::printf("qzdesktop: open http://127.0.0.1:%u/?token=%s\n", unsigned(server->port()), serverOptions.token.c_str());
    std::fflush(stdout);

    int const status = desktop.run(language);
    server->stop();
    server.reset();
    qzhost::terminate();
    ioFlush();
    svReleaseLog();
    return status;
}
