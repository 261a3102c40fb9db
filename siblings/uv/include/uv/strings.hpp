// The utility layer's string and byte helpers, for the older C-style units.
#pragma once
#include "uv/uv_export.hpp"
#include <cstddef>

UV_API_BEGIN

extern "C" {
// strcpy, strncpy and strlen that accept null: a null source copies nothing
// (and terminates dst), a null string has length 0.
char* uvStrcpy(char* dst, char const* src);
char* uvStrncpy(char* dst, char const* src, size_t n);
size_t uvStrlen(char const* s);
// Reverses the four bytes at p in place (a 32-bit byte-order swap).
void uvFlipFourBytes(void* p);
}

UV_API_END
