// Linear algebra through BLAS and LAPACK: the matrix product, solving
// (LU for square systems, least squares otherwise), integer matrix powers,
// and inv, det, rank, norm, eig, svd, trace, kron, dot, cross.
//
// The array library keeps complex data as two blocks (real, imaginary);
// BLAS and LAPACK want them interleaved, so complex work goes through a copy.
#include "internal.hpp"

#include <uv/uv.hpp>

#include <cblas.h>
#include <lapacke.h>

#include <algorithm>
#include <complex>
#include <limits>

namespace qzlang { namespace kernels { namespace detail {

namespace {

typedef std::complex<double> cplx;
typedef lapack_int li;

// A 2-D matrix as doubles, with its class of result remembered.
struct Mat {
    size_t m = 0, n = 0;
    std::vector<double> re, im;  // im empty for real
    bool complex() const { return !im.empty(); }
    std::vector<cplx> interleaved() const {
        std::vector<cplx> z(re.size());
        for (size_t k = 0; k < z.size(); ++k) z[k] = cplx(re[k], im.empty() ? 0 : im[k]);
        return z;
    }
    void setInterleaved(std::vector<cplx> const& z) {
        re.resize(z.size());
        im.resize(z.size());
        for (size_t k = 0; k < z.size(); ++k) re[k] = z[k].real(), im[k] = z[k].imag();
    }
};

Mat readMatrix(vxArray const* a, char const* fname) {
    requireArithmetic(a, fname);
    if (isIntClass(a->class_id()))
        fail("Calyx:integerLinearAlgebra", "%s is not supported for integer classes unless one operand is a scalar.", fname);
    Dims d = dimsOf(a);
    if (d.size() > 2) fail("Calyx:notMatrix", "%s needs 2-D matrices, not %s.", fname, sizeText(d).c_str());
    Mat m;
    m.m = d[0];
    m.n = d[1];
    toDoubles(a, m.re, &m.im);
    return m;
}

vxClassID floatClass(vxArray const* a, vxArray const* b = nullptr) {
    if (a->class_id() == vxSINGLE_CLASS || (b && b->class_id() == vxSINGLE_CLASS)) return vxSINGLE_CLASS;
    return vxDOUBLE_CLASS;
}

ArrayPtr toArray(Mat const& m, vxClassID cls) {
    return fromDoubles(cls, {m.m, m.n}, m.re, m.complex() ? &m.im : nullptr);
}

li ld(size_t v) { return static_cast<li>(std::max<size_t>(1, v)); }

void checkLapack(li info, char const* what) {
    if (info < 0) fail("Calyx:lapack", "%s failed: argument %d was invalid.", what, int(-info));
}

void warnSingular() { vxWarningMsgId("Calyx:singularMatrix", "Matrix is singular to working precision."); }
void warnBadlyConditioned(double rcond) {
    vxWarningMsgId("Calyx:nearlySingularMatrix",
                   "Matrix is close to singular or badly scaled. Results may be inaccurate. RCOND = %e.", rcond);
}

double oneNorm(Mat const& a) {
    double best = 0;
    for (size_t j = 0; j < a.n; ++j) {
        double s = 0;
        for (size_t i = 0; i < a.m; ++i) s += std::hypot(a.re[i + j * a.m], a.complex() ? a.im[i + j * a.m] : 0);
        if (s > best || std::isnan(s)) best = s;
    }
    return best;
}

// Singular values, largest first.
std::vector<double> singularValues(Mat a) {
    size_t k = std::min(a.m, a.n);
    std::vector<double> s(k);
    if (k == 0) return s;
    li info;
    if (a.complex()) {
        std::vector<cplx> z = a.interleaved();
        info = LAPACKE_zgesdd(LAPACK_COL_MAJOR, 'N', li(a.m), li(a.n), reinterpret_cast<lapack_complex_double*>(z.data()),
                              ld(a.m), s.data(), nullptr, 1, nullptr, 1);
    } else {
        info = LAPACKE_dgesdd(LAPACK_COL_MAJOR, 'N', li(a.m), li(a.n), a.re.data(), ld(a.m), s.data(), nullptr, 1, nullptr, 1);
    }
    checkLapack(info, "svd");
    if (info > 0) fail("Calyx:svdNoConvergence", "svd did not converge.");
    return s;
}

Mat identity(size_t n) {
    Mat e;
    e.m = e.n = n;
    e.re.assign(n * n, 0.0);
    for (size_t k = 0; k < n; ++k) e.re[k * n + k] = 1;
    return e;
}

// Inverse of a square matrix; warns as the solver does.
Mat inverse(Mat a) {
    size_t n = a.n;
    if (n == 0) return a;
    std::vector<li> piv(n);
    double anorm = oneNorm(a), rcond = 0;
    li info;
    if (a.complex()) {
        std::vector<cplx> z = a.interleaved();
        auto* p = reinterpret_cast<lapack_complex_double*>(z.data());
        info = LAPACKE_zgetrf(LAPACK_COL_MAJOR, li(n), li(n), p, li(n), piv.data());
        checkLapack(info, "inv");
        if (info == 0) {
            LAPACKE_zgecon(LAPACK_COL_MAJOR, '1', li(n), p, li(n), anorm, &rcond);
            info = LAPACKE_zgetri(LAPACK_COL_MAJOR, li(n), p, li(n), piv.data());
        }
        if (info == 0) a.setInterleaved(z);
    } else {
        info = LAPACKE_dgetrf(LAPACK_COL_MAJOR, li(n), li(n), a.re.data(), li(n), piv.data());
        checkLapack(info, "inv");
        if (info == 0) {
            LAPACKE_dgecon(LAPACK_COL_MAJOR, '1', li(n), a.re.data(), li(n), anorm, &rcond);
            info = LAPACKE_dgetri(LAPACK_COL_MAJOR, li(n), a.re.data(), li(n), piv.data());
        }
    }
    if (info > 0) {
        warnSingular();
        a.re.assign(n * n, INFINITY);
        a.im.clear();
    } else if (rcond < std::numeric_limits<double>::epsilon()) {
        warnBadlyConditioned(rcond);
    }
    return a;
}

Mat product(Mat const& a, Mat const& b) {
    Mat c;
    c.m = a.m;
    c.n = b.n;
    if (a.complex() || b.complex()) {
        std::vector<cplx> x = a.interleaved(), y = b.interleaved(), z(c.m * c.n);
        cplx one(1, 0), zero(0, 0);
        cblas_zgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, int(a.m), int(b.n), int(a.n), &one, x.data(), int(ld(a.m)),
                    y.data(), int(ld(b.m)), &zero, z.data(), int(ld(c.m)));
        c.setInterleaved(z);
    } else {
        c.re.assign(c.m * c.n, 0.0);
        if (c.m && c.n && a.n)
            cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, int(a.m), int(b.n), int(a.n), 1.0, a.re.data(), int(ld(a.m)),
                        b.re.data(), int(ld(b.m)), 0.0, c.re.data(), int(ld(c.m)));
    }
    return c;
}

} // namespace

ArrayPtr matrixProduct(vxArray const* a, vxArray const* b) {
    requireArithmetic(a, "*");
    requireArithmetic(b, "*");
    if (isIntClass(a->class_id()) || isIntClass(b->class_id()))
        fail("Calyx:integerMatrixProduct", "Matrix products of integer arrays need one scalar operand; use .* for elementwise products.");
    Dims da = dimsOf(a), db = dimsOf(b);
    if (da.size() > 2 || db.size() > 2 || da[1] != db[0])
        fail("Calyx:innerDimensions", "Incorrect dimensions for matrix multiplication: %s and %s (the columns of the first must equal the rows of the second).",
             sizeText(da).c_str(), sizeText(db).c_str());
    vxClassID cls = floatClass(a, b);
    size_t m = da[0], k = da[1], n = db[1];
    if (a->class_id() == vxDOUBLE_CLASS && b->class_id() == vxDOUBLE_CLASS && !isComplex(a) && !isComplex(b)) {
        // The common case reads the operands in place, and goes in column
        // blocks of the result when large so that a ctrl-C is seen between them.
        if (m == 0 || n == 0 || k == 0) return makeDouble({m, n});
        // With beta 0 dgemm writes every element of the result and reads none.
        ArrayPtr r = makeForOverwrite(vxDOUBLE_CLASS, {m, n});
        double const* x = static_cast<double const*>(a->real_data());
        double const* y = static_cast<double const*>(b->real_data());
        double* z = static_cast<double*>(r->real_data());
        double work = double(m) * double(n) * double(k);
        size_t block = work > 4e9 ? std::max<size_t>(64, size_t(4e9 / (double(m) * double(k)))) : n;
        for (size_t j = 0; j < n; j += block) {
            size_t cols = std::min(block, n - j);
            cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, int(m), int(cols), int(k), 1.0, x, int(m), y + j * k, int(k),
                        0.0, z + j * m, int(m));
            uvLongjmpIfInterruptPending();
        }
        return r;
    }
    Mat c = product(readMatrix(a, "*"), readMatrix(b, "*"));
    if (cls == vxSINGLE_CLASS) {
        for (double& v : c.re) v = float(v);
        for (double& v : c.im) v = float(v);
    }
    return toArray(c, cls);
}

ArrayPtr solveLeft(vxArray const* a, vxArray const* b) {
    Mat A = readMatrix(a, "\\"), B = readMatrix(b, "\\");
    if (A.m != B.m)
        fail("Calyx:solveDimensions", "Matrix dimensions must agree for \\ and /: %s and %s.", sizeText(a).c_str(), sizeText(b).c_str());
    vxClassID cls = floatClass(a, b);
    bool complex = A.complex() || B.complex();
    size_t m = A.m, n = A.n, p = B.n;
    Mat X;
    X.m = n;
    X.n = p;
    if (m == 0 || n == 0 || p == 0) {
        X.re.assign(n * p, 0.0);
        return toArray(X, cls);
    }
    if (m == n) {
        std::vector<li> piv(n);
        double anorm = oneNorm(A), rcond = 1;
        li info;
        if (complex) {
            std::vector<cplx> za = A.interleaved(), zb = B.interleaved();
            auto* pa = reinterpret_cast<lapack_complex_double*>(za.data());
            auto* pb = reinterpret_cast<lapack_complex_double*>(zb.data());
            info = LAPACKE_zgetrf(LAPACK_COL_MAJOR, li(n), li(n), pa, li(n), piv.data());
            checkLapack(info, "\\");
            if (info == 0) LAPACKE_zgecon(LAPACK_COL_MAJOR, '1', li(n), pa, li(n), anorm, &rcond);
            // A zero pivot still gives the IEEE quotients (Inf, NaN).
            LAPACKE_zgetrs(LAPACK_COL_MAJOR, 'N', li(n), li(p), pa, li(n), piv.data(), pb, li(n));
            X.setInterleaved(zb);
        } else {
            X.re = B.re;
            info = LAPACKE_dgetrf(LAPACK_COL_MAJOR, li(n), li(n), A.re.data(), li(n), piv.data());
            checkLapack(info, "\\");
            if (info == 0) LAPACKE_dgecon(LAPACK_COL_MAJOR, '1', li(n), A.re.data(), li(n), anorm, &rcond);
            LAPACKE_dgetrs(LAPACK_COL_MAJOR, 'N', li(n), li(p), A.re.data(), li(n), piv.data(), X.re.data(), li(n));
        }
        if (info > 0) warnSingular();
        else if (rcond < std::numeric_limits<double>::epsilon()) warnBadlyConditioned(rcond);
    } else {
        // Least squares with the minimum norm, through the SVD.
        size_t rows = std::max(m, n);
        std::vector<double> s(std::min(m, n));
        li rank = 0, info;
        if (complex) {
            std::vector<cplx> za = A.interleaved(), zb(rows * p), src = B.interleaved();
            for (size_t j = 0; j < p; ++j)
                for (size_t i = 0; i < m; ++i) zb[i + j * rows] = src[i + j * m];
            info = LAPACKE_zgelsd(LAPACK_COL_MAJOR, li(m), li(n), li(p), reinterpret_cast<lapack_complex_double*>(za.data()), li(m),
                                  reinterpret_cast<lapack_complex_double*>(zb.data()), li(rows), s.data(), -1.0, &rank);
            std::vector<cplx> x(n * p);
            for (size_t j = 0; j < p; ++j)
                for (size_t i = 0; i < n; ++i) x[i + j * n] = zb[i + j * rows];
            X.setInterleaved(x);
        } else {
            std::vector<double> bb(rows * p, 0.0);
            for (size_t j = 0; j < p; ++j)
                for (size_t i = 0; i < m; ++i) bb[i + j * rows] = B.re[i + j * m];
            info = LAPACKE_dgelsd(LAPACK_COL_MAJOR, li(m), li(n), li(p), A.re.data(), li(m), bb.data(), li(rows), s.data(), -1.0, &rank);
            X.re.resize(n * p);
            for (size_t j = 0; j < p; ++j)
                for (size_t i = 0; i < n; ++i) X.re[i + j * n] = bb[i + j * rows];
        }
        checkLapack(info, "\\");
        if (info > 0) fail("Calyx:svdNoConvergence", "The least-squares solution did not converge.");
        if (size_t(rank) < std::min(m, n))
            vxWarningMsgId("Calyx:rankDeficient", "Rank deficient, rank = %d.", int(rank));
    }
    if (cls == vxSINGLE_CLASS) {
        for (double& v : X.re) v = float(v);
        for (double& v : X.im) v = float(v);
    }
    return toArray(X, cls);
}

ArrayPtr matrixPower(vxArray const* a, vxArray const* pa) {
    requireArithmetic(pa, "^");
    double p = realAt(pa, 0);
    if (isComplex(pa) || !std::isfinite(p) || p != std::trunc(p))
        fail("Calyx:mpowerNotInteger", "A matrix power needs a whole-number exponent; use .^ for elementwise power.");
    Mat A = readMatrix(a, "^");
    if (A.m != A.n) fail("Calyx:mpowerNotSquare", "A matrix power needs a square matrix, not %s; use .^ for elementwise power.", sizeText(a).c_str());
    vxClassID cls = floatClass(a);
    if (p < 0) A = inverse(A), p = -p;
    Mat r = identity(A.n), base = A;
    unsigned long long e = static_cast<unsigned long long>(p);
    bool first = true;
    while (e) {
        if (e & 1) r = first ? base : product(r, base), first = false;
        e >>= 1;
        if (e) base = product(base, base);
        uvLongjmpIfInterruptPending();
    }
    return toArray(r, cls);
}

namespace {

Mat squareArg(vxArray const* a, char const* fname) {
    Mat m = readMatrix(a, fname);
    if (m.m != m.n) fail("Calyx:notSquare", "%s needs a square matrix, not %s.", fname, sizeText(a).c_str());
    for (double v : m.re)
        if (!std::isfinite(v)) fail("Calyx:notFinite", "%s needs a matrix of finite values.", fname);
    return m;
}

void fnInv(int, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "inv");
    if (a.m != a.n) fail("Calyx:notSquare", "inv needs a square matrix, not %s.", sizeText(in[0]).c_str());
    out.push_back(toArray(inverse(a), floatClass(in[0])));
}

void fnDet(int, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "det");
    if (a.m != a.n) fail("Calyx:notSquare", "det needs a square matrix, not %s.", sizeText(in[0]).c_str());
    size_t n = a.n;
    std::vector<li> piv(std::max<size_t>(1, n));
    if (a.complex()) {
        std::vector<cplx> z = a.interleaved();
        cplx d(1, 0);
        if (n) {
            li info = LAPACKE_zgetrf(LAPACK_COL_MAJOR, li(n), li(n), reinterpret_cast<lapack_complex_double*>(z.data()), li(n), piv.data());
            checkLapack(info, "det");
            for (size_t k = 0; k < n; ++k) d *= z[k * n + k] * (piv[k] != li(k + 1) ? -1.0 : 1.0);
        }
        std::vector<double> re{d.real()}, im{d.imag()};
        out.push_back(fromDoubles(floatClass(in[0]), {1, 1}, re, &im));
        return;
    }
    double d = 1;
    if (n) {
        li info = LAPACKE_dgetrf(LAPACK_COL_MAJOR, li(n), li(n), a.re.data(), li(n), piv.data());
        checkLapack(info, "det");
        for (size_t k = 0; k < n; ++k) d *= a.re[k * n + k] * (piv[k] != li(k + 1) ? -1.0 : 1.0);
    }
    out.push_back(fromDoubles(floatClass(in[0]), {1, 1}, {d}, nullptr));
}

void fnRank(int, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "rank");
    std::vector<double> s = singularValues(a);
    double tol = in.size() > 1 ? scalarArg(in[1], "rank", "the tolerance")
                               : (s.empty() ? 0 : double(std::max(a.m, a.n)) * s[0] * std::numeric_limits<double>::epsilon());
    double r = 0;
    for (double v : s) r += v > tol;
    out.push_back(scalarDouble(r));
}

double vectorNorm(Mat const& a, double p) {
    size_t n = a.re.size();
    auto mag = [&](size_t k) { return std::hypot(a.re[k], a.complex() ? a.im[k] : 0); };
    if (std::isinf(p)) {
        double best = p > 0 ? 0 : INFINITY;
        for (size_t k = 0; k < n; ++k) best = p > 0 ? std::max(best, mag(k)) : std::min(best, mag(k));
        return n ? best : 0;
    }
    if (p == 2) {
        double scale = 0, ssq = 1;  // scaled sum of squares, safe from overflow
        for (size_t k = 0; k < n; ++k) {
            double v = mag(k);
            if (std::isnan(v)) return NAN;
            if (v == 0) continue;
            if (scale < v) ssq = 1 + ssq * (scale / v) * (scale / v), scale = v;
            else ssq += (v / scale) * (v / scale);
        }
        return scale * std::sqrt(ssq);
    }
    double s = 0;
    for (size_t k = 0; k < n; ++k) s += std::pow(mag(k), p);
    return std::pow(s, 1 / p);
}

void fnNorm(int, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "norm");
    double p = 2;
    bool fro = false;
    if (in.size() > 1) {
        if (in[1]->class_id() == vxCHAR_CLASS) {
            std::string s = textOf(in[1], "norm");
            if (s == "fro") fro = true;
            else if (s == "inf" || s == "Inf") p = INFINITY;
            else fail("Calyx:normType", "norm does not know the type '%s'.", s.c_str());
        } else p = scalarArg(in[1], "norm", "the type");
    }
    double r;
    bool vec = a.m == 1 || a.n == 1 || a.re.empty();
    if (fro || (vec && !std::isnan(p))) r = vectorNorm(a, fro ? 2 : p);
    else if (p == 2) {
        std::vector<double> s = singularValues(a);
        r = s.empty() ? 0 : s[0];
    } else if (p == 1) r = oneNorm(a);
    else if (std::isinf(p) && p > 0) {
        r = 0;
        for (size_t i = 0; i < a.m; ++i) {
            double s = 0;
            for (size_t j = 0; j < a.n; ++j) s += std::hypot(a.re[i + j * a.m], a.complex() ? a.im[i + j * a.m] : 0);
            r = std::max(r, s);
        }
    } else fail("Calyx:normType", "The norm of a matrix is defined for p = 1, 2, Inf or 'fro'.");
    out.push_back(fromDoubles(floatClass(in[0]), {1, 1}, {r}, nullptr));
}

bool hermitian(Mat const& a) {
    for (size_t i = 0; i < a.n; ++i)
        for (size_t j = 0; j <= i; ++j) {
            if (a.re[i + j * a.n] != a.re[j + i * a.n]) return false;
            if (a.complex() && a.im[i + j * a.n] != -a.im[j + i * a.n]) return false;
        }
    return true;
}

void fnEig(int nargout, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = squareArg(in[0], "eig");
    size_t n = a.n;
    vxClassID cls = floatClass(in[0]);
    bool vectors = nargout >= 2;
    Mat values, V;
    values.m = n, values.n = 1;
    V.m = V.n = n;
    if (n == 0) {
        values.re.clear();
    } else if (hermitian(a)) {
        values.re.resize(n);
        li info;
        if (a.complex()) {
            std::vector<cplx> z = a.interleaved();
            info = LAPACKE_zheevd(LAPACK_COL_MAJOR, vectors ? 'V' : 'N', 'U', li(n), reinterpret_cast<lapack_complex_double*>(z.data()),
                                  li(n), values.re.data());
            if (vectors) V.setInterleaved(z);
        } else {
            info = LAPACKE_dsyevd(LAPACK_COL_MAJOR, vectors ? 'V' : 'N', 'U', li(n), a.re.data(), li(n), values.re.data());
            V.re = a.re;
        }
        checkLapack(info, "eig");
        if (info > 0) fail("Calyx:eigNoConvergence", "eig did not converge.");
    } else {
        std::vector<cplx> w(n), vr(vectors ? n * n : 1);
        li info;
        if (a.complex()) {
            std::vector<cplx> z = a.interleaved();
            info = LAPACKE_zgeev(LAPACK_COL_MAJOR, 'N', vectors ? 'V' : 'N', li(n), reinterpret_cast<lapack_complex_double*>(z.data()), li(n),
                                 reinterpret_cast<lapack_complex_double*>(w.data()), nullptr, 1,
                                 reinterpret_cast<lapack_complex_double*>(vr.data()), li(n));
        } else {
            std::vector<double> wr(n), wi(n), v(vectors ? n * n : 1);
            info = LAPACKE_dgeev(LAPACK_COL_MAJOR, 'N', vectors ? 'V' : 'N', li(n), a.re.data(), li(n), wr.data(), wi.data(), nullptr, 1,
                                 v.data(), li(n));
            for (size_t k = 0; k < n; ++k) w[k] = cplx(wr[k], wi[k]);
            // Complex pairs of a real matrix share two columns: re and im.
            for (size_t j = 0; vectors && j < n; ++j) {
                if (wi[j] != 0 && j + 1 < n) {
                    for (size_t i = 0; i < n; ++i) {
                        vr[i + j * n] = cplx(v[i + j * n], v[i + (j + 1) * n]);
                        vr[i + (j + 1) * n] = cplx(v[i + j * n], -v[i + (j + 1) * n]);
                    }
                    ++j;
                } else
                    for (size_t i = 0; i < n; ++i) vr[i + j * n] = v[i + j * n];
            }
        }
        checkLapack(info, "eig");
        if (info > 0) fail("Calyx:eigNoConvergence", "eig did not converge.");
        values.setInterleaved(w);
        if (vectors) V.setInterleaved(vr);
    }
    if (!vectors) {
        out.push_back(toArray(values, cls));
        return;
    }
    Mat D;
    D.m = D.n = n;
    D.re.assign(n * n, 0.0);
    if (values.complex()) D.im.assign(n * n, 0.0);
    for (size_t k = 0; k < n; ++k) {
        D.re[k * n + k] = values.re[k];
        if (values.complex()) D.im[k * n + k] = values.im[k];
    }
    out.push_back(toArray(V, cls));
    out.push_back(toArray(D, cls));
}

void fnSvd(int nargout, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "svd");
    for (double v : a.re)
        if (!std::isfinite(v)) fail("Calyx:notFinite", "svd needs a matrix of finite values.");
    vxClassID cls = floatClass(in[0]);
    if (nargout < 2) {
        Mat s;
        std::vector<double> v = singularValues(a);
        s.m = v.size(), s.n = 1, s.re = v;
        out.push_back(toArray(s, cls));
        return;
    }
    size_t m = a.m, n = a.n, k = std::min(m, n);
    Mat U, S, V;
    U.m = U.n = m;
    V.m = V.n = n;
    S.m = m, S.n = n;
    S.re.assign(m * n, 0.0);
    std::vector<double> s(std::max<size_t>(1, k));
    li info = 0;
    if (a.complex()) {
        std::vector<cplx> z = a.interleaved(), u(std::max<size_t>(1, m * m)), vt(std::max<size_t>(1, n * n));
        if (k)
            info = LAPACKE_zgesdd(LAPACK_COL_MAJOR, 'A', li(m), li(n), reinterpret_cast<lapack_complex_double*>(z.data()), ld(m), s.data(),
                                  reinterpret_cast<lapack_complex_double*>(u.data()), ld(m),
                                  reinterpret_cast<lapack_complex_double*>(vt.data()), ld(n));
        u.resize(m * m);
        std::vector<cplx> v(n * n);
        for (size_t i = 0; i < n; ++i)
            for (size_t j = 0; j < n; ++j) v[i + j * n] = std::conj(vt[j + i * n]);
        U.setInterleaved(u);
        V.setInterleaved(v);
    } else {
        U.re.assign(std::max<size_t>(1, m * m), 0.0);
        std::vector<double> vt(std::max<size_t>(1, n * n), 0.0);
        if (k) info = LAPACKE_dgesdd(LAPACK_COL_MAJOR, 'A', li(m), li(n), a.re.data(), ld(m), s.data(), U.re.data(), ld(m), vt.data(), ld(n));
        U.re.resize(m * m);
        V.re.resize(n * n);
        for (size_t i = 0; i < n; ++i)
            for (size_t j = 0; j < n; ++j) V.re[i + j * n] = vt[j + i * n];
    }
    if (k == 0) U = identity(m), V = identity(n);
    checkLapack(info, "svd");
    if (info > 0) fail("Calyx:svdNoConvergence", "svd did not converge.");
    for (size_t i = 0; i < k; ++i) S.re[i + i * m] = s[i];
    out.push_back(toArray(U, cls));
    out.push_back(toArray(S, cls));
    if (nargout > 2) out.push_back(toArray(V, cls));
}

void fnTrace(int, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "trace");
    if (a.m != a.n) fail("Calyx:notSquare", "trace needs a square matrix, not %s.", sizeText(in[0]).c_str());
    double re = 0, im = 0;
    for (size_t k = 0; k < a.n; ++k) {
        re += a.re[k * a.n + k];
        if (a.complex()) im += a.im[k * a.n + k];
    }
    std::vector<double> r{re}, i{im};
    out.push_back(fromDoubles(floatClass(in[0]), {1, 1}, r, &i));
}

void fnKron(int, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "kron"), b = readMatrix(in[1], "kron");
    Mat c;
    c.m = a.m * b.m, c.n = a.n * b.n;
    bool cx = a.complex() || b.complex();
    std::vector<cplx> x = a.interleaved(), y = b.interleaved(), z(c.m * c.n);
    for (size_t ja = 0; ja < a.n; ++ja)
        for (size_t ia = 0; ia < a.m; ++ia)
            for (size_t jb = 0; jb < b.n; ++jb)
                for (size_t ib = 0; ib < b.m; ++ib)
                    z[(ia * b.m + ib) + (ja * b.n + jb) * c.m] = x[ia + ja * a.m] * y[ib + jb * b.m];
    c.setInterleaved(z);
    if (!cx) c.im.clear();
    out.push_back(toArray(c, floatClass(in[0], in[1])));
}

void fnDot(int, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "dot"), b = readMatrix(in[1], "dot");
    bool va = a.m == 1 || a.n == 1, vb = b.m == 1 || b.n == 1;
    if (a.re.size() != b.re.size() || !(va && vb))
        fail("Calyx:dotSizes", "dot needs two vectors of the same length, not %s and %s.", sizeText(in[0]).c_str(), sizeText(in[1]).c_str());
    std::vector<cplx> x = a.interleaved(), y = b.interleaved();
    cplx s(0, 0);
    for (size_t k = 0; k < x.size(); ++k) s += std::conj(x[k]) * y[k];
    std::vector<double> re{s.real()}, im{s.imag()};
    out.push_back(fromDoubles(floatClass(in[0], in[1]), {1, 1}, re, &im));
}

void fnCross(int, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in) {
    Mat a = readMatrix(in[0], "cross"), b = readMatrix(in[1], "cross");
    if (a.re.size() != 3 || b.re.size() != 3 || a.complex() || b.complex())
        fail("Calyx:crossSizes", "cross needs two real vectors of length 3.");
    std::vector<double> const &x = a.re, &y = b.re;
    std::vector<double> z{x[1] * y[2] - x[2] * y[1], x[2] * y[0] - x[0] * y[2], x[0] * y[1] - x[1] * y[0]};
    out.push_back(fromDoubles(floatClass(in[0], in[1]), dimsOf(in[0]), z, nullptr));
}

} // namespace

void addLinearAlgebra(Table& t) {
    t.insert(t.end(), {
        {"inv", fnInv, 1, 1, 1},   {"det", fnDet, 1, 1, 1},     {"rank", fnRank, 1, 2, 1},   {"norm", fnNorm, 1, 2, 1},
        {"eig", fnEig, 1, 1, 2},   {"svd", fnSvd, 1, 1, 3},     {"trace", fnTrace, 1, 1, 1}, {"kron", fnKron, 2, 2, 1},
        {"dot", fnDot, 2, 2, 1},   {"cross", fnCross, 2, 2, 1},
    });
}

}}} // namespace qzlang::kernels::detail
