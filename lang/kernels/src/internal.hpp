// What the kernels' files share: class facts, shapes, reading any numeric
// array as doubles, writing doubles back under a class's rounding rules, and
// the parallel loop that honours the computational-thread count.
#pragma once
#include "qzlang/kernels/Kernels.hpp"

#include <vx/errors.hpp>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace qzlang { namespace kernels { namespace detail {

typedef std::vector<size_t> Dims;

// ---- classes ----
inline bool isIntClass(vxClassID c) { return c >= vxINT8_CLASS && c <= vxUINT64_CLASS; }
inline bool isFloatClass(vxClassID c) { return c == vxDOUBLE_CLASS || c == vxSINGLE_CLASS; }
inline bool is64Class(vxClassID c) { return c == vxINT64_CLASS || c == vxUINT64_CLASS; }
// Numbers in the arithmetic sense: numeric classes, logical and char.
inline bool isArithmetic(vxClassID c) {
    return c == vxLOGICAL_CLASS || c == vxCHAR_CLASS || (c >= vxDOUBLE_CLASS && c <= vxUINT64_CLASS);
}
double intMin(vxClassID c);
double intMax(vxClassID c);
vxClassID classFromName(std::string const& name);  // vxUNKNOWN_CLASS if none

// ---- shapes ----
Dims dimsOf(vxArray const* a);
std::string sizeText(Dims const& d);  // "2x3x4"
inline std::string sizeText(vxArray const* a) { return sizeText(dimsOf(a)); }
size_t countOf(Dims const& d);
Dims trimDims(Dims d);  // at least two, trailing singletons after the second dropped
inline bool isVectorShape(Dims const& d) { return d.size() == 2 && (d[0] == 1 || d[1] == 1); }

// ---- errors ----
[[noreturn]] void fail(char const* id, char const* format, ...) __attribute__((format(printf, 2, 3)));
void requireArithmetic(vxArray const* a, char const* fname);

// ---- making arrays ----
ArrayPtr makeArray(vxClassID cls, Dims const& d, bool complex = false);
ArrayPtr makeDouble(Dims const& d, bool complex = false);
// A real numeric or logical array whose data the caller overwrites entirely:
// large blocks come aligned and advised for transparent huge pages, so that
// writing them costs a few hundred page faults instead of tens of thousands.
ArrayPtr makeForOverwrite(vxClassID cls, Dims const& d);
ArrayPtr scalarDouble(double v);
ArrayPtr scalarLogical(bool v);
ArrayPtr makeString(std::string const& s);  // 1xN char, 0x0 for ""
std::string textOf(vxArray const* a, char const* fname);  // a char array's text; raises otherwise

// ---- values ----
// Element i of any arithmetic array as a double (real and imaginary parts).
double realAt(vxArray const* a, size_t i);
double imagAt(vxArray const* a, size_t i);
inline bool isComplex(vxArray const* a) { return a->imag_data() != nullptr && a->is_numeric(); }
// Every element as doubles; `im` is left empty for a real array.
void toDoubles(vxArray const* a, std::vector<double>& re, std::vector<double>* im = nullptr);
// Stores doubles into a new array of `cls` (rounding half away and saturating
// for the integer classes, NaN to 0; logical as nonzero). An imaginary part
// that is all zero is dropped unless `keepComplex`.
ArrayPtr fromDoubles(vxClassID cls, Dims const& d, std::vector<double> const& re, std::vector<double> const* im,
                     bool keepComplex = false);
double roundToClass(vxClassID cls, double v);  // the integer rule; identity for floats
// The class the arithmetic of two operands gives (one may be the class of a
// plain double): raises for two different integer classes.
vxClassID resultClass(vxClassID a, vxClassID b, char const* what);

// ---- copying elements of any class ----
// A new array of a's class and `d` whose element k is a's element src[k].
ArrayPtr gather(vxArray const* a, Dims const& d, std::vector<size_t> const& src);
// A new array of a's class (fields, complexity) and size `d`.
ArrayPtr likeArray(vxArray const* a, Dims const& d);
// Copies one element between two arrays of one class.
void copyElement(vxArray* dst, size_t di, vxArray const* src, size_t si);
// Converts to another class (numbers, logical, char); cells and structures
// only to their own class.
ArrayPtr convertClass(vxArray const* a, vxClassID cls);

// ---- threads ----
size_t threadCount();
// Runs f(begin, end) over [0, n) in blocks, in parallel when n is large and
// more than one thread is allowed; polls the interrupt between blocks.
void parallelRanges(size_t n, size_t grain, void (*f)(size_t, size_t, void*), void* ctx);
template <class F> void forRanges(size_t n, F&& f, size_t grain = 1 << 15) {
    parallelRanges(n, grain, [](size_t b, size_t e, void* c) { (*static_cast<F*>(c))(b, e); }, &f);
}

// ---- the function table's parts, one per file ----
typedef std::vector<FunctionInfo> Table;
void addConstruction(Table& t);
void addShapeAndType(Table& t);
void addMath(Table& t);
void addReductions(Table& t);
void addLinearAlgebra(Table& t);
void addSorting(Table& t);
void addText(Table& t);
void addRegexp(Table& t);
void addRandom(Table& t);

// Arguments.
double scalarArg(vxArray const* a, char const* fname, char const* what);
size_t countArg(vxArray const* a, char const* fname, char const* what);  // a whole number >= 0
// Dimensions given as n, m, n, ... or [m n ...] starting at in[first]; a
// trailing class name is stored in `cls` when given.
Dims dimsArgs(std::vector<vxArray const*> const& in, size_t first, char const* fname, vxClassID* cls = nullptr);
// The dimension to reduce along: the first non-singleton one (0-based).
size_t firstNonSingleton(Dims const& d);

// Shared by several files.
ArrayPtr matrixProduct(vxArray const* a, vxArray const* b);
ArrayPtr solveLeft(vxArray const* a, vxArray const* b);  // a \ b
ArrayPtr matrixPower(vxArray const* a, vxArray const* p);
ArrayPtr catArrays(size_t dim, std::vector<vxArray const*> const& parts);
ArrayPtr transpose(vxArray const* a, bool conjugate);
std::string num2str(vxArray const* a);
ArrayPtr cellOfStrings(std::vector<std::string> const& v, bool column = false);
bool isEqual(vxArray const* a, vxArray const* b);

}}} // namespace qzlang::kernels::detail
