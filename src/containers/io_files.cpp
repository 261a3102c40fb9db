// The io* helpers: opening, listing and asking about files.
#include "qzservices/containers/io_files.hpp"

#include "qzservices/io/callbacks.hpp"

#include <msg/calyx_messages.hpp>
#include <px/px.hpp>
#include <uv/cycle_counter.hpp>
#include <uv/pattern.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

namespace {

uvCpuCycleCounter* openCounter() {
    static char const* const names[] = {"     Open: get path     ", "     Open: fopen        "};
    // Made without a lock on first use: callers are on the interpreter's thread.
    static uvCpuCycleCounter* counter = uvCreateCpuCycleCounter(2, names, "Open");
    return counter;
}

// The status table shared by ioIsFileReadable and ioIsDirAccessible.
int accessStatusFromErrno(int err) {
    if (err < 2 || err > 20) return 5;
    if (err == ENOENT || err == ENOTDIR) return 4;
    if (err == EACCES) return 3;
    return 5;
}

[[noreturn]] void raiseFilenameTooLong() {
    vxErrMsgId("CALYX:fileio:filenameTooLong", CALYX::services::filenameTooLong());
}

struct FreeList {
    void operator()(void* p) const { uvFree(p); }
};

void populateList(std::string const& directory, char const* namePattern, std::vector<FileItem>& items) {
    DIR* dir = opendir(directory.c_str());
    if (dir == nullptr) return;
    while (struct dirent* entry = readdir(dir)) {
        if (!uvPatternMatch(namePattern, entry->d_name, 1)) continue;
        // d_type times 4096 puts the type code where st_mode keeps its format bits.
        items.push_back(FileItem{entry->d_name, static_cast<unsigned int>(entry->d_type) * 4096u});
    }
    closedir(dir);
}

} // namespace

FILE* ioFopen(char const* name, char const* mode) {
    uvCpuCycleCounter* counter = openCounter();
    char buffer[IO_PATH_BUFFER];
    char const* path;
    {
        uvCycleTimer timer(counter, 0);
        path = ioExpandFileName(name, buffer);
    }
    uvCycleTimer timer(counter, 1);
    errno = 0;
    return std::fopen(path, mode);
}

FILE* ioFopenPathName(char const* name, char const* mode, char* outPath, int* outErrno) {
    *outErrno = 0;
    if (name == nullptr || *name == '\0') return nullptr;
    if (std::strlen(name) > IO_MAX_FILENAME) raiseFilenameTooLong();
    // The binary flag means nothing on this platform: "rb+" opens as "r+".
    std::string plainMode(mode ? mode : "");
    std::string::size_type const b = plainMode.find('b');
    if (b != std::string::npos) plainMode.erase(b, 1);
    std::strcpy(outPath, name);

    QZFstat status;
    if (ioGetFileStatus(name, &status) != 0 || status.isDir != 1) {
        errno = 0;
        FILE* file = ioFopen(name, plainMode.c_str());
        *outErrno = errno;
        if (file != nullptr) return file;
    }
    if (plainMode.empty() || plainMode[0] != 'r') return nullptr;  // only reading searches
    if (!svFindFirstFileName(name, false, outPath)) return nullptr;
    errno = 0;
    FILE* file = ioFopen(outPath, plainMode.c_str());
    *outErrno = errno;
    return file;
}

FILE* ioFopenPath(char const* name, char const* mode) {
    char outPath[IO_PATH_BUFFER];
    int outErrno = 0;
    return ioFopenPathName(name, mode, outPath, &outErrno);
}

void ioReportOpenError(bool quietIfMissing, char const* name) {
    int const err = errno;
    std::string const n(name ? name : "");
    switch (err) {
    case ENOENT:
        if (quietIfMissing) return;
        vxErrMsgId("CALYX:fileio:fileNotFound", CALYX::services::fileNotFound(n));
    case EACCES:
        vxErrMsgId("CALYX:fileio:cantOpenFileNoPermission", CALYX::services::cantOpenFileNoPermission(n));
    case EMFILE:
        vxErrMsgId("CALYX:fileio:tooManyFilesOpen", CALYX::services::tooManyFilesOpenUnix(n));
    case ENOSPC:
        vxErrMsgId("CALYX:fileio:noDiskSpace", CALYX::services::noDiskSpace(n));
    default:
        vxErrMsgId("CALYX:fileio:cantOpenFile", CALYX::services::cantOpenFile(n));
    }
}

FILE* ioFopenErrorChk(char const* name, char const* mode) {
    FILE* file = ioFopen(name, mode);
    if (file == nullptr) ioReportOpenError(true, name);
    return file;
}

FILE* ioFopenErrorChkPath(char const* name, char const* mode) {
    char outPath[IO_PATH_BUFFER];
    return ioFopenErrorChkPathName(name, mode, outPath);
}

FILE* ioFopenErrorChkPathName(char const* name, char const* mode, char* outPath) {
    errno = 0;
    int outErrno = 0;
    FILE* file = ioFopenPathName(name, mode, outPath, &outErrno);
    if (file == nullptr) {
        // The search between may have touched errno: report the open's own.
        if (outErrno != 0) errno = outErrno;
        ioReportOpenError(false, name);
    }
    return file;
}

int ioFclose(FILE* file) { return std::fclose(file); }

char const* ioExpandFileName(char const* name, char* buffer) { return pxTildeExpansion(buffer, name); }

int ioErrnoChk() {
    if (errno == EMFILE) return -1;
    if (errno == EACCES) return -2;
    return 0;
}

char* ioAddFilenameExt(char* dst, char const* name, char const* ext) {
    size_t const nameLength = std::strlen(name);
    size_t const extLength = std::strlen(ext);
    if (nameLength + extLength >= IO_PATH_BUFFER) vxErrMsgId(CALYX::services::filenameTooLong());
    if (dst != name) std::memmove(dst, name, nameLength + 1);
    char const* slash = std::strrchr(name, '/');
    char const* last = slash ? slash + 1 : name;
    if (*last == '\0') return nullptr;
    // The dot is looked for in `name`, and a pointer into `name` returned: a
    // name that has an extension keeps it.
    if (char const* dot = std::strchr(last, '.')) return const_cast<char*>(dot);
    std::strcat(dst, ext);
    return dst;
}

char* ioGetDirList(char const* pattern, unsigned int flags) { return ioGetDirListWithModes(pattern, flags, nullptr); }

char* ioGetDirListWithModes(char const* pattern, unsigned int /*flags*/, unsigned int** modes) {
    if (pattern == nullptr) return nullptr;
    char expanded[IO_PATH_BUFFER];
    pxTildeExpansion(expanded, pattern);
    char dirPart[IO_PATH_BUFFER];
    char const* namePart = pxSeparatePathName(expanded, dirPart);

    std::string directory;
    char const* namePattern;
    char separator = '/';
    if (namePart == expanded) {
        char cwd[IO_MAX_FILENAME];
        pxGetCWDName(pxLookupPath(pxGetCurrentPathname()), cwd, sizeof cwd);
        directory = cwd;
        namePattern = pattern;
    } else {
        directory = dirPart;
        namePattern = namePart;
        separator = namePart[-1];
    }
    if (!(directory.size() == 1 && directory[0] == separator)) directory += separator;

    std::vector<FileItem> items;
    populateList(directory, namePattern, items);
    std::sort(items.begin(), items.end());
    if (items.empty()) return nullptr;

    if (modes != nullptr) {
        *modes = static_cast<unsigned int*>(uvMallocWithCheck(sizeof(unsigned int) * items.size()));
        for (size_t i = 0; i < items.size(); ++i) (*modes)[i] = items[i].mode;
    }
    std::list<std::string> names;
    for (FileItem const& item : items) names.push_back(item.name);
    return ioPackListIntoCharArray(names);
}

char* ioPackListIntoCharArray(std::list<std::string> names) {
    size_t total = 1;
    for (std::string const& n : names) total += n.size() + 1;
    if (total < 2) total = 2;  // an empty list is two zero bytes
    char* packed = static_cast<char*>(uvMalloc(total));
    if (packed == nullptr) return nullptr;
    char* p = packed;
    for (std::string const& n : names) {
        std::memcpy(p, n.c_str(), n.size() + 1);
        p += n.size() + 1;
    }
    *p = '\0';
    if (names.empty()) packed[1] = '\0';
    return packed;
}

int ioIsFileReadable(char const* path) {
    if (path == nullptr) return 5;
    errno = 0;
    if (access(path, R_OK) == 0) return 7;
    return accessStatusFromErrno(errno);
}

int ioGetFileStatus(char const* path, QZFstat* out) {
    char buffer[IO_PATH_BUFFER];
    struct stat st;
    if (path == nullptr || stat(ioExpandFileName(path, buffer), &st) != 0) {
        if (out) {
            out->time = 0x7fffffff;
            out->isDir = 0;
            out->size = 0;
        }
        return -1;
    }
    if (out) {
        out->time = static_cast<long>(st.st_mtime);
        out->isDir = S_ISDIR(st.st_mode) ? 1 : 0;
        out->size = S_ISDIR(st.st_mode) ? 0 : static_cast<long>(st.st_size);
    }
    return 0;
}

int ioIsDirAccessible(char const* path) {
    if (path == nullptr) return 5;
    std::string p(path);
    // One trailing "/" goes; "/" itself keeps it.
    if (p.size() > 1 && p.back() == '/') p.pop_back();
    errno = 0;
    QZFstat status;
    if (access(p.c_str(), R_OK | X_OK) == 0 && ioGetFileStatus(p.c_str(), &status) == 0)
        return status.isDir == 1 ? 1 : 2;
    return accessStatusFromErrno(errno);
}

int ioIs_DOS_name(char const* /*name*/) { return 0; }

int ioGetCDroot(int n, char* root) {
    if (root == nullptr) return 0;
    FILE* mounts = popen("mount", "r");
    if (mounts == nullptr) return 0;
    char line[512];
    int found = 0;
    int seen = 0;
    while (std::fgets(line, sizeof line, mounts) != nullptr) {
        if (line[0] != '/') continue;
        char* save = nullptr;
        char* tokens[5] = {nullptr, nullptr, nullptr, nullptr, nullptr};
        char* t = strtok_r(line, " \t\n", &save);
        for (int i = 0; i < 5 && t != nullptr; ++i) {
            tokens[i] = t;
            t = strtok_r(nullptr, " \t\n", &save);
        }
        if (tokens[4] == nullptr || std::strcmp(tokens[4], "iso9660") != 0) continue;
        if (++seen == n) {
            std::strncpy(root, tokens[2], IO_MAX_FILENAME);
            root[IO_MAX_FILENAME] = '\0';
            found = 1;
            break;
        }
    }
    pclose(mounts);
    return found;
}
