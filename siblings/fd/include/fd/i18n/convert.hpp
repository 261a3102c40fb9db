// Conversions between UTF-16 text and the native (narrow) encoding.
// The native encoding is the code set of the current C locale; plain ASCII is
// widened to UTF-8 so that no character is lost when the locale is "C".
#pragma once
#include "fd/fd_export.hpp"
#include <string>

FD_API_BEGIN

namespace fd { namespace i18n {

typedef std::basic_string<unsigned short> ustring;

// The ICU name of the native encoding at the moment of the call.
std::string native_encoding();

// Resolves an encoding name for the adaptors: empty means native.
std::string resolve_encoding(std::string const& name);

// Whole-string conversions in the native encoding. Malformed input becomes
// U+FFFD (towards UTF-16) or the converter's substitute (towards native).
std::string to_string(ustring const& text);
ustring to_ustring(std::string const& text);

// The same with an explicit encoding name (empty means native).
std::string to_string(ustring const& text, std::string const& encoding);
ustring to_ustring(std::string const& text, std::string const& encoding);

}} // namespace fd::i18n

FD_API_END
