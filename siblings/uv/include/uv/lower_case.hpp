// Case folding of byte strings in the "C" locale's rules.
#pragma once
#include "uv/uv_export.hpp"

UV_API_BEGIN

extern "C" {

// Lowers the ASCII letters of `text` in place and returns it; other bytes
// (UTF-8 sequences included) are left alone. Null gives null.
char* uvLowerCase(char* text);

} // extern "C"

UV_API_END
