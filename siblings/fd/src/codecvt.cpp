// The stateful UTF-16 to native converter into a caller's buffer.
#include "fd/i18n/codecvt.hpp"
#include "fd/i18n/convert.hpp"
#include "converter.hpp"

namespace fd { namespace i18n {

stream_codecvt_ustring_to_string::stream_codecvt_ustring_to_string(std::string const& encoding, bool flushAtEnd)
    : cnv_(new detail::Converter(resolve_encoding(encoding))), flushAtEnd_(flushAtEnd) {}

stream_codecvt_ustring_to_string::~stream_codecvt_ustring_to_string() = default;

int stream_codecvt_ustring_to_string::operator()(unsigned short const*& from, unsigned short const* fromEnd, char*& to,
                                                 char* toEnd) {
    return cnv_->fromUnicodeInto(from, fromEnd, to, toEnd, flushAtEnd_) ? 0 : 1;
}

}} // namespace fd::i18n
