// UTF-16 text in the native encoding.
#include "uv/uv.hpp"

#include <fd/i18n/convert.hpp>

std::string utf16_to_lcp(unsigned short const* units, size_t count) {
    if (units == nullptr || count == 0) return std::string();
    return fd::i18n::to_string(fd::i18n::ustring(units, units + count));
}
