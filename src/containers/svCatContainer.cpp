// The CAT family: directory blocks read out of the CAT file through the
// plain stream beneath, with every length checked against the file.
#include "qzservices/containers/svCatContainer.hpp"
#include "qzservices/containers/svStdContainer.hpp"

#include <px/px.hpp>
#include <uv/strings.hpp>
#include <uv/uv.hpp>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace {

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};

enum { kCantReadFile = 2, kFileCorrupt = 3, kFileNotFound = 9 };

// Scans the block that `stream` reads for the entry `name` and copies its
// time, type, size and offset (counted from the start of `block`) into
// `into`. The stream's access is left 0 when found, kFileNotFound when not;
// the stream is closed again either way.
bool statEntry(svContainerDirIoStream* stream, char const* name, svFile const* block, svFile* into) {
    if (!stream->open()) return false;
    stream->setStreamAccess(kFileNotFound);
    while (stream->read()) {
        if (std::strcmp(stream->getEntryName(), name ? name : "") != 0) continue;
        into->setTime(catFileTime(stream->getBase()));
        into->setFileType(stream->getEntryType());
        into->setSize(static_cast<long>(stream->getEntrySize()));
        into->setOffset(stream->getEntryOffset() + block->getOffset());
        stream->setStreamAccess(0);
        stream->close();
        return true;
    }
    stream->close();
    return false;
}

} // namespace

long catFileTime(svContainerFileIoStream* base) {
    if (base == nullptr) return -1;
    if (auto* plain = dynamic_cast<svStdContainerFileBufferIoStream*>(base)) {
        long const t = plain->getModificationTime();
        if (t != -1) return t;
    }
    if (base->getStreamFile() == nullptr) return -1;
    svFile* catFile = base->getStreamFile();
    if (catFile->getTime() == -1) catFile->stat();
    return catFile->getTime();
}

// ---- DirEntry ----

svCatContainerDirIoStream::DirEntry::~DirEntry() { uvFree(name); }

void svCatContainerDirIoStream::DirEntry::setName(char* n) {
    if (n != name) uvFree(name);
    name = n;
}

// ---- svCatContainerDirIoStream ----

svCatContainerDirIoStream::svCatContainerDirIoStream()
    : numberDirEntries(0), headerLength(0), header(nullptr), nextEntryInHeader(nullptr), entry(nullptr),
      blockStart(0) {}

svCatContainerDirIoStream::~svCatContainerDirIoStream() {
    uvFree(header);
    delete entry;
}

void svCatContainerDirIoStream::setHeader(unsigned char* h) {
    if (h != header) uvFree(header);
    header = h;
}

void svCatContainerDirIoStream::setEntry(DirEntry* e) {
    if (e != entry) delete entry;
    entry = e;
}

bool svCatContainerDirIoStream::open() {
    errno = 0;
    if (base == nullptr || streamFile == nullptr) {
        streamAccess = 1;
        return false;
    }
    blockStart = streamFile->getOffset();
    base->setpos(blockStart);
    if (hasErrorOnStream()) {
        streamAccess = getStreamAccessFromErr(errno);
        return false;
    }
    return true;
}

bool svCatContainerDirIoStream::open(char const*) { return open(); }

bool svCatContainerDirIoStream::close() {
    numberDirEntries = 0;
    headerLength = 0;
    setHeader(nullptr);
    nextEntryInHeader = nullptr;
    setEntry(nullptr);
    return true;
}

long svCatContainerDirIoStream::catFileLength() {
    if (base == nullptr) return -1;
    // The plain stream knows the length of its open file: one fstat, no path.
    if (auto* plain = dynamic_cast<svStdContainerFileBufferIoStream*>(base)) return plain->getLength();
    if (base->getStreamFile() == nullptr) return -1;
    svFile* catFile = base->getStreamFile();
    if (catFile->getTime() == -1 && !catFile->stat()) return -1;
    return catFile->getSize();
}

bool svCatContainerDirIoStream::readDirHeader() {
    long const fileLength = catFileLength();
    long const position = base->getpos();
    // The two integers must be there in full.
    if (fileLength < 0 || position < 0 || position + 8 > fileLength) {
        streamAccess = kFileCorrupt;
        return false;
    }
    unsigned char* raw = nullptr;
    std::uint32_t value = 0;

    unsigned long got = base->read(&raw, 4);
    std::unique_ptr<unsigned char, UvFree> first(raw);
    if (got != 4) {
        streamAccess = kCantReadFile;
        return false;
    }
    memcpyFourBytes(&value, raw);
    std::uint32_t const length = value;

    got = base->read(&raw, 4);
    std::unique_ptr<unsigned char, UvFree> second(raw);
    if (got != 4) {
        streamAccess = kCantReadFile;
        return false;
    }
    memcpyFourBytes(&value, raw);
    numberDirEntries = static_cast<int>(value);  // kept, never trusted

    // A header shorter than its own two integers, or one running past the
    // end of the file, is corruption.
    if (length < 8 || static_cast<long>(length) > fileLength - position) {
        streamAccess = kFileCorrupt;
        return false;
    }
    headerLength = static_cast<int>(length);
    unsigned long const entryBytes = length - 8;
    got = base->read(&raw, entryBytes);
    setHeader(raw);
    nextEntryInHeader = header;
    if (got != entryBytes) {
        streamAccess = kCantReadFile;
        return false;
    }
    return true;
}

bool svCatContainerDirIoStream::read() {
    long running = 0;
    if (entry != nullptr) {
        running = entry->getOffset() + static_cast<long>(entry->getSize());
        setEntry(nullptr);
    }
    if (header == nullptr) {
        errno = 0;
        if (!readDirHeader()) {
            // Our own finding (corrupt or short) stands; an I/O error of the
            // base is translated.
            if (!isError(streamAccess) && hasErrorOnStream()) streamAccess = getStreamAccessFromErr(errno);
            return false;
        }
        if (hasErrorOnStream()) {
            streamAccess = getStreamAccessFromErr(errno);
            return false;
        }
        running = headerLength;
    }
    unsigned char* const end = header + (headerLength - 8);
    if (nextEntryInHeader >= end) return false;

    // Every field of the entry must lie inside the header.
    size_t const left = static_cast<size_t>(end - nextEntryInHeader);
    if (left < 5) {
        streamAccess = kFileCorrupt;
        return false;
    }
    unsigned char* p = nextEntryInHeader;
    std::uint32_t nameLength = 0;
    memcpyFourBytes(&nameLength, p + 1);
    if (static_cast<unsigned long>(nameLength) + 9 > left) {
        streamAccess = kFileCorrupt;
        return false;
    }
    std::uint32_t size = 0;
    memcpyFourBytes(&size, p + 5 + nameLength);
    // The content must lie inside the file.
    long const fileLength = catFileLength();
    if (fileLength < 0 || blockStart + running + static_cast<long>(size) > fileLength) {
        streamAccess = kFileCorrupt;
        return false;
    }

    std::unique_ptr<DirEntry> next(new DirEntry);
    next->setType(p[0] == 'F' ? svFile::typeFile : svFile::typeDirectory);
    char* text = static_cast<char*>(uvCallocWithCheck(static_cast<size_t>(nameLength) + 1, 1));
    next->setName(text);
    uvStrncpy(text, reinterpret_cast<char const*>(p + 5), nameLength);
    next->setSize(size);
    next->setOffset(running);
    nextEntryInHeader = p + 9 + nameLength;
    setEntry(next.release());
    return true;
}

char* svCatContainerDirIoStream::getDirList() {
    size_t capacity = 6;
    char* list = static_cast<char*>(uvCallocWithCheck(capacity, 1));
    std::memcpy(list, ".\0..\0", 5);
    size_t used = 5;
    while (read()) {
        char const* name = getEntryName();
        size_t const n = std::strlen(name) + 1;
        if (used + n + 1 > capacity) {
            // Steps of 1024 bytes; a long name takes as many as it needs.
            size_t grown = capacity;
            while (used + n + 1 > grown) grown += 1024;
            list = static_cast<char*>(uvReallocWithCheck(list, grown));
            std::memset(list + capacity, 0, grown - capacity);
            capacity = grown;
        }
        std::memcpy(list + used, name, n);
        used += n;
    }
    list[used] = '\0';
    return list;
}

svIoStream::StreamAccessReturnValue svCatContainerDirIoStream::getStreamAccessFromErr(int err) {
    return dirStreamAccessFromErr(err);
}

// ---- svCatContainerFileBufferIoStream ----

bool svCatContainerFileBufferIoStream::open() {
    if (base == nullptr || streamFile == nullptr) {
        streamAccess = 1;
        return false;
    }
    base->setpos(streamFile->getOffset());
    streamAccess = 0;
    return true;
}

bool svCatContainerFileBufferIoStream::open(char const*) {
    errno = 0;
    return open();
}

unsigned long svCatContainerFileBufferIoStream::read(unsigned char** buffer, unsigned long count) {
    if (base == nullptr) {
        *buffer = static_cast<unsigned char*>(uvCalloc(count + 1, 1));
        streamAccess = 2;
        return 0;
    }
    return base->read(buffer, count);
}

long svCatContainerFileBufferIoStream::getpos() { return base ? base->getpos() : -1; }

bool svCatContainerFileBufferIoStream::setpos(long position) { return base ? base->setpos(position) : false; }

svIoStream::StreamAccessReturnValue svCatContainerFileBufferIoStream::getStreamAccessFromErr(int err) {
    return fileStreamAccessFromErr(this, err);
}

// ---- svCatContainer ----

bool svCatContainer::access(int) {
    errno = 0;
    return true;
}

char* svCatContainer::getFullPath() {
    char* out = static_cast<char*>(uvCallocWithCheck(SV_PATH_BUFFER_SIZE, 1));
    if (name != nullptr && !standsAtDot()) pxCombinePathName(out, partialPath ? partialPath : "", name);
    else uvStrcpy(out, partialPath);
    return out;
}

bool svCatContainer::isCatContainer() {
    auto* stream = static_cast<svCatContainerDirIoStream*>(dirStream);
    if (stream == nullptr || stream->getBase() == nullptr) return false;
    unsigned char* raw = nullptr;
    unsigned long const got = stream->getBase()->read(&raw, 4);
    std::unique_ptr<unsigned char, UvFree> magic(raw);
    if (raw != nullptr && got == 4 && std::memcmp(raw, "CATF", 4) == 0) {
        stream->setEndianness(0);
        return true;
    }
    if (raw != nullptr && got == 4 && std::memcmp(raw, "FTAC", 4) == 0) {
        stream->setEndianness(1);
        return true;
    }
    stream->setStreamAccess(kFileCorrupt);
    return false;
}

bool svCatContainer::enter(char const* entryName, int len) {
    if (!enter(entryName, len, false)) return false;
    if (isDir()) return true;
    // A step by name must land on a directory: a file here is the wrong
    // kind, recorded so that the look-up's result does not pass for the file.
    setFileAccess(5);
    return false;
}

bool svCatContainer::enter(char const* entryName, int len, bool statIt) {
    if (entryName == nullptr || len < 0) return false;
    std::string const copy(entryName, static_cast<size_t>(len));
    updateFullPath(copy.c_str());
    if (standsAtDot()) {
        // The first step into the CAT file: read its magic.
        if (!isCatContainer()) return false;
        setFileType(typeDirectory);
        setOffset(dirStream->getBase()->getpos());
        return statIt ? stat() : true;
    }
    saveFileStat();
    bool const ok = stat();
    if (!ok) recoverFileStat();
    return ok;
}

bool svCatContainer::stat() {
    if (dirStream == nullptr) return false;
    if (standsAtDot()) {
        setTime(catFileTime(dirStream->getBase()));
        setSize(0);
        dirStream->setStreamAccess(0);
        return true;
    }
    return statEntry(dirStream, name, this, this);
}

// ---- svCatContainerFile ----

bool svCatContainerFile::access(int) {
    errno = 0;
    return true;
}

char* svCatContainerFile::getFullPath() {
    char* out = static_cast<char*>(uvCallocWithCheck(SV_PATH_BUFFER_SIZE, 1));
    std::unique_ptr<char, UvFree> dirPath(dir ? dir->getFullPath() : nullptr);
    pxCombinePathName(out, dirPath ? dirPath.get() : "", name);
    return out;
}

bool svCatContainerFile::stat() {
    if (getTime() != -1) return true;
    if (dir == nullptr || dir->getDirStream() == nullptr) return false;
    svContainerDirIoStream* stream = dir->getDirStream();
    saveFileStat();
    // The scan runs over `dir`'s block: the stream's file is `dir` itself.
    bool const found = statEntry(stream, name, dir, this);
    // Every exit restores the saved record: the identity the object took
    // over stays, and the answer only says whether the entry exists.
    recoverFileStat();
    return found;
}
