// Reductions along a dimension (the first that is not 1, or the one given):
// sum prod cumsum cumprod max min any all mean median std var, with the rules
// for empty arrays and for the class of the result.
#include "broadcast.hpp"

#include <uv/uv.hpp>

#include <algorithm>
#include <complex>

namespace qzlang { namespace kernels { namespace detail {

namespace {

typedef std::vector<ArrayPtr> Out;
typedef std::vector<vxArray const*> In;

// Element (b, j, a) of the reduced dimension j is at b + j*before + a*before*len.
struct Layout {
    size_t before = 1, len = 1, after = 1;
    Dims out;  // the size with the reduced dimension set to 1
    Dims in;
    size_t dim = 0;
};

Layout layoutFor(vxArray const* a, size_t dim) {
    Layout l;
    l.in = dimsOf(a);
    l.dim = dim;
    Dims d = l.in;
    if (dim >= d.size()) {
        // Along a dimension beyond the last: every slice is one element.
        l.before = countOf(d);
        l.out = d;
        return l;
    }
    for (size_t k = 0; k < dim; ++k) l.before *= d[k];
    l.len = d[dim];
    for (size_t k = dim + 1; k < d.size(); ++k) l.after *= d[k];
    l.out = d;
    l.out[dim] = 1;
    return l;
}

size_t dimArg(In const& in, size_t index, vxArray const* a, char const* fname) {
    if (in.size() > index) {
        size_t d = countArg(in[index], fname, "the dimension");
        if (d == 0) fail("Calyx:invalidDimension", "%s needs a dimension of 1 or more.", fname);
        return d - 1;
    }
    return firstNonSingleton(dimsOf(a));
}

bool isZeroByZero(vxArray const* a) {
    Dims d = dimsOf(a);
    return d.size() == 2 && d[0] == 0 && d[1] == 0;
}

vxClassID numberClass(vxArray const* a) {
    vxClassID c = a->class_id();
    return (c == vxLOGICAL_CLASS || c == vxCHAR_CLASS) ? vxDOUBLE_CLASS : c;
}

// A contiguous sum in blocks of fixed size, so that the result does not
// depend on the thread count; four lanes inside a block.
double fastSum(double const* x, size_t n) {
    size_t const block = 1 << 15;
    size_t blocks = (n + block - 1) / block;
    std::vector<double> partial(blocks, 0.0);
    forRanges(blocks, [&](size_t b, size_t e) {
        for (size_t k = b; k < e; ++k) {
            double const* p = x + k * block;
            size_t m = std::min(block, n - k * block), i = 0;
            double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
            for (; i + 4 <= m; i += 4) s0 += p[i], s1 += p[i + 1], s2 += p[i + 2], s3 += p[i + 3];
            for (; i < m; ++i) s0 += p[i];
            partial[k] = (s0 + s1) + (s2 + s3);
        }
    }, 4);
    double s = 0;
    for (double v : partial) s += v;
    return s;
}

enum class Acc { Sum, Prod };

void sumOrProd(Acc kind, Out& out, In const& in, char const* fname) {
    vxArray const* a = in[0];
    requireArithmetic(a, fname);
    vxClassID cls = numberClass(a);
    if (in.size() < 2 && isZeroByZero(a)) {
        out.push_back(fromDoubles(cls, {1, 1}, {kind == Acc::Sum ? 0.0 : 1.0}, nullptr));
        return;
    }
    Layout l = layoutFor(a, dimArg(in, 1, a, fname));
    size_t n = l.before * l.after;
    if (kind == Acc::Sum && a->class_id() == vxDOUBLE_CLASS && !isComplex(a) && l.before == 1) {
        ArrayPtr r = makeDouble(l.out);
        double const* x = static_cast<double const*>(a->real_data());
        double* z = static_cast<double*>(r->real_data());
        for (size_t k = 0; k < n; ++k) z[k] = fastSum(x + k * l.len, l.len);
        out.push_back(std::move(r));
        return;
    }
    if (kind == Acc::Sum && is64Class(cls) && !isComplex(a)) {
        // 64-bit sums are exact: 128-bit accumulators, saturated once at the end.
        ArrayPtr r = makeArray(cls, l.out);
        std::vector<__int128> acc(n, 0);
        bool isSigned = cls == vxINT64_CLASS;
        for (size_t o = 0; o < l.after; ++o)
            for (size_t j = 0; j < l.len; ++j)
                for (size_t b = 0; b < l.before; ++b) {
                    size_t src = b + j * l.before + o * l.before * l.len;
                    acc[b + o * l.before] += isSigned ? __int128(static_cast<int64_t const*>(a->real_data())[src])
                                                      : __int128(static_cast<uint64_t const*>(a->real_data())[src]);
                }
        for (size_t k = 0; k < n; ++k) {
            __int128 v = acc[k];
            if (isSigned) static_cast<int64_t*>(r->real_data())[k] = v > INT64_MAX ? INT64_MAX : (v < INT64_MIN ? INT64_MIN : int64_t(v));
            else static_cast<uint64_t*>(r->real_data())[k] = v > __int128(UINT64_MAX) ? UINT64_MAX : uint64_t(v);
        }
        out.push_back(std::move(r));
        return;
    }
    std::vector<double> re, im;
    toDoubles(a, re, &im);
    bool complex = !im.empty();
    std::vector<double> zr(n, kind == Acc::Sum ? 0.0 : 1.0), zi(complex ? n : 0, 0.0);
    for (size_t o = 0; o < l.after; ++o, uvLongjmpIfInterruptPending())
        for (size_t j = 0; j < l.len; ++j)
            for (size_t b = 0; b < l.before; ++b) {
                size_t src = b + j * l.before + o * l.before * l.len, dst = b + o * l.before;
                if (kind == Acc::Sum) {
                    zr[dst] += re[src];
                    if (complex) zi[dst] += im[src];
                } else if (complex) {
                    std::complex<double> z = std::complex<double>(zr[dst], zi[dst]) * std::complex<double>(re[src], im[src]);
                    zr[dst] = z.real(), zi[dst] = z.imag();
                } else zr[dst] *= re[src];
            }
    if (cls == vxSINGLE_CLASS)
        for (double& v : zr) v = float(v);
    out.push_back(fromDoubles(cls, l.out, zr, complex ? &zi : nullptr));
}

void fnSum(int, Out& out, In const& in) { sumOrProd(Acc::Sum, out, in, "sum"); }
void fnProd(int, Out& out, In const& in) { sumOrProd(Acc::Prod, out, in, "prod"); }

void cumulative(Acc kind, Out& out, In const& in, char const* fname) {
    vxArray const* a = in[0];
    requireArithmetic(a, fname);
    vxClassID cls = numberClass(a);
    Layout l = layoutFor(a, dimArg(in, 1, a, fname));
    std::vector<double> re, im;
    toDoubles(a, re, &im);
    bool complex = !im.empty();
    for (size_t o = 0; o < l.after; ++o)
        for (size_t j = 1; j < l.len; ++j)
            for (size_t b = 0; b < l.before; ++b) {
                size_t at = b + j * l.before + o * l.before * l.len, prev = at - l.before;
                if (kind == Acc::Sum) {
                    re[at] += re[prev];
                    if (complex) im[at] += im[prev];
                } else if (complex) {
                    std::complex<double> z = std::complex<double>(re[prev], im[prev]) * std::complex<double>(re[at], im[at]);
                    re[at] = z.real(), im[at] = z.imag();
                } else re[at] *= re[prev];
            }
    out.push_back(fromDoubles(cls, l.in, re, complex ? &im : nullptr));
}

void fnCumsum(int, Out& out, In const& in) { cumulative(Acc::Sum, out, in, "cumsum"); }
void fnCumprod(int, Out& out, In const& in) { cumulative(Acc::Prod, out, in, "cumprod"); }

enum class Truth { Any, All };
template <Truth T> void fnTruth(int, Out& out, In const& in) {
    char const* fname = T == Truth::Any ? "any" : "all";
    vxArray const* a = in[0];
    requireArithmetic(a, fname);
    if (in.size() < 2 && isZeroByZero(a)) {
        out.push_back(scalarLogical(T == Truth::All));
        return;
    }
    Layout l = layoutFor(a, dimArg(in, 1, a, fname));
    ArrayPtr r = makeArray(vxLOGICAL_CLASS, l.out);
    bool* z = static_cast<bool*>(r->real_data());
    for (size_t o = 0; o < l.after; ++o)
        for (size_t b = 0; b < l.before; ++b) {
            bool acc = T == Truth::All;
            for (size_t j = 0; j < l.len; ++j) {
                size_t src = b + j * l.before + o * l.before * l.len;
                double x = realAt(a, src), y = imagAt(a, src);
                // any passes over NaN; all counts it as nonzero.
                bool nonzero = T == Truth::Any ? ((x != 0 && !std::isnan(x)) || (y != 0 && !std::isnan(y))) : (x != 0 || y != 0);
                if (T == Truth::Any && nonzero) acc = true;
                if (T == Truth::All && !nonzero) acc = false;
            }
            z[b + o * l.before] = acc;
        }
    out.push_back(std::move(r));
}

// Each slice along the dimension, as doubles, handed to `f`; the results
// (one per slice) form the output.
template <class F> ArrayPtr perSlice(vxArray const* a, Layout const& l, vxClassID cls, F f) {
    std::vector<double> re;
    toDoubles(a, re);
    size_t n = l.before * l.after;
    std::vector<double> z(n), slice(l.len);
    for (size_t o = 0; o < l.after; ++o) {
        for (size_t b = 0; b < l.before; ++b) {
            for (size_t j = 0; j < l.len; ++j) slice[j] = re[b + j * l.before + o * l.before * l.len];
            z[b + o * l.before] = f(slice);
        }
        uvLongjmpIfInterruptPending();
    }
    return fromDoubles(cls, l.out, z, nullptr);
}

vxClassID meanClass(vxArray const* a) { return a->class_id() == vxSINGLE_CLASS ? vxSINGLE_CLASS : vxDOUBLE_CLASS; }

void fnMean(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    requireArithmetic(a, "mean");
    if (in.size() < 2 && isZeroByZero(a)) {
        out.push_back(fromDoubles(meanClass(a), {1, 1}, {NAN}, nullptr));
        return;
    }
    Layout l = layoutFor(a, dimArg(in, 1, a, "mean"));
    if (isComplex(a)) {
        std::vector<ArrayPtr> s;
        sumOrProd(Acc::Sum, s, in, "mean");
        ArrayPtr div = scalarDouble(double(l.len));
        out.push_back(binary(Binary::RDivide, convertClass(s[0].get(), meanClass(a)).get(), div.get()));
        return;
    }
    out.push_back(perSlice(a, l, meanClass(a), [](std::vector<double> const& v) {
        double s = 0;
        for (double x : v) s += x;
        return v.empty() ? NAN : s / double(v.size());
    }));
}

void fnMedian(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    requireArithmetic(a, "median");
    if (isComplex(a)) fail("Calyx:complexArgument", "median needs real values.");
    if (in.size() < 2 && isZeroByZero(a)) {
        out.push_back(fromDoubles(meanClass(a), {1, 1}, {NAN}, nullptr));
        return;
    }
    Layout l = layoutFor(a, dimArg(in, 1, a, "median"));
    out.push_back(perSlice(a, l, meanClass(a), [](std::vector<double> v) {
        if (v.empty()) return double(NAN);
        for (double x : v)
            if (std::isnan(x)) return double(NAN);
        size_t h = v.size() / 2;
        std::nth_element(v.begin(), v.begin() + h, v.end());
        double hi = v[h];
        if (v.size() % 2) return hi;
        double lo = *std::max_element(v.begin(), v.begin() + h);
        return lo + (hi - lo) / 2;
    }));
}

template <bool Sqrt> void fnVar(int, Out& out, In const& in) {
    char const* fname = Sqrt ? "std" : "var";
    vxArray const* a = in[0];
    requireArithmetic(a, fname);
    if (isComplex(a)) fail("Calyx:complexArgument", "%s needs real values here.", fname);
    double w = 0;
    if (in.size() > 1 && in[1]->number_of_elements() != 0) {
        w = scalarArg(in[1], fname, "the weight");
        if (w != 0 && w != 1) fail("Calyx:invalidWeight", "%s takes a weight of 0 or 1.", fname);
    }
    if (in.size() < 3 && isZeroByZero(a)) {
        out.push_back(fromDoubles(meanClass(a), {1, 1}, {NAN}, nullptr));
        return;
    }
    Layout l = layoutFor(a, dimArg(in, 2, a, fname));
    out.push_back(perSlice(a, l, meanClass(a), [w](std::vector<double> const& v) {
        size_t n = v.size();
        if (n == 0) return double(NAN);
        if (n == 1) return std::isfinite(v[0]) ? 0.0 : double(NAN);
        double m = 0;
        for (double x : v) m += x;
        m /= double(n);
        double s = 0;
        for (double x : v) s += (x - m) * (x - m);
        double r = s / (w == 1 ? double(n) : double(n - 1));
        return Sqrt ? std::sqrt(r) : r;
    }));
}

// max and min: along a dimension with the index of the first extreme, or
// elementwise between two arrays. NaN loses unless all are NaN; complex
// values compare by magnitude.
template <bool Max> void fnExtreme(int nargout, Out& out, In const& in) {
    char const* fname = Max ? "max" : "min";
    vxArray const* a = in[0];
    requireArithmetic(a, fname);
    auto better = [](double x, double y) { return Max ? x > y : x < y; };
    if (in.size() >= 2 && in[1]->number_of_elements() != 0) {
        if (in.size() > 2) fail("Calyx:extremeArgs", "%s of two arrays takes no dimension.", fname);
        if (nargout > 1) fail("Calyx:tooManyOutputs", "%s of two arrays gives one output.", fname);
        vxArray const* b = in[1];
        requireArithmetic(b, fname);
        if (isComplex(a) || isComplex(b)) fail("Calyx:complexArgument", "%s of two complex arrays is not supported here.", fname);
        vxClassID cls = resultClass(a->class_id(), b->class_id(), fname);
        Broadcast p(dimsOf(a), dimsOf(b));
        std::vector<double> x, y, z(p.n);
        toDoubles(a, x);
        toDoubles(b, y);
        p.map(0, p.n, [&](size_t k, size_t i, size_t j) {
            double u = x[i], v = y[j];
            z[k] = std::isnan(u) ? v : (std::isnan(v) ? u : (better(v, u) ? v : u));
        });
        out.push_back(fromDoubles(cls, p.out, z, nullptr));
        return;
    }
    if (in.size() == 2 && !(isArithmetic(in[1]->class_id()))) fail("Calyx:extremeArgs", "%s: the second argument must be [] or an array.", fname);
    vxClassID cls = numberClass(a);
    if (in.size() < 3 && isZeroByZero(a)) {
        out.push_back(makeArray(cls, {0, 0}));
        if (nargout > 1) out.push_back(makeDouble({0, 0}));
        return;
    }
    Layout l = layoutFor(a, dimArg(in, 2, a, fname));
    Dims od = l.out;
    if (l.len == 0 && l.dim < od.size()) od[l.dim] = 0;
    size_t n = l.len == 0 ? 0 : l.before * l.after;
    std::vector<double> re, im;
    toDoubles(a, re, &im);
    bool complex = !im.empty();
    std::vector<double> zr(n), zi(complex ? n : 0), idx(n);
    for (size_t o = 0; o < l.after && n; ++o)
        for (size_t b = 0; b < l.before; ++b) {
            size_t bestJ = 0;
            double best = NAN;
            for (size_t j = 0; j < l.len; ++j) {
                size_t s = b + j * l.before + o * l.before * l.len;
                double key = complex ? std::hypot(re[s], im[s]) : re[s];
                if (std::isnan(key)) continue;
                if (std::isnan(best) || better(key, best)) best = key, bestJ = j;
            }
            size_t s = b + bestJ * l.before + o * l.before * l.len, d = b + o * l.before;
            zr[d] = re[s];
            if (complex) zi[d] = im[s];
            idx[d] = double(bestJ + 1);
        }
    if (is64Class(cls) && !complex) {
        // 64-bit values are copied, not passed through double.
        ArrayPtr r = makeArray(cls, od);
        size_t es = a->element_size();
        for (size_t o = 0, d = 0; o < l.after && n; ++o)
            for (size_t b = 0; b < l.before; ++b, ++d) {
                size_t s = b + (size_t(idx[d]) - 1) * l.before + o * l.before * l.len;
                std::memcpy(static_cast<char*>(r->real_data()) + d * es, static_cast<char const*>(a->real_data()) + s * es, es);
            }
        out.push_back(std::move(r));
    } else
        out.push_back(fromDoubles(cls, od, zr, complex ? &zi : nullptr, complex));
    if (nargout > 1) out.push_back(fromDoubles(vxDOUBLE_CLASS, od, idx, nullptr));
}

} // namespace

void addReductions(Table& t) {
    t.insert(t.end(), {
        {"sum", fnSum, 1, 2, 1},         {"prod", fnProd, 1, 2, 1},        {"cumsum", fnCumsum, 1, 2, 1},
        {"cumprod", fnCumprod, 1, 2, 1}, {"any", fnTruth<Truth::Any>, 1, 2, 1}, {"all", fnTruth<Truth::All>, 1, 2, 1},
        {"mean", fnMean, 1, 2, 1},       {"median", fnMedian, 1, 2, 1},    {"std", fnVar<true>, 1, 3, 1},
        {"var", fnVar<false>, 1, 3, 1},  {"max", fnExtreme<true>, 1, 3, 2}, {"min", fnExtreme<false>, 1, 3, 2},
    });
}

}}} // namespace qzlang::kernels::detail
