// The date text of svGetDisplayDate for explicit locale formats, so that the
// fallback for a locale without time formats can be reached on any machine.
#pragma once
#include <string>

namespace services { namespace io { namespace detail {

std::string displayDate(long milliseconds, char const* dateFormat, char const* timeFormatAmPm,
                        char const* timeFormat);

}}} // namespace services::io::detail
