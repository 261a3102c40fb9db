// Shared-module services of the utility layer over the dynamic loader: which
// module holds an address, and opening a module to look symbols up in it.
#pragma once
#include "uv/uv_export.hpp"

UV_API_BEGIN

extern "C" {

// The file name of the loaded module (library or executable) that contains
// `address`, as the loader knows it; null if no module contains it. The text
// belongs to the loader and lives as long as the module stays loaded.
char const* uvModuleNameFromAddress(void const* address);

// Opens a module by file name (a reference count is taken on one already
// loaded); null on failure.
void* uvLoadLibrary(char const* name);
// The address of a symbol of an opened module, or null.
void* uvFindSymbolInLibrary(void* library, char const* symbol);
// Drops the reference uvLoadLibrary took; 0 on success. Null is ignored.
int uvUnloadLibrary(void* library);

// Removes an automounter's staging prefix ("/tmp_mnt") from an absolute path,
// in place, so that the path names the directory users see.
void uvFixAutoMountPrefix(char* path);

} // extern "C"

UV_API_END
