// Elementwise expressions of + - .* ./ .\ over double arrays of one size,
// evaluated in one pass: each block of elements runs through the whole
// expression while it is in the cache, so memory is read once per operand
// and written once for the result.
#include "internal.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <cstdint>

namespace qzlang { namespace kernels {
using namespace detail;

namespace {

// Elements per block: a few blocks of intermediate values stay in the L1 cache.
size_t const kBlock = 1024;
size_t const kMaxSteps = 64;
size_t const kStreamBytes = size_t(8) << 20;

// A value on the evaluation stack for one block: a run of doubles or one scalar.
struct Operand {
    double const* p;
    double c;
};

template <Binary OP> inline double apply(double x, double y) {
    switch (OP) {
    case Binary::Plus: return x + y;
    case Binary::Minus: return x - y;
    case Binary::Times: return x * y;
    case Binary::RDivide: return x / y;
    default: return y / x;  // LDivide
    }
}

template <Binary OP> void applyBlock(double* z, Operand a, Operand b, size_t n) {
    if (a.p && b.p)
        for (size_t k = 0; k < n; ++k) z[k] = apply<OP>(a.p[k], b.p[k]);
    else if (a.p)
        for (size_t k = 0; k < n; ++k) z[k] = apply<OP>(a.p[k], b.c);
    else if (b.p)
        for (size_t k = 0; k < n; ++k) z[k] = apply<OP>(a.c, b.p[k]);
    else
        for (size_t k = 0; k < n; ++k) z[k] = apply<OP>(a.c, b.c);
}

void applyOp(Binary op, double* z, Operand a, Operand b, size_t n) {
    switch (op) {
    case Binary::Plus: applyBlock<Binary::Plus>(z, a, b, n); break;
    case Binary::Minus: applyBlock<Binary::Minus>(z, a, b, n); break;
    case Binary::Times: applyBlock<Binary::Times>(z, a, b, n); break;
    case Binary::RDivide: applyBlock<Binary::RDivide>(z, a, b, n); break;
    default: applyBlock<Binary::LDivide>(z, a, b, n); break;
    }
}

// Copies a finished block out; a result far larger than the caches is
// written past them.
void store(double* z, double const* from, size_t n, bool streaming) {
#if defined(__SSE2__)
    if (streaming && (reinterpret_cast<uintptr_t>(z) & 15) == 0) {
        size_t k = 0;
        for (; k + 2 <= n; k += 2) _mm_stream_pd(z + k, _mm_loadu_pd(from + k));
        for (; k < n; ++k) z[k] = from[k];
        return;
    }
#endif
    (void)streaming;
    std::memcpy(z, from, n * sizeof(double));
}

bool qualifies(std::vector<FusedStep> const& steps, std::vector<vxArray const*> const& arrays, size_t& depth) {
    if (steps.empty() || steps.size() > kMaxSteps || arrays.empty()) return false;
    for (vxArray const* a : arrays)
        if (!a || a->class_id() != vxDOUBLE_CLASS || a->is_sparse() || a->imag_data() ||
            trimDims(dimsOf(a)) != trimDims(dimsOf(arrays[0])))
            return false;
    size_t d = 0;
    depth = 0;
    for (FusedStep const& s : steps) {
        if (s.kind == FusedStep::Apply) {
            if (d < 2 || s.op < Binary::Plus || s.op > Binary::LDivide) return false;
            --d;
        } else {
            if (s.kind == FusedStep::Array && s.array >= arrays.size()) return false;
            depth = std::max(depth, ++d);
        }
    }
    return d == 1;
}

} // namespace

ArrayPtr fused(std::vector<FusedStep> const& steps, std::vector<vxArray const*> const& arrays) {
    size_t depth = 0;
    if (!qualifies(steps, arrays, depth)) return nullptr;
    Dims const dims = dimsOf(arrays[0]);
    ArrayPtr r = makeForOverwrite(vxDOUBLE_CLASS, dims);
    size_t const n = r->number_of_elements();
    double* z = static_cast<double*>(r->real_data());
    bool const streaming = n * sizeof(double) >= kStreamBytes;
    forRanges(n, [&](size_t begin, size_t end) {
        // One block of scratch per stack level: the value at level d is
        // computed into scratch d (reading level d itself is safe, since each
        // element is read before its own place is written).
        std::vector<double> scratch(depth * kBlock);
        std::vector<Operand> stack(depth);
        for (size_t b = begin; b < end; b += kBlock) {
            size_t const m = std::min(kBlock, end - b);
            size_t d = 0;
            for (FusedStep const& s : steps) {
                switch (s.kind) {
                case FusedStep::Array:
                    stack[d++] = {static_cast<double const*>(arrays[s.array]->real_data()) + b, 0};
                    break;
                case FusedStep::Scalar: stack[d++] = {nullptr, s.value}; break;
                case FusedStep::Apply: {
                    double* out = scratch.data() + (d - 2) * kBlock;
                    applyOp(s.op, out, stack[d - 2], stack[d - 1], m);
                    stack[d - 2] = {out, 0};
                    --d;
                    break;
                }
                }
            }
            Operand const& top = stack[0];
            if (top.p) store(z + b, top.p, m, streaming);
            else
                for (size_t k = 0; k < m; ++k) z[b + k] = top.c;
        }
#if defined(__SSE2__)
        if (streaming) _mm_sfence();
#endif
    });
    return r;
}

}} // namespace qzlang::kernels
