// The display settings and the array-name callback.
#include "qzservices/display/settings.hpp"
#include "display/display_state.hpp"

#include <msg/calyx_messages.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <string>

int prtfmt = PrtfmtShort;
char newline[2] = "\n";

namespace display_state {

int showNameFlag = 1;

void checkPrintFormat() {
    if (prtfmt < PrtfmtShort || prtfmt > PrtfmtLongEng)
        vxErrMsgId(CALYX::services::invalidPrintFormat(std::to_string(prtfmt)));
}

void printEmptySize(char const* what, size_t ndim, size_t const* dims) {
    uvPrintf("   %s: %zu", what, dims[0]);
    for (size_t d = 1; d < ndim; ++d) uvPrintf("-by-%zu", dims[d]);
    uvPrintf("\n%s", newline);
}

} // namespace display_state

namespace {
char const* (*arrayNameCallback)(vxArray_tag const*) = nullptr;
} // namespace

void SetPrtfmt(int format) { prtfmt = format; }
int GetPrtfmt() { return prtfmt; }
char* GetNewline() { return newline; }

void ioSupressName() { display_state::showNameFlag = 0; }

void ioSetArrayNameCallback(char const* (*callback)(vxArray_tag const*)) { arrayNameCallback = callback; }

// Without a callback there is no name to give: a clear error rather than a
// call through null.
char const* ioGetArrayName(vxArray_tag const* array) {
    if (arrayNameCallback == nullptr) vxErrMsgId(CALYX::services::noArrayNameCallback());
    return arrayNameCallback(array);
}
