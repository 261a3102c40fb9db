// Operations on arrays of the array library that the statement language
// needs: class conversion, concatenation along any dimension, transpose,
// negation, sums and differences, ranges, and sparse storage. Results are new
// arrays owned by the caller; inputs are never changed. Failures raise
// through vxErrMsgId under "qzconsole:*" identifiers.
#pragma once
#include <qzlang/kernels/Kernels.hpp>
#include <vx/array.hpp>

#include <memory>
#include <vector>

namespace qzlang {

// The most elements one result may hold; a larger request is an error, not
// an attempt to allocate.
size_t maxElements();
void setMaxElements(size_t n);
// Raises "qzconsole:tooLarge" when the product of dims passes maxElements()
// (or overflows).
size_t checkedElementCount(std::vector<size_t> const& dims);

// Called with the index of each element of a long loop: every 65536th time it
// acts on a pending ctrl-C (Orrery::System::InterruptException), so that a
// statement building a huge array can be stopped before it finishes.
void pollInterrupt(size_t k);

bool isIntegerClass(vxClassID c);
// Classes whose elements read as numbers: logical, char, double, single, integers.
bool hasNumbers(vxClassID c);

// Element k as a double: real and imaginary parts (0 for real arrays).
double realAt(vxArray const* a, size_t k);
double imagAt(vxArray const* a, size_t k);

std::vector<size_t> dimsOf(vxArray const* a);

// A full numeric, logical or char array of class `cls` with the values of
// `a`: integers round half away from zero and saturate (NaN becomes 0),
// logical refuses NaN and complex values. Same class: a copy.
ArrayPtr convert(vxArray const* a, vxClassID cls, bool keepComplex = true);

// Class of the concatenation of these arrays (char over integer over single
// over double; logical only if all are logical).
vxClassID concatClass(std::vector<vxArray const*> const& parts);
// Concatenation along dimension `dim` (1 rows, 2 columns, ...). 0x0 parts
// vanish; the rest must agree in every other dimension.
ArrayPtr concatenate(std::vector<vxArray const*> const& parts, size_t dim);

ArrayPtr transpose(vxArray const* a, bool conjugate);
ArrayPtr negate(vxArray const* a);
// a + b (sign 1) or a - b (sign -1); a scalar meets every element of the other.
ArrayPtr addSubtract(vxArray const* a, vxArray const* b, int sign);
ArrayPtr range(double start, double step, double stop);

ArrayPtr toSparse(vxArray const* full);
ArrayPtr toFull(vxArray const* a);  // a copy when already full

// An all-zero real array of the class with these dimensions (after the count check).
ArrayPtr zerosOf(vxClassID cls, std::vector<size_t> const& dims, bool complex = false);
void setAt(vxArray* a, size_t k, double re, double im = 0);

} // namespace qzlang
