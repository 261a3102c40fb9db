// The numeric matrix printer. Four stages in a fixed order: one pass over the
// data classifies it and finds the largest magnitude; the exponent of that
// magnitude and the print format choose a format row and a column width; the
// width and the window give the columns per page; the pages are written row
// by row.
//
// Elements are formatted by compiled formats (the digits of printf without
// its parsing) and a row goes to the output in one write, from a buffer on
// the stack that is empty again at every row start. Rows are lines, so the
// paging of the output sees the same line feeds as with one write an
// element, and the stop and interrupt tests keep their place at row starts.
//
// Nothing is allocated: an interrupt may leave at any row start, and there
// must be nothing to free when it does.
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/number_formats.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"
#include "display/conversions.hpp"
#include "display/display_state.hpp"
#include "display/fast_format.hpp"
#include "display/format_tables.hpp"
#include "display/line_buffer.hpp"
#include "display/array_access.hpp"

#include <msg/calyx_messages.hpp>
#include <qfl/scalar.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

using namespace display_conversions;
using namespace display_tables;
using qfl_scalar::detail::qflFdlibm_ceil;
using qfl_scalar::detail::qflFdlibm_floor;
using qfl_scalar::detail::qflFdlibm_log10;
using qfl_scalar::detail::qflFdlibm_pow;

namespace {

using display_access::load;
using display_access::magnitudeOf;

using display_format::CompiledFormat;

// A format from the tables applied by snprintf, for what the compiled
// formats leave (two conversions, NaN and infinity). Returns the length
// written to out (CompiledFormat::kMaxText bytes).
int snprintfTable(char* out, char const* format, ...) {
    va_list args;
    va_start(args, format);
    int const n = std::vsnprintf(out, CompiledFormat::kMaxText, format, args);
    va_end(args);
    if (n < 0) return 0;
    return n < static_cast<int>(CompiledFormat::kMaxText) ? n : static_cast<int>(CompiledFormat::kMaxText) - 1;
}

int formatDouble(char* out, CompiledFormat const& compiled, char const* format, double v) {
    int const n = compiled.formatDouble(out, v);
    return n >= 0 ? n : snprintfTable(out, format, v);
}

int formatLong(char* out, CompiledFormat const& compiled, char const* format, long v) {
    int const n = compiled.formatSigned(out, v);
    return n >= 0 ? n : snprintfTable(out, format, v);
}

int copyText(char* out, char const* text) {
    size_t const n = std::strlen(text);
    std::memcpy(out, text, n);
    return static_cast<int>(n);
}

// The fixed fields of the integer classes and logical, compiled once.
CompiledFormat const kLogical("%6u");
CompiledFormat const kInt8(" %4d");
CompiledFormat const kUint8("  %3u");
CompiledFormat const kInt16(" %6d");
CompiledFormat const kUint16("  %5u");
CompiledFormat const kInt32(" %11d");
CompiledFormat const kUint32("  %10u");
CompiledFormat const kInt64(" %20ld");
CompiledFormat const kUint64(" %20lu");
// The magnitudes of imaginary parts.
CompiledFormat const kMagnitude64(" %20lu");
CompiledFormat const kMagnitude32("  %10u");
CompiledFormat const kMagnitude16("  %5u");
CompiledFormat const kMagnitude8("  %3u");

// One row on its way to the output, on the stack of the display.
using RowText = display_text::BasicLineBuffer<16384>;
size_t const kElementRoom = 2 * CompiledFormat::kMaxText + 64;

// The sparse index prefix: "(row,column)" with the comma always at character
// (field - 1) / 2, padded with blanks to `field` characters.
struct SparsePrefix {
    int field = 11;
    size_t column = 0;  // the column of the last element asked for, found by walking forward

    void choose(size_t declRows, size_t declCols) {
        if (declRows <= 9999 && declCols <= 9999)
            field = 11;
        else if (declRows <= 99999 && declCols <= 99999)
            field = 23;
        else
            field = 41;
    }

    // The prefix of stored element `element` into text (at least 64 bytes); its length.
    int format(char* text, size_t const* ir, size_t const* jc, size_t element) {
        while (jc[column + 1] <= element) ++column;
        char rowText[24], colText[24];
        int const rowLen = std::snprintf(rowText, sizeof rowText, "%zu", ir[element] + 1);
        int const colLen = std::snprintf(colText, sizeof colText, "%zu", column + 1);
        int const comma = (field - 1) / 2;
        // A row number too long for its half starts the prefix at once.
        int const open = comma - rowLen - 1 > 0 ? comma - rowLen - 1 : 0;
        int at = 0;
        for (; at < open; ++at) text[at] = ' ';
        text[at++] = '(';
        std::memcpy(text + at, rowText, static_cast<size_t>(rowLen));
        at += rowLen;
        text[at++] = ',';
        std::memcpy(text + at, colText, static_cast<size_t>(colLen));
        at += colLen;
        text[at++] = ')';
        for (; at < field; ++at) text[at] = ' ';
        return at;
    }

    void print(size_t const* ir, size_t const* jc, size_t element) {
        char text[128];
        int const n = format(text, ir, jc, element);
        uvPutsn(0, text, static_cast<size_t>(n));
    }
};

// Reads a sparse array only if its storage lies within its shape.
void checkSparseStorage(vxArray const* a, size_t declRows, size_t declCols) {
    size_t const* jc = vxGetJc(a);
    size_t const* ir = vxGetIr(a);
    if (jc[0] != 0 || jc[declCols] > vxGetNzmax(a)) vxErrMsgId(CALYX::vx::corruptSparse());
    for (size_t j = 0; j < declCols; ++j) {
        if (jc[j + 1] < jc[j]) vxErrMsgId(CALYX::vx::corruptSparse());
        for (size_t k = jc[j]; k < jc[j + 1]; ++k)
            if (ir[k] >= declRows) vxErrMsgId(CALYX::vx::corruptSparse());
    }
}

void printEmptyMessage(vxArray const* array, vxClassID cls, bool sparse, size_t declRows, size_t declCols) {
    size_t const ndim = vxGetNumberOfDimensions(array);
    size_t const* dims = vxGetDimensions(array);
    if (sparse) {
        uvPrintf("   All zero sparse: %zu-by-%zu\n%s", declRows, declCols, newline);
    } else if (cls == vxCHAR_CLASS) {
        if (ndim == 2 && dims[0] == 0 && dims[1] == 0) {
            uvPrintf("     ''\n%s", newline);
        } else {
            display_state::printEmptySize("Empty string", ndim, dims);
        }
    } else if (ndim > 2) {
        display_state::printEmptySize("Empty array", ndim, dims);
    } else if (declRows != 0 || declCols != 0) {
        uvPrintf("   Empty matrix: %zu-by-%zu\n%s", declRows, declCols, newline);
    } else {
        uvPrintf("     []\n%s", newline);
    }
}

// Everything the page writer needs, worked out once per call.
struct Layout {
    vxClassID cls;
    ClassConversion conv;
    void const* re;
    void const* im;
    bool sparse;
    bool complex;
    size_t rows, columns;
    int fmt;  // prtfmt, with debug turned into short
    bool hexFlag, ratFlag;
    int kind;
    int row;
    double scale;
    char const* const* realFormats;
    char const* const* imagFormats;
    int const* realWidths;
    int const* imagWidths;
    bool integerClass;
    CompiledFormat realCompiled;
    CompiledFormat imagCompiled;
};

// One real part into out; its length.
int formatRealPart(Layout const& L, char* out, size_t i) {
    if (L.hexFlag) {
        if (L.cls == vxDOUBLE_CLASS) {
            unsigned long first, second;
            doubleHalves(L.re, i, &first, &second);
            return snprintfTable(out, L.realFormats[L.row], first, second);
        }
        std::memcpy(out, "   ", 3);
        L.conv.hexDigits(out + 3, L.re, i);
        return 3 + static_cast<int>(std::strlen(out + 3));
    }
    switch (L.cls) {  // the integer classes and logical have fixed formats of their own
    case vxLOGICAL_CLASS: return kLogical.formatUnsigned(out, load<uint8_t>(L.re, i));
    case vxINT8_CLASS: return kInt8.formatSigned(out, load<int8_t>(L.re, i));
    case vxUINT8_CLASS: return kUint8.formatUnsigned(out, load<uint8_t>(L.re, i));
    case vxINT16_CLASS: return kInt16.formatSigned(out, load<int16_t>(L.re, i));
    case vxUINT16_CLASS: return kUint16.formatUnsigned(out, load<uint16_t>(L.re, i));
    case vxINT32_CLASS: return kInt32.formatSigned(out, load<int32_t>(L.re, i));
    case vxUINT32_CLASS: return kUint32.formatUnsigned(out, load<uint32_t>(L.re, i));
    case vxINT64_CLASS: return kInt64.formatSigned(out, load<int64_t>(L.re, i));
    case vxUINT64_CLASS: return kUint64.formatUnsigned(out, load<uint64_t>(L.re, i));
    default: break;
    }
    if (prtfmt == PrtfmtShortEng || prtfmt == PrtfmtLongEng) {
        if (L.cls == vxSINGLE_CLASS)
            eng_fcn<float>(load<float>(L.re, i), L.cls, out, false);
        else
            eng_fcn<double>(load<double>(L.re, i), L.cls, out, false);
        return static_cast<int>(std::strlen(out));
    }
    double x = L.conv.toDouble(L.re, i);
    if (L.ratFlag) {
        double num, den;
        ioRationalApprox(&num, &den, x);
        // Only a many-column array is starred: a column vector shows its fraction whatever its size.
        if (L.columns > 1 && (den > 999999.0 || std::fabs(num) > 999999.0)) return copyText(out, "       *       ");
        if (den == 1.0) return snprintfTable(out, "%8.0f       ", num);
        return snprintfTable(out, "%8.0f/%-6.0f", num, den);
    }
    // A zero real part of a complex number keeps its decimals; any other zero,
    // NaN or Inf stands alone, right-aligned in the width of the raw print format.
    if (!(L.complex && x + 0.0 == 0.0) && ioPrintToStringNanOrInf(out, &x, L.realWidths[prtfmt - 1], 0))
        return static_cast<int>(std::strlen(out));
    x /= L.scale;
    if (L.kind == 1 && prtfmt != PrtfmtTwoDecimal)
        return formatLong(out, L.realCompiled, L.realFormats[L.row], static_cast<long>(static_cast<int64_t>(x)));
    return formatDouble(out, L.realCompiled, L.realFormats[L.row], x);
}

// One imaginary part, sign and "i" included, into out; its length.
int formatImagPart(Layout const& L, char* out, size_t i) {
    int n = 0;
    if (L.hexFlag) {
        if (L.cls == vxDOUBLE_CLASS) {
            unsigned long first, second;
            doubleHalves(L.im, i, &first, &second);
            n = snprintfTable(out, L.imagFormats[L.row], first, second);
        } else {
            std::memcpy(out, "   ", 3);
            L.conv.hexDigits(out + 3, L.im, i);
            n = 3 + static_cast<int>(std::strlen(out + 3));
        }
        out[n++] = 'i';
        return n;
    }
    double y = L.conv.toDouble(L.im, i);
    out[n++] = ' ';
    out[n++] = 0 > y ? '-' : '+';  // NaN gets "+"
    char* rest = out + n;
    switch (L.cls) {
    case vxINT64_CLASS: n += kMagnitude64.formatUnsigned(rest, magnitudeOf<int64_t, uint64_t>(L.im, i)); break;
    case vxUINT64_CLASS: n += kMagnitude64.formatUnsigned(rest, magnitudeOf<uint64_t, uint64_t>(L.im, i)); break;
    case vxINT32_CLASS: n += kMagnitude32.formatUnsigned(rest, magnitudeOf<int32_t, uint32_t>(L.im, i)); break;
    case vxUINT32_CLASS: n += kMagnitude32.formatUnsigned(rest, magnitudeOf<uint32_t, uint32_t>(L.im, i)); break;
    case vxINT16_CLASS: n += kMagnitude16.formatUnsigned(rest, magnitudeOf<int16_t, uint16_t>(L.im, i)); break;
    case vxUINT16_CLASS: n += kMagnitude16.formatUnsigned(rest, magnitudeOf<uint16_t, uint16_t>(L.im, i)); break;
    case vxINT8_CLASS: n += kMagnitude8.formatUnsigned(rest, magnitudeOf<int8_t, uint8_t>(L.im, i)); break;
    case vxUINT8_CLASS: n += kMagnitude8.formatUnsigned(rest, magnitudeOf<uint8_t, uint8_t>(L.im, i)); break;
    case vxLOGICAL_CLASS: n += kLogical.formatUnsigned(rest, load<uint8_t>(L.im, i)); break;
    default:
        y = std::fabs(y) / L.scale;
        if (prtfmt == PrtfmtShortEng || prtfmt == PrtfmtLongEng) {
            double v = L.conv.toDouble(L.im, i);
            if (!ioPrintToStringNanOrInf(rest, &v, L.imagWidths[L.row], 1)) {
                if (L.cls == vxSINGLE_CLASS)
                    eng_fcn<float>(std::fabs(load<float>(L.im, i)), L.cls, rest, true);
                else
                    eng_fcn<double>(std::fabs(v), L.cls, rest, true);
            }
            n += static_cast<int>(std::strlen(rest));
        } else if (L.ratFlag) {
            double num, den;
            ioRationalApprox(&num, &den, y);
            if (L.columns > 1 && (den > 99999.0 || num > 99999.0)) {
                n += copyText(rest, "      *     ");
            } else {
                // Every form fills the same seven places after the numerator.
                n += snprintfTable(rest, "%5.0f", num);
                rest = out + n;
                if (den == 1.0)
                    n += copyText(rest, "i      ");
                else if (den < 10)
                    n += snprintfTable(rest, "/%1.0fi    ", den);
                else if (den < 100)
                    n += snprintfTable(rest, "/%2.0fi   ", den);
                else if (den < 1000)
                    n += snprintfTable(rest, "/%3.0fi  ", den);
                else if (den < 10000)
                    n += snprintfTable(rest, "/%4.0fi ", den);
                else
                    n += snprintfTable(rest, "/%5.0fi", den);
            }
            return n;  // no further "i"
        } else if (y + 0.0 == 0.0) {
            n += formatDouble(rest, L.imagCompiled, L.imagFormats[L.row], 0.0);
        } else if (ioPrintToStringNanOrInf(rest, &y, L.imagWidths[L.row], 1)) {
            n += static_cast<int>(std::strlen(rest));
        } else {
            n += formatDouble(rest, L.imagCompiled, L.imagFormats[L.row], y);
        }
        break;
    }
    out[n++] = 'i';
    return n;
}

// The sign format: one character an element, real parts only, no pages.
void printSigns(Layout const& L, SparsePrefix& prefix, size_t const* ir, size_t const* jc) {
    for (size_t r = 0; r < L.rows; ++r) {
        if (L.sparse) prefix.print(ir, jc, r);
        uvLongjmpIfInterruptPending();
        for (size_t c = 0; c < L.columns; ++c) {
            if (ioStopPrinting()) {
                uvPrintf("%s", newline);
                return;
            }
            double const v = L.conv.toDouble(L.re, r + c * L.rows);
            uvPrintf("%s", 0 > v ? "-" : v > 0 ? "+" : " ");  // NaN fails both: a blank
        }
        uvPrintf("\n");
    }
    uvPrintf("%s", newline);
}

} // namespace

void ioPrintMatrix(char const* name, vxArray const* array) {
    if (array == nullptr) return;
    if (name == nullptr) name = "";
    std::setlocale(LC_NUMERIC, "C");  // not restored: every decimal point of display is "."
    display_state::checkPrintFormat();
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);

    Layout L;
    L.cls = vxGetClassID(array);
    L.conv = conversionFor(L.cls);  // error 15 here, before any output
    L.sparse = vxIsSparse(array);
    size_t const declRows = vxGetM(array);
    size_t const declCols = vxGetN(array);
    L.rows = declRows;
    L.columns = declCols;
    size_t const* ir = nullptr;
    size_t const* jc = nullptr;
    if (L.sparse) {
        checkSparseStorage(array, declRows, declCols);
        ir = vxGetIr(array);
        jc = vxGetJc(array);
        // One column of stored elements, each row led by its index prefix.
        L.rows = jc[declCols];
        L.columns = 1;
    }
    size_t const count = L.rows * L.columns;
    L.re = vxGetData(array);
    L.im = vxGetImagData(array);
    L.complex = vxIsNumeric(array) && L.im != nullptr;
    L.integerClass = isIntegerClass(L.cls);
    L.fmt = prtfmt;
    L.hexFlag = L.fmt == PrtfmtHex;
    L.ratFlag = L.fmt == PrtfmtRational;

    // The heading, under the one-shot flag, which is set again in every case.
    if (display_state::showNameFlag) {
        if (count != 0)
            uvPrintf("%s%s =%s\n", newline, *name ? name : "ans", newline);
        else if (*name)
            uvPrintf("%s%s =%s\n", newline, name, newline);
    }
    display_state::showNameFlag = 1;

    if (count == 0) {
        // A plain unnamed empty array prints nothing; an unnamed all-zero
        // sparse array of a non-empty shape still tells its shape.
        if (!*name && (!L.sparse || declRows * declCols == 0)) return;
        printEmptyMessage(array, L.cls, L.sparse, declRows, declCols);
        return;
    }

    ioStopPrinting();  // clears a stop request left over from earlier output

    SparsePrefix prefix;
    prefix.choose(declRows, declCols);

    if (L.fmt == PrtfmtSign) {
        printSigns(L, prefix, ir, jc);
        return;
    }

    if (L.fmt == PrtfmtDebug) {
        uvPrintf("\nStructure address = %lx \nm = %zu\nn = %zu\npr = %lx \npi = %lx\n",
                 reinterpret_cast<unsigned long>(array), L.rows, L.columns, reinterpret_cast<unsigned long>(L.re),
                 reinterpret_cast<unsigned long>(L.im));
        L.fmt = PrtfmtShort;
        L.hexFlag = false;
        L.ratFlag = false;
    }

    // Classify: whole numbers, fractions or complex, and the largest magnitude.
    bool const isFloat = isFloatClass(L.cls);
    int kind = 1;
    double maxAbs = 0.0;
    for (size_t i = 0; i < count; ++i) {
        double const x = L.conv.toDouble(L.re, i);
        bool const finite = std::isfinite(x);
        // NaN and Inf leave the kind alone: whole numbers with Infs still count as whole.
        if (isFloat && finite && kind == 1 && (x < 0 ? qflFdlibm_ceil(x) : qflFdlibm_floor(x)) != x)
            kind = L.complex ? 3 : 2;
        if (L.complex) kind = 3;
        if ((!isFloat || finite) && std::fabs(x) > maxAbs) maxAbs = std::fabs(x);
        if (L.complex) {
            double const y = L.conv.toDouble(L.im, i);
            if ((!isFloat || std::isfinite(y)) && std::fabs(y) > maxAbs) maxAbs = std::fabs(y);
        }
    }

    // The exponent of the largest magnitude.
    int e = maxAbs == 0.0 ? 0 : static_cast<int>(qflFdlibm_log10(maxAbs));  // truncated toward zero
    if (e >= -2 && e <= 1) e = 0;
    // Short shows fractions up to 999.9999 without a scale factor; long scales them.
    if (e == 2 && L.fmt == PrtfmtShort && kind == 2) e = 0;

    // The format tables.
    bool scalarFlag = e != 0 && count == 1;
    if (L.hexFlag || L.ratFlag) {
        if (kind == 1) kind = 2;
        e = 0;
        scalarFlag = false;
    }
    bool hasFraction;
    bool const single = L.cls == vxSINGLE_CLASS;
    L.imagFormats = fmtComplexImagDouble;
    L.imagWidths = widthComplexImagDouble;
    if (kind == 1 && e <= 2) {
        L.realFormats = fmtIntSmall;
        L.realWidths = widthIntSmall;
        hasFraction = false;
    } else if (kind == 1 && e <= 8) {
        L.realFormats = fmtIntLarge;
        L.realWidths = widthIntLarge;
        hasFraction = false;
    } else if (kind != 3) {
        kind = 2;  // whole numbers from 10^9 up are shown as fractions are
        L.realFormats = single ? fmtRealSingle : fmtRealDouble;
        L.realWidths = single ? widthRealSingle : widthRealDouble;
        hasFraction = true;
    } else {
        L.realFormats = single ? fmtComplexRealSingle : fmtComplexRealDouble;
        L.realWidths = single ? widthComplexRealSingle : widthComplexRealDouble;
        L.imagFormats = single ? fmtComplexImagSingle : fmtComplexImagDouble;
        L.imagWidths = single ? widthComplexImagSingle : widthComplexImagDouble;
        hasFraction = true;
    }
    L.kind = kind;

    // The row: from the global format, debug reading as short. A lone value
    // out of the scale-free range goes to the exponent format instead of
    // taking a scale factor.
    L.row = prtfmt - 1;
    if (L.row == PrtfmtDebug - 1) L.row = 0;
    if (scalarFlag && L.row <= 1 && hasFraction) L.row += 2;
    L.scale = L.row <= 1 && hasFraction ? qflFdlibm_pow(10.0, e) : 1.0;

    // The column width; the integer classes have widths of their own.
    size_t width = static_cast<size_t>(L.realWidths[L.row]);
    if (L.complex && L.row != PrtfmtTwoDecimal - 1) width += static_cast<size_t>(L.imagWidths[L.row]) + 3;
    switch (L.cls) {
    case vxINT8_CLASS:
    case vxUINT8_CLASS: width = L.complex ? 13 : 5; break;
    case vxINT16_CLASS:
    case vxUINT16_CLASS: width = L.complex ? 17 : 7; break;
    case vxINT32_CLASS:
    case vxUINT32_CLASS: width = L.complex ? 27 : 12; break;
    case vxINT64_CLASS:
    case vxUINT64_CLASS: width = L.complex ? 45 : 21; break;
    default: break;
    }

    // Columns per page, from the window as it is now. A window of 0 columns
    // wraps around to a huge width and gives one page (intended).
    size_t perPage = (ioGetNumWindowColumns() - 1) / width;
    if (perPage == 0) perPage = 1;

    // The scale line; an integer class may compute a factor but never shows or applies it.
    if (L.integerClass) L.scale = 1.0;
    if (!L.integerClass && L.scale != 1.0) uvPrintf(" %9.1e *\n%s", L.scale, newline);

    bool const showImag = L.kind == 3 && L.fmt != PrtfmtTwoDecimal;
    L.realCompiled.compile(L.realFormats[L.row]);
    if (showImag) L.imagCompiled.compile(L.imagFormats[L.row]);
    RowText text;
    size_t first = 0;
    while (L.columns != 0) {
        size_t const stop = L.columns - first < perPage ? L.columns : first + perPage;
        if (perPage < L.columns) {
            if (stop == first + 1)
                uvPrintf("  Column %zu\n%s", stop, newline);
            else
                uvPrintf("  Columns %zu through %zu\n%s", first + 1, stop, newline);
        }
        for (size_t r = 0; r < L.rows; ++r) {
            if (L.sparse) prefix.print(ir, jc, r);
            uvLongjmpIfInterruptPending();
            if (ioStopPrinting()) {
                uvPrintf("%s", newline);
                return;
            }
            for (size_t c = first; c < stop; ++c) {
                size_t const i = r + c * L.rows;
                char* out = text.room(kElementRoom);
                int n = formatRealPart(L, out, i);
                if (showImag) n += formatImagPart(L, out + n, i);
                text.used(static_cast<size_t>(n));
            }
            text.append("\n", 1);
            text.flush();
        }
        uvPrintf("%s", newline);
        if (L.columns - first <= perPage) break;
        first += perPage;
    }
}

void ioPrintMatrix(vxArray const* array) { ioPrintMatrix(ioGetArrayName(array), array); }
