// The numeric library's scalar functions that must give the same answers on
// every platform. They use only IEEE 754 basic operations in round-to-nearest,
// never the platform's libm, so a display computed from them is the same
// everywhere.
#pragma once
#include "qfl/qfl_export.hpp"

QFL_API_BEGIN

namespace qfl_scalar { namespace detail {

// Exact: the largest whole number not above x / the smallest not below x.
// NaN and the infinities come back as they are; the sign of zero is kept
// (ceil(-0.5) is -0.0).
double qflFdlibm_floor(double x);
double qflFdlibm_ceil(double x);
// The nearest whole number, halves away from zero: 2.5 gives 3, -2.5 gives
// -3, -0.4 gives -0.0.
double qflFdlibm_round(double x);
// Base-10 logarithm, from a double-double natural logarithm: the exact
// answer rounded to nearest except in cases too close to a rounding boundary
// to tell, so a power of ten gives its exponent exactly. log10(0) is -Inf, a
// negative argument gives NaN.
double qflFdlibm_log10(double x);
// x to the power y with the special cases of C99 (pow(x, 0) is 1 even for
// NaN, pow(1, y) is 1, a negative x with a non-integer y is NaN, ...).
// Finite results are exp(y * log(x)) in double-double, rounded once, so
// pow(10, k) is the double nearest to 10^k.
double qflFdlibm_pow(double x, double y);

}} // namespace qfl_scalar::detail

QFL_API_END
