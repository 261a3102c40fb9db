/// @file
/// Flushes both streams when the process asks whether it may exit and when it
/// closes its windows, so no text is left on its way to the command window.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/state/ShutdownRegistry.hpp"

QZSERVICES_API_BEGIN

namespace services { namespace io {

/// Registered with the shutdown registry by the library at load.
class CleanupCmdWinShutdownObject : public ShutdownObject {
public:
    CleanupCmdWinShutdownObject() : ShutdownObject(nullptr) {}  ///< an unnamed shutdown object
    bool isOkToExit() const override;  ///< flushes CXOut, then CXErr; true
    bool closeAllWindows() const override;  ///< the same
};

}} // namespace services::io

QZSERVICES_API_END
