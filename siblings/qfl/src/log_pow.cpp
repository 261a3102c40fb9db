// log10 and pow over double-double arithmetic: a value is an unevaluated sum
// hi + lo of two doubles, about 106 bits. Error-free transformations (Knuth's
// two-sum, Dekker's split product) keep every step to IEEE basic operations,
// so the result does not depend on the platform's libm or on fused
// multiply-add (the library is built with contraction off).
#include "qfl/scalar.hpp"

#include <cmath>
#include <limits>

namespace qfl_scalar { namespace detail {

namespace {

struct DD {
    double hi;
    double lo;
};

DD twoSum(double a, double b) {
    double const s = a + b;
    double const bb = s - a;
    return {s, (a - (s - bb)) + (b - bb)};
}

DD quickTwoSum(double a, double b) {  // |a| >= |b|
    double const s = a + b;
    return {s, b - (s - a)};
}

void split(double a, double& hi, double& lo) {
    double const t = 134217729.0 * a;  // 2^27 + 1
    hi = t - (t - a);
    lo = a - hi;
}

DD twoProd(double a, double b) {
    double const p = a * b;
    double ah, al, bh, bl;
    split(a, ah, al);
    split(b, bh, bl);
    return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

DD add(DD a, DD b) {
    DD s = twoSum(a.hi, b.hi);
    DD t = twoSum(a.lo, b.lo);
    s.lo += t.hi;
    s = quickTwoSum(s.hi, s.lo);
    s.lo += t.lo;
    return quickTwoSum(s.hi, s.lo);
}

DD mul(DD a, DD b) {
    DD p = twoProd(a.hi, b.hi);
    p.lo += a.hi * b.lo + a.lo * b.hi;
    return quickTwoSum(p.hi, p.lo);
}

DD mul(DD a, double b) {
    DD p = twoProd(a.hi, b);
    p.lo += a.lo * b;
    return quickTwoSum(p.hi, p.lo);
}

DD div(DD a, DD b) {
    // Two rounds of long division: q1 + q2 + q3, each from the remainder.
    double const q1 = a.hi / b.hi;
    DD r = add(a, mul(b, -q1));
    double const q2 = r.hi / b.hi;
    r = add(r, mul(b, -q2));
    double const q3 = r.hi / b.hi;
    DD q = quickTwoSum(q1, q2);
    return add(q, DD{q3, 0.0});
}

DD const kLn2 = {0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56};
DD const kLog10E = {0x1.bcb7b1526e50ep-2, 0x1.95355baaafad3p-57};

// ln(x) for a finite x > 0. x = m * 2^e with m in [sqrt(1/2), sqrt(2)), and
// ln(m) = 2 atanh(s) = 2 (s + s^3/3 + s^5/5 + ...) with s = (m - 1)/(m + 1),
// |s| < 0.172: 24 terms reach far below the last bit of a double-double.
DD logDD(double x) {
    int e = 0;
    double m = std::frexp(x, &e);  // m in [0.5, 1)
    if (m < 0.70710678118654752) {
        m *= 2.0;
        e -= 1;
    }
    DD const num = {m - 1.0, 0.0};  // exact: m and 1 are within a factor of two
    DD const den = twoSum(m, 1.0);
    DD const s = div(num, den);
    DD const s2 = mul(s, s);
    int const terms = 24;
    DD acc = div(DD{1.0, 0.0}, DD{2.0 * terms + 1.0, 0.0});
    for (int i = terms - 1; i >= 0; --i) acc = add(mul(acc, s2), div(DD{1.0, 0.0}, DD{2.0 * i + 1.0, 0.0}));
    DD const logM = mul(mul(s, acc), 2.0);
    return add(mul(kLn2, static_cast<double>(e)), logM);
}

// e^r, or the overflow / underflow it comes to. r = k ln2 + t with |t| <= ln2/2;
// e^t = (e^(t/1024))^1024, the small power by its Taylor series and kept as
// e^u - 1 through the ten squarings so that nothing is lost next to the 1.
double expDD(DD r) {
    if (r.hi > 710.0) return std::numeric_limits<double>::infinity();
    if (r.hi < -746.0) return 0.0;
    double const k = std::floor(r.hi / kLn2.hi + 0.5);
    DD const t = add(r, mul(kLn2, -k));
    DD const small = mul(t, 1.0 / 1024.0);  // exact: a power of two
    // u = small + small^2/2! + ... + small^12/12!
    DD u = {0.0, 0.0};
    DD term = small;
    for (int i = 1; i <= 12; ++i) {
        u = add(u, term);
        term = div(mul(term, small), DD{static_cast<double>(i + 1), 0.0});
    }
    for (int i = 0; i < 10; ++i) u = add(mul(u, 2.0), mul(u, u));  // (1 + u)^2 - 1
    DD const v = add(DD{1.0, 0.0}, u);
    return std::ldexp(v.hi + v.lo, static_cast<int>(k));
}

bool isInteger(double y) { return std::isfinite(y) && qflFdlibm_floor(y) == y; }

bool isOddInteger(double y) {
    if (!isInteger(y)) return false;
    // Above 2^53 every double is even.
    if (std::fabs(y) >= 9007199254740992.0) return false;
    return std::fmod(y, 2.0) != 0.0;  // fmod is exact
}

// |x|^n for a whole n from 1 to 1024 by binary powering, when every step but
// the last is exact: then the one rounding is that of the last IEEE multiply,
// which breaks ties to even as the exact value would (pow(10, 23) is such a
// tie). A result whose odd part fits in 54 bits, the only kind that can be a
// tie, always passes this way. False when a step is inexact or leaves the
// normal range, for the general path to take over.
bool exactIntegerPower(double x, unsigned n, bool lastMayRound, double& out) {
    double const tiny = std::numeric_limits<double>::min();
    double base = std::fabs(x);
    double acc = 1.0;
    for (;;) {
        if (!(base >= tiny) || std::isinf(base)) return false;
        if (n & 1u) {
            DD const p = twoProd(acc, base);
            bool const last = (n >> 1) == 0;
            if (!std::isfinite(p.hi) || !(p.hi >= tiny)) return false;
            if (p.lo != 0.0 && !(last && lastMayRound)) return false;
            acc = p.hi;
        }
        n >>= 1;
        if (n == 0) break;
        DD const sq = twoProd(base, base);
        if (sq.lo != 0.0) return false;
        base = sq.hi;
    }
    out = acc;
    return true;
}

} // namespace

double qflFdlibm_log10(double x) {
    if (std::isnan(x)) return x;
    if (x < 0.0) return std::numeric_limits<double>::quiet_NaN();
    if (x == 0.0) return -std::numeric_limits<double>::infinity();
    if (std::isinf(x)) return x;
    DD const l = mul(logDD(x), kLog10E);
    return l.hi + l.lo;
}

double qflFdlibm_pow(double x, double y) {
    double const inf = std::numeric_limits<double>::infinity();
    if (y == 0.0 || x == 1.0) return 1.0;
    if (std::isnan(x) || std::isnan(y)) return std::numeric_limits<double>::quiet_NaN();
    bool const oddY = isOddInteger(y);
    if (x == 0.0) {
        if (y < 0.0) return oddY ? std::copysign(inf, x) : inf;
        return oddY ? x : 0.0;
    }
    if (std::isinf(y)) {
        double const a = std::fabs(x);
        if (a == 1.0) return 1.0;
        return (a < 1.0) == (y < 0.0) ? inf : 0.0;
    }
    if (std::isinf(x)) {
        double const magnitude = y < 0.0 ? 0.0 : inf;
        return x < 0.0 && oddY ? -magnitude : magnitude;
    }
    if (x < 0.0 && !isInteger(y)) return std::numeric_limits<double>::quiet_NaN();
    double exact = 0.0;
    if (isInteger(y) && std::fabs(y) <= 1024.0) {
        unsigned const n = static_cast<unsigned>(std::fabs(y));
        // A reciprocal of an exact power is rounded once by the division.
        if (y > 0.0 ? exactIntegerPower(x, n, true, exact) : exactIntegerPower(x, n, false, exact)) {
            double const magnitude = y > 0.0 ? exact : 1.0 / exact;
            return x < 0.0 && oddY ? -magnitude : magnitude;
        }
    }
    DD const l = logDD(std::fabs(x));
    double const result = expDD(add(twoProd(y, l.hi), DD{y * l.lo, 0.0}));
    return x < 0.0 && oddY ? -result : result;
}

}} // namespace qfl_scalar::detail
