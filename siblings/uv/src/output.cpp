#include "uv/uv.hpp"
#include "qzservices/io/CXStream.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

// Writes through the stream's buffer rather than the stream: an exception of
// the buffer (the quit key of the more prompt) then reaches the caller instead
// of being turned into the stream's badbit. Before the first push the stream
// has no buffer and the text is dropped, as the stream itself would.
void writeTo(services::io::CXStream& stream, char const* text, size_t length) {
    if (std::streambuf* buffer = stream.rdbuf()) buffer->sputn(text, static_cast<std::streamsize>(length));
}

services::io::CXStream& streamFor(int stream) {
    return stream == 1 ? services::io::CXStream::CXErr : services::io::CXStream::CXOut;
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
        writeTo(services::io::CXStream::CXOut, small, static_cast<size_t>(n));
        return n;
    }
    // Longer than the stack buffer: format again into one of the right size.
    std::vector<char> big(static_cast<size_t>(n) + 1);
    va_start(args, format);
    std::vsnprintf(big.data(), big.size(), format, args);
    va_end(args);
    writeTo(services::io::CXStream::CXOut, big.data(), static_cast<size_t>(n));
    return n;
}

extern "C" int uvPuts(char const* text) {
    if (text == nullptr) return -1;
    size_t n = std::strlen(text);
    writeTo(services::io::CXStream::CXOut, text, n);
    return static_cast<int>(n);
}

extern "C" int uvPutsn(int stream, char const* text, size_t length) {
    if (text == nullptr) return -1;
    writeTo(streamFor(stream), text, length);
    return static_cast<int>(length);
}
