#include "uv/uv.hpp"
#include "qzservices/io/CXStream.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

std::ostream& streamFor(int stream) {
    return stream == 1 ? static_cast<std::ostream&>(services::io::CXStream::CXErr)
                       : static_cast<std::ostream&>(services::io::CXStream::CXOut);
}

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
        services::io::CXStream::CXOut.write(small, n);
        return n;
    }
    // Longer than the stack buffer: format again into one of the right size.
    std::vector<char> big(static_cast<size_t>(n) + 1);
    va_start(args, format);
    std::vsnprintf(big.data(), big.size(), format, args);
    va_end(args);
    services::io::CXStream::CXOut.write(big.data(), n);
    return n;
}

extern "C" int uvPuts(char const* text) {
    if (text == nullptr) return -1;
    size_t n = std::strlen(text);
    services::io::CXStream::CXOut.write(text, static_cast<std::streamsize>(n));
    return static_cast<int>(n);
}

extern "C" int uvPutsn(int stream, char const* text, size_t length) {
    if (text == nullptr) return -1;
    streamFor(stream).write(text, static_cast<std::streamsize>(length));
    return static_cast<int>(length);
}
