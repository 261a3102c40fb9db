// The 1-based page counters over dimensions 3 and up of a cell or handle
// array, in a vxMalloc buffer that is freed however the display ends. The
// first counter steps fastest; a counter past its dimension falls back to 1.
#pragma once
#include <vx/array.hpp>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace display_pages {

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

} // namespace display_pages
