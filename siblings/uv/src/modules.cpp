// Shared modules over the dynamic loader: which holds an address, and look-ups.
#include "uv/modules.hpp"

#include <dlfcn.h>

#include <cstring>

extern "C" {

char const* uvModuleNameFromAddress(void const* address) {
    if (address == nullptr) return nullptr;
    Dl_info info;
    if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return nullptr;
    return info.dli_fname;
}

void* uvLoadLibrary(char const* name) {
    if (name == nullptr || *name == '\0') return nullptr;
    return dlopen(name, RTLD_LAZY);
}

void* uvFindSymbolInLibrary(void* library, char const* symbol) {
    if (library == nullptr || symbol == nullptr) return nullptr;
    return dlsym(library, symbol);
}

int uvUnloadLibrary(void* library) {
    if (library == nullptr) return 0;
    return dlclose(library) == 0 ? 0 : -1;
}

void uvFixAutoMountPrefix(char* path) {
    if (path == nullptr) return;
    static char const kPrefix[] = "/tmp_mnt";
    size_t const n = sizeof kPrefix - 1;
    // Only a whole leading component counts: "/tmp_mnt/home" but not "/tmp_mntx".
    if (std::strncmp(path, kPrefix, n) != 0 || path[n] != '/') return;
    std::memmove(path, path + n, std::strlen(path + n) + 1);
}

} // extern "C"
