// The high-resolution timer over the monotonic clock, in nanosecond stamps.
#include "uv/uv.hpp"

#include <chrono>

unsigned long long uvPERFtic() {
    return static_cast<unsigned long long>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}

double uvPERFtoc(bool /*restart*/, unsigned long long stamp, double speed) {
    unsigned long long const now = uvPERFtic();
    // A stamp from the future (a caller's mistake) reads as no time at all.
    if (now <= stamp || speed <= 0) return 0.0;
    return static_cast<double>(now - stamp) / speed;
}

double uvGetPERFspeed() { return 1e9; }
