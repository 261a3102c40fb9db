// The pages of a cell or handle array: the 1-based page counters over
// dimensions 3 and up, and the frame of headings and empty forms that the
// two displays share around their own page writers.
#pragma once
#include "qzservices/display/settings.hpp"
#include "qzservices/io/more.hpp"
#include "display/display_state.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>

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

} // namespace display_pages
