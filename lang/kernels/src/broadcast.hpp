// Implicit expansion of two operands: the size of the result and, for each
// element of the result, the element of each operand it reads.
#pragma once
#include "internal.hpp"

namespace qzlang { namespace kernels { namespace detail {

struct Broadcast {
    Dims out;
    size_t n = 0;
    bool same = false, aScalar = false, bScalar = false;
    std::vector<size_t> sa, sb;  // strides, 0 along an expanded dimension

    Broadcast(Dims const& da, Dims const& db);

    // Calls f(k, ia, ib) for every result element k in [begin, end).
    template <class F> void map(size_t begin, size_t end, F&& f) const {
        if (same) {
            for (size_t k = begin; k < end; ++k) f(k, k, k);
            return;
        }
        if (aScalar) {
            for (size_t k = begin; k < end; ++k) f(k, size_t(0), k);
            return;
        }
        if (bScalar) {
            for (size_t k = begin; k < end; ++k) f(k, k, size_t(0));
            return;
        }
        size_t nd = out.size();
        std::vector<size_t> idx(nd);
        size_t rest = begin, ia = 0, ib = 0;
        for (size_t d = 0; d < nd; ++d) {
            idx[d] = rest % out[d];
            rest /= out[d];
            ia += idx[d] * sa[d];
            ib += idx[d] * sb[d];
        }
        for (size_t k = begin; k < end; ++k) {
            f(k, ia, ib);
            // The odometer: advance dimension 0, carry into the next ones.
            for (size_t d = 0; d < nd; ++d) {
                ++idx[d];
                ia += sa[d];
                ib += sb[d];
                if (idx[d] < out[d]) break;
                ia -= idx[d] * sa[d];
                ib -= idx[d] * sb[d];
                idx[d] = 0;
            }
        }
    }
};

}}} // namespace qzlang::kernels::detail
