// Facts about the machine and small helpers of the utility layer: printable
// descriptions of the system and the processor, a string hash, line input.
#pragma once
#include "uv/uv_export.hpp"
#include <cstdio>

UV_API_BEGIN

extern "C" {

// "Linux <release> <version> <machine>" from uname; never null.
char const* uvGetOS(void);
// The processor as /proc/cpuinfo describes it: the vendor, family, model and
// stepping, then the model name; the machine type from uname when that file
// says nothing. Never null.
char const* uvGetCPUID(void);

// A 32-bit hash of the text, the same on every run and every platform
// (FNV-1a over the bytes, started from `seed`). Null hashes as "".
unsigned int uv_hash_string(unsigned int seed, char const* text);

// As fgets: reads at most size - 1 bytes, up to and including a line feed,
// and terminates them; null at the end of the file or on an error.
char* uvFgets(char* buffer, int size, FILE* stream);

} // extern "C"

UV_API_END
