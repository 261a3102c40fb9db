// The utility layer's heap: uvMalloc and its family, never null for size 0.
#include "uv/uv.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

extern "C" {

void* uvMalloc(size_t size) { return std::malloc(size ? size : 1); }
void* uvCalloc(size_t count, size_t size) { return std::calloc(count ? count : 1, size ? size : 1); }
void* uvRealloc(void* p, size_t size) { return std::realloc(p, size ? size : 1); }
void uvFree(void* p) { std::free(p); }

char* uvStrdup(char const* s) {
    if (s == nullptr) return nullptr;
    size_t n = std::strlen(s) + 1;
    char* copy = static_cast<char*>(uvMalloc(n));
    if (copy) std::memcpy(copy, s, n);
    return copy;
}

} // extern "C"

// Defined outside the extern "C" block because they may throw.
void* uvMallocWithCheck(size_t size) {
    void* p = uvMalloc(size);
    if (!p) throw std::bad_alloc();
    return p;
}

void* uvCallocWithCheck(size_t count, size_t size) {
    void* p = uvCalloc(count, size);
    if (!p) throw std::bad_alloc();
    return p;
}

void* uvReallocWithCheck(void* p, size_t size) {
    void* q = uvRealloc(p, size);
    if (!q) throw std::bad_alloc();
    return q;
}
