// 16-bit text helpers of the utility layer: conversion from the native
// encoding, length and search, and the units at which a line may break.
#pragma once
#include "uv/uv_export.hpp"
#include <cstddef>

UV_API_BEGIN

// The native text as NUL-terminated UTF-16 units, allocated with uvMalloc
// (release with uvFree); null for a null text or when memory runs out.
// Malformed input becomes U+FFFD.
unsigned short* lcp_to_utf16(char const* text);

// Units before the first 0; -1 for a null text.
long utf16_strlen(unsigned short const* text);

// The first `c` among the first `count` units (NULs included), or null.
unsigned short const* utf16_strnchr(unsigned short const* text, size_t count, unsigned short c);

// True for units at which a line may break: blank, tab, line feed, carriage
// return, vertical tab, form feed, and the Unicode spaces that are not
// no-break spaces (U+1680, U+2000 to U+2006, U+2008 to U+200A, U+205F,
// U+3000). The no-break spaces (U+00A0, U+2007, U+202F) are not.
// Inline for the units below U+1680, which a scan over text meets most.
bool qzu_isbreakablespace_above(unsigned short c);  // the same, for c >= U+1680
inline bool qzu_isbreakablespace(unsigned short c) {
    if (c <= 0x20) return c == ' ' || (c >= '\t' && c <= '\r');
    return c >= 0x1680 && qzu_isbreakablespace_above(c);
}

UV_API_END
