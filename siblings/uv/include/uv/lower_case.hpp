// Case folding of byte strings in the "C" locale's rules.
#pragma once

extern "C" {

// Lowers the ASCII letters of `text` in place and returns it; other bytes
// (UTF-8 sequences included) are left alone. Null gives null.
char* uvLowerCase(char* text);

} // extern "C"
