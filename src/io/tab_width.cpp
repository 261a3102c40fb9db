#include "io/tab_width.hpp"

#include <cstdlib>

namespace services { namespace io { namespace detail {

int tabWidthFromPreference(char const* value) {
    if (value == nullptr || value[0] != 'I') return kDefaultTabWidth;
    char* end = nullptr;
    long const n = std::strtol(value + 1, &end, 10);
    if (end == value + 1 || n < 1 || n > 1000000) return kDefaultTabWidth;
    return static_cast<int>(n);
}

// It will read the preference through svGetPref (releasing the value with
// uvFree) once the preferences service is part of the library; until then
// the width is the default.
int commandWindowTabWidth() { return tabWidthFromPreference(nullptr); }

}}} // namespace services::io::detail
