/// @file
/// Numbers as a user sees them: NaN, Inf and zero in a field, engineering
/// notation, the rational approximation, and one element as text.
#pragma once
#include "qzservices/export.hpp"
#include <vx/array.hpp>

#include <cstddef>

QZSERVICES_API_BEGIN

/// The number of bytes ioFormatElement may write, its NUL included: the
/// longest element text (a two-decimal value near the largest double) fits.
enum { IO_FORMAT_ELEMENT_SIZE = 512 };

/// When *x is NaN, an infinity or zero: dst becomes `width` blanks (at least
/// 4) with " NaN", " Inf", "-Inf" or "   0" over the last four, a zero
/// imaginary part four blanks instead, and 1 is returned. Otherwise 0 and dst
/// is left alone. dst holds at least max(width, 4) + 1 bytes.
int ioPrintToStringNanOrInf(char* dst, double* x, int width, int imag);
/// The same, written by uvPrintf.
int ioPrintNanOrInf(double* x, int width, int imag);

/// Engineering notation, a mantissa from 1 to below 1000 and a three-digit
/// exponent that is a multiple of 3: "1.5000e+003". Short or long by prtfmt
/// (12 or 13). Real parts are passed with their sign, imaginary parts as
/// magnitudes (imag true). Writes to dst (at least 64 bytes), or by uvPrintf
/// when dst is null.
template <class T>
void eng_fcn(T x, vxClassID cls, char* dst, bool imag);

/// A continued-fraction approximation num/den of x within 1e-6 relative, at
/// most 24 terms; den is never negative. NaN gives 0/0, +Inf 1/0, -Inf -1/0.
void ioRationalApprox(double* num, double* den, double x);

/// Element `index` of a numeric, logical or character array as text in the
/// current print format, without a scale factor; callers strip the leading
/// blanks. dst holds IO_FORMAT_ELEMENT_SIZE bytes. A class without a number
/// form raises error number 15.
void ioFormatElement(char* dst, vxArray_tag const* array, size_t index);

QZSERVICES_API_END
