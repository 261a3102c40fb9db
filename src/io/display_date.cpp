// Dates as the history shows them: the locale's date and time formats, or,
// for a locale that has no time format, a fixed text of the present time.
#include "qzservices/io/diary.hpp"
#include "io/display_date.hpp"

#include <uv/wall_clock.hpp>

#include <cstdio>
#include <ctime>
#include <langinfo.h>

namespace services { namespace io { namespace detail {

std::string displayDate(long milliseconds, char const* dateFormat, char const* timeFormatAmPm,
                        char const* timeFormat) {
    long seconds = milliseconds / 1000;
    if (milliseconds % 1000 >= 500) ++seconds;
    std::time_t const when = static_cast<std::time_t>(seconds);
    std::tm parts{};
    localtime_r(&when, &parts);

    char const* time = timeFormatAmPm;
    if (time == nullptr || *time == '\0') time = timeFormat;
    if (time != nullptr && *time != '\0') {
        std::string const format = std::string(dateFormat ? dateFormat : "") + " " + time;
        char text[1024];
        size_t const n = std::strftime(text, sizeof text, format.c_str(), &parts);
        return std::string(text, n);
    }

    // No time format: the present time (not the one given), already between
    // the history marks. Intended: callers that add the marks show them twice.
    static char fallback[64];
    uvWallClockTime const now = uvWallClock();
    int const hour12 = now.hour % 12 == 0 ? 12 : now.hour % 12;
    std::snprintf(fallback, sizeof fallback, "%%-- %i/%02i/%02i %2i:%02i %s --%%", now.month, now.day,
                  now.year % 100, hour12, now.minute, now.hour < 12 ? "AM" : "PM");
    return fallback;
}

}}} // namespace services::io::detail

std::string svGetDisplayDate(long milliseconds) {
    return services::io::detail::displayDate(milliseconds, nl_langinfo(D_FMT), nl_langinfo(T_FMT_AMPM),
                                             nl_langinfo(T_FMT));
}

std::string svHistoryDate() {
    long const now = static_cast<long>(std::time(nullptr)) * 1000;
    return "%%-- " + svGetDisplayDate(now) + " --%%";
}
