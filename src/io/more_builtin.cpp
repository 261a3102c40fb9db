// The window's page length and the built-in `more`.
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"

#include <vx/array.hpp>
#include <vx/errors.hpp>

namespace services { namespace io {

size_t getWindowSize() {
    size_t rows = ioGetNumWindowRows();
    return rows > 2 ? rows - 2 : 1;
}

}} // namespace services::io

namespace {

char asciiLower(unsigned short c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : static_cast<char>(c); }

// The whole text equals `word`, ignoring ASCII case on both sides.
bool isWord(unsigned short const* text, size_t length, char const* word) {
    size_t i = 0;
    for (; i < length; ++i) {
        if (word[i] == '\0' || text[i] > 0x7f || asciiLower(text[i]) != asciiLower(static_cast<unsigned char>(word[i])))
            return false;
    }
    return word[i] == '\0';
}

const int kBadMoreArgument = 15;

void applyMoreArgument(vxArray_tag const* arg);

} // namespace

void ioFullMoreFcn(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs) {
    using namespace services::io;
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 1) vxm::detail::error_maxrhs();
    if (inCount < 0) vxm::detail::error_minrhs();
    // The old page length, taken before any change; the result is made last so
    // that nothing leaks when the argument is refused.
    double old = static_cast<double>(getTotalMoreCount());
    if (inCount == 1) applyMoreArgument(inArgs[0]);
    if (outCount == 1) outArgs[0] = vxCreateDoubleScalar(old);
}

namespace {

void applyMoreArgument(vxArray_tag const* arg) {
    using namespace services::io;
    if (vxIsChar(arg)) {
        auto units = vxm::detail::get_vxchar_ptr_and_len(arg);
        if (isWord(units.first, units.second, "on"))
            MoreControl(true);
        else if (isWord(units.first, units.second, "off"))
            MoreControl(false);
        else
            vxErrMsg(kBadMoreArgument);
        return;
    }
    if (vxGetNumberOfElements(arg) != 1) vxErrMsg(kBadMoreArgument);
    int count = vxGetScalarInt(arg);
    if (count <= 0) vxErrMsg(kBadMoreArgument);
    setTotalMoreCount(static_cast<size_t>(count));
}

} // namespace
