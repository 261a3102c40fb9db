// Path names as text: joining, splitting, tilde expansion, making absolute.
// Nothing here asks the file system but for the home directory and the
// process's current directory.
#include "px/px.hpp"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Copies at most PX_MAX_PATH - 1 characters: every buffer of this library is
// PX_MAX_PATH bytes, and a too-long result is cut rather than overrun.
char* copyBounded(char* out, std::string const& text) {
    size_t const n = text.size() < PX_MAX_PATH - 1 ? text.size() : PX_MAX_PATH - 1;
    std::memcpy(out, text.data(), n);
    out[n] = '\0';
    return out;
}

std::string joined(char const* dir, char const* name) {
    std::string result(dir ? dir : "");
    if (name == nullptr || *name == '\0') return result;
    if (!result.empty() && result.back() != '/' && *name != '/') result += '/';
    else if (!result.empty() && result.back() == '/' && *name == '/') ++name;
    result += name;
    return result;
}

std::string homeOf(std::string const& user) {
    if (user.empty()) {
        if (char const* home = std::getenv("HOME")) {
            if (*home) return home;
        }
        struct passwd* pw = getpwuid(getuid());
        return pw && pw->pw_dir ? pw->pw_dir : "";
    }
    struct passwd* pw = getpwnam(user.c_str());
    return pw && pw->pw_dir ? pw->pw_dir : "";
}

} // namespace

bool pxIsAbsolutePath(char const* path) { return path != nullptr && path[0] == '/'; }

char* pxFullPath(char* out, char const* path, size_t size) {
    if (out == nullptr || size == 0) return out;
    out[0] = '\0';
    if (path == nullptr) return out;
    std::string full;
    if (pxIsAbsolutePath(path)) {
        full = path;
    } else {
        char cwd[PX_MAX_PATH];
        if (getcwd(cwd, sizeof cwd) == nullptr) return out;
        full = joined(cwd, path);
    }
    if (full.size() >= size) return out;  // does not fit: empty, never cut
    std::memcpy(out, full.c_str(), full.size() + 1);
    return out;
}

char* pxCombinePathName(char* out, char const* dir, char const* name) {
    if (out == nullptr) return out;
    return copyBounded(out, joined(dir, name));
}

char* pxConcatPathSubdir(char* path, char const* dir) {
    if (path == nullptr) return path;
    return copyBounded(path, joined(path, dir));
}

char* pxConcatPathName(char* path, char const* name) { return pxConcatPathSubdir(path, name); }

char* pxTildeExpansion(char* out, char const* name) {
    if (out == nullptr) return out;
    if (name == nullptr) {
        out[0] = '\0';
        return out;
    }
    if (name[0] != '~') return copyBounded(out, name);
    char const* slash = std::strchr(name, '/');
    std::string const user = slash ? std::string(name + 1, slash) : std::string(name + 1);
    std::string const home = homeOf(user);
    if (home.empty()) return copyBounded(out, name);  // unknown user: left alone
    return copyBounded(out, slash ? home + slash : home);
}

char const* pxSeparatePathName(char const* path, char* dir) {
    if (path == nullptr) {
        if (dir) dir[0] = '\0';
        return path;
    }
    char const* slash = std::strrchr(path, '/');
    if (slash == nullptr) {
        if (dir) dir[0] = '\0';
        return path;
    }
    if (dir) {
        // A name right below the root keeps the root as its directory.
        std::string const d = slash == path ? std::string("/") : std::string(path, slash);
        copyBounded(dir, d);
    }
    return slash + 1;
}
