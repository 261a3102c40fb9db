// The debug print of the multithreading code.
#pragma once
#include "uv/uv_export.hpp"
#include <string>

UV_API_BEGIN

extern "C" {

// The debug print of the multithreading code: printf-style, to the standard
// error descriptor, only while enabled (by the call below, or at load when the
// environment variable CALYX_DEBUG_MULTITHREADED is set and not empty). The
// text of the last call is kept whether or not it was printed.
void dbg_multiThreaded_utprintf(char const* format, ...) __attribute__((format(printf, 1, 2)));
void dbg_multiThreaded_setEnabled(int enabled);

} // extern "C"

// The text of the most recent dbg_multiThreaded_utprintf call in this process.
std::string dbg_multiThreaded_lastText();

UV_API_END
