// A thin RAII owner of one stateful ICU converter. Conversions may be fed in
// pieces: with flush false an incomplete character waits inside the converter.
#pragma once
#include <unicode/ucnv.h>
#include <cstddef>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace fd { namespace i18n { namespace detail {

// Copies the ASCII run at the start of `from` into `to`, at most `limit`
// units, and returns its length. Sixteen units at a time with SSE2 (every
// x86-64 has it) while none has a bit above 0x7f, then one by one.
inline std::ptrdiff_t copyAsciiRun(char const* from, unsigned short* to, std::ptrdiff_t limit) {
    std::ptrdiff_t len = 0;
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

inline std::ptrdiff_t copyAsciiRun(unsigned short const* from, char* to, std::ptrdiff_t limit) {
    std::ptrdiff_t len = 0;
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

class Converter {
public:
    explicit Converter(std::string const& name);
    ~Converter();
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;

    // Appends the conversion of [src, src+n) to `out`.
    void toUnicode(char const* src, size_t n, bool flush, std::u16string& out);
    void fromUnicode(char16_t const* src, size_t n, bool flush, std::string& out);

    // Converts into a caller's range, advancing both pointers; true once all
    // the source was used, false if the target filled first.
    bool fromUnicodeInto(unsigned short const*& from, unsigned short const* fromEnd, char*& to, char* toEnd,
                         bool flush);

    bool pendingToUnicode() const;
    bool pendingFromUnicode() const;
    // True for encodings in which a byte below 0x80 is always that ASCII
    // character and never part of a longer sequence: such bytes may bypass ICU.
    bool asciiTransparent() const { return asciiTransparent_; }

private:
    UConverter* cnv_;
    bool asciiTransparent_;
};

}}} // namespace fd::i18n::detail
