// Text output: uvPrintf and its family, into the services library's streams.
#include "uv/uv.hpp"
#include "uv/services_hooks.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

// Stream 0 is the services library's CXOut, 1 its CXErr; without the services
// library loaded the text is dropped.
void writeTo(int stream, char const* text, size_t length) {
    if (uvServicesHooks const* hooks = uvGetServicesHooks()) hooks->write(stream, text, length);
}

int streamFor(int stream) { return stream == 1 ? 1 : 0; }

} // namespace

extern "C" int uvPrintf(char const* format, ...) {
    if (format == nullptr) return -1;
    char small[512];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (n < 0) return n;
    if (static_cast<size_t>(n) < sizeof small) {
        writeTo(0, small, static_cast<size_t>(n));
        return n;
    }
    // Longer than the stack buffer: format again into one of the right size.
    std::vector<char> big(static_cast<size_t>(n) + 1);
    va_start(args, format);
    std::vsnprintf(big.data(), big.size(), format, args);
    va_end(args);
    writeTo(0, big.data(), static_cast<size_t>(n));
    return n;
}

extern "C" int uvPuts(char const* text) {
    if (text == nullptr) return -1;
    size_t n = std::strlen(text);
    writeTo(0, text, n);
    return static_cast<int>(n);
}

extern "C" int uvPutsn(int stream, char const* text, size_t length) {
    if (text == nullptr) return -1;
    writeTo(streamFor(stream), text, length);
    return static_cast<int>(length);
}
