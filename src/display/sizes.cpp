// Size strings, bracketed size displays and help links.
#include "qzservices/display/sizes.hpp"
#include "qzservices/io/callbacks.hpp"
#include "display/array_access.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

namespace {

using display_access::Destroyer;

struct Freer {
    void operator()(void* p) const { vxFree(p); }
};

// A dimension the session reported as a double. Values from 2^63 up lose 2^63
// before the conversion and get the top bit back after it; what no size can
// be (negative, NaN, 2^64 and above) is clamped rather than converted.
size_t dimensionFromDouble(double v) {
    double const twoTo63 = 9223372036854775808.0;
    if (!(v > 0.0)) return 0;
    if (v >= 2.0 * twoTo63) return std::numeric_limits<size_t>::max();
    if (v >= twoTo63) return static_cast<size_t>(v - twoTo63) | (size_t(1) << 63);
    return static_cast<size_t>(v);
}

// Writes v in decimal at dst, right-aligned in `width`; returns the length.
// By hand rather than with snprintf: every cell summary asks for a size.
size_t putDecimal(char* dst, size_t v, size_t width) {
    char digits[24];
    size_t n = 0;
    do {
        digits[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v != 0);
    size_t at = 0;
    while (at + n < width) dst[at++] = ' ';
    while (n > 0) dst[at++] = digits[--n];
    return at;
}

// "%7zu" then "x%zu" for each further dimension (three at most), or
// "%7zu-D" past three. Twenty digits a dimension always fit the buffer.
void formatDimensions(char* dst, size_t n, size_t const* dims) {
    static_assert(IO_SIZE_STRING_SIZE > 3 * 21 + 7, "the size buffer holds three dimensions");
    size_t at;
    if (n == 0) {
        at = putDecimal(dst, 1, 7);
        dst[at++] = 'x';
        dst[at++] = '1';
    } else if (n <= 3) {
        at = putDecimal(dst, dims[0], 7);
        for (size_t d = 1; d < n; ++d) {
            dst[at++] = 'x';
            at += putDecimal(dst + at, dims[d], 0);
        }
    } else {
        at = putDecimal(dst, n, 7);
        dst[at++] = '-';
        dst[at++] = 'D';
    }
    dst[at] = '\0';
}

// The dimensions the session's size callback gives an object or opaque
// value; false when it gives none usable.
bool sizeFromCallback(vxArray const* array, char* dst) {
    if (_sv_iocb.sizeCallback == nullptr) return false;
    std::unique_ptr<vxArray, Destroyer> reported(_sv_iocb.sizeCallback(array));
    if (!reported || vxGetClassID(reported.get()) != vxDOUBLE_CLASS || vxIsEmpty(reported.get())) return false;
    size_t const n = vxGetNumberOfElements(reported.get());
    std::unique_ptr<void, Freer> held(vxCalloc(n, sizeof(size_t)));
    auto* dims = static_cast<size_t*>(held.get());
    double const* values = vxGetPr(reported.get());
    for (size_t i = 0; i < n; ++i) dims[i] = dimensionFromDouble(values[i]);
    formatDimensions(dst, n, dims);
    return true;
}

std::string strippedSizeString(vxArray const* array) {
    char size[IO_SIZE_STRING_SIZE];
    ioSizeString(array, size);
    char const* s = size;
    while (*s == ' ') ++s;
    return s;
}

} // namespace

char* ioSizeString(vxArray const* array, char* dst) {
    dst[0] = '\0';
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);
    vxClassID const cls = vxGetClassID(array);
    if ((cls == vxOPAQUE_CLASS || cls == vxOBJECT_CLASS) && sizeFromCallback(array, dst)) return dst;
    formatDimensions(dst, vxGetNumberOfDimensions(array), vxGetDimensions(array));
    return dst;
}

std::string ioSizeDisplay(vxArray const* array) {
    bool const cell = vxGetClassID(array) == vxCELL_CLASS;
    return std::string(cell ? "{" : "[") + strippedSizeString(array) + " " + vxGetClassName(array) +
           (cell ? "}" : "]");
}

std::string ioSizeOrEmptyDisplay(vxArray const* array) {
    vxClassID const cls = vxGetClassID(array);
    if (cls == vxOBJECT_CLASS || cls == vxSTRUCT_CLASS) return ioSizeDisplay(array);
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);
    if (ioIsAllZero(vxGetNumberOfDimensions(array), vxGetDimensions(array))) {
        if (cls == vxCHAR_CLASS) return "''";
        if (cls == vxCELL_CLASS) return "{}";
        return "[]";
    }
    return ioSizeDisplay(array);
}

bool ioIsAllZero(size_t n, size_t const* values) {
    for (size_t i = 0; i < n; ++i)
        if (values[i] != 0) return false;
    return true;
}

std::string ioCreateHelpHotlink(std::string const& text, std::string const& topic) {
    if (!uvPrintfIsHot()) return text;
    return "<a href=\"calyx:helpPopup " + topic + "\">" + text + "</a>";
}

std::string ioCreateBoldHelpHotlink(std::string const& text, std::string const& topic) {
    if (!uvPrintfIsHot()) return text;
    return "<a href=\"calyx:helpPopup " + topic + "\" style=\"font-weight:bold\">" + text + "</a>";
}
