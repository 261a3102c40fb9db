// The pages of a cell or handle array: the 1-based page counters over
// dimensions 3 and up, the frame of headings and empty forms around the
// pages, and the walk that splits a page's columns into pages of the window's
// width; the two displays bring their own measures and cell writers.
#pragma once
#include "qzservices/display/cell_display.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/io/more.hpp"
#include "display/display_state.hpp"
#include "display/line_buffer.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace display_pages {

// The counters live in a vxMalloc buffer that is freed however the display
// ends. The first counter steps fastest; a counter past its dimension falls
// back to 1.
class PageOdometer {
public:
    // Raises error number 17 when the counters cannot be had.
    explicit PageOdometer(vxArray const* array)
        : dims_(vxGetDimensions(array)), count_(vxGetNumberOfDimensions(array) - 2),
          counters_(static_cast<size_t*>(vxMalloc(count_ * sizeof(size_t)))) {
        for (size_t k = 0; k < count_; ++k) {
            counters_.get()[k] = 1;
            pages_ *= dims_[k + 2];
        }
    }

    size_t pages() const { return pages_; }

    // "1,2)": each counter and a comma, the last comma turned into ")".
    std::string text() const {
        std::string s;
        char number[32];
        for (size_t k = 0; k < count_; ++k) {
            std::snprintf(number, sizeof number, "%zu,", counters_.get()[k]);
            s += number;
        }
        if (!s.empty()) s.back() = ')';
        return s;
    }

    void advance() {
        for (size_t k = 0; k < count_; ++k) {
            if (++counters_.get()[k] <= dims_[k + 2]) return;
            counters_.get()[k] = 1;
        }
    }

private:
    struct Freer {
        void operator()(size_t* p) const { vxFree(p); }
    };
    size_t const* dims_;
    size_t count_;
    std::unique_ptr<size_t, Freer> counters_;
    size_t pages_ = 1;
};

// The "name = " heading of a 2-D or empty array, then the empty form, or the
// pages: printPage(first, rows, columns) writes the columns of the page whose
// first element is element `first`; an N-d array's pages each come under
// their own "name(:,:,k) = " heading. zeroByZero is the text of a 0-by-0
// array, or null when it takes the emptyWhat form ("Empty cell array: 0-by-0")
// as well.
template <class PrintPage>
void printArrayPages(char const* name, vxArray const* array, char const* emptyWhat, char const* zeroByZero,
                     PrintPage printPage) {
    size_t const ndim = vxGetNumberOfDimensions(array);
    size_t const* dims = vxGetDimensions(array);
    bool const empty = vxIsEmpty(array);
    if (*name && (ndim == 2 || empty)) uvPrintf("%s%s = %s\n", newline, name, newline);
    ioStopPrinting();  // clears a stale stop request

    if (empty) {
        if (zeroByZero != nullptr && ndim == 2 && dims[0] == 0 && dims[1] == 0)
            uvPrintf("%s\n%s", zeroByZero, newline);
        else
            display_state::printEmptySize(emptyWhat, ndim, dims);
        return;
    }

    size_t const rows = dims[0];
    size_t const columns = dims[1];
    if (ndim == 2) {
        printPage(size_t{0}, rows, columns);
        return;
    }
    PageOdometer odometer(array);
    for (size_t p = 0; p < odometer.pages(); ++p) {
        uvPrintf("%s%s(:,:,%s = %s\n", newline, name, odometer.text().c_str(), newline);
        printPage(p * rows * columns, rows, columns);
        odometer.advance();
    }
}

// Splits `columns` columns of `rows` rows into pages of at most `avail`
// characters: measure(column, slot) measures a column into the caller's
// widths at `slot` and returns its width (a page holds each width plus four,
// at most IO_CELL_PAGE_COLUMNS columns and at least one; with no room at all,
// one column a page). startPage(first, stop, perPage) writes what comes
// before the rows of columns first to stop - 1, or returns false to end the
// display there; writeRow(line, row, first, stop) writes a row's cells, which
// go out with the row's line feed. An interrupt leaves at a row start, where
// the line is empty; a stop request ends the display after a blank line.
template <class Measure, class StartPage, class WriteRow>
void printColumnPages(size_t rows, size_t columns, size_t avail, Measure measure, StartPage startPage,
                      WriteRow writeRow) {
    display_text::LineBuffer line;
    size_t first = 0;
    while (first < columns) {
        size_t perPage = 1;
        if (avail != 0) {
            size_t total = 0;
            size_t k = first;
            while (k < columns && k - first < IO_CELL_PAGE_COLUMNS) {
                total += measure(k, k - first) + 4;
                ++k;
                if (total >= avail) break;
            }
            perPage = k - first;
            if (total > avail) --perPage;
            if (perPage == 0) perPage = 1;
        } else {
            measure(first, size_t{0});
        }
        size_t const stop = std::min(first + perPage, columns);
        if (!startPage(first, stop, perPage)) return;
        for (size_t r = 0; r < rows; ++r) {
            uvLongjmpIfInterruptPending();
            if (ioStopPrinting()) {
                uvPrintf("%s", newline);
                return;
            }
            writeRow(line, r, first, stop);
            line.append("\n", 1);
            line.flush();
        }
        uvPrintf("%s", newline);
        first = stop;
    }
}

} // namespace display_pages
