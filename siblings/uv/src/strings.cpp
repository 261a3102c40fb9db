// String and byte helpers for the older C-style units.
#include "uv/strings.hpp"
#include "uv/pattern.hpp"

#include <fnmatch.h>

#include <cstring>

extern "C" {

char* uvStrcpy(char* dst, char const* src) {
    if (dst == nullptr) return dst;
    if (src == nullptr) {
        dst[0] = '\0';
        return dst;
    }
    return std::strcpy(dst, src);
}

char* uvStrncpy(char* dst, char const* src, size_t n) {
    if (dst == nullptr || n == 0) return dst;
    if (src == nullptr) {
        dst[0] = '\0';
        return dst;
    }
    return std::strncpy(dst, src, n);
}

size_t uvStrlen(char const* s) { return s ? std::strlen(s) : 0; }

void uvFlipFourBytes(void* p) {
    unsigned char* b = static_cast<unsigned char*>(p);
    unsigned char t = b[0];
    b[0] = b[3];
    b[3] = t;
    t = b[1];
    b[1] = b[2];
    b[2] = t;
}

bool uvPatternMatch(char const* pattern, char const* text, int fileNames) {
    if (pattern == nullptr || text == nullptr) return false;
    int const flags = fileNames ? (FNM_PATHNAME | FNM_PERIOD) : 0;
    return fnmatch(pattern, text, flags) == 0;
}

} // extern "C"
