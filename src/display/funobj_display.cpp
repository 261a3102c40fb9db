// Function-handle arrays: laid out as cells are, in pages of columns, with
// each handle's text left-aligned and led by "@".
#include "qzservices/display/cell_display.hpp"
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"
#include "display/line_buffer.hpp"
#include "display/page_odometer.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <string>

using display_text::LineBuffer;

namespace {

bool startsWithAt(std::string const& text) { return !text.empty() && text[0] == '@'; }

// The longest text of the column, plus the "@" a handle lacks and one blank.
size_t columnWidth(function_handle_tag const* column, size_t rows) {
    size_t w = 0;
    for (size_t r = 0; r < rows; ++r) {
        std::string const text = vxFunctionHandleToString(&column[r]);
        w = std::max(w, text.size() + (startsWithAt(text) ? 1 : 2));
    }
    return w;
}

} // namespace

void ioPrintFunObjPage(function_handle_tag* handles, size_t rows, size_t columns) {
    size_t const window = ioGetNumWindowColumns();
    // A window of no columns wraps to a huge width: one page.
    size_t const avail = window >= 360 ? 359 : window - 1;
    if (columns == 0) return;

    size_t widths[IO_CELL_PAGE_COLUMNS];
    auto measure = [&](size_t column, size_t i) {
        widths[i] = columnWidth(handles + column * rows, rows);
        return widths[i];
    };
    auto startPage = [columns](size_t first, size_t stop, size_t perPage) {
        // A page of one column has no heading of its own.
        if (first + 1 != stop && perPage < columns)
            uvPrintf("  Columns %zu through %zu\n%s", first + 1, stop, newline);
        return true;
    };
    auto writeRow = [&](LineBuffer& line, size_t r, size_t first, size_t stop) {
        bool const single = stop - first == 1;
        for (size_t c = first; c < stop; ++c) {
            std::string const text = vxFunctionHandleToString(&handles[r + c * rows]);
            line.append("    @", 5);
            char const* rest = startsWithAt(text) ? text.c_str() + 1 : text.c_str();
            if (single)
                line.append(rest);
            else
                line.appendLeft(rest, widths[c - first]);
        }
    };
    display_pages::printColumnPages(rows, columns, avail, measure, startPage, writeRow);
}

void ioPrintFunObjArray(char const* name, vxArray const* array) {
    std::setlocale(LC_NUMERIC, "C");  // not restored
    if (name == nullptr) name = "";
    if (array == nullptr) return;
    if (vxGetClassID(array) != vxFUNCTION_CLASS) vxErrMsg(15);

    display_pages::printArrayPages(name, array, "Empty function_handle array", nullptr,
                                   [array](size_t first, size_t rows, size_t columns) {
                                       // One record of 32 bytes per element.
                                       ioPrintFunObjPage(static_cast<function_handle_tag*>(vxGetData(array)) + first,
                                                         rows, columns);
                                   });
}
