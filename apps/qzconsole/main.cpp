// qzconsole: the reference host of the services library on a plain terminal.
// It installs a command-window sink of its own, fills the callback table,
// starts as a host given the word "nodesktop" would, takes the window size from
// the terminal, and runs a small command language whose output takes the
// library's whole road: proxy, taps and "--more--" paging. It waits for input
// in the library's user event queue, so that events and callbacks posted by
// other threads run while the prompt stands; callbacks also run between
// statements.
#include "Commands.hpp"
#include "DemoEvents.hpp"
#include "EventLoop.hpp"
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
    qzconsole::installEventLoop();
    qzconsole::installDemoEvents();
}

// Ends a command (or a wait) that a "q" at the more prompt or a ctrl-C left.
void clearInterrupt(Orrery::System::InterruptException const& e) {
    uvSetInterruptPending(0);
    services::io::setStopPrintingFlag(false);
    if (e.isFromCtrlC()) services::io::CmdWinSinkHandle::ctrlCProcessed();
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
        try {
            if (!qzconsole::readLine(line)) break;
        } catch (Orrery::System::InterruptException const& e) {
            // ctrl-C at the prompt drops the line and asks again.
            clearInterrupt(e);
            uvPuts("\n");
            continue;
        }
        services::io::resetMoreCount();
        try {
            if (qzconsole::runCommand(line) == qzconsole::Outcome::Exit) break;
            // Between statements: what other threads asked of this one.
            mtServiceCallbackRequestsInterlaced();
        } catch (Orrery::System::InterruptException const& e) {
            // "q" at the more prompt, or ctrl-C: the command ends, the session goes on.
            clearInterrupt(e);
        }
        CXStream::CXOut.clear();
        CXStream::CXErr.clear();
        ioFlush();
    }
    // Whatever the demo thread posted still runs before the console goes.
    qzconsole::finishDemoEvents();
    try {
        qzconsole::runPendingEvents();
        mtServiceCallbackRequestsInterlaced();
    } catch (Orrery::System::InterruptException const& e) {
        clearInterrupt(e);
    }
    if (interactive) uvPuts("\n");
    ioFlush();
    return 0;
}
