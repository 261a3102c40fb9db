// A stateful UTF-16 to native converter that works into a caller's buffer, for
// code that streams text through a fixed buffer (log and diary copies).
#pragma once
#include "fd/fd_export.hpp"
#include <memory>
#include <string>

FD_API_BEGIN

namespace fd { namespace i18n {

namespace detail { class Converter; }

class stream_codecvt_ustring_to_string {
public:
    // `encoding` empty means native. With `flushAtEnd`, the end of each source
    // is the end of the text: a character left incomplete there is replaced
    // rather than kept for the next call.
    stream_codecvt_ustring_to_string(std::string const& encoding, bool flushAtEnd);
    ~stream_codecvt_ustring_to_string();
    stream_codecvt_ustring_to_string(stream_codecvt_ustring_to_string const&) = delete;
    stream_codecvt_ustring_to_string& operator=(stream_codecvt_ustring_to_string const&) = delete;

    // Converts from [from, fromEnd) into [to, toEnd), advancing both pointers.
    // Returns 0 once all the source was converted, 1 if the target filled first.
    int operator()(unsigned short const*& from, unsigned short const* fromEnd, char*& to, char* toEnd);

private:
    std::unique_ptr<detail::Converter> cnv_;
    bool flushAtEnd_;
};

}} // namespace fd::i18n

FD_API_END
