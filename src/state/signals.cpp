// The signal set-up slot, the first-crack handler and the dump-core mode.
#include "qzservices/state/signals.hpp"

#include <msg/calyx_messages.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>
#include <vx/predicates.hpp>

#include <cmath>
#include <limits>

namespace {

int declineSignal(int /*signal*/, siginfo_t* /*info*/, void* /*context*/) { return 0; }

// Function-local: a host may register during its own static initialisation.
boost::function<void()>& sigInitFcn() {
    static boost::function<void()> fcn;
    return fcn;
}

svFirstCrackSignalHandler gFirstCrack = &declineSignal;
int gDumpCore = 0;

char const* const kModeTexts[] = {"Disabled", "Core dump on fatal error enabled",
                                  "Exit on fatal error (no core) enabled", "Wait on fatal error (no core) enabled"};

// The scalar truncated to int, or -1 (an invalid mode) when it does not fit.
int modeFromScalar(double value) {
    double const truncated = std::trunc(value);
    if (!(truncated >= std::numeric_limits<int>::min() && truncated <= std::numeric_limits<int>::max())) return -1;
    return static_cast<int>(truncated);
}

} // namespace

boost::function<void()> svRegisterSigInitFcn(boost::function<void()> fcn) {
    boost::function<void()> earlier = sigInitFcn();
    sigInitFcn() = std::move(fcn);
    return earlier;
}

void svSigInit() {
    if (!sigInitFcn().empty()) sigInitFcn()();
}

svFirstCrackSignalHandler svRegisterFirstCrackSignalHandler(svFirstCrackSignalHandler handler) {
    svFirstCrackSignalHandler const earlier = gFirstCrack;
    gFirstCrack = handler;
    return earlier;
}

int svRunFirstCrackSignalHandler(int signal, siginfo_t* info, void* context) {
    // A null handler is stored as given, but calling it would crash inside a
    // signal handler: it declines with -1 instead.
    return gFirstCrack != nullptr ? gFirstCrack(signal, info, context) : -1;
}

int svGetDumpCore() { return gDumpCore; }

int svSetDumpCore(int mode) {
    if (mode < 0 || mode > 3) return -1;
    gDumpCore = mode;
    return 0;
}

char const* svDumpCoreModeText(int mode) { return mode >= 0 && mode <= 3 ? kModeTexts[mode] : "unrecognized mode"; }

void svLocal_setDumpCore(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 1) vxm::detail::error_maxrhs();
    if (inCount < 0) vxm::detail::error_minrhs();
    if (inCount == 1) {
        int const mode = vxIsRealScalar(inArgs[0]) ? modeFromScalar(vxGetScalar(inArgs[0])) : -1;
        if (svSetDumpCore(mode) != 0) vxErrMsgId(CALYX::dumpcore::InvalidDumpCoreSetting());
    }
    if (outCount == 1)
        outArgs[0] = vxCreateDoubleScalar(static_cast<double>(svGetDumpCore()));
    else
        uvPrintf("CALYX core dump:  %s.\n", svDumpCoreModeText(svGetDumpCore()));
}
