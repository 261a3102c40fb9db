// The abstract model: names and stat records, the ownership chain, and the
// error search along the chain.
#include "qzservices/containers/svFile.hpp"

#include <px/px.hpp>
#include <uv/strings.hpp>
#include <uv/uv.hpp>

#include <cstring>

svFile::FileAccessReturnValue getFileAccessFromErr(int err) {
    if (err < 2 || err > 20) return 6;
    if (err == 2 || err == 20) return 4;
    if (err == 13) return 3;
    return 6;
}

char* platformPathFix(char* path) { return path; }

namespace {

// The code of the first stream in error, the stream's own code before its
// base's: a scan that found nothing leaves 9 on a healthy base, and an I/O
// failure of the base shows through every layer. -1 when all is well.
svIoStream::StreamAccessReturnValue codeInError(svIoStream const* stream, svContainerFileIoStream const* base) {
    if (stream == nullptr) return -1;
    if (svIoStream::isError(stream->getStreamAccess())) return stream->getStreamAccess();
    if (base != nullptr) return codeInError(base, base->getBase());
    return -1;
}

svIoStream::StreamAccessReturnValue codeInError(svContainerFileIoStream const* stream) {
    return stream ? codeInError(stream, stream->getBase()) : -1;
}

svIoStream::StreamAccessReturnValue codeInError(svContainerDirIoStream const* stream) {
    return stream ? codeInError(stream, stream->getBase()) : -1;
}

} // namespace

// ---- svFile ----

svFile::svFile() : name(nullptr), fileAccess(0) {
    fileStat[0] = new QZFileStat;
    fileStat[1] = nullptr;
}

svFile::~svFile() {
    uvFree(name);
    delete fileStat[0];
    delete fileStat[1];
}

void svFile::setName(char const* text) {
    uvFree(name);
    name = nullptr;
    if (text == nullptr) return;
    name = static_cast<char*>(uvCallocWithCheck(uvStrlen(text) + 1, 1));
    uvStrcpy(name, text);
}

void svFile::setName(char const* text, int len) {
    uvFree(name);
    name = nullptr;
    if (text == nullptr || len < 0) return;
    name = static_cast<char*>(uvCallocWithCheck(static_cast<size_t>(len) + 1, 1));
    std::memcpy(name, text, static_cast<size_t>(len));
}

void svFile::setFileStat(QZFileStat* record, int slot) {
    if (slot != 0 && slot != 1) return;
    if (fileStat[slot] != record) delete fileStat[slot];
    fileStat[slot] = record;
}

void svFile::saveFileStat() {
    delete fileStat[1];
    fileStat[1] = fileStat[0];
    fileStat[0] = new QZFileStat;
    fileStat[0]->setOffset(fileStat[1]->getOffset());
}

void svFile::recoverFileStat() {
    // Nothing saved: the current record stays (a record is never missing).
    if (fileStat[1] == nullptr) return;
    delete fileStat[0];
    fileStat[0] = fileStat[1];
    fileStat[1] = nullptr;
}

bool svFile::standsAtDot() const { return name != nullptr && std::strcmp(name, ".") == 0; }

// ---- svContainer ----

svContainer::svContainer()
    : type(0), partialPath(nullptr), dirStream(nullptr), parent(nullptr), child(nullptr), file(nullptr) {}

svContainer::~svContainer() {
    uvFree(partialPath);
    delete dirStream;
    if (file != nullptr) {
        // The file must not delete us back.
        file->resetDir();
        delete file;
    }
    delete parent;
}

void svContainer::setPartialPath(char* p) {
    if (p == nullptr) uvFree(partialPath);
    partialPath = p;
}

void svContainer::updateFullPath(char const* newName) {
    if (name != nullptr && !standsAtDot()) appendToPartialPath(name);
    setName(newName);
}

void svContainer::appendToPartialPath(char const* text) {
    if (partialPath == nullptr) partialPath = static_cast<char*>(uvCallocWithCheck(SV_PATH_BUFFER_SIZE, 1));
    pxConcatPathSubdir(partialPath, text);
}

void svContainer::appendToPartialPath(char const* text, int len) {
    if (text == nullptr || len < 0) return;
    std::string const part(text, static_cast<size_t>(len));
    appendToPartialPath(part.c_str());
}

void svContainer::setDirStream(svContainerDirIoStream* stream) {
    if (dirStream != stream) delete dirStream;
    dirStream = stream;
}

void svContainer::setFile(svContainerFile* f) {
    if (file != f && file != nullptr) {
        file->resetDir();
        delete file;
    }
    file = f;
}

svFile::FileAccessReturnValue svContainer::findFileAccessInError() const {
    if (file != nullptr && file->hasErrorOnFile()) return file->getFileAccess();
    if (hasErrorOnFile()) return fileAccess;
    return 0;
}

bool svContainer::hasFileError() const { return findFileAccessInError() != 0; }

svIoStream::StreamAccessReturnValue svContainer::findStreamAccessInError() const {
    svIoStream::StreamAccessReturnValue const code = file ? codeInError(file->getFileStream()) : -1;
    return code != -1 ? code : codeInError(dirStream);
}

bool svContainer::hasStreamError() const { return findStreamAccessInError() != -1; }

// ---- svContainerFile ----

svContainerFile::svContainerFile() : fileStream(nullptr), dir(nullptr) {}

svContainerFile::~svContainerFile() {
    delete fileStream;
    if (dir != nullptr) {
        dir->resetFile();
        delete dir;
    }
}

void svContainerFile::setFileStream(svContainerFileIoStream* stream) {
    if (fileStream != stream) delete fileStream;
    fileStream = stream;
}

void svContainerFile::setDir(svContainer* d) {
    if (dir != d && dir != nullptr) {
        dir->resetFile();
        delete dir;
    }
    dir = d;
}

svFile::FileAccessReturnValue svContainerFile::findFileAccessInError() const {
    if (hasErrorOnFile()) return fileAccess;
    if (dir != nullptr && dir->hasErrorOnFile()) return dir->getFileAccess();
    return 0;
}

bool svContainerFile::hasFileError() const { return findFileAccessInError() != 0; }

svIoStream::StreamAccessReturnValue svContainerFile::findStreamAccessInError() const {
    svIoStream::StreamAccessReturnValue const code = codeInError(fileStream);
    return code != -1 ? code : (dir ? codeInError(dir->getDirStream()) : -1);
}

bool svContainerFile::hasStreamError() const { return findStreamAccessInError() != -1; }
