// Named search paths. Each keeps its directories with a cached listing, read
// through the path's I/O functions on first use and again on a refresh.
#include "px/px.hpp"

#include <uv/uv.hpp>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <set>

namespace {

struct Directory {
    std::string name;
    bool listed = false;
    long time = 0;  // modification time when last listed
    std::vector<std::string> names;
};

} // namespace

struct pxPathObject {
    std::string name;
    pxIOFcns fcns;
    std::string cwd;
    std::string text;  // the list as last given to pxReplacePath
    std::vector<Directory> dirs;
    bool notifyWarnings = true;
    std::vector<std::string> warnings;
};

namespace {

pxIOFcns& defaults() {
    static pxIOFcns fcns = {nullptr, nullptr, nullptr, nullptr, nullptr};
    return fcns;
}

// Paths by name; the map owns them. Made on first use, never freed, so that
// static destructors elsewhere may still look paths up.
std::map<std::string, std::unique_ptr<pxPathObject>>& registry() {
    static auto* paths = new std::map<std::string, std::unique_ptr<pxPathObject>>;
    return *paths;
}

std::string& currentName() {
    static std::string name = "default";
    return name;
}

std::string processCwd() {
    char buffer[PX_MAX_PATH];
    return getcwd(buffer, sizeof buffer) ? std::string(buffer) : std::string("/");
}

void unpack(char const* list, std::vector<std::string>& out) {
    out.clear();
    if (list == nullptr) return;
    for (char const* p = list; *p; p += std::strlen(p) + 1) {
        if (std::strcmp(p, ".") != 0 && std::strcmp(p, "..") != 0) out.emplace_back(p);
    }
}

long timeOf(pxPath path, std::string const& dir) {
    return path->fcns.modificationTime ? path->fcns.modificationTime(path, dir.c_str()) : 0;
}

void list(pxPath path, Directory& dir) {
    dir.names.clear();
    dir.time = timeOf(path, dir.name);
    if (path->fcns.listDirectory) {
        char* packed = path->fcns.listDirectory(path, dir.name.c_str(), nullptr);
        unpack(packed, dir.names);
        uvFree(packed);
    }
    dir.listed = true;
}

void warn(pxPath path, std::string const& text) {
    path->warnings.push_back(text);
    if (path->notifyWarnings) std::fprintf(stderr, "Warning: %s\n", text.c_str());
}

std::vector<std::string> split(char const* text) {
    std::vector<std::string> parts;
    std::string part;
    for (char const* p = text; ; ++p) {
        if (*p == ':' || *p == '\0') {
            if (!part.empty()) parts.push_back(part);
            part.clear();
            if (*p == '\0') break;
        } else {
            part += *p;
        }
    }
    return parts;
}

} // namespace

void pxSetDefaultIOFcns(pxListDirectoryFcn listDirectory, pxDirAccessibilityFcn dirAccessibility,
                        pxIsReadableFileFcn isReadableFile, pxIsDirectoryFcn isDirectory,
                        pxModificationTimeFcn modificationTime) {
    pxIOFcns& d = defaults();
    if (listDirectory) d.listDirectory = listDirectory;
    if (dirAccessibility) d.dirAccessibility = dirAccessibility;
    if (isReadableFile) d.isReadableFile = isReadableFile;
    if (isDirectory) d.isDirectory = isDirectory;
    if (modificationTime) d.modificationTime = modificationTime;
}

pxIOFcns pxGetDefaultIOFcns() { return defaults(); }

void pxUpdatePathArrayDefaultIOFcns() {
    for (auto& entry : registry()) {
        entry.second->fcns = defaults();
        // What the new functions see may differ: list again on next use.
        for (Directory& d : entry.second->dirs) d.listed = false;
    }
}

pxIOFcns pxGetIOFcns(pxPath path) { return path ? path->fcns : pxIOFcns{}; }

pxPath pxCreatePath(char const* name) {
    if (name == nullptr) return nullptr;
    auto& slot = registry()[name];
    if (!slot) {
        slot.reset(new pxPathObject);
        slot->name = name;
        slot->fcns = defaults();
        slot->cwd = processCwd();
    }
    return slot.get();
}

pxPath pxLookupPath(char const* name) {
    if (name == nullptr) return nullptr;
    auto it = registry().find(name);
    return it == registry().end() ? nullptr : it->second.get();
}

void pxDestroyPath(pxPath path) {
    if (path == nullptr) return;
    registry().erase(path->name);
}

char const* pxGetCurrentPathname() {
    pxCreatePath(currentName().c_str());
    return currentName().c_str();
}

void pxSetCurrentPathname(char const* name) {
    if (name != nullptr) currentName() = name;
}

bool pxReplacePath(pxPath path, char const* text) {
    if (path == nullptr || text == nullptr) return false;
    if (path->text == text && !path->dirs.empty()) return false;
    path->text = text;
    path->dirs.clear();
    bool allTaken = true;
    std::set<std::string> seen;
    for (std::string const& name : split(text)) {
        if (!seen.insert(name).second) continue;  // a directory appears once
        pxDirAccessibility const state =
            path->fcns.dirAccessibility ? path->fcns.dirAccessibility(path, name.c_str()) : pxDirOther;
        if (state != pxDirAccessible) {
            allTaken = false;
            warn(path, "Name is nonexistent or not a directory: " + name);
            continue;
        }
        Directory d;
        d.name = name;
        path->dirs.push_back(d);
    }
    return allTaken;
}

void pxRefreshAllDirectories(pxPath path, int level) {
    if (path == nullptr) return;
    for (Directory& d : path->dirs) {
        if (!d.listed || level >= 2 || timeOf(path, d.name) != d.time) list(path, d);
    }
}

bool pxSetNotificationHandleWarnings(pxPath path, bool on) {
    if (path == nullptr) return false;
    bool const old = path->notifyWarnings;
    path->notifyWarnings = on;
    return old;
}

void pxChangedUnknownDir(pxPath path) { pxChangedUnknownDir(path, nullptr); }

void pxChangedUnknownDir(pxPath path, char const* dir) {
    if (path == nullptr) return;
    for (Directory& d : path->dirs) {
        if (d.name == path->cwd || (dir != nullptr && d.name == dir)) d.listed = false;
    }
}

char* pxGetCWDName(pxPath path, char* out, size_t size) {
    if (out == nullptr || size == 0) return out;
    std::string const cwd = path ? path->cwd : processCwd();
    size_t const n = cwd.size() < size - 1 ? cwd.size() : size - 1;
    std::memcpy(out, cwd.data(), n);
    out[n] = '\0';
    return out;
}

bool pxSetCWDName(pxPath path, char const* dir) {
    if (path == nullptr || dir == nullptr || path->fcns.isDirectory == nullptr) return false;
    if (!path->fcns.isDirectory(path, dir)) return false;
    path->cwd = dir;
    return true;
}

size_t pxNumDirectories(pxPath path) { return path ? path->dirs.size() : 0; }

std::string pxGetDirectory(pxPath path, size_t index) {
    return path && index < path->dirs.size() ? path->dirs[index].name : std::string();
}

std::vector<std::string> pxGetDirectoryListing(pxPath path, size_t index) {
    if (path == nullptr || index >= path->dirs.size()) return {};
    Directory& d = path->dirs[index];
    if (!d.listed) list(path, d);
    return d.names;
}

std::vector<std::string> pxGetWarnings(pxPath path) { return path ? path->warnings : std::vector<std::string>(); }

bool pxFindFile(pxPath path, char const* name, char* out) {
    if (path == nullptr || name == nullptr || *name == '\0' || path->fcns.isReadableFile == nullptr) return false;
    char candidate[PX_MAX_PATH];
    if (pxIsAbsolutePath(name)) {
        if (!path->fcns.isReadableFile(name)) return false;
        if (out) pxCombinePathName(out, "", name);
        return true;
    }
    // The current directory is asked directly: it changes too often to cache.
    pxCombinePathName(candidate, path->cwd.c_str(), name);
    if (path->fcns.isReadableFile(candidate)) {
        if (out) std::strcpy(out, candidate);
        return true;
    }
    for (Directory& d : path->dirs) {
        if (!d.listed) list(path, d);
        bool listedHere = false;
        for (std::string const& entry : d.names) {
            if (entry == name) {
                listedHere = true;
                break;
            }
        }
        if (!listedHere) continue;
        pxCombinePathName(candidate, d.name.c_str(), name);
        if (path->fcns.isReadableFile(candidate)) {
            if (out) std::strcpy(out, candidate);
            return true;
        }
    }
    return false;
}

long pxModificationTime(pxPath path, char const* file) {
    if (path == nullptr || file == nullptr || path->fcns.modificationTime == nullptr) return 0;
    return path->fcns.modificationTime(path, file);
}
