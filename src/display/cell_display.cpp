// Cell array display: the heading, the empty forms, the odometer over the
// pages of a many-dimensional cell, and the page writer that measures each
// column cell by cell and lines up the summaries in it.
#include "qzservices/display/cell_display.hpp"
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/number_formats.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/display/sizes.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"
#include "display/display_state.hpp"
#include "display/line_buffer.hpp"
#include "display/page_odometer.hpp"
#include "display/array_access.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <string>

using display_text::LineBuffer;

namespace {

using display_access::isStructOrObject;

bool allDimensionsZero(vxArray const* a) {
    return ioIsAllZero(vxGetNumberOfDimensions(a), vxGetDimensions(a));
}

// The size string without its leading blanks, and the length of the part
// before its first "x" (or else its first "-"); npos when it has neither.
struct SizeParts {
    char text[IO_SIZE_STRING_SIZE];
    char const* size;
    size_t length;
    size_t left;
};

void splitSize(vxArray const* cell, SizeParts& parts) {
    ioSizeString(cell, parts.text);
    char const* s = parts.text;
    while (*s == ' ') ++s;
    parts.size = s;
    parts.length = std::strlen(s);
    char const* sep = std::strchr(s, 'x');
    if (sep == nullptr) sep = std::strchr(s, '-');
    parts.left = sep == nullptr ? std::string::npos : static_cast<size_t>(sep - s);
}

// Writes prefix, text aligned in `width` ("%-*s" or "%*s") and suffix into
// dst (IO_CELL_ITEM_SIZE bytes), the same bytes printf would give, without
// its parsing: every cell is formatted twice, once to measure it. Padding
// that would pass the buffer is cut.
void putAligned(char* dst, char const* prefix, char const* text, size_t width, bool leftAlign,
                char const* suffix) {
    size_t const capacity = IO_CELL_ITEM_SIZE - 1;
    size_t const prefixLen = std::strlen(prefix);
    size_t const textLen = std::strlen(text);
    size_t const suffixLen = std::strlen(suffix);
    size_t const fixed = prefixLen + textLen + suffixLen;  // callers keep this within capacity
    size_t pad = width > textLen ? width - textLen : 0;
    if (pad > capacity - std::min(fixed, capacity)) pad = capacity - std::min(fixed, capacity);
    char* at = dst;
    std::memcpy(at, prefix, prefixLen);
    at += prefixLen;
    if (!leftAlign) {
        std::memset(at, ' ', pad);
        at += pad;
    }
    std::memcpy(at, text, textLen);
    at += textLen;
    if (leftAlign) {
        std::memset(at, ' ', pad);
        at += pad;
    }
    std::memcpy(at, suffix, suffixLen);
    at += suffixLen;
    *at = '\0';
}

// The widths of the columns of one page.
struct ColumnWidths {
    size_t width[IO_CELL_PAGE_COLUMNS];
    size_t left[IO_CELL_PAGE_COLUMNS];
    size_t right[IO_CELL_PAGE_COLUMNS];
    size_t classes[IO_CELL_PAGE_COLUMNS];
};

// One cell of column width w.
void writeCell(LineBuffer& line, vxArray const* cell, size_t w, size_t leftWidth, size_t rightWidth,
               size_t classWidth, size_t limit, bool oneColumn) {
    line.append("    ", 4);
    if (cell == nullptr) {
        line.appendRight("[]", oneColumn ? 0 : w);
        return;
    }
    char item[IO_CELL_ITEM_SIZE];
    if (ioFormatCellItem(cell, item, w, limit, false)) {
        line.append(item);
        return;
    }
    vxClassID const cls = vxGetClassID(cell);
    if (allDimensionsZero(cell) && !isStructOrObject(cls)) {
        if (cls == vxCHAR_CLASS)
            line.appendLeft("''", oneColumn ? 0 : w);
        else
            line.appendRight(cls == vxCELL_CLASS ? "{}" : "[]", oneColumn ? 0 : w);
        return;
    }

    // The summary: the size right-aligned so that the separators line up, the
    // class name one blank past the widest size, the brackets lined up.
    SizeParts parts;
    splitSize(cell, parts);
    char const* className = vxGetClassName(cell);
    size_t const classLen = std::strlen(className);
    size_t const left = parts.left == std::string::npos ? parts.length : parts.left;
    size_t const rightLen = parts.length - left;
    size_t const a = rightLen + leftWidth;
    size_t const b = classLen + rightWidth + 1 - std::min(rightLen, classLen + rightWidth + 1);
    size_t const c = classWidth + 1 - std::min(classLen, classWidth + 1);
    // "[%*s%*s%*c" by pieces, padded in front to the column's width: the
    // same bytes as printf, without parsing a format for every cell.
    bool const isCell = cls == vxCELL_CLASS;
    size_t const length = 1 + std::max(a, parts.length) + std::max(b, classLen) + std::max<size_t>(c, 1);
    if (!oneColumn && w > length) line.appendBlanks(w - length);
    line.append(isCell ? "{" : "[", 1);
    if (a > parts.length) line.appendBlanks(a - parts.length);
    line.append(parts.size, parts.length);
    if (b > classLen) line.appendBlanks(b - classLen);
    line.append(className, classLen);
    if (c > 1) line.appendBlanks(c - 1);
    line.append(isCell ? "}" : "]", 1);
}

// A string cell's text in the local code page. Text of ASCII alone is the
// same bytes in every code page a C library's locale can have (they all
// extend ASCII), so it skips the converter, whose set-up costs more than
// the rest of the cell's display.
std::string localText(unsigned short const* units, size_t count) {
    std::string text(count, '\0');
    for (size_t i = 0; i < count; ++i) {
        if (units[i] >= 0x80) return utf16_to_lcp(units, count);
        text[i] = static_cast<char>(units[i]);
    }
    return text;
}

} // namespace

bool ioFormatCellItem(vxArray const* cell, char* dst, size_t width, size_t limit, bool measureOnly) {
    dst[0] = '\0';
    if (cell == nullptr) return false;
    if (vxDimensionsIncomplete(cell)) _complete_opaque_dimensions(cell);
    vxClassID const cls = vxGetClassID(cell);
    size_t const count = vxGetNumberOfElements(cell);
    // The longest string or handle text shown inline. Intended: unsigned, so a
    // limit below 6 (a long format in a window of six columns or fewer) wraps
    // round and lets every text through instead of none.
    size_t const longest = limit - 6;

    if (cls == vxCHAR_CLASS && vxGetNumberOfDimensions(cell) == 2 && vxGetM(cell) <= 1 && count >= 1 &&
        count <= longest) {
        auto const units = vxm::detail::get_vxchar_ptr_and_len(cell);
        // A line break (the same units in every code page) sends it to its summary.
        auto const isBreak = [](unsigned short u) { return u == '\n' || u == '\r'; };
        if (std::any_of(units.first, units.first + units.second, isBreak)) return false;
        if (measureOnly) {
            putAligned(dst, "", "''", width, true, "");
            return true;
        }
        std::string text = localText(units.first, units.second);
        std::replace(text.begin(), text.end(), '\0', ' ');
        if (text.size() + 3 > IO_CELL_ITEM_SIZE) return false;  // shown as its summary instead
        text.insert(text.begin(), '\'');
        text.push_back('\'');
        putAligned(dst, "", text.c_str(), width, true, "");
        return true;
    }

    if ((vxIsNumeric(cell) || cls == vxLOGICAL_CLASS) && count == 1) {
        char scratch[IO_FORMAT_ELEMENT_SIZE];
        ioFormatElement(scratch, cell, 0);
        char const* value = scratch;
        while (*value == ' ') ++value;
        size_t const inner = width < 2 ? 0 : width - 2;
        putAligned(dst, "[", value, inner, false, "]");
        return true;
    }

    if (cls == vxFUNCTION_CLASS && count == 1) {
        std::string const text =
            vxFunctionHandleToString(static_cast<function_handle_tag const*>(vxGetData(cell)));
        if (text.size() > longest || text.size() + 2 > IO_CELL_ITEM_SIZE) {
            putAligned(dst, "", "[function_handle]", width, true, "");
        } else if (!text.empty() && text[0] == '@') {
            putAligned(dst, "", text.c_str(), width == 0 ? 1 : width, true, "");
        } else {
            putAligned(dst, "@", text.c_str(), width == 0 ? 0 : width - 1, true, "");
        }
        return true;
    }
    return false;
}

size_t ioGetColumnWidth(vxArray const** cells, size_t rows, size_t* leftWidth, size_t* rightWidth,
                        size_t* classWidth, size_t limit, bool oneColumn) {
    *leftWidth = 0;
    *rightWidth = 0;
    *classWidth = 0;
    size_t w = 0;
    char item[IO_CELL_ITEM_SIZE];
    for (size_t r = 0; r < rows; ++r) {
        vxArray const* cell = cells[r];
        // With one column a string measures as "''": strings never widen it.
        bool const formatted = ioFormatCellItem(cell, item, 1, limit, oneColumn);
        size_t count;
        if (cell == nullptr || (allDimensionsZero(cell) && !isStructOrObject(vxGetClassID(cell)))) {
            count = 2;
        } else if (formatted) {
            count = std::strlen(item);
        } else {
            size_t const classLen = std::strlen(vxGetClassName(cell));
            *classWidth = std::max(*classWidth, classLen);
            SizeParts parts;
            splitSize(cell, parts);
            if (parts.left != std::string::npos) {
                *leftWidth = std::max(*leftWidth, parts.left);
                *rightWidth = std::max(*rightWidth, parts.length - parts.left);
            }
            count = *classWidth + *leftWidth + *rightWidth + 3;
        }
        w = std::max(w, count);
    }
    return w;
}

void ioPrintCellPage(vxArray const** cells, size_t rows, size_t columns) {
    if (columns == 0) return;
    // A window of no columns wraps to a huge width: one page (as the numeric display).
    size_t const avail = std::min<size_t>(ioGetNumWindowColumns(), 360) - 1;
    bool const oneColumn = columns == 1;
    size_t const limit = (prtfmt == PrtfmtLong || prtfmt == PrtfmtLongE || prtfmt == PrtfmtLongG)
                             ? avail
                             : std::max<size_t>(25, avail / columns);

    ColumnWidths widths;
    auto measure = [&](size_t column, size_t i) {
        widths.width[i] = ioGetColumnWidth(cells + column * rows, rows, &widths.left[i], &widths.right[i],
                                           &widths.classes[i], limit, oneColumn);
        return widths.width[i];
    };
    auto startPage = [&](size_t first, size_t stop, size_t perPage) {
        if (perPage < columns) {
            if (first + 1 == stop)
                uvPrintf("  Column %zu\n%s", first + 1, newline);
            else
                uvPrintf("  Columns %zu through %zu\n%s", first + 1, stop, newline);
        }
        if (columns == 1 && rows == 1) {
            vxArray const* cell = cells[0];
            vxClassID const cls = cell == nullptr ? vxUNKNOWN_CLASS : vxGetClassID(cell);
            if (cell == nullptr || (vxIsEmpty(cell) && !isStructOrObject(cls))) {
                uvPrintf("    %s", cls == vxCHAR_CLASS ? "{''}" : cls == vxCELL_CLASS ? "{{}}" : "{[]}");
                uvPrintf("\n%s", newline);
                return false;
            }
        }
        return true;
    };
    auto writeRow = [&](LineBuffer& line, size_t r, size_t first, size_t stop) {
        for (size_t c = first; c < stop; ++c) {
            size_t const i = c - first;
            writeCell(line, cells[r + c * rows], widths.width[i], widths.left[i], widths.right[i],
                      widths.classes[i], limit, oneColumn);
        }
    };
    display_pages::printColumnPages(rows, columns, avail, measure, startPage, writeRow);
}

void ioPrintCellArray(char const* name, vxArray const* array) {
    std::setlocale(LC_NUMERIC, "C");  // not restored
    if (name == nullptr) name = "";
    if (array == nullptr) return;
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);
    if (vxGetClassID(array) != vxCELL_CLASS) vxErrMsg(15);
    display_state::checkPrintFormat();  // before anything is written

    display_pages::printArrayPages(name, array, "Empty cell array", "     {}", [array](size_t first, size_t rows, size_t columns) {
        ioPrintCellPage(static_cast<vxArray const**>(vxGetData(array)) + first, rows, columns);
    });
}

void ioPrintCellArray(vxArray const* array) { ioPrintCellArray(ioGetArrayName(array), array); }
