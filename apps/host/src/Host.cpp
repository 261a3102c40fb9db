// The start of every host and its end, in their order (Host.hpp).
#include "qzhost/Host.hpp"
#include "qzhost/UserEvents.hpp"

#include <qzservices/qzservices.hpp>
#include <uv/uv.hpp>

namespace qzhost {

Host::Host(HostCallbacks const& callbacks) : callbacks_(callbacks) {
    uvSetSignalThread();  // this thread is the interpreter's
    svSetCXMode(1);       // an interactive session

    _svIoCallbacks table = {};  // null entries keep their defaults
    table.sysBeep = callbacks.beep;
    table.flushRead = callbacks.readKey;
    table.deleteCurrentLine = callbacks.deleteCurrentLine;
    svSetIoCallbacks(&table);
    svSetWS_SleepFcn(callbacks.sleep);
    svSetUIW_CWCallbacks(callbacks.flushCommandWindow, nullptr, callbacks.clearCommandWindow, nullptr);

    updateWindowSize();
    // The library keeps the slot for the host's signal set-up.
    if (callbacks.installSignalHandlers != nullptr) svRegisterSigInitFcn(callbacks.installSignalHandlers);
    svSigInit();
    if (callbacks.installHostParts != nullptr) callbacks.installHostParts();
    installUserEvents();

    // The numeric work's threads for the whole session; "feature NumThreads"
    // reads and sets their count.
    threads_.reset(new services::threading::ComputationalThreadsInit(true));
    if (callbacks.factory != nullptr) services::io::CmdWinSinkHandle::setFactory(callbacks.factory);
    session_.reset(new CXPushDefaultSink);  // CXOut and CXErr go to the command window
}

Host::~Host() {
    session_.reset();
    threads_.reset();
}

void Host::updateWindowSize() const {
    if (callbacks_.updateWindowSize != nullptr)
        callbacks_.updateWindowSize();
    else
        ioUpdateWindowSize();
}

bool Host::openLog(char const* file, bool append) {
    svLogToFile(file, append);
    return svOpenLog() == 0;
}

std::vector<std::string> Host::takeStartupWords(std::vector<std::string> const& words, char const* fallback) {
    std::vector<std::string> unknown;
    svJavaSupportLevel level = svJavaUnspecified;
    for (std::string const& word : words) {
        if (!svJavaProcessCmdlineArg(word.c_str(), &level)) unknown.push_back(word);
    }
    if (level == svJavaUnspecified) svJavaProcessCmdlineArg(fallback, &level);
    svJavaSetSupport(level);
    return unknown;
}

void clearInterrupt(Orrery::System::InterruptException const& e) {
    uvSetInterruptPending(0);
    services::io::setStopPrintingFlag(false);
    if (e.isFromCtrlC()) services::io::CmdWinSinkHandle::ctrlCProcessed();
}

bool mayExit(bool force) { return ShutdownRegistry::IsOkToExit() && ShutdownRegistry::CloseAllAppWindows(force); }

void terminate() {
    ShutdownRegistry::PreTerminateApps();
    ShutdownRegistry::TerminateApps();
}

} // namespace qzhost
