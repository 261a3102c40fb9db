// Stream buffers that convert between the native encoding and UTF-16 and
// forward to another buffer. Neither keeps a put area: text reaches the target
// within the call, except an incomplete multi-byte sequence or an unpaired
// high surrogate, which waits for the rest of its character. sync() is passed on.
#pragma once
#include "fd/fd_export.hpp"
#include <boost/shared_ptr.hpp>
#include <streambuf>
#include <string>

FD_API_BEGIN

namespace fd { namespace io {

typedef std::basic_streambuf<unsigned short> ustreambuf;

// A narrow buffer: native text written to it arrives as UTF-16 in `target`.
boost::shared_ptr<std::streambuf>
make_streambuf_adaptor(boost::shared_ptr<ustreambuf> const& target, std::string const& encoding);

// A UTF-16 buffer: units written to it arrive as native text in `target`.
boost::shared_ptr<ustreambuf>
make_ustreambuf_adaptor(boost::shared_ptr<std::streambuf> const& target, std::string const& encoding);

}} // namespace fd::io

FD_API_END
