// The start of a host and its end, in the order every host follows. A host
// hands over what only it can do in HostCallbacks; Host runs the sequence and
// keeps, for the session's length, what must stay alive (the default sink on
// the streams, the computational threads).
//
// Main thread only: the thread that builds the Host becomes the library's
// signal thread, the interpreter's.
#pragma once
#include "qzhost/WindowCallbacks.hpp"

#include <qzservices/io/ActiveCmdWinSinkProxy.hpp>
#include <qzservices/state/threading.hpp>

#include <memory>
#include <string>
#include <vector>

class CmdWinSinkFactory;

namespace Orrery { namespace System { class InterruptException; } }

namespace qzhost {

struct HostCallbacks {
    // The session callback table: the bell, one key for the more prompt, and
    // the removal of the more prompt's line.
    void (*beep)() = nullptr;
    int (*readKey)() = nullptr;
    void (*deleteCurrentLine)() = nullptr;
    // The window system's sleep and the command window's flush and clear;
    // every host so far keeps the shared ones (WindowCallbacks.hpp).
    unsigned int (*sleep)(double seconds, bool flag) = &qzhost::sleepSeconds;
    int (*flushCommandWindow)() = &qzhost::flushCommandWindow;
    void (*clearCommandWindow)() = &qzhost::clearCommandWindow;
    // Takes the window size from wherever the host keeps it; null asks the
    // terminal on descriptor 0.
    void (*updateWindowSize)() = nullptr;
    // The host's signal set-up, run by svSigInit: at least the signal that
    // marks an interrupt (qzhost::installSignal with markInterruptPending).
    void (*installSignalHandlers)() = nullptr;
    // Whatever else the host installs once the signals stand and before the
    // event functions are handed over (key readers, message printers, the
    // inputs its event loop watches).
    void (*installHostParts)() = nullptr;
    // The sinks of the command window; owned by the host, alive for the session.
    CmdWinSinkFactory* factory = nullptr;
};

class Host {
public:
    // Runs the start up to the default sink: the callback tables, the window
    // size, the signals, the event functions (see UserEvents.hpp), the
    // computational threads, the factory and the default sink on the streams.
    explicit Host(HostCallbacks const& callbacks);
    ~Host();
    Host(Host const&) = delete;
    Host& operator=(Host const&) = delete;

    // The service log copies the command window from here on. False when the
    // file cannot be opened.
    static bool openLog(char const* file, bool append);

    // Feeds each start-up word (without its dash) to the Java support level;
    // `fallback` when none is given. A conflict between words is reported on
    // the command window, so this runs once the default sink stands. Returns
    // the words that are not known, for the host to report.
    static std::vector<std::string> takeStartupWords(std::vector<std::string> const& words, char const* fallback);

    // The window size through the host's function.
    void updateWindowSize() const;

private:
    HostCallbacks callbacks_;
    std::unique_ptr<services::threading::ComputationalThreadsInit> threads_;
    std::unique_ptr<CXPushDefaultSink> session_;
};

// Ends a statement, or a wait, that a "q" at the more prompt or an interrupt
// left: the interrupt and the stop flag are cleared, and after a ctrl-C the
// sink puts the next prompt on a fresh line.
void clearInterrupt(Orrery::System::InterruptException const& e);

// Walks the shutdown registry's first two phases (IsOkToExit, then
// CloseAllAppWindows, `force` as given): true when every object agrees.
bool mayExit(bool force);
// The last two phases, PreTerminateApps and TerminateApps.
void terminate();

} // namespace qzhost
