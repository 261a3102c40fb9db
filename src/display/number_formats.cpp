// NaN, Inf and zero in a field; engineering notation; the rational
// approximation.
#include "qzservices/display/number_formats.hpp"
#include "qzservices/display/settings.hpp"

#include <qfl/scalar.hpp>
#include <uv/uv.hpp>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

int ioPrintToStringNanOrInf(char* dst, double* x, int width, int imag) {
    double const v = *x;
    if (std::isfinite(v) && v != 0.0) return 0;
    char const* text;
    if (v == 0.0)
        text = imag ? "    " : "   0";
    else if (std::isnan(v))
        text = " NaN";
    else
        text = v > 0.0 ? " Inf" : "-Inf";
    // A field narrower than the text would write before dst: the text is
    // never cut, the field just grows to it.
    int const field = width < 4 ? 4 : width;
    std::memset(dst, ' ', static_cast<size_t>(field - 4));
    std::memcpy(dst + field - 4, text, 4);
    dst[field] = '\0';
    return 1;
}

int ioPrintNanOrInf(double* x, int width, int imag) {
    char small[64];
    if (width < static_cast<int>(sizeof small)) {
        if (!ioPrintToStringNanOrInf(small, x, width, imag)) return 0;
        uvPrintf("%s", small);
        return 1;
    }
    std::string big(static_cast<size_t>(width) + 1, ' ');
    if (!ioPrintToStringNanOrInf(&big[0], x, width, imag)) return 0;
    uvPrintf("%s", big.c_str());
    return 1;
}

template <class T>
void eng_fcn(T x, vxClassID cls, char* dst, bool imag) {
    bool const longFormat = prtfmt == PrtfmtLongEng;
    if (x != 0) {
        // Specials first, in the field of the class; zero and other classes
        // do not go this way.
        int field = 0;
        if (cls == vxDOUBLE_CLASS) field = longFormat ? 25 : 16;
        if (cls == vxSINGLE_CLASS) field = 16;
        if (field != 0) {
            double wide = static_cast<double>(x);
            if (dst != nullptr ? ioPrintToStringNanOrInf(dst, &wide, field, 0) : ioPrintNanOrInf(&wide, field, 0))
                return;
        }
    }

    // The exponent: a multiple of 3 that brings the magnitude into [1, 1000).
    int n = 0;
    T const a = x < 0 ? -x : x;
    if (a != 0) {
        if (a > T(1.0)) {
            T p = T(1000.0);
            // The finiteness test stops an infinity of a class not checked above.
            while (a >= p && std::isfinite(p)) {
                p *= T(1000.0);
                x /= T(1000.0);
                n += 3;
            }
        } else if (a < T(1.0)) {
            T p = T(1.0);
            do {
                p /= T(1000.0);
                x *= T(1000.0);
                n -= 3;
            } while (p > a);
        }
    }

    // Rounding to the shown decimals may push the mantissa out of range. Only
    // the first characters are looked at, so a negative mantissa that rounds
    // to -1000 stays as it is (intended).
    char scratch[512];
    std::snprintf(scratch, sizeof scratch, longFormat && cls != vxSINGLE_CLASS ? "%.12f" : "%.4f",
                  static_cast<double>(x));
    if (std::strncmp(scratch, "1000", 4) == 0) {
        x /= T(1000.0);
        n += 3;
    } else if (x != 0 && std::strncmp(scratch, "0.", 2) == 0) {
        x *= T(1000.0);
        n -= 3;
    }

    T const m = x < 0 ? -x : x;
    char format[32];
    if (!longFormat)
        std::strcpy(format, imag ? "%8.4fe" : "%11.4fe");
    else if (cls == vxSINGLE_CLASS)
        std::strcpy(format, m < T(10) ? (imag ? "%9.6fe" : "%11.6fe")
                            : m < T(100) ? (imag ? "%9.5fe" : "%11.5fe")
                                         : (imag ? "%9.4fe" : "%11.4fe"));
    else
        std::strcpy(format, m < T(10) ? (imag ? "%17.14fe" : "%20.14fe")
                            : m < T(100) ? (imag ? "%17.13fe" : "%20.13fe")
                                         : (imag ? "%17.12fe" : "%20.12fe"));
    if (n < 0) {
        std::strcat(format, "-");
        n = -n;
    } else {
        std::strcat(format, "+");
    }
    std::strcat(format, n <= 9 ? "00%d" : n > 99 ? "%d" : "0%d");

    double const shown = x == 0 ? 0.0 : static_cast<double>(x);  // no "-0.0000"
    if (dst != nullptr)
        std::snprintf(dst, 64, format, shown, n);
    else
        uvPrintf(format, shown, n);
}

template void eng_fcn<float>(float x, vxClassID cls, char* dst, bool imag);
template void eng_fcn<double>(double x, vxClassID cls, char* dst, bool imag);

void ioRationalApprox(double* num, double* den, double x) {
    if (!std::isfinite(x)) {
        *den = 0.0;
        *num = std::isnan(x) ? 0.0 : (x > 0 ? 1.0 : -1.0);
        return;
    }
    int const maxTerms = 24;
    double terms[maxTerms];
    double const tol = 1e-6 * std::fabs(x);
    double n = 0.0;
    double d = 1.0;
    double frac = x;
    int k = 0;
    while (std::fabs(n / d - x) > tol) {
        double const term = qfl_scalar::detail::qflFdlibm_round(frac);
        terms[k] = term;
        n = term;
        d = 1.0;
        frac = frac - term;
        for (int j = k - 1; j >= 0; --j) {
            double const t = terms[j];
            double const nextNum = t * n + d;
            d = n;
            n = nextNum;
        }
        if (frac == 0.0) break;
        if (++k == maxTerms) break;
        frac = 1.0 / frac;
    }
    if (d < 0.0) n = -n;
    *num = n;
    *den = std::fabs(d);
}
