// The operators: elementwise arithmetic with implicit expansion under the
// class rules, comparisons and logical operators, the unary operators and
// transposes, and the dispatch of the matrix operators to linear algebra
// (or to elementwise work when one side is a scalar).
#include "broadcast.hpp"

#include <uv/uv.hpp>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <atomic>
#include <cstdint>
#include <complex>
#include <limits>

namespace qzlang { namespace kernels {
using namespace detail;

namespace detail {

Broadcast::Broadcast(Dims const& a, Dims const& b) {
    size_t nd = std::max(a.size(), b.size());
    Dims da(a), db(b);
    da.resize(nd, 1);
    db.resize(nd, 1);
    same = da == db;
    aScalar = countOf(da) == 1;
    bScalar = countOf(db) == 1;
    out.resize(nd);
    sa.resize(nd);
    sb.resize(nd);
    size_t stA = 1, stB = 1;
    for (size_t d = 0; d < nd; ++d) {
        if (da[d] != db[d] && da[d] != 1 && db[d] != 1)
            fail("Calyx:sizeMismatch", "Arrays have incompatible sizes for this operation: %s and %s.",
                 sizeText(a).c_str(), sizeText(b).c_str());
        out[d] = da[d] == 1 ? db[d] : da[d];
        sa[d] = da[d] == 1 ? 0 : stA;
        sb[d] = db[d] == 1 ? 0 : stB;
        stA *= da[d];
        stB *= db[d];
    }
    n = countOf(out);
    if (same) aScalar = bScalar = false;
    if (aScalar && bScalar) {
        same = true;
        aScalar = bScalar = false;
    }
    if (n == 0) {
        same = true;
        aScalar = bScalar = false;
    }
}

} // namespace detail

namespace {

typedef std::complex<double> cplx;

bool isComparison(Binary op) { return op >= Binary::Lt && op <= Binary::Ne; }
bool isLogicalOp(Binary op) { return op == Binary::And || op == Binary::Or; }

char const* opName(Binary op) {
    static char const* const names[] = {"+", "-", ".*", "./", ".\\", ".^", "*", "/", "\\", "^",
                                        "<", "<=", ">", ">=", "==", "~=", "&", "|"};
    return names[static_cast<int>(op)];
}

inline bool whole(double v) { return std::isfinite(v) && v == std::trunc(v); }

inline double realOp(Binary op, double x, double y) {
    switch (op) {
    case Binary::Plus: return x + y;
    case Binary::Minus: return x - y;
    case Binary::Times: return x * y;
    case Binary::RDivide: return x / y;
    case Binary::LDivide: return y / x;
    case Binary::Power: return std::pow(x, y);
    case Binary::Lt: return x < y;
    case Binary::Le: return x <= y;
    case Binary::Gt: return x > y;
    case Binary::Ge: return x >= y;
    case Binary::Eq: return x == y;
    case Binary::Ne: return x != y;
    default: return 0;
    }
}

cplx complexPower(cplx x, cplx y) {
    // Whole real exponents multiply, so that (1+2i)^2 is exactly -3+4i.
    if (y.imag() == 0 && whole(y.real()) && std::fabs(y.real()) <= 1024) {
        long long p = static_cast<long long>(std::fabs(y.real()));
        cplx r(1, 0), b = x;
        while (p) {
            if (p & 1) r *= b;
            b *= b;
            p >>= 1;
        }
        return y.real() < 0 ? cplx(1, 0) / r : r;
    }
    if (x == cplx(0, 0)) return y.real() > 0 ? cplx(0, 0) : cplx(INFINITY, 0);
    return std::pow(x, y);
}

inline cplx complexOp(Binary op, cplx x, cplx y) {
    switch (op) {
    case Binary::Plus: return x + y;
    case Binary::Minus: return x - y;
    case Binary::Times: return x * y;
    case Binary::RDivide: return y.imag() == 0 ? cplx(x.real() / y.real(), x.imag() / y.real()) : x / y;
    case Binary::LDivide: return x.imag() == 0 ? cplx(y.real() / x.real(), y.imag() / x.real()) : y / x;
    case Binary::Power: return complexPower(x, y);
    // Order compares real parts; equality compares both.
    case Binary::Lt: return x.real() < y.real();
    case Binary::Le: return x.real() <= y.real();
    case Binary::Gt: return x.real() > y.real();
    case Binary::Ge: return x.real() >= y.real();
    case Binary::Eq: return x == y;
    case Binary::Ne: return x != y;
    default: return 0;
    }
}

// ---- the fast path: two real doubles ----

size_t const kStreamBytes = size_t(8) << 20;

// z[k] = x[k] op y[k] over [b, e) with non-temporal stores: a result that
// will not fit in the caches is not read into them before it is written,
// which saves a third of the memory traffic of the loop.
template <Binary OP> void streamSame(double* z, double const* x, double const* y, size_t b, size_t e) {
#if defined(__SSE2__)
    size_t k = b;
    for (; k < e && (reinterpret_cast<uintptr_t>(z + k) & 15) != 0; ++k) z[k] = realOp(OP, x[k], y[k]);
    for (; k + 2 <= e; k += 2) _mm_stream_pd(z + k, _mm_set_pd(realOp(OP, x[k + 1], y[k + 1]), realOp(OP, x[k], y[k])));
    for (; k < e; ++k) z[k] = realOp(OP, x[k], y[k]);
    _mm_sfence();
#else
    for (size_t k = b; k < e; ++k) z[k] = realOp(OP, x[k], y[k]);
#endif
}

// Whether `spare` can hold a double result of size `out`: a real full double
// array of that very size. Writing z[k] over an operand's x[k] is safe because
// each element is read before its own place is written, and an operand of
// the result's size is never expanded.
bool fitsResult(vxArray const* spare, Dims const& out) {
    return spare && spare->class_id() == vxDOUBLE_CLASS && !spare->is_sparse() && !spare->imag_data() &&
           trimDims(dimsOf(spare)) == trimDims(out);
}

template <Binary OP> ArrayPtr realDoubles(Broadcast const& p, double const* x, double const* y, ArrayPtr& spare) {
    bool logical = isComparison(OP);
    ArrayPtr r;
    bool inPlace = !logical && fitsResult(spare.get(), p.out);
    if (inPlace) {
        checkElementCount(p.out);
        r = std::move(spare);
    } else {
        r = makeForOverwrite(logical ? vxLOGICAL_CLASS : vxDOUBLE_CLASS, p.out);
    }
    void* out = r->real_data();
    // A fresh result far larger than the caches is written past them; an
    // operand overwritten in place is in the cache already.
    bool streaming = !logical && !inPlace && p.n * sizeof(double) >= kStreamBytes;
    forRanges(p.n, [&](size_t b, size_t e) {
        if (logical) {
            bool* z = static_cast<bool*>(out);
            p.map(b, e, [&](size_t k, size_t i, size_t j) { z[k] = realOp(OP, x[i], y[j]) != 0; });
        } else {
            double* z = static_cast<double*>(out);
            if (p.same && streaming)
                streamSame<OP>(z, x, y, b, e);
            else if (p.same)
                for (size_t k = b; k < e; ++k) z[k] = realOp(OP, x[k], y[k]);
            else if (p.bScalar) {
                double c = y[0];
                for (size_t k = b; k < e; ++k) z[k] = realOp(OP, x[k], c);
            } else if (p.aScalar) {
                double c = x[0];
                for (size_t k = b; k < e; ++k) z[k] = realOp(OP, c, y[k]);
            } else
                p.map(b, e, [&](size_t k, size_t i, size_t j) { z[k] = realOp(OP, x[i], y[j]); });
        }
    });
    return r;
}

ArrayPtr realDoublesFor(Binary op, Broadcast const& p, double const* x, double const* y, ArrayPtr& spare) {
    switch (op) {
    case Binary::Plus: return realDoubles<Binary::Plus>(p, x, y, spare);
    case Binary::Minus: return realDoubles<Binary::Minus>(p, x, y, spare);
    case Binary::Times: return realDoubles<Binary::Times>(p, x, y, spare);
    case Binary::RDivide: return realDoubles<Binary::RDivide>(p, x, y, spare);
    case Binary::LDivide: return realDoubles<Binary::LDivide>(p, x, y, spare);
    case Binary::Lt: return realDoubles<Binary::Lt>(p, x, y, spare);
    case Binary::Le: return realDoubles<Binary::Le>(p, x, y, spare);
    case Binary::Gt: return realDoubles<Binary::Gt>(p, x, y, spare);
    case Binary::Ge: return realDoubles<Binary::Ge>(p, x, y, spare);
    case Binary::Eq: return realDoubles<Binary::Eq>(p, x, y, spare);
    case Binary::Ne: return realDoubles<Binary::Ne>(p, x, y, spare);
    default: return nullptr;
    }
}

// ---- exact arithmetic for int64 and uint64 results ----

typedef __int128 wide;

long double readLong(vxArray const* a, size_t i) {
    switch (a->class_id()) {
    case vxINT64_CLASS: return static_cast<long double>(static_cast<int64_t const*>(a->real_data())[i]);
    case vxUINT64_CLASS: return static_cast<long double>(static_cast<uint64_t const*>(a->real_data())[i]);
    default: return realAt(a, i);
    }
}

struct Range64 {
    wide lo, hi;
};

wide saturate(long double v, Range64 r) {
    if (std::isnan(v)) return 0;
    v = roundl(v);
    if (v <= static_cast<long double>(r.lo)) return r.lo;
    if (v >= static_cast<long double>(r.hi)) return r.hi;
    return static_cast<wide>(v);
}

wide clampWide(wide v, Range64 r) { return v < r.lo ? r.lo : (v > r.hi ? r.hi : v); }

bool wholeLong(long double v) { return std::isfinite(v) && v == truncl(v) && fabsl(v) < 1e30L; }

wide exact64(Binary op, long double x, long double y, Range64 r) {
    if (op == Binary::LDivide) std::swap(x, y), op = Binary::RDivide;
    if (!wholeLong(x) || !wholeLong(y)) {
        long double z = 0;
        switch (op) {
        case Binary::Plus: z = x + y; break;
        case Binary::Minus: z = x - y; break;
        case Binary::Times: z = x * y; break;
        case Binary::RDivide: z = x / y; break;
        default: z = powl(x, y); break;
        }
        return saturate(z, r);
    }
    // Whole operands beyond the class's range saturate anyway, so clamping
    // them to a little beyond it keeps every product inside 128 bits.
    long double const big = 36893488147419103232.0L;  // 2^65
    wide a = static_cast<wide>(fmaxl(-big, fminl(big, x)));
    wide b = static_cast<wide>(fmaxl(-big, fminl(big, y)));
    switch (op) {
    case Binary::Plus: return clampWide(a + b, r);
    case Binary::Minus: return clampWide(a - b, r);
    case Binary::Times: {
        long double approx = static_cast<long double>(a) * static_cast<long double>(b);
        if (approx > 1e37L) return r.hi;
        if (approx < -1e37L) return r.lo;
        return clampWide(a * b, r);
    }
    case Binary::RDivide: {
        if (b == 0) return a > 0 ? r.hi : (a < 0 ? r.lo : 0);
        wide q = a / b, rem = a % b;
        wide ar = rem < 0 ? -rem : rem, ab = b < 0 ? -b : b;
        if (2 * ar >= ab) q += ((a < 0) != (b < 0)) ? -1 : 1;
        return clampWide(q, r);
    }
    default: {  // power
        if (b < 0) {
            if (a == 1) return 1;
            if (a == -1) return (b % 2) ? -1 : 1;
            if (a == 0) return r.hi;
            return saturate(powl(x, y), r);
        }
        wide result = 1, base = a;
        long long e = static_cast<long long>(b);
        while (e) {
            if (e & 1) {
                long double approx = static_cast<long double>(result) * static_cast<long double>(base);
                if (fabsl(approx) > 1e37L) return clampWide(approx > 0 ? r.hi + 1 : r.lo - 1, r);
                result *= base;
            }
            e >>= 1;
            if (e) {
                if (fabsl(static_cast<long double>(base)) > 1e18L) base = base < 0 ? -(wide(1) << 62) * 4 : (wide(1) << 62) * 4;
                else base *= base;
            }
        }
        return clampWide(result, r);
    }
    }
}

ArrayPtr arithmetic64(Binary op, vxClassID cls, Broadcast const& p, vxArray const* a, vxArray const* b) {
    if (isComplex(a) || isComplex(b))
        fail("Calyx:complexInteger", "Complex arithmetic is not supported for %s.", cls == vxINT64_CLASS ? "int64" : "uint64");
    Range64 r = cls == vxINT64_CLASS ? Range64{INT64_MIN, INT64_MAX} : Range64{0, static_cast<wide>(UINT64_MAX)};
    ArrayPtr out = makeArray(cls, p.out);
    void* z = out->real_data();
    forRanges(p.n, [&](size_t from, size_t to) { p.map(from, to, [&](size_t k, size_t i, size_t j) {
        wide v = exact64(op, readLong(a, i), readLong(b, j), r);
        if (cls == vxINT64_CLASS) static_cast<int64_t*>(z)[k] = static_cast<int64_t>(v);
        else static_cast<uint64_t*>(z)[k] = static_cast<uint64_t>(v);
    }); });
    return out;
}

// ---- the general path ----

bool truthOf(double re, double im, char const* what) {
    if (std::isnan(re) || std::isnan(im))
        fail("Calyx:nanToLogical", "NaN values cannot be converted to logical (in %s).", what);
    return re != 0 || im != 0;
}

ArrayPtr logicalOp(Binary op, Broadcast const& p, vxArray const* a, vxArray const* b) {
    std::vector<double> xr, xi, yr, yi;
    toDoubles(a, xr, &xi);
    toDoubles(b, yr, &yi);
    for (size_t k = 0; k < xr.size(); ++k) truthOf(xr[k], xi.empty() ? 0 : xi[k], opName(op));
    for (size_t k = 0; k < yr.size(); ++k) truthOf(yr[k], yi.empty() ? 0 : yi[k], opName(op));
    ArrayPtr r = makeArray(vxLOGICAL_CLASS, p.out);
    bool* z = static_cast<bool*>(r->real_data());
    forRanges(p.n, [&](size_t from, size_t to) { p.map(from, to, [&](size_t k, size_t i, size_t j) {
        bool u = xr[i] != 0 || (!xi.empty() && xi[i] != 0);
        bool v = yr[j] != 0 || (!yi.empty() && yi[j] != 0);
        z[k] = op == Binary::And ? (u && v) : (u || v);
    }); });
    return r;
}

ArrayPtr compare64(Binary op, Broadcast const& p, vxArray const* a, vxArray const* b) {
    ArrayPtr r = makeArray(vxLOGICAL_CLASS, p.out);
    bool* z = static_cast<bool*>(r->real_data());
    forRanges(p.n, [&](size_t from, size_t to) { p.map(from, to, [&](size_t k, size_t i, size_t j) {
        long double x = readLong(a, i), y = readLong(b, j);
        switch (op) {
        case Binary::Lt: z[k] = x < y; break;
        case Binary::Le: z[k] = x <= y; break;
        case Binary::Gt: z[k] = x > y; break;
        case Binary::Ge: z[k] = x >= y; break;
        case Binary::Eq: z[k] = x == y; break;
        default: z[k] = x != y; break;
        }
    }); });
    return r;
}

ArrayPtr general(Binary op, Broadcast const& p, vxArray const* a, vxArray const* b) {
    vxClassID ca = a->class_id(), cb = b->class_id();
    if (isLogicalOp(op)) return logicalOp(op, p, a, b);
    bool compare = isComparison(op);
    if (compare && (is64Class(ca) || is64Class(cb)) && !isComplex(a) && !isComplex(b)) return compare64(op, p, a, b);
    vxClassID cls = compare ? vxDOUBLE_CLASS : resultClass(ca, cb, opName(op));
    if (is64Class(cls)) return arithmetic64(op, cls, p, a, b);

    std::vector<double> xr, xi, yr, yi;
    toDoubles(a, xr, &xi);
    toDoubles(b, yr, &yi);
    bool complex = !xi.empty() || !yi.empty();
    std::vector<double> zr(p.n), zi;
    if (!complex) {
        std::atomic<bool> needComplex{false};
        forRanges(p.n, [&](size_t from, size_t to) { p.map(from, to, [&](size_t k, size_t i, size_t j) {
            zr[k] = realOp(op, xr[i], yr[j]);
            // A negative base to a fractional power leaves the reals.
            if (op == Binary::Power && xr[i] < 0 && !whole(yr[j]) && std::isfinite(yr[j])) needComplex = true;
        }); });
        complex = needComplex.load();
    }
    if (complex) {
        zi.assign(p.n, 0.0);
        forRanges(p.n, [&](size_t from, size_t to) { p.map(from, to, [&](size_t k, size_t i, size_t j) {
            cplx x(xr[i], xi.empty() ? 0 : xi[i]), y(yr[j], yi.empty() ? 0 : yi[j]);
            cplx z = complexOp(op, x, y);
            zr[k] = z.real();
            zi[k] = z.imag();
        }); });
        if (compare) zi.clear();
    }
    if (cls == vxSINGLE_CLASS && !compare) {
        // Single arithmetic rounds each result to single precision.
        for (double& v : zr) v = static_cast<float>(v);
        for (double& v : zi) v = static_cast<float>(v);
    }
    return fromDoubles(compare ? vxLOGICAL_CLASS : cls, p.out, zr, complex ? &zi : nullptr);
}

// A real power stays real unless a negative base meets a fractional exponent.
bool stayReal(double const* x, size_t nx, double const* y, size_t ny) {
    bool wholeExponents = true;
    for (size_t k = 0; k < ny && wholeExponents; ++k) wholeExponents = whole(y[k]) || !std::isfinite(y[k]);
    if (wholeExponents) return true;
    for (size_t k = 0; k < nx; ++k)
        if (x[k] < 0) return false;
    return true;
}

ArrayPtr elementwise(Binary op, vxArray const* a, vxArray const* b, ArrayPtr& spare) {
    requireArithmetic(a, opName(op));
    requireArithmetic(b, opName(op));
    Broadcast p(dimsOf(a), dimsOf(b));
    if (a->class_id() == vxDOUBLE_CLASS && b->class_id() == vxDOUBLE_CLASS && !isComplex(a) && !isComplex(b)) {
        double const* x = static_cast<double const*>(a->real_data());
        double const* y = static_cast<double const*>(b->real_data());
        if (op == Binary::Power && stayReal(x, a->number_of_elements(), y, b->number_of_elements()))
            return realDoubles<Binary::Power>(p, x, y, spare);
        ArrayPtr r = realDoublesFor(op, p, x, y, spare);
        if (r) return r;
    }
    return general(op, p, a, b);
}

bool isScalarArray(vxArray const* a) { return a->number_of_elements() == 1; }

} // namespace

ArrayPtr binary(Binary op, vxArray const* a, vxArray const* b) { return binary(op, a, b, nullptr); }

ArrayPtr binary(Binary op, vxArray const* a, vxArray const* b, ArrayPtr spare) {
    if (!a || !b) fail("Calyx:missingOperand", "An operand of %s has no value.", opName(op));
    switch (op) {
    case Binary::MTimes:
        if (isScalarArray(a) || isScalarArray(b)) return elementwise(Binary::Times, a, b, spare);
        return matrixProduct(a, b);
    case Binary::MLDivide:
        if (isScalarArray(a) || isScalarArray(b)) return elementwise(Binary::LDivide, a, b, spare);
        return solveLeft(a, b);
    case Binary::MRDivide: {
        if (isScalarArray(a) || isScalarArray(b)) return elementwise(Binary::RDivide, a, b, spare);
        // b / a is (a.' \ b.').'
        ArrayPtr at = transpose(b, false), bt = transpose(a, false);
        ArrayPtr x = solveLeft(at.get(), bt.get());
        return transpose(x.get(), false);
    }
    case Binary::MPower:
        if (isScalarArray(a) && isScalarArray(b)) return elementwise(Binary::Power, a, b, spare);
        if (!isScalarArray(b))
            fail("Calyx:mpowerScalarBase", "A scalar or matrix raised to a matrix power is not supported; use .^ for elementwise power.");
        return matrixPower(a, b);
    default: return elementwise(op, a, b, spare);
    }
}

// ---- unary operators ----

ArrayPtr detail::transpose(vxArray const* a, bool conjugate) {
    Dims d = dimsOf(a);
    if (d.size() > 2) fail("Calyx:transposeND", "Transpose is not defined for N-dimensional arrays (%s).", sizeText(d).c_str());
    size_t m = d[0], n = d[1];
    // The result is n-by-m: element (j, i) is a's (i, j).
    std::vector<size_t> order(m * n);
    for (size_t j = 0; j < n; ++j)
        for (size_t i = 0; i < m; ++i) order[j + i * n] = i + j * m;
    ArrayPtr r = gather(a, {n, m}, order);
    if (conjugate && isComplex(r.get())) {
        std::vector<double> re, im;
        toDoubles(r.get(), re, &im);
        for (double& v : im) v = -v;
        return fromDoubles(r->class_id(), {n, m}, re, &im, true);
    }
    return r;
}

ArrayPtr unary(Unary op, vxArray const* a) {
    if (!a) fail("Calyx:missingOperand", "An operand has no value.");
    switch (op) {
    case Unary::Transpose: return transpose(a, false);
    case Unary::CTranspose: return transpose(a, true);
    case Unary::Not: {
        requireArithmetic(a, "~");
        std::vector<double> re, im;
        toDoubles(a, re, &im);
        ArrayPtr r = makeArray(vxLOGICAL_CLASS, dimsOf(a));
        bool* z = static_cast<bool*>(r->real_data());
        for (size_t k = 0; k < re.size(); ++k) z[k] = !truthOf(re[k], im.empty() ? 0 : im[k], "~");
        return r;
    }
    case Unary::UPlus:
    case Unary::Negate: {
        requireArithmetic(a, op == Unary::Negate ? "-" : "+");
        vxClassID c = a->class_id();
        if (c == vxLOGICAL_CLASS || c == vxCHAR_CLASS) c = vxDOUBLE_CLASS;
        if (op == Unary::UPlus) return convertClass(a, c);
        size_t n = a->number_of_elements();
        if (c == vxINT64_CLASS || c == vxUINT64_CLASS) {
            ArrayPtr r = makeArray(c, dimsOf(a));
            if (c == vxINT64_CLASS) {
                auto s = static_cast<int64_t const*>(a->real_data());
                auto z = static_cast<int64_t*>(r->real_data());
                for (size_t k = 0; k < n; ++k) z[k] = s[k] == INT64_MIN ? INT64_MAX : -s[k];
            }
            return r;  // -uint64 is 0 everywhere
        }
        if (c == vxDOUBLE_CLASS && a->class_id() == vxDOUBLE_CLASS && !isComplex(a)) {
            ArrayPtr r = makeForOverwrite(vxDOUBLE_CLASS, dimsOf(a));
            double const* x = static_cast<double const*>(a->real_data());
            double* z = static_cast<double*>(r->real_data());
            forRanges(n, [&](size_t b, size_t e) {
                for (size_t k = b; k < e; ++k) z[k] = -x[k];
            });
            return r;
        }
        std::vector<double> re, im;
        toDoubles(a, re, &im);
        for (double& v : re) v = -v;
        for (double& v : im) v = -v;
        return fromDoubles(c, dimsOf(a), re, &im, isComplex(a));
    }
    }
    return nullptr;
}

bool isTrue(vxArray const* a) {
    if (!a) fail("Calyx:missingOperand", "A condition has no value.");
    if (!isArithmetic(a->class_id()))
        fail("Calyx:invalidCondition", "A value of class %s cannot be used as a condition.", vxGetClassName(a));
    size_t n = a->number_of_elements();
    if (n == 0) return false;
    if (a->is_sparse()) {
        ArrayPtr full(vxMustBeFull(a));
        return isTrue(full.get());
    }
    bool all = true;
    for (size_t k = 0; k < n; ++k) {
        double v = realAt(a, k);
        if (std::isnan(v)) fail("Calyx:nanToLogical", "NaN values cannot be converted to logical.");
        if (v == 0) all = false;
    }
    return all;
}

}} // namespace qzlang::kernels
