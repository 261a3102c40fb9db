/// @file
/// The mode the process runs in and its Java support level: plain cells, no lock.
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

///@{
/// 3 is standalone (the start value), 1 the ordinary interactive session.
void svSetCXMode(int mode);
int svGetCXMode();
bool svIsStandaloneMode();  ///< mode 3
///@}

///@{
/// Flags of the kind of process: a worker of a parallel pool (any non-zero
/// is on), its debug variant, an engine evaluating for a host, a profiler
/// running.
void svSetDCXWorkerMode(int on);
bool svIsDCXWorkerMode();
void svSetDebugDCXWorkerModeOn();  ///< no way back
bool svIsDebugDCXWorkerMode();
int svSetEngineEvalMode(int on);  ///< returns the previous value
bool svIsEngineEvalMode();
void svSetProfilerStatus(bool on);
bool svGetProfilerStatus();
///@}

/// Ordered: each level includes the ones below it.
enum svJavaSupportLevel {
    svJavaUnspecified = 0,  ///< only while the command line is parsed
    svJavaNone = 1,
    svJavaJVM = 2,
    svJavaAWT = 3,
    svJavaSwing = 4,
    svJavaQZT = 5,
    svJavaDesktop = 6
};

/// "Unspecified", "None", "JVM", "AWT", "Swing", "QZT", "Desktop"; null outside 0..6.
char const* svJavaSupportLevelName(int level);

///@{
/// The level, and whether it reaches a given level (each svJavaUse* names one).
int svJavaGetSupport();
bool svJavaUseJVM();
bool svJavaUseAWT();
bool svJavaUseSwing();
bool svJavaUseQZT();
bool svJavaUseDesktop();
bool svJavaUseLevel(int level);
///@}

///@{
/// Says that Java actually runs; independent of the level, set from outside.
void svSetJavaEnabled(bool on);
bool svIsJavaEnabled();
///@}

QZSERVICES_DETAIL_BEGIN
namespace services { namespace state { namespace detail {
/// The one writer of the level, used by the command-line handling.
void storeJavaSupportLevel(int level);
}}} // namespace services::state::detail
QZSERVICES_DETAIL_END

QZSERVICES_API_END
