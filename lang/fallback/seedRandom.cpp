// Built only while the kernels library has no random generator yet.
#include <qzlang/kernels/Kernels.hpp>

namespace qzlang {
namespace kernels {
void seedRandom(std::uint32_t) {}
} // namespace kernels
} // namespace qzlang
