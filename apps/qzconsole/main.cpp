// qzconsole: the reference host of the services library on a plain terminal.
// It installs a command-window sink of its own, fills the callback table,
// starts as a host given the word "nodesktop" would, takes the window size from
// the terminal, and runs a small command language whose output takes the
// library's whole road: proxy, taps and "--more--" paging.
#include "Commands.hpp"
#include "Demo.hpp"
#include "Terminal.hpp"
#include "TerminalSink.hpp"

#include <qzservices/qzservices.hpp>
#include <uv/uv.hpp>

#include <cstring>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

void configureHost(int argc, char** argv) {
    uvSetSignalThread();
    svSetCXMode(1);  // an interactive session

    // The command line: "nodesktop" unless the caller says otherwise.
    svJavaSupportLevel level = svJavaUnspecified;
    svJavaProcessCmdlineArg("nodesktop", &level);
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--demo") != 0) svJavaProcessCmdlineArg(argv[i], &level);
    svJavaSetSupport(level);

    _svIoCallbacks table = {};
    table.sysBeep = &qzconsole::beep;
    table.flushRead = &qzconsole::readOneKey;
    table.deleteCurrentLine = &qzconsole::deleteCurrentLine;
    svSetIoCallbacks(&table);

    ioUpdateWindowSize();
    qzconsole::installInterruptHandler();
}

} // namespace

int main(int argc, char** argv) {
    using services::io::CXStream;
    configureHost(argc, argv);

    static qzconsole::TerminalSinkFactory factory;
    services::io::CmdWinSinkHandle::setFactory(&factory);
    CXPushDefaultSink session;

    // --demo: the tour of array display, then leave.
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--demo") == 0) {
            qzconsole::runDemo();
            ioFlush();
            return 0;
        }
    }

    bool interactive = ::isatty(0);
    std::string line;
    for (;;) {
        ioUpdateWindowSize();
        if (interactive) uvPuts(services::PromptHolder::getString()), uvPuts(" ");
        ioFlush();
        if (!std::getline(std::cin, line)) break;
        services::io::resetMoreCount();
        try {
            if (qzconsole::runCommand(line) == qzconsole::Outcome::Exit) break;
        } catch (Orrery::System::InterruptException const& e) {
            // "q" at the more prompt, or ctrl-C: the command ends, the session goes on.
            uvSetInterruptPending(0);
            services::io::setStopPrintingFlag(false);
            if (e.isFromCtrlC()) services::io::CmdWinSinkHandle::ctrlCProcessed();
        }
        CXStream::CXOut.clear();
        CXStream::CXErr.clear();
        ioFlush();
    }
    if (interactive) uvPuts("\n");
    ioFlush();
    return 0;
}
