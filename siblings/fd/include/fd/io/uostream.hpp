// The foundation layer's UTF-16 output stream.
// std::basic_ostream<unsigned short> has no ctype facet in the standard library,
// so inserters that would widen (narrow literals, std::endl, padding) are given
// here as plain overloads that never consult the locale.
#pragma once
#include "fd/fd_export.hpp"
#include <ostream>
#include <string>

FD_API_BEGIN

namespace fd { namespace io {

class uostream : public std::basic_ostream<unsigned short> {
public:
    typedef std::basic_ostream<unsigned short> base_type;
    explicit uostream(std::basic_streambuf<unsigned short>* buf) : base_type(buf) {}
};

// ASCII text, each byte widened to one unit. Non-ASCII narrow text must be
// converted with fd::i18n::to_ustring first.
uostream& operator<<(uostream& os, char const* ascii);
uostream& operator<<(uostream& os, std::string const& ascii);
uostream& operator<<(uostream& os, std::basic_string<unsigned short> const& text);
uostream& operator<<(uostream& os, long value);

// Writes a line feed and flushes, as std::endl would.
uostream& uendl(uostream& os);
inline uostream& operator<<(uostream& os, uostream& (*manip)(uostream&)) { return manip(os); }

}} // namespace fd::io

FD_API_END
