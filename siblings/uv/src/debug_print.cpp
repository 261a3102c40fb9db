// The debug print of the multithreading code.
#include "uv/debug_print.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace {

std::mutex gDebugMutex;
std::string gDebugLast;
bool gDebugEnabled = [] {
    char const* value = std::getenv("CALYX_DEBUG_MULTITHREADED");
    return value != nullptr && *value != '\0';
}();

} // namespace

extern "C" {

void dbg_multiThreaded_utprintf(char const* format, ...) {
    if (format == nullptr) return;
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    int const n = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text;
    if (n > 0) {
        std::vector<char> buffer(static_cast<size_t>(n) + 1);
        std::vsnprintf(buffer.data(), buffer.size(), format, again);
        text.assign(buffer.data(), static_cast<size_t>(n));
    }
    va_end(again);
    std::lock_guard<std::mutex> lock(gDebugMutex);
    gDebugLast = text;
    if (gDebugEnabled) std::fputs(text.c_str(), stderr);
}

void dbg_multiThreaded_setEnabled(int enabled) {
    std::lock_guard<std::mutex> lock(gDebugMutex);
    gDebugEnabled = enabled != 0;
}

} // extern "C"

std::string dbg_multiThreaded_lastText() {
    std::lock_guard<std::mutex> lock(gDebugMutex);
    return gDebugLast;
}
