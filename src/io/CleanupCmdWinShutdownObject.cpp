// The shutdown object that flushes both streams before the program leaves.
#include "qzservices/io/CleanupCmdWinShutdownObject.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"

namespace services { namespace io {

namespace {

void flushBoth() {
    CXStream::CXOut.flush();
    CXStream::CXErr.flush();
}

// One object is registered while the library loads.
struct RegisterAtLoad {
    RegisterAtLoad() { registerShutdownObject(); }
} const gRegisterAtLoad;

} // namespace

bool CleanupCmdWinShutdownObject::isOkToExit() const {
    flushBoth();
    return true;
}

bool CleanupCmdWinShutdownObject::closeAllWindows() const {
    flushBoth();
    return true;
}

void registerShutdownObject() { ShutdownRegistry::RegisterObject(new CleanupCmdWinShutdownObject); }

// Each explicit call registers one more object, by design.
void initialize() { registerShutdownObject(); }

}} // namespace services::io
