// The present local time, broken down, as the utility layer reports it.
#pragma once
#include "uv/uv_export.hpp"

UV_API_BEGIN

struct uvWallClockTime {
    int year;    // e.g. 2026
    int month;   // 1 to 12
    int day;     // 1 to 31
    int hour;    // 0 to 23
    int minute;  // 0 to 59
    int second;  // 0 to 60
};

uvWallClockTime uvWallClock();

UV_API_END
