// floor, ceil and round by truncation through a 64-bit integer, which is
// exact for every double below 2^52 in magnitude; above that every double is
// already whole.
#include "qfl/scalar.hpp"

#include <cmath>
#include <cstdint>

namespace qfl_scalar { namespace detail {

namespace {

double const kAllWhole = 4503599627370496.0;  // 2^52: from here on no double has a fraction

// NaN fails the comparison, so it is returned as it is, as are the infinities.
bool isWholeAlready(double x) { return !(std::fabs(x) < kAllWhole); }

double truncateExact(double x) { return static_cast<double>(static_cast<int64_t>(x)); }

} // namespace

double qflFdlibm_floor(double x) {
    if (isWholeAlready(x)) return x;
    double t = truncateExact(x);
    if (t > x) t -= 1.0;
    return t == 0.0 ? std::copysign(0.0, x) : t;
}

double qflFdlibm_ceil(double x) {
    if (isWholeAlready(x)) return x;
    double t = truncateExact(x);
    if (t < x) t += 1.0;
    return t == 0.0 ? std::copysign(0.0, x) : t;
}

double qflFdlibm_round(double x) {
    if (isWholeAlready(x)) return x;
    double const a = std::fabs(x);
    double t = truncateExact(a);
    // a - t is exact (both below 2^52 and t <= a < t + 1), so the half is
    // judged without the error of adding 0.5 first.
    if (a - t >= 0.5) t += 1.0;
    return std::copysign(t, x);
}

}} // namespace qfl_scalar::detail
