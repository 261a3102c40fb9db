// Reading, assigning and deleting the elements of an array by subscripts, for
// every class: numbers, char, logical, cells (whole cells), structure arrays
// and handles. Subscripts count from 0 here; the evaluator turns the user's
// 1-based index values into Subscripts (with the extent the index stands
// for, so that ':' and 'end' and logical masks resolve).
#pragma once
#include <qzlang/kernels/Kernels.hpp>
#include <vx/array.hpp>

#include <vector>

namespace qzlang {

struct Subscript {
    bool colon = false;
    std::vector<size_t> idx;   // 0-based positions
    std::vector<size_t> dims;  // the shape of the index value (for one subscript)
};

// An index value as positions: positive whole numbers, or a logical mask
// (positions of its true elements; no true past `extent` when reading).
Subscript subscriptOf(vxArray const* index, size_t extent, bool reading);
Subscript scalarSubscript(size_t zeroBased);

// The extent subscript `k` of `count` stands for: the size of that dimension,
// the last one folding the dimensions after it.
size_t extentOf(vxArray const* a, size_t k, size_t count);

ArrayPtr indexRead(vxArray const* a, std::vector<Subscript> const& subs);

// Puts `rhs` at the subscripts of `a` (null: a new array), growing it and
// converting classes by the language's rules. `a` is changed in place when
// no growth is needed.
void indexAssign(ArrayPtr& a, std::vector<Subscript> const& subs, vxArray const* rhs);

// A(subs) = []: removes elements (one subscript) or whole slices.
void indexDelete(ArrayPtr& a, std::vector<Subscript> const& subs);

// "2x3" (dimensions joined by "x").
std::string sizeText(vxArray const* a);

} // namespace qzlang
