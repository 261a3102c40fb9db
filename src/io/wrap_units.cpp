// The word wrapper's scans over 16-bit text (see wrap_units.hpp).
#include "io/wrap_units.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace services { namespace io { namespace detail {

size_t skipPlainUnits(unsigned short const* text, size_t from, size_t end) {
#if defined(__SSE2__)
    __m128i const low = _mm_set1_epi16(0x20), high = _mm_set1_epi16(0x167f), zero = _mm_setzero_si128();
    for (; from + 8 <= end; from += 8) {
        __m128i const units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text + from));
        __m128i const atMostLow = _mm_cmpeq_epi16(_mm_subs_epu16(units, low), zero);
        __m128i const belowHigh = _mm_cmpeq_epi16(_mm_subs_epu16(units, high), zero);
        int const stops = ~_mm_movemask_epi8(_mm_andnot_si128(atMostLow, belowHigh)) & 0xffff;
        if (stops != 0) return from + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(stops))) / 2;
    }
#endif
    while (from < end && text[from] > 0x20 && text[from] < 0x1680) ++from;
    return from;
}

void findTabAndBackspace(unsigned short const* text, size_t length, bool& hasTab, bool& hasBackspace) {
    hasTab = hasBackspace = false;
    size_t i = 0;
#if defined(__SSE2__)
    __m128i const tab = _mm_set1_epi16('\t'), backspace = _mm_set1_epi16('\b');
    for (; i + 8 <= length && !(hasTab && hasBackspace); i += 8) {
        __m128i const units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text + i));
        hasTab |= _mm_movemask_epi8(_mm_cmpeq_epi16(units, tab)) != 0;
        hasBackspace |= _mm_movemask_epi8(_mm_cmpeq_epi16(units, backspace)) != 0;
    }
#endif
    for (; i < length; ++i) {
        hasTab |= text[i] == '\t';
        hasBackspace |= text[i] == '\b';
    }
}

size_t findUnit(unsigned short const* text, size_t from, size_t length, unsigned short wanted) {
#if defined(__SSE2__)
    __m128i const w = _mm_set1_epi16(static_cast<short>(wanted));
    for (; from + 8 <= length; from += 8) {
        __m128i const units = _mm_loadu_si128(reinterpret_cast<__m128i const*>(text + from));
        int const mask = _mm_movemask_epi8(_mm_cmpeq_epi16(units, w));
        if (mask != 0) return from + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask))) / 2;
    }
#endif
    while (from < length && text[from] != wanted) ++from;
    return from;
}

}}} // namespace services::io::detail
