/// @file
/// Three slots around the process's signal handling, which this library does
/// not install itself: the function that sets up the handlers, the handler
/// that sees a signal first, and the mode for fatal errors. Plain cells, no lock.
#pragma once
#include "qzservices/export.hpp"
#include <boost/function.hpp>

#include <signal.h>

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// Replaces the set-up function (empty clears it) and returns the earlier one.
boost::function<void()> svRegisterSigInitFcn(boost::function<void()> fcn);
/// Runs the set-up function if one is set.
void svSigInit();

/// Sees a signal before the process's own handling; its result is handed on.
typedef int (*svFirstCrackSignalHandler)(int signal, siginfo_t* info, void* context);
/// Replaces the handler with what it is given (null included) and returns the
/// earlier one. At load the handler is a built-in one that returns 0.
svFirstCrackSignalHandler svRegisterFirstCrackSignalHandler(svFirstCrackSignalHandler handler);
/// The handler's result; -1 when a null handler was registered.
int svRunFirstCrackSignalHandler(int signal, siginfo_t* info, void* context);

/// The dump-core mode: 0 disabled, 1 core dump, 2 exit without core, 3 wait
/// without core, on a fatal error.
int svGetDumpCore();
/// 0 on success; -1, with the mode unchanged, outside 0 to 3.
int svSetDumpCore(int mode);
/// The text of a mode, as the gateway prints it; "unrecognized mode" outside 0 to 3.
char const* svDumpCoreModeText(int mode);
/// The command-style gateway: sets the mode from one real scalar (truncated),
/// returns it as a double with one output, and prints it with none.
void svLocal_setDumpCore(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

QZSERVICES_API_END
