// Counts of the stress tests, scaled by QZ_STRESS_SCALE (a fraction or a
// multiple) so that a slow build can run them smaller; never below one.
#pragma once
#include <cstdlib>

namespace qztest {

inline int stressScaled(int count) {
    char const* scale = std::getenv("QZ_STRESS_SCALE");
    int const n = static_cast<int>(count * (scale != nullptr ? std::atof(scale) : 1.0));
    return n > 0 ? n : 1;
}

} // namespace qztest
