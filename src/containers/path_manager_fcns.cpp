// The two sets of path-manager I/O functions.
#include "qzservices/containers/path_manager_fcns.hpp"
#include "qzservices/containers/ContainerFeature.hpp"
#include "qzservices/containers/io_files.hpp"
#include "qzservices/containers/svFile.hpp"

#include <cstring>
#include <memory>
#include <uv/uv.hpp>

namespace {

// Releases a look-up's result, and with it the chain. A file object always
// knows its directory here, so deleting the file releases everything.
template <class T>
struct Owned {
    explicit Owned(T* p) : object(p) {}
    ~Owned() { delete object; }
    Owned(Owned const&) = delete;
    Owned& operator=(Owned const&) = delete;
    T* operator->() const { return object; }
    T* get() const { return object; }
    T* object;
};

pxDirAccessibility fromFileAccess(int code) {
    if (code == 3) return pxDirNoPermission;
    if (code == 4) return pxDirNotFound;
    return pxDirOther;
}

} // namespace

void svSetPathManagerDefaultIOFcnsOrig() {
    pxSetDefaultIOFcns(&svPlainListDirectory, &svPlainDirAccessibility, &svPlainIsReadableFile,
                       &svPlainIsDirectory, &svPlainModificationTime);
}

void svSetPathManagerDefaultIOFcns() {
    if (svIsContainerFeatureOn()) {
        pxSetDefaultIOFcns(&svContainerListDirectory, &svContainerDirAccessibility, &svContainerIsReadableFile,
                           &svContainerIsDirectory, &svContainerModificationTime);
    } else {
        svSetPathManagerDefaultIOFcnsOrig();
    }
}

// ---- the plain set ----

char* svPlainListDirectory(pxPath, char const* dir, unsigned int** modes) {
    if (dir == nullptr) return nullptr;
    char buffer[4152];
    // Leave room for the "/*" that is appended.
    if (std::strlen(dir) + 3 > sizeof buffer) return nullptr;
    std::strcpy(buffer, dir);
    pxConcatPathName(buffer, "*");
    return ioGetDirListWithModes(buffer, 0, modes);
}

pxDirAccessibility svPlainDirAccessibility(pxPath, char const* dir) {
    switch (ioIsDirAccessible(dir)) {
    case 1: return pxDirAccessible;
    case 3: return pxDirNoPermission;
    case 4: return pxDirNotFound;
    default: return pxDirOther;  // 2 (not a directory) and anything else
    }
}

bool svPlainIsReadableFile(char const* file) { return ioIsFileReadable(file) == 7; }

bool svPlainIsDirectory(pxPath, char const* dir) {
    QZFstat status;
    return ioGetFileStatus(dir, &status) == 0 && status.isDir == 1;
}

long svPlainModificationTime(pxPath, char const* file) {
    QZFstat status;
    ioGetFileStatus(file, &status);
    return status.time;
}

// ---- the container-aware set ----

char* svContainerListDirectoryAccess(char const* dir, int* streamAccess) {
    int local = 0;
    if (streamAccess == nullptr) streamAccess = &local;
    *streamAccess = 1;
    Owned<svContainer> container(svContainer::svFindContainer(dir));
    if (container.get() == nullptr) return nullptr;
    if (container->hasErrorOnContainer()) {
        int const code = container->findStreamAccessInError();
        if (code > 0) *streamAccess = code;
        return nullptr;
    }
    svContainerDirIoStream* stream = container->getDirStream();
    if (stream == nullptr) return nullptr;
    if (!stream->open()) {
        *streamAccess = stream->getStreamAccess() > 0 ? stream->getStreamAccess() : 1;
        return nullptr;
    }
    // The stream's code now tells only how the listing ended: a damaged
    // archive stops it early with its own code.
    stream->setStreamAccess(0);
    char* list = stream->getDirList();
    *streamAccess = stream->getStreamAccess();
    stream->close();
    return list;
}

char* svContainerListDirectory(pxPath, char const* dir, unsigned int**) {
    int access = 0;
    char* list = svContainerListDirectoryAccess(dir, &access);
    // A listing cut short by damage is no listing: the path manager must not
    // take the names before the damage for the whole folder.
    if (list != nullptr && svIoStream::isError(access)) {
        uvFree(list);
        return nullptr;
    }
    return list;
}

pxDirAccessibility svContainerDirAccessibility(pxPath, char const* dir) {
    Owned<svContainer> container(svContainer::svFindContainer(dir));
    if (container.get() == nullptr) return pxDirOther;
    if (!container->hasErrorOnContainer()) {
        if (container->isAccessible()) return pxDirAccessible;
        return fromFileAccess(container->findFileAccessInError());
    }
    if (container->hasStreamError()) {
        switch (container->findStreamAccessInError()) {
        case 5: return pxDirNotFound;
        case 8: return pxDirNoPermission;
        case 9: return pxDirNotFound;
        default: return pxDirOther;  // 6, 7 and the rest
        }
    }
    return fromFileAccess(container->findFileAccessInError());
}

bool svContainerIsReadableFile(char const* file) {
    Owned<svContainerFile> object(svContainerFile::svFindContainerFile(file));
    return object.get() != nullptr && !object->hasErrorOnContainerFile() && object->isReadable();
}

bool svContainerIsDirectory(pxPath, char const* dir) {
    Owned<svContainer> container(svContainer::svFindContainer(dir));
    return container.get() != nullptr && !container->hasErrorOnContainer() && container->stat() && container->isDir();
}

long svContainerModificationTime(pxPath, char const* file) {
    Owned<svFile> object(svFindContainerOrContainerFile(file));
    long const unknown = 0x7fffffffffffffffL;
    if (object.get() == nullptr) return unknown;
    if (auto* container = dynamic_cast<svContainer*>(object.get()))
        return container->hasErrorOnContainer() ? unknown : container->getTime();
    if (auto* leaf = dynamic_cast<svContainerFile*>(object.get()))
        return leaf->hasErrorOnContainerFile() ? unknown : leaf->getTime();
    return unknown;
}
