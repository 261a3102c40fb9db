// The tab width by which the wrapper measures a tab.
#include "io/tab_width.hpp"

#include "qzservices/state/preferences.hpp"

#include <uv/uv.hpp>

#include <cstdlib>
#include <memory>

namespace services { namespace io { namespace detail {

int tabWidthFromPreference(char const* value) {
    if (value == nullptr || value[0] != 'I') return kDefaultTabWidth;
    char* end = nullptr;
    long const n = std::strtol(value + 1, &end, 10);
    if (end == value + 1 || n < 1 || n > 1000000) return kDefaultTabWidth;
    return static_cast<int>(n);
}

int commandWindowTabWidth() {
    struct UvFreer {
        void operator()(char* p) const { uvFree(p); }
    };
    std::unique_ptr<char, UvFreer> const value(svGetPref("CommandWindowSpacesPerTab"));
    return tabWidthFromPreference(value.get());
}

}}} // namespace services::io::detail
