// Elementwise mathematical functions. Real arguments give real results
// except where the value leaves the reals (sqrt and log of negatives, asin
// and acos beyond [-1, 1]); single stays single; integers keep their class
// for the functions that can (abs, sign, rounding, mod, rem) and are refused
// by the transcendental ones.
#include "broadcast.hpp"

#include <complex>

namespace qzlang { namespace kernels { namespace detail {

namespace {

typedef std::vector<ArrayPtr> Out;
typedef std::vector<vxArray const*> In;
typedef std::complex<double> cplx;

struct MathFn {
    char const* name;
    double (*real)(double);
    cplx (*complex)(cplx);
    bool (*leavesReals)(double);  // null: never
    bool keepsIntegers;
};

double sgn(double x) { return x > 0 ? 1 : (x < 0 ? -1 : (x == 0 ? 0 : x)); }
double fixd(double x) { return std::trunc(x); }
double roundd(double x) { return std::round(x); }
cplx csgn(cplx z) { return std::abs(z) == 0 ? cplx(0, 0) : z / std::abs(z); }
cplx cfloor(cplx z) { return cplx(std::floor(z.real()), std::floor(z.imag())); }
cplx cceil(cplx z) { return cplx(std::ceil(z.real()), std::ceil(z.imag())); }
cplx cround(cplx z) { return cplx(std::round(z.real()), std::round(z.imag())); }
cplx cfix(cplx z) { return cplx(std::trunc(z.real()), std::trunc(z.imag())); }
cplx clog2(cplx z) { return std::log(z) / std::log(2.0); }
bool negative(double x) { return x < 0; }
bool outsideUnit(double x) { return x < -1 || x > 1; }

MathFn const mathFns[] = {
    {"sqrt", [](double x) { return std::sqrt(x); }, [](cplx z) { return std::sqrt(z); }, negative, false},
    {"exp", [](double x) { return std::exp(x); }, [](cplx z) { return std::exp(z); }, nullptr, false},
    {"log", [](double x) { return std::log(x); }, [](cplx z) { return std::log(z); }, negative, false},
    {"log2", [](double x) { return std::log2(x); }, clog2, negative, false},
    {"log10", [](double x) { return std::log10(x); }, [](cplx z) { return std::log10(z); }, negative, false},
    {"sin", [](double x) { return std::sin(x); }, [](cplx z) { return std::sin(z); }, nullptr, false},
    {"cos", [](double x) { return std::cos(x); }, [](cplx z) { return std::cos(z); }, nullptr, false},
    {"tan", [](double x) { return std::tan(x); }, [](cplx z) { return std::tan(z); }, nullptr, false},
    {"asin", [](double x) { return std::asin(x); }, [](cplx z) { return std::asin(z); }, outsideUnit, false},
    {"acos", [](double x) { return std::acos(x); }, [](cplx z) { return std::acos(z); }, outsideUnit, false},
    {"atan", [](double x) { return std::atan(x); }, [](cplx z) { return std::atan(z); }, nullptr, false},
    {"sinh", [](double x) { return std::sinh(x); }, [](cplx z) { return std::sinh(z); }, nullptr, false},
    {"cosh", [](double x) { return std::cosh(x); }, [](cplx z) { return std::cosh(z); }, nullptr, false},
    {"tanh", [](double x) { return std::tanh(x); }, [](cplx z) { return std::tanh(z); }, nullptr, false},
    {"floor", [](double x) { return std::floor(x); }, cfloor, nullptr, true},
    {"ceil", [](double x) { return std::ceil(x); }, cceil, nullptr, true},
    {"round", roundd, cround, nullptr, true},
    {"fix", fixd, cfix, nullptr, true},
    {"sign", sgn, csgn, nullptr, true},
};

ArrayPtr applyMath(MathFn const& f, vxArray const* a) {
    requireArithmetic(a, f.name);
    vxClassID c = a->class_id();
    if (isIntClass(c) && !f.keepsIntegers)
        fail("Calyx:integerArgument", "%s is not defined for values of class %s.", f.name, vxGetClassName(a));
    vxClassID cls = (c == vxLOGICAL_CLASS || c == vxCHAR_CLASS) ? vxDOUBLE_CLASS : c;
    size_t n = a->number_of_elements();
    Dims d = dimsOf(a);
    if (isIntClass(c)) {
        // Whole numbers stay whole: the rounding functions change nothing.
        if (f.real != sgn) return ArrayPtr(copyArray(a));
        std::vector<double> re, im;
        toDoubles(a, re, &im);
        for (double& v : re) v = f.real(v);
        return fromDoubles(cls, d, re, &im, isComplex(a));
    }
    if (c == vxDOUBLE_CLASS && !isComplex(a)) {
        double const* x = static_cast<double const*>(a->real_data());
        bool leaves = false;
        if (f.leavesReals)
            for (size_t k = 0; k < n && !leaves; ++k) leaves = f.leavesReals(x[k]);
        if (!leaves) {
            ArrayPtr r = makeForOverwrite(vxDOUBLE_CLASS, d);
            double* z = static_cast<double*>(r->real_data());
            forRanges(n, [&](size_t b, size_t e) {
                for (size_t k = b; k < e; ++k) z[k] = f.real(x[k]);
            }, 1 << 13);
            return r;
        }
    }
    std::vector<double> re, im;
    toDoubles(a, re, &im);
    bool complex = !im.empty();
    if (!complex && f.leavesReals)
        for (double v : re)
            if (f.leavesReals(v)) {
                complex = true;
                break;
            }
    if (complex) {
        im.resize(n, 0.0);
        for (size_t k = 0; k < n; ++k) {
            cplx z = f.complex(cplx(re[k], im[k]));
            re[k] = z.real();
            im[k] = z.imag();
        }
    } else
        for (double& v : re) v = f.real(v);
    if (cls == vxSINGLE_CLASS) {
        for (double& v : re) v = float(v);
        for (double& v : im) v = float(v);
    }
    return fromDoubles(cls, d, re, complex ? &im : nullptr);
}

template <int I> void fnMath(int, Out& out, In const& in) { out.push_back(applyMath(mathFns[I], in[0])); }

// Parts of complex numbers.
enum class Part { Abs, Real, Imag, Conj, Angle };
template <Part P> void fnPart(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    requireArithmetic(a, "abs");
    vxClassID c = a->class_id();
    vxClassID cls = (c == vxLOGICAL_CLASS || c == vxCHAR_CLASS) ? vxDOUBLE_CLASS : c;
    if (P == Part::Angle && isIntClass(c)) fail("Calyx:integerArgument", "angle is not defined for integer classes.");
    std::vector<double> re, im;
    toDoubles(a, re, &im);
    im.resize(re.size(), 0.0);
    std::vector<double> r(re.size()), i(re.size(), 0.0);
    bool keep = false;
    for (size_t k = 0; k < re.size(); ++k) switch (P) {
        case Part::Abs: r[k] = im[k] == 0 ? std::fabs(re[k]) : std::hypot(re[k], im[k]); break;
        case Part::Real: r[k] = re[k]; break;
        case Part::Imag: r[k] = im[k]; break;
        case Part::Conj: r[k] = re[k], i[k] = -im[k], keep = isComplex(a); break;
        case Part::Angle: r[k] = std::atan2(im[k], re[k]); break;
        }
    if (P == Part::Abs && cls == vxINT64_CLASS && !isComplex(a)) {
        ArrayPtr out64 = makeArray(cls, dimsOf(a));
        auto s = static_cast<int64_t const*>(a->real_data());
        auto z = static_cast<int64_t*>(out64->real_data());
        for (size_t k = 0; k < re.size(); ++k) z[k] = s[k] == INT64_MIN ? INT64_MAX : (s[k] < 0 ? -s[k] : s[k]);
        out.push_back(std::move(out64));
        return;
    }
    if ((P == Part::Real || P == Part::Conj) && is64Class(c) && !isComplex(a)) {
        out.push_back(ArrayPtr(copyArray(a)));
        return;
    }
    out.push_back(fromDoubles(cls, dimsOf(a), r, &i, keep));
}

enum class Test { Nan, Inf, Finite };
template <Test T> void fnTest(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    requireArithmetic(a, "isnan");
    ArrayPtr r = makeArray(vxLOGICAL_CLASS, dimsOf(a));
    bool* z = static_cast<bool*>(r->real_data());
    for (size_t k = 0; k < a->number_of_elements(); ++k) {
        double x = realAt(a, k), y = imagAt(a, k);
        switch (T) {
        case Test::Nan: z[k] = std::isnan(x) || std::isnan(y); break;
        case Test::Inf: z[k] = std::isinf(x) || std::isinf(y); break;
        case Test::Finite: z[k] = std::isfinite(x) && std::isfinite(y); break;
        }
    }
    out.push_back(std::move(r));
}

// Two-argument functions with expansion.
enum class Two { Mod, Rem, Atan2, Hypot };

double twoOp(Two op, double x, double y) {
    switch (op) {
    case Two::Mod: {
        if (y == 0) return x;
        if (std::isinf(x)) return NAN;
        if (std::isinf(y)) return (x == 0 || (x < 0) == (y < 0)) ? x : y;
        double r = std::fmod(x, y);
        if (r != 0 && ((r < 0) != (y < 0))) r += y;
        return r;
    }
    case Two::Rem:
        if (y == 0 || std::isinf(x)) return NAN;
        if (std::isinf(y)) return x;
        return std::fmod(x, y);
    case Two::Atan2: return std::atan2(x, y);
    default: return std::hypot(x, y);
    }
}

template <Two T> void fnTwo(int, Out& out, In const& in) {
    static char const* const names[] = {"mod", "rem", "atan2", "hypot"};
    char const* name = names[int(T)];
    requireArithmetic(in[0], name);
    requireArithmetic(in[1], name);
    if (isComplex(in[0]) || isComplex(in[1])) fail("Calyx:complexArgument", "%s needs real arguments.", name);
    vxClassID cls = resultClass(in[0]->class_id(), in[1]->class_id(), name);
    if ((T == Two::Atan2 || T == Two::Hypot) && isIntClass(cls))
        fail("Calyx:integerArgument", "%s is not defined for integer classes.", name);
    Broadcast p(dimsOf(in[0]), dimsOf(in[1]));
    std::vector<double> x, y, z(p.n);
    toDoubles(in[0], x);
    toDoubles(in[1], y);
    if (isIntClass(cls) && T == Two::Rem)
        p.map(0, p.n, [&](size_t k, size_t i, size_t j) { z[k] = y[j] == 0 ? 0 : twoOp(T, x[i], y[j]); });
    else
        p.map(0, p.n, [&](size_t k, size_t i, size_t j) { z[k] = twoOp(T, x[i], y[j]); });
    out.push_back(fromDoubles(cls, p.out, z, nullptr));
}

void fnComplex(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    requireArithmetic(a, "complex");
    if (in.size() == 1) {
        std::vector<double> re, im;
        toDoubles(a, re, &im);
        im.resize(re.size(), 0.0);
        vxClassID c = a->class_id();
        out.push_back(fromDoubles((c == vxLOGICAL_CLASS || c == vxCHAR_CLASS) ? vxDOUBLE_CLASS : c, dimsOf(a), re, &im, true));
        return;
    }
    requireArithmetic(in[1], "complex");
    if (isComplex(a) || isComplex(in[1])) fail("Calyx:complexArgument", "complex needs real arguments.");
    vxClassID cls = resultClass(a->class_id(), in[1]->class_id(), "complex");
    Broadcast p(dimsOf(a), dimsOf(in[1]));
    std::vector<double> x, y, re(p.n), im(p.n);
    toDoubles(a, x);
    toDoubles(in[1], y);
    p.map(0, p.n, [&](size_t k, size_t i, size_t j) { re[k] = x[i], im[k] = y[j]; });
    out.push_back(fromDoubles(cls, p.out, re, &im, true));
}

} // namespace

void addMath(Table& t) {
    t.insert(t.end(), {
        {"sqrt", fnMath<0>, 1, 1, 1},  {"exp", fnMath<1>, 1, 1, 1},   {"log", fnMath<2>, 1, 1, 1},
        {"log2", fnMath<3>, 1, 1, 1},  {"log10", fnMath<4>, 1, 1, 1}, {"sin", fnMath<5>, 1, 1, 1},
        {"cos", fnMath<6>, 1, 1, 1},   {"tan", fnMath<7>, 1, 1, 1},   {"asin", fnMath<8>, 1, 1, 1},
        {"acos", fnMath<9>, 1, 1, 1},  {"atan", fnMath<10>, 1, 1, 1}, {"sinh", fnMath<11>, 1, 1, 1},
        {"cosh", fnMath<12>, 1, 1, 1}, {"tanh", fnMath<13>, 1, 1, 1}, {"floor", fnMath<14>, 1, 1, 1},
        {"ceil", fnMath<15>, 1, 1, 1}, {"round", fnMath<16>, 1, 1, 1}, {"fix", fnMath<17>, 1, 1, 1},
        {"sign", fnMath<18>, 1, 1, 1},
        {"abs", fnPart<Part::Abs>, 1, 1, 1},     {"real", fnPart<Part::Real>, 1, 1, 1},
        {"imag", fnPart<Part::Imag>, 1, 1, 1},   {"conj", fnPart<Part::Conj>, 1, 1, 1},
        {"angle", fnPart<Part::Angle>, 1, 1, 1},
        {"isnan", fnTest<Test::Nan>, 1, 1, 1},   {"isinf", fnTest<Test::Inf>, 1, 1, 1},
        {"isfinite", fnTest<Test::Finite>, 1, 1, 1},
        {"mod", fnTwo<Two::Mod>, 2, 2, 1},       {"rem", fnTwo<Two::Rem>, 2, 2, 1},
        {"atan2", fnTwo<Two::Atan2>, 2, 2, 1},   {"hypot", fnTwo<Two::Hypot>, 2, 2, 1},
        {"complex", fnComplex, 1, 2, 1},
    });
}

}}} // namespace qzlang::kernels::detail
