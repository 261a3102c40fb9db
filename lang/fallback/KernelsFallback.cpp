// Used only while the kernels library is not in the tree: the few
// operations the old array code already had, so that the interpreter builds
// and runs. Removed once qzkernels is merged.
#include "qzlang/ArrayOps.hpp"

#include <vx/errors.hpp>

#include <cmath>

namespace qzlang {
namespace kernels {

ArrayPtr binary(Binary op, vxArray const* a, vxArray const* b) {
    switch (op) {
    case Binary::Plus: return addSubtract(a, b, 1);
    case Binary::Minus: return addSubtract(a, b, -1);
    default: vxErrMsgId("Calyx:notYet", "This operator needs the kernels library.");
    }
}

ArrayPtr unary(Unary op, vxArray const* a) {
    switch (op) {
    case Unary::Negate: return negate(a);
    case Unary::Transpose: return transpose(a, false);
    case Unary::CTranspose: return transpose(a, true);
    case Unary::UPlus: return ArrayPtr(vxDuplicateArray(a));
    default: vxErrMsgId("Calyx:notYet", "This operator needs the kernels library.");
    }
}

bool isTrue(vxArray const* a) {
    size_t const n = vxGetNumberOfElements(a);
    if (n == 0) return false;
    for (size_t k = 0; k < n; ++k) {
        double const v = realAt(a, k);
        if (std::isnan(v)) vxErrMsgId("Calyx:nanToLogical", "NaN cannot be converted to logical.");
        if (v == 0) return false;
    }
    return true;
}

FunctionInfo const* find(std::string const&) { return nullptr; }
std::vector<std::string> names() { return {}; }
std::string formatText(std::string const& format, std::vector<vxArray const*> const&) { return format; }
void seedRandom(std::uint32_t) {}
void attachToComputationalThreads() {}

} // namespace kernels
} // namespace qzlang
