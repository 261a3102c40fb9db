// The present local time, broken down.
#include "uv/wall_clock.hpp"

#include <ctime>

uvWallClockTime uvWallClock() {
    std::time_t const now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    return uvWallClockTime{parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                           parts.tm_hour,        parts.tm_min,     parts.tm_sec};
}
