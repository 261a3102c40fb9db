// One element as text, for the displays that show values inline (cells and
// structure fields): the current print format, no common scale factor.
#include "qzservices/display/number_formats.hpp"
#include "qzservices/display/settings.hpp"
#include "display/conversions.hpp"
#include "display/display_state.hpp"
#include "display/format_tables.hpp"
#include "display/array_access.hpp"

#include <qfl/scalar.hpp>

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

using display_access::load;
using display_access::magnitudeOf;
using namespace display_conversions;
using namespace display_tables;
using qfl_scalar::detail::qflFdlibm_ceil;
using qfl_scalar::detail::qflFdlibm_floor;
using qfl_scalar::detail::qflFdlibm_log10;

namespace {

// Appends to the text in dst, never past IO_FORMAT_ELEMENT_SIZE bytes.
void appendList(char* dst, char const* format, va_list args) {
    size_t const used = std::strlen(dst);
    if (used + 1 >= IO_FORMAT_ELEMENT_SIZE) return;
    std::vsnprintf(dst + used, IO_FORMAT_ELEMENT_SIZE - used, format, args);
}

void append(char* dst, char const* format, ...) __attribute__((format(printf, 2, 3)));
void append(char* dst, char const* format, ...) {
    va_list args;
    va_start(args, format);
    appendList(dst, format, args);
    va_end(args);
}

// A format taken from the tables, which the compiler cannot check.
void appendTable(char* dst, char const* format, ...) {
    va_list args;
    va_start(args, format);
    appendList(dst, format, args);
    va_end(args);
}

// The real part of an integer or logical element in its class's field.
void appendIntegerReal(char* dst, vxClassID cls, void const* data, size_t i) {
    switch (cls) {
    case vxINT64_CLASS: append(dst, " %20ld", static_cast<long>(load<int64_t>(data, i))); break;
    case vxINT32_CLASS: append(dst, " %11d", load<int32_t>(data, i)); break;
    case vxINT16_CLASS: append(dst, " %6d", load<int16_t>(data, i)); break;
    case vxINT8_CLASS: append(dst, " %4d", load<int8_t>(data, i)); break;
    case vxUINT64_CLASS: append(dst, " %20lu", static_cast<unsigned long>(load<uint64_t>(data, i))); break;
    case vxUINT32_CLASS: append(dst, "  %10u", load<uint32_t>(data, i)); break;
    case vxUINT16_CLASS: append(dst, "  %5u", static_cast<unsigned>(load<uint16_t>(data, i))); break;
    case vxUINT8_CLASS: append(dst, "  %3u", static_cast<unsigned>(load<uint8_t>(data, i))); break;
    default: append(dst, "%6u", static_cast<unsigned>(load<uint8_t>(data, i))); break;  // logical
    }
}

// The magnitude of an integer or logical imaginary part; a zero leaves its
// field blank.
void appendIntegerImag(char* dst, vxClassID cls, void const* data, size_t i) {
    unsigned long long m = 0;
    char const* numberFormat = "";
    char const* blankFormat = "";
    switch (cls) {
    case vxINT64_CLASS: m = magnitudeOf<int64_t, uint64_t>(data, i); numberFormat = " %20llu"; blankFormat = " %20s"; break;
    case vxUINT64_CLASS: m = load<uint64_t>(data, i); numberFormat = " %20llu"; blankFormat = " %20s"; break;
    case vxINT32_CLASS: m = magnitudeOf<int32_t, uint32_t>(data, i); numberFormat = "  %10llu"; blankFormat = "  %10s"; break;
    case vxUINT32_CLASS: m = load<uint32_t>(data, i); numberFormat = "  %10llu"; blankFormat = "  %10s"; break;
    case vxINT16_CLASS: m = magnitudeOf<int16_t, uint16_t>(data, i); numberFormat = "  %5llu"; blankFormat = "  %5s"; break;
    case vxUINT16_CLASS: m = load<uint16_t>(data, i); numberFormat = "  %5llu"; blankFormat = "  %5s"; break;
    case vxINT8_CLASS: m = magnitudeOf<int8_t, uint8_t>(data, i); numberFormat = "  %3llu"; blankFormat = "  %3s"; break;
    case vxUINT8_CLASS: m = load<uint8_t>(data, i); numberFormat = "  %3llu"; blankFormat = "  %3s"; break;
    default: m = load<uint8_t>(data, i); numberFormat = "%6llu"; blankFormat = "%6s"; break;  // logical
    }
    if (m == 0)
        appendTable(dst, blankFormat, "");
    else
        appendTable(dst, numberFormat, m);
}

bool isIntegerOrLogical(vxClassID cls) { return isIntegerClass(cls) || cls == vxLOGICAL_CLASS; }

// log10(m) truncated toward zero, for m > 0. Cells and structure fields ask
// this once an element, and the portable log10 is slow; the platform's
// log10 is off by an ulp at most, which can change the truncated value only
// right beside an integer, that is beside a power of ten. There the portable
// one decides, so every platform still gets the same answer.
int decimalExponent(double m) {
    double const fast = std::log10(m);
    if (std::isfinite(fast) && std::fabs(fast - std::nearbyint(fast)) > 1e-9) return static_cast<int>(fast);
    return static_cast<int>(qflFdlibm_log10(m));
}

template <class T>
void engInto(char* dst, void const* data, size_t i, vxClassID cls, bool imag, bool magnitude) {
    T v = load<T>(data, i);
    if (magnitude && v < 0) v = -v;
    eng_fcn<T>(v, cls, dst + std::strlen(dst), imag);
}

void appendEng(char* dst, vxClassID cls, void const* data, size_t i, bool imag) {
    if (cls == vxSINGLE_CLASS)
        engInto<float>(dst, data, i, cls, imag, imag);
    else if (cls == vxDOUBLE_CLASS)
        engInto<double>(dst, data, i, cls, imag, imag);
    else  // character codes: the element's value as a double, not its bytes read as one
        eng_fcn<double>(conversionFor(cls).toDouble(data, i), cls, dst + std::strlen(dst), imag);
}

} // namespace

void ioFormatElement(char* dst, vxArray_tag const* array, size_t index) {
    dst[0] = '\0';
    void const* re = vxGetData(array);
    void const* im = vxGetImagData(array);
    if (re == nullptr && im == nullptr) return;
    display_state::checkPrintFormat();
    vxClassID const cls = vxGetClassID(array);
    ClassConversion const conv = conversionFor(cls);
    bool const complex = vxIsNumeric(array) && im != nullptr;
    double const x = conv.toDouble(re, index);

    if (prtfmt == PrtfmtSign) {
        std::strcpy(dst, x < 0 ? "-" : x > 0 ? "+" : " ");
        return;
    }
    // Debug acts as short here, but its own row 10 stays for the sign test below.
    int const fmt = prtfmt == PrtfmtDebug ? PrtfmtShort : prtfmt;
    bool const isFloat = isFloatClass(cls);

    int kind = 1;
    if (isFloat && x != (x < 0 ? qflFdlibm_ceil(x) : qflFdlibm_floor(x))) kind = 2;  // NaN counts as fractional
    if (complex) kind = 3;

    double const y = complex ? conv.toDouble(im, index) : 0.0;
    double maxAbs = 0.0;
    if (!isFloat || std::isfinite(x)) maxAbs = std::fabs(x);
    if (complex && (!isFloat || std::isfinite(y)) && std::fabs(y) > maxAbs) maxAbs = std::fabs(y);
    int e = maxAbs == 0.0 ? 0 : decimalExponent(maxAbs);
    if (e >= -2 && e <= 1) e = 0;
    if (e == 2 && fmt == PrtfmtShort && kind == 2) e = 0;

    bool const hex = fmt == PrtfmtHex;
    bool const rational = fmt == PrtfmtRational;
    if (hex || rational) {
        if (kind < 2) kind = 2;
        e = 0;
    }

    int row = prtfmt - 1;
    char const* const* realFormats;
    char const* const* imagFormats = fmtComplexImagDouble;
    if (kind == 1 && e <= 2)
        realFormats = fmtIntSmall;
    else if (kind == 1 && e <= 8)
        realFormats = fmtIntLarge;
    else if (kind != 3) {
        kind = 2;
        realFormats = cls == vxSINGLE_CLASS ? fmtRealSingle : fmtRealDouble;
    } else {
        realFormats = cls == vxSINGLE_CLASS ? fmtComplexRealSingle : fmtComplexRealDouble;
        imagFormats = cls == vxSINGLE_CLASS ? fmtComplexImagSingle : fmtComplexImagDouble;
    }
    if ((row == 0 || row == 1) && kind >= 2 && e != 0) row += 2;

    // The real part.
    bool done = false;
    if (hex) {
        char digits[24];
        conv.hexDigits(digits, re, index);
        append(dst, "%s", digits);
    } else if (isIntegerOrLogical(cls)) {
        appendIntegerReal(dst, cls, re, index);
    } else if (prtfmt == PrtfmtShortEng || prtfmt == PrtfmtLongEng) {
        appendEng(dst, cls, re, index, false);
    } else if (rational) {
        double num, den;
        ioRationalApprox(&num, &den, x);
        if (den > 999999.0 || std::fabs(num) > 999999.0)
            append(dst, "*");
        else if (den == 1.0)
            append(dst, "%.0f", num);
        else
            append(dst, "%.0f/%-.0f", num, den);
    } else {
        double v = x;
        if (!(complex && v + 0.0 == 0.0) && ioPrintToStringNanOrInf(dst, &v, 5, 0)) {
            // written; on to the imaginary part
        } else if (kind == 1 && prtfmt != PrtfmtTwoDecimal) {
            appendTable(dst, realFormats[row], static_cast<long>(static_cast<int64_t>(x)));
            done = true;
        } else {
            appendTable(dst, realFormats[row], x);
        }
    }
    if (done || kind != 3 || prtfmt == PrtfmtTwoDecimal) return;

    // The imaginary part.
    if (hex) {
        char digits[24];
        conv.hexDigits(digits, im, index);
        append(dst, "%s", digits);
    } else {
        append(dst, row == 10 ? "%s" : " %s", 0 > y ? "-" : "+");
        double const m = std::fabs(y);
        if (isIntegerOrLogical(cls)) {
            appendIntegerImag(dst, cls, im, index);
        } else if (prtfmt == PrtfmtShortEng || prtfmt == PrtfmtLongEng) {
            if (m == 0.0)
                append(dst, "%13s", "");
            else
                appendEng(dst, cls, im, index, true);
        } else if (rational) {
            double num, den;
            ioRationalApprox(&num, &den, m);
            if (num > 99999.0 || den > 99999.0)
                append(dst, " *");
            else if (den == 1.0)
                append(dst, " %.0f%c", num, 'i');
            else
                append(dst, " %.0f/%.0fi", num, den);
        } else {
            double v = m;
            if (m == 0.0) {
                appendTable(dst, imagFormats[row], 0.0);
            } else {
                char special[IO_FORMAT_ELEMENT_SIZE];
                if (ioPrintToStringNanOrInf(special, &v, 5, 1))
                    append(dst, "%s", special);
                else
                    appendTable(dst, imagFormats[row], m);
            }
        }
    }
    if (!rational) append(dst, "%c", 'i');
}
