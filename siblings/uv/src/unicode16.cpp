// 16-bit text helpers: conversion, length, search and line breaks.
#include "uv/unicode16.hpp"
#include "uv/uv.hpp"

#include <fd/i18n/convert.hpp>

#include <cstring>
#include <new>

unsigned short* lcp_to_utf16(char const* text) {
    if (text == nullptr) return nullptr;
    fd::i18n::ustring wide;
    try {
        wide = fd::i18n::to_ustring(std::string(text));
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
    auto* copy = static_cast<unsigned short*>(uvMalloc((wide.size() + 1) * sizeof(unsigned short)));
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, wide.data(), wide.size() * sizeof(unsigned short));
    copy[wide.size()] = 0;
    return copy;
}

long utf16_strlen(unsigned short const* text) {
    if (text == nullptr) return -1;
    unsigned short const* p = text;
    while (*p != 0) ++p;
    return static_cast<long>(p - text);
}

unsigned short const* utf16_strnchr(unsigned short const* text, size_t count, unsigned short c) {
    if (text == nullptr) return nullptr;
    for (size_t i = 0; i < count; ++i)
        if (text[i] == c) return text + i;
    return nullptr;
}

bool qzu_isbreakablespace_above(unsigned short c) {
    return c == 0x1680 || (c >= 0x2000 && c <= 0x200A && c != 0x2007) || c == 0x205F || c == 0x3000;
}
