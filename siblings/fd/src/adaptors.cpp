// The two converting stream buffers. ASCII runs take a shortcut that never
// enters ICU (the usual case for program output); everything else is fed to a
// stateful converter, so a character split across two writes still converts.
#include "fd/io/streambuf_adaptor.hpp"
#include "fd/i18n/convert.hpp"
#include "converter.hpp"

#include <boost/make_shared.hpp>
#include <algorithm>

namespace fd { namespace io {

namespace {

using i18n::detail::Converter;
using i18n::detail::copyAsciiRun;

// Native bytes in, UTF-16 out.
class NarrowToUtf16Buffer : public std::streambuf {
public:
    NarrowToUtf16Buffer(boost::shared_ptr<ustreambuf> const& target, std::string const& encoding)
        : target_(target), cnv_(i18n::resolve_encoding(encoding)) {}

protected:
    std::streamsize xsputn(char const* s, std::streamsize n) override {
        if (!target_) return 0;
        std::streamsize i = 0;
        unsigned short wide[512];
        while (i < n) {
            if (cnv_.asciiTransparent() && !pending_ && static_cast<unsigned char>(s[i]) < 0x80) {
                std::streamsize const len = copyAsciiRun(s + i, wide, std::min<std::streamsize>(n - i, 512));
                if (target_->sputn(wide, len) != len) return i;
                i += len;
                continue;
            }
            // A non-ASCII run; an ASCII byte right after a pending lead byte goes
            // with it so that ICU can report the broken sequence.
            std::streamsize j = i + 1;
            if (cnv_.asciiTransparent())
                while (j < n && static_cast<unsigned char>(s[j]) >= 0x80) ++j;
            else
                j = n;
            std::u16string out;
            cnv_.toUnicode(s + i, static_cast<size_t>(j - i), false, out);
            pending_ = cnv_.pendingToUnicode();
            std::streamsize len = static_cast<std::streamsize>(out.size());
            if (len > 0 && target_->sputn(reinterpret_cast<unsigned short const*>(out.data()), len) != len)
                return i;
            i = j;
        }
        return n;
    }

    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        char ch = traits_type::to_char_type(c);
        return xsputn(&ch, 1) == 1 ? c : traits_type::eof();
    }

    int sync() override { return target_ ? (target_->pubsync() == -1 ? -1 : 0) : -1; }

private:
    boost::shared_ptr<ustreambuf> target_;
    Converter cnv_;
    bool pending_ = false;  // the converter holds part of a character (asked of ICU only after it ran)
};

// UTF-16 in, native bytes out.
class Utf16ToNarrowBuffer : public ustreambuf {
public:
    Utf16ToNarrowBuffer(boost::shared_ptr<std::streambuf> const& target, std::string const& encoding)
        : target_(target), cnv_(i18n::resolve_encoding(encoding)) {}

protected:
    std::streamsize xsputn(unsigned short const* s, std::streamsize n) override {
        if (!target_) return 0;
        std::streamsize i = 0;
        char narrow[512];
        while (i < n) {
            if (cnv_.asciiTransparent() && s[i] < 0x80 && !pending_) {
                std::streamsize const len = copyAsciiRun(s + i, narrow, std::min<std::streamsize>(n - i, 512));
                if (target_->sputn(narrow, len) != len) return i;
                i += len;
                continue;
            }
            std::streamsize j = i + 1;
            while (j < n && (s[j] >= 0x80 || !cnv_.asciiTransparent())) ++j;
            std::string out;
            cnv_.fromUnicode(reinterpret_cast<char16_t const*>(s + i), static_cast<size_t>(j - i), false, out);
            pending_ = cnv_.pendingFromUnicode();
            std::streamsize len = static_cast<std::streamsize>(out.size());
            if (len > 0 && target_->sputn(out.data(), len) != len) return i;
            i = j;
        }
        return n;
    }

    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        unsigned short unit = traits_type::to_char_type(c);
        return xsputn(&unit, 1) == 1 ? c : traits_type::eof();
    }

    int sync() override { return target_ ? (target_->pubsync() == -1 ? -1 : 0) : -1; }

private:
    boost::shared_ptr<std::streambuf> target_;
    Converter cnv_;
    bool pending_ = false;  // a high surrogate waits inside the converter
};

} // namespace

boost::shared_ptr<std::streambuf>
make_streambuf_adaptor(boost::shared_ptr<ustreambuf> const& target, std::string const& encoding) {
    return boost::make_shared<NarrowToUtf16Buffer>(target, encoding);
}

boost::shared_ptr<ustreambuf>
make_ustreambuf_adaptor(boost::shared_ptr<std::streambuf> const& target, std::string const& encoding) {
    return boost::make_shared<Utf16ToNarrowBuffer>(target, encoding);
}

}} // namespace fd::io
