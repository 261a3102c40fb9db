// The numeric and text kernels of the statement language: pure functions over
// arrays of the array library. Inputs are never changed; every result is a new
// array owned by the caller. Failures raise through vxErrMsgId (a vx::Error)
// with a "Calyx:..." identifier and a message a user can read. Long work polls
// the library's interrupt (uvLongjmpIfInterruptPending) between blocks.
//
// The interpreter keeps double scalars unboxed and computes them itself; every
// other operand (arrays, other classes, complex values) comes here.
#pragma once
#include <vx/array.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qzlang {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray, ArrayDeleter> ArrayPtr;

// A deep copy that also keeps what the library's copy drops: the closure
// number of each anonymous function handle (kept in the record's spare
// word), through cells and structures, so that a copied @(x) x + a still
// finds the `a` it captured. Every copy of a value is made here.
vxArray* copyArray(vxArray const* a);

namespace kernels {

// Binary operators. The dotted ones and the comparisons are elementwise with
// implicit expansion; the matrix ones act elementwise when one side is a
// scalar, as the language's rules say.
enum class Binary {
    Plus, Minus, Times /* .* */, RDivide /* ./ */, LDivide /* .\ */, Power /* .^ */,
    MTimes /* * */, MRDivide /* / */, MLDivide /* \ */, MPower /* ^ */,
    Lt, Le, Gt, Ge, Eq, Ne, And /* & */, Or /* | */
};
enum class Unary { Negate, UPlus, Not, Transpose /* .' */, CTranspose /* ' */ };

ArrayPtr binary(Binary op, vxArray const* a, vxArray const* b);
// The same, where the caller gives up `spare`: an array that nobody else
// holds, usually one of the operands (a temporary of the expression). When
// the result is a real double array of spare's very size, it is written over
// spare's elements instead of into a fresh block; the result is the same.
// `spare` must stay valid until the call returns, so the kernel holds it.
ArrayPtr binary(Binary op, vxArray const* a, vxArray const* b, ArrayPtr spare);
ArrayPtr unary(Unary op, vxArray const* a);

// One step of an elementwise expression in postfix order: an operand array
// (its position in the arrays given), a double scalar, or an operator applied
// to the two values on top of the stack.
struct FusedStep {
    enum Kind : unsigned char { Array, Scalar, Apply } kind;
    Binary op;     // Apply: Plus, Minus, Times, RDivide or LDivide
    size_t array;  // Array
    double value;  // Scalar
};
// Evaluates such an expression over real full double arrays of one size and
// double scalars in one pass, block by block in the cache, instead of one
// pass and one result array per operator: x .* y + x reads x and y once and
// writes one result. Each element gets the same operations in the same order
// as the separate operators would give it, so the result is the same. Null
// when the steps or operands do not qualify (the caller then uses binary).
ArrayPtr fused(std::vector<FusedStep> const& steps, std::vector<vxArray const*> const& arrays);

// The truth of a condition (if, while, &&, ||): not empty and every element
// nonzero (real part). NaN raises.
bool isTrue(vxArray const* a);

// A built-in function: fills `out` with up to max(nargout, 1) results (fewer
// is allowed for a function that returns nothing, such as rng with no output).
// Arguments may be of any class the array library has, cells and structures
// included; a function raises for classes it does not take.
typedef void (*Function)(int nargout, std::vector<ArrayPtr>& out, std::vector<vxArray const*> const& in);

struct FunctionInfo {
    char const* name;
    Function fn;
    int minIn;   // fewest inputs
    int maxIn;   // most inputs, -1 for any number
    int maxOut;  // most outputs
};

// The function of that name, or null.
FunctionInfo const* find(std::string const& name);
// Every name, sorted.
std::vector<std::string> names();

// The text sprintf makes: the format applied again and again while arguments
// remain (the rules of formatted text), escapes applied to the format only.
std::string formatText(std::string const& format, std::vector<vxArray const*> const& args);

// The most elements one result may hold; a larger request raises
// "Calyx:tooLarge" instead of trying to allocate. By default a sixteenth of
// the machine's memory in doubles.
std::size_t maxElements();
void setMaxElements(std::size_t n);

// The generator of rand, randn and randi. A session starts at seed 0.
void seedRandom(std::uint32_t seed);

// Makes the count of the library's computational threads (feature NumThreads)
// govern both the TBB work of the kernels and the BLAS threads. Idempotent.
void attachToComputationalThreads();

} // namespace kernels
} // namespace qzlang
