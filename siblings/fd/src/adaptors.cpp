// The two converting stream buffers. ASCII runs take a shortcut that never
// enters ICU (the usual case for program output); everything else is fed to a
// stateful converter, so a character split across two writes still converts.
#include "fd/io/streambuf_adaptor.hpp"
#include "fd/i18n/convert.hpp"
#include "converter.hpp"

#include <boost/make_shared.hpp>
#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace fd { namespace io {

namespace {

using i18n::detail::Converter;

// Copies the ASCII run at the start of `from` into `to`, at most `limit`
// units, and returns its length. Sixteen units at a time with SSE2 (every
// x86-64 has it) while none has a bit above 0x7f, then one by one.
std::streamsize copyAsciiRun(char const* from, unsigned short* to, std::streamsize limit) {
    std::streamsize len = 0;
#if defined(__SSE2__)
    __m128i const zero = _mm_setzero_si128();
    while (len + 16 <= limit) {
        __m128i const bytes = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + len));
        if (_mm_movemask_epi8(bytes) != 0) break;  // a byte with its top bit set
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + len), _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + len + 8), _mm_unpackhi_epi8(bytes, zero));
        len += 16;
    }
#endif
    while (len < limit && static_cast<unsigned char>(from[len]) < 0x80) {
        to[len] = static_cast<unsigned char>(from[len]);
        ++len;
    }
    return len;
}

std::streamsize copyAsciiRun(unsigned short const* from, char* to, std::streamsize limit) {
    std::streamsize len = 0;
#if defined(__SSE2__)
    __m128i const high = _mm_set1_epi16(static_cast<short>(0xff80));
    while (len + 16 <= limit) {
        __m128i const lo = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + len));
        __m128i const hi = _mm_loadu_si128(reinterpret_cast<__m128i const*>(from + len + 8));
        __m128i const any = _mm_and_si128(_mm_or_si128(lo, hi), high);
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(any, _mm_setzero_si128())) != 0xffff) break;
        // Every unit is below 0x80, so the saturating pack keeps each one as it is.
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + len), _mm_packus_epi16(lo, hi));
        len += 16;
    }
#endif
    while (len < limit && from[len] < 0x80) {
        to[len] = static_cast<char>(from[len]);
        ++len;
    }
    return len;
}

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
