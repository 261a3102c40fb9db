// Native encoding lookup and whole-string conversions through ICU converters.
#include "fd/i18n/convert.hpp"
#include "converter.hpp"

#include <langinfo.h>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace fd { namespace i18n {

namespace {

bool isPlainAscii(char const* codeset) {
    // glibc reports the "C" locale as ANSI_X3.4-1968; other spellings exist.
    static char const* const names[] = {"ANSI_X3.4-1968", "ASCII", "US-ASCII", "646", "ANSI_X3.4-1986"};
    for (char const* n : names)
        if (strcasecmp(codeset, n) == 0) return true;
    return false;
}

} // namespace

std::string native_encoding() {
    char const* codeset = nl_langinfo(CODESET);
    if (codeset == nullptr || *codeset == '\0' || isPlainAscii(codeset)) return "UTF-8";
    return codeset;
}

std::string resolve_encoding(std::string const& name) {
    return name.empty() ? native_encoding() : name;
}

std::string to_string(ustring const& text, std::string const& encoding) {
    detail::Converter cnv(resolve_encoding(encoding));
    std::string out;
    cnv.fromUnicode(reinterpret_cast<char16_t const*>(text.data()), text.size(), true, out);
    return out;
}

ustring to_ustring(std::string const& text, std::string const& encoding) {
    detail::Converter cnv(resolve_encoding(encoding));
    std::u16string out;
    cnv.toUnicode(text.data(), text.size(), true, out);
    return ustring(reinterpret_cast<unsigned short const*>(out.data()), out.size());
}

std::string to_string(ustring const& text) { return to_string(text, std::string()); }
ustring to_ustring(std::string const& text) { return to_ustring(text, std::string()); }

}} // namespace fd::i18n
