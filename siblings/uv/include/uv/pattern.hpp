// Glob matching of file names, over fnmatch.
#pragma once
#include "uv/uv_export.hpp"

UV_API_BEGIN

extern "C" {
// True when `text` matches the shell pattern `pattern` ("*", "?", "[...]").
// With `fileNames` non-zero a leading "." must be matched explicitly and "*"
// does not cross a "/", as in a shell's file-name expansion. Null never matches.
bool uvPatternMatch(char const* pattern, char const* text, int fileNames);
}

UV_API_END
