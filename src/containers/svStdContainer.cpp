// The plain family: directories and files of the operating system.
#include "qzservices/containers/svStdContainer.hpp"

#include <msg/calyx_messages.hpp>
#include <px/px.hpp>
#include <uv/strings.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

namespace {

struct UvFree {
    void operator()(char* p) const { uvFree(p); }
};
typedef std::unique_ptr<char, UvFree> PathBuffer;

char* newPathBuffer() { return static_cast<char*>(uvCallocWithCheck(SV_PATH_BUFFER_SIZE, 1)); }

// access(2) on the object's full path; `caller` describes the object for
// diagnostics, not printed.
bool Access(svFile* object, int mode, char const* /*caller*/) {
    PathBuffer path(object->getFullPath());
    errno = 0;
    if (::access(platformPathFix(path.get()), mode) != 0) {
        object->setFileAccess(getFileAccessFromErr(errno));
        return false;
    }
    return true;
}

bool Stat(svFile* object, char const* /*caller*/) {
    PathBuffer path(object->getFullPath());
    errno = 0;
    OSFileStat st;
    if (!st.getOSFileStat(platformPathFix(path.get()))) {
        object->setFileAccess(getFileAccessFromErr(errno));
        object->setTime(-1);
        object->setFileType(0);
        object->setSize(-1);
        return false;
    }
    object->setTime(st.getTime());
    object->setFileType(st.getType());
    object->setSize(st.getSize());
    return true;
}

} // namespace

// ---- OSFileStat, OSDir ----

bool OSFileStat::getOSFileStat(char* path) { return path != nullptr && ::stat(path, &st) == 0; }

OSDir::~OSDir() {
    close();
    uvFree(path);
}

bool OSDir::open(char* p) {
    close();
    dir = p ? opendir(p) : nullptr;
    return dir != nullptr;
}

bool OSDir::read() {
    entry = dir ? readdir(dir) : nullptr;
    return entry != nullptr;
}

bool OSDir::close() {
    entry = nullptr;
    if (dir == nullptr) return true;
    int const rc = closedir(dir);
    dir = nullptr;
    return rc == 0;
}

void OSDir::setPath(char* p) {
    if (p != path) uvFree(path);
    path = p;
}

char* OSDir::reAlloc(char* buffer) {
    bufsize = bufsize == 0 ? 1024 : bufsize + 1024;
    return static_cast<char*>(uvReallocWithCheck(buffer, bufsize));
}

// ---- the error tables ----

svIoStream::StreamAccessReturnValue dirStreamAccessFromErr(int err) {
    if (err < 2 || err > 36) return 1;
    switch (err) {
    case 2: return 9;
    case 13: return 8;
    case 23:
    case 24: return 7;
    case 28: return 10;
    case 36: return 5;
    default: return 1;
    }
}

svIoStream::StreamAccessReturnValue fileStreamAccessFromErr(svIoStream* stream, int err) {
    svIoStream::StreamAccessReturnValue code = 1;
    switch (err) {
    case 2: code = 9; break;
    case 13: code = 8; break;
    case 23:
    case 24: code = 7; break;
    case 28: code = 10; break;
    default: code = 1; break;
    }
    if (!stream->getReturnOnError()) return code;
    if (err == 2 && stream->getContinueNotFound()) return 9;
    std::string path;
    if (svFile* file = stream->getStreamFile()) {
        PathBuffer full(file->getFullPath());
        if (full) path = full.get();
    }
    // The text is always that of code 11, whatever the error: kept so.
    vxErrMsgId(CALYX::legacy_two_part::containerStreamError(path, svIoStream::getStreamAccessStrings(11)));
}

// ---- svStdContainerDirIoStream ----

svStdContainerDirIoStream::svStdContainerDirIoStream() : stream(new OSDir) {}

svStdContainerDirIoStream::~svStdContainerDirIoStream() { delete stream; }

bool svStdContainerDirIoStream::open() {
    if (streamFile == nullptr) {
        streamAccess = 1;
        return false;
    }
    stream->setPath(streamFile->getFullPath());
    errno = 0;
    bool const ok = stream->open(stream->getPath());
    streamAccess = ok ? 0 : getStreamAccessFromErr(errno);
    return ok;
}

bool svStdContainerDirIoStream::open(char const*) { return open(); }

bool svStdContainerDirIoStream::close() { return stream->close(); }

bool svStdContainerDirIoStream::read() { return stream->read(); }

char* svStdContainerDirIoStream::getDirList() {
    char* list = nullptr;
    size_t used = 0;
    stream->setBufsize(0);
    while (read()) {
        char const* name = stream->getName();
        if (name == nullptr) continue;
        size_t const n = std::strlen(name) + 1;
        // Room for the name, its terminator and the final zero.
        while (used + n + 1 > stream->getBufsize()) list = stream->reAlloc(list);
        std::memcpy(list + used, name, n);
        used += n;
    }
    if (list != nullptr) list[used] = '\0';
    return stream->validList(list);
}

void svStdContainerDirIoStream::setStream(OSDir* s) {
    close();
    if (s != stream) delete stream;
    stream = s;
}

svIoStream::StreamAccessReturnValue svStdContainerDirIoStream::getStreamAccessFromErr(int err) {
    return dirStreamAccessFromErr(err);
}

// ---- svStdContainerFileBufferIoStream ----

svStdContainerFileBufferIoStream::~svStdContainerFileBufferIoStream() {
    if (stream != nullptr) std::fclose(stream);
}

bool svStdContainerFileBufferIoStream::open() { return open("rb"); }

bool svStdContainerFileBufferIoStream::open(char const* mode) {
    if (streamFile == nullptr) {
        streamAccess = 1;
        return false;
    }
    PathBuffer path(streamFile->getFullPath());
    errno = 0;
    FILE* f = std::fopen(path.get(), mode ? mode : "rb");
    int const err = errno;
    setStream(f);
    if (f != nullptr) {
        if (mode == nullptr || mode[0] == 'r') position = 0;  // a fresh read stream stands at the start
        streamAccess = 0;
        return true;
    }
    streamAccess = getStreamAccessFromErr(err);
    return false;
}

bool svStdContainerFileBufferIoStream::close() {
    if (stream == nullptr) return true;
    int const rc = std::fclose(stream);
    stream = nullptr;
    position = -1;
    length = -1;
    mtime = -1;
    return rc == 0;
}

unsigned long svStdContainerFileBufferIoStream::read(unsigned char** buffer, unsigned long count) {
    *buffer = static_cast<unsigned char*>(uvCalloc(count + 1, 1));
    if (*buffer == nullptr) {
        streamAccess = 2;
        return 0;
    }
    if (stream == nullptr) {
        streamAccess = 2;
        return 0;
    }
    errno = 0;
    size_t const got = std::fread(*buffer, 1, count, stream);
    streamAccess = errno != 0 ? 2 : 0;
    position = streamAccess == 0 && position >= 0 ? position + static_cast<long>(got) : -1;
    return got;
}

long svStdContainerFileBufferIoStream::getpos() {
    if (stream == nullptr) {
        streamAccess = 1;
        return -1;
    }
    if (position >= 0) return position;  // cheap: no system call
    errno = 0;
    long const pos = std::ftell(stream);
    if (errno != 0) streamAccess = getStreamAccessFromErr(errno);
    position = pos;
    return pos;
}

bool svStdContainerFileBufferIoStream::setpos(long position) {
    if (stream == nullptr) {
        streamAccess = 1;
        return false;
    }
    if (this->position == position && position >= 0) return true;
    errno = 0;
    if (std::fseek(stream, position, SEEK_SET) != 0) {
        this->position = -1;
        streamAccess = getStreamAccessFromErr(errno);
        return false;
    }
    this->position = position;
    return true;
}

bool svStdContainerFileBufferIoStream::statted() {
    if (stream == nullptr) return false;
    if (length >= 0) return true;
    struct stat st;
    if (fstat(fileno(stream), &st) != 0) return false;
    length = static_cast<long>(st.st_size);
    mtime = static_cast<long>(st.st_mtime);
    return true;
}

long svStdContainerFileBufferIoStream::getLength() { return statted() ? length : -1; }
long svStdContainerFileBufferIoStream::getModificationTime() { return statted() ? mtime : -1; }

void svStdContainerFileBufferIoStream::setStream(FILE* s) {
    close();
    stream = s;
    position = -1;
    length = -1;
    mtime = -1;
}

svIoStream::StreamAccessReturnValue svStdContainerFileBufferIoStream::getStreamAccessFromErr(int err) {
    return fileStreamAccessFromErr(this, err);
}

// ---- svStdContainer, svStdContainerFile ----

bool svStdContainer::access(int mode) { return Access(this, mode, "svStdContainer: access (Access template)"); }
bool svStdContainer::stat() { return Stat(this, "svStdContainer: stat (Stat template)"); }

char* svStdContainer::getFullPath() {
    char* out = newPathBuffer();
    if (name != nullptr && !standsAtDot()) pxCombinePathName(out, partialPath ? partialPath : "", name);
    else uvStrcpy(out, partialPath);
    return out;
}

bool svStdContainer::enter(char const* entryName, int len, bool statIt) {
    if (entryName == nullptr || len < 0) return false;
    std::string const copy(entryName, static_cast<size_t>(len));
    if (partialPath != nullptr && partialPath[0] != '\0' && copy[0] == '~') {
        // The expansion replaces the partial path; the name stays as it was.
        setPartialPath(pxTildeExpansion(partialPath, copy.c_str()));
    } else {
        updateFullPath(copy.c_str());
    }
    if (!statIt) return true;  // a plain step: the next stat, open or access finds out
    saveFileStat();
    bool const ok = stat();
    if (!ok) recoverFileStat();
    return ok;
}

bool svStdContainerFile::access(int mode) {
    return Access(this, mode, "svStdContainerFile: access (Access template)");
}

bool svStdContainerFile::stat() { return Stat(this, "svStdContainerFile: stat (Stat template)"); }

long svStdContainerFile::size() {
    long const s = getSize();
    return getTime() != -1 && s > 0 ? s : 0;
}

char* svStdContainerFile::getFullPath() {
    char* out = newPathBuffer();
    PathBuffer dirPath(dir ? dir->getFullPath() : nullptr);
    pxCombinePathName(out, dirPath ? dirPath.get() : "", name);
    return out;
}
