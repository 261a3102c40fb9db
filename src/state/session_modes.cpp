// The mode the process runs in and its Java support level.
#include "qzservices/state/session_modes.hpp"

namespace {

int gCXMode = 3;
int gDCXWorkerMode = 0;
bool gDebugDCXWorkerMode = false;
int gEngineEvalMode = 0;
bool gProfilerStatus = false;
int gJavaLevel = svJavaDesktop;
bool gJavaEnabled = false;

char const* const kLevelNames[] = {"Unspecified", "None", "JVM", "AWT", "Swing", "QZT", "Desktop"};

} // namespace

void svSetCXMode(int mode) { gCXMode = mode; }
int svGetCXMode() { return gCXMode; }
bool svIsStandaloneMode() { return gCXMode == 3; }

void svSetDCXWorkerMode(int on) { gDCXWorkerMode = on; }
bool svIsDCXWorkerMode() { return gDCXWorkerMode != 0; }
void svSetDebugDCXWorkerModeOn() { gDebugDCXWorkerMode = true; }
bool svIsDebugDCXWorkerMode() { return gDebugDCXWorkerMode; }

int svSetEngineEvalMode(int on) {
    int previous = gEngineEvalMode;
    gEngineEvalMode = on;
    return previous;
}
bool svIsEngineEvalMode() { return gEngineEvalMode != 0; }

void svSetProfilerStatus(bool on) { gProfilerStatus = on; }
bool svGetProfilerStatus() { return gProfilerStatus; }

char const* svJavaSupportLevelName(int level) {
    return (level >= 0 && level <= 6) ? kLevelNames[level] : nullptr;
}

int svJavaGetSupport() { return gJavaLevel; }
bool svJavaUseLevel(int level) { return gJavaLevel >= level; }
bool svJavaUseJVM() { return svJavaUseLevel(svJavaJVM); }
bool svJavaUseAWT() { return svJavaUseLevel(svJavaAWT); }
bool svJavaUseSwing() { return svJavaUseLevel(svJavaSwing); }
bool svJavaUseQZT() { return svJavaUseLevel(svJavaQZT); }
bool svJavaUseDesktop() { return svJavaUseLevel(svJavaDesktop); }

void svSetJavaEnabled(bool on) { gJavaEnabled = on; }
bool svIsJavaEnabled() { return gJavaEnabled; }

namespace services { namespace state { namespace detail {
void storeJavaSupportLevel(int level) { gJavaLevel = level; }
}}} // namespace services::state::detail
