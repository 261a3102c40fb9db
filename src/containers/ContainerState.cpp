// The states of the path-walking machine, what each makes, and the builder.
#include "qzservices/containers/ContainerState.hpp"
#include "qzservices/containers/svCatContainer.hpp"
#include "qzservices/containers/svStdContainer.hpp"

#include <uv/uv.hpp>

#include <cstring>

namespace {

// A fresh container of a family with its empty partial path and its
// directory stream. `caller` describes the state for diagnostics; it is not printed.
template <class Container, class DirStream>
svContainer* ViewContainer(svContainer::ContainerType type, bool makeStream, char const* /*caller*/) {
    Container* container = new Container;
    container->setType(type);
    container->setPartialPath(static_cast<char*>(uvCallocWithCheck(SV_PATH_BUFFER_SIZE, 1)));
    if (makeStream) {
        DirStream* stream = new DirStream;
        container->setDirStream(stream);
        stream->setStreamFile(container);
    }
    return container;
}

// A new file stream of the family for `object`, layered on the base of
// `dir`'s directory stream.
template <class FileStream>
void attachStream(svContainerFile* object, svContainer* dir) {
    FileStream* stream = new FileStream;
    stream->setBase(dir->getDirStream() ? dir->getDirStream()->getBase() : nullptr);
    object->setFileStream(stream);
    stream->setStreamFile(object);
}

// The leaf object of a family, attached to `dir` (form 6 of viewContainerFile).
// `catFamily` selects the CAT states' messages; `caller` names the state.
template <class File, class FileStream>
svContainerFile* ViewContainerFile(svContainer* dir, char* name, int len, bool catFamily, char const* caller) {
    if (len == 0 && dir == nullptr) return new File;
    if (len == 0) {
        File* object = new File;
        object->setFileType(dir->getFileType());
        if (dir->standsAtDot()) {
            dir->setFile(object);
            // The file always knows its directory, so that either end of the
            // chain releases all of it.
            object->setDir(dir);
            return object;
        }
        if (dir->getFileType() != svFile::typeDirectory) {
            // The object takes over the identity that the walk left on `dir`,
            // and `dir` goes back to standing at its own root.
            object->setName(dir->getName());
            object->setTime(dir->getTime());
            object->setFileType(dir->getFileType());
            object->setSize(dir->getSize());
            object->setOffset(dir->getOffset());
            object->setDir(dir);
            dir->recoverFileStat();
            dir->setName(".");
            if (catFamily && (dir->getParent() == nullptr || dir->getParent()->getType() != 1))
                uvPrintf("In %s detected problem 1!", caller);
            attachStream<FileStream>(object, dir);
            dir->setFile(object);
            return object;
        }
        dir->updateFullPath(".");
        dir->setFile(object);
        object->setDir(dir);
        return object;
    }
    // A container at the root of the file system has no name yet: it stands
    // at its own root as much as one named ".".
    bool const atRoot = dir != nullptr && (dir->getName() == nullptr || dir->standsAtDot());
    if (name != nullptr && len > 0 && atRoot && dir->getFileType() != svFile::typeFile) {
        File* object = new File;
        dir->setFile(object);
        object->setName(name, len);
        object->setDir(dir);
        if (catFamily && (dir->getParent() == nullptr || dir->getParent()->getType() != 1))
            uvPrintf("In %s detected problem 2!", caller);
        attachStream<FileStream>(object, dir);
        return object;
    }
    if (catFamily) uvPrintf("In %s detected problem 3!", caller);
    else uvPrintf("***Internal Error*** > %s", caller);
    return nullptr;
}

} // namespace

ContainerState::ContainerState(int n) : nextSize(n < 0 ? 0 : n), next(nullptr) {
    next = static_cast<ContainerState**>(uvCallocWithCheck(static_cast<size_t>(nextSize ? nextSize : 1),
                                                            sizeof(ContainerState*)));
}

ContainerState::~ContainerState() { uvFree(next); }

StartContainerState::~StartContainerState() {
    // Only the head deletes states: the others link in cycles.
    for (int i = 0; i < nextSize; ++i) delete next[i];
}

svContainer* StdContainerState::viewContainer(svContainer*) {
    return ViewContainer<svStdContainer, svStdContainerDirIoStream>(
        1, true, "StdContainerState: viewContainer (ViewContainer template)");
}

svContainerFile* StdContainerState::viewContainerFile(svContainer* dir, char* name, int len) {
    return ViewContainerFile<svStdContainerFile, svStdContainerFileBufferIoStream>(
        dir, name, len, false, "StdContainerState: viewContainerFile (ViewContainerFile template)");
}

svContainer* StdContainerSubDirState::viewContainer(svContainer*) {
    return ViewContainer<svStdContainer, svStdContainerDirIoStream>(
        1, true, "StdContainerSubDirState: viewContainer (ViewContainer template)");
}

svContainerFile* StdContainerSubDirState::viewContainerFile(svContainer* dir, char* name, int len) {
    return ViewContainerFile<svStdContainerFile, svStdContainerFileBufferIoStream>(
        dir, name, len, false, "StdContainerSubDirState: viewContainerFile (ViewContainerFile template)");
}

bool CatContainerState::matchesContainerType(char* ext, int len) {
    // "cat" and its terminator, compared over min(len, 4) bytes: "cat"
    // matches, "CAT" and "cats" do not (case-sensitive on purpose). A
    // shorter extension that begins "cat" ("c", "ca") matches too; intended.
    static char const kCat[4] = {'c', 'a', 't', '\0'};
    if (ext == nullptr || len <= 0) return false;
    int const n = len < 4 ? len : 4;
    return std::memcmp(ext, kCat, static_cast<size_t>(n)) == 0;
}

svContainer* CatContainerState::viewContainer(svContainer* parent) {
    return ViewContainer<svCatContainer, svCatContainerDirIoStream>(
        2, parent == nullptr || parent->getType() == 1, "CatContainerState: viewContainer");
}

svContainerFile* CatContainerState::viewContainerFile(svContainer* dir, char* name, int len) {
    return ViewContainerFile<svCatContainerFile, svCatContainerFileBufferIoStream>(
        dir, name, len, true, "CatContainerState: viewContainerFile");
}

svContainer* CatContainerSubDirState::viewContainer(svContainer* parent) {
    return ViewContainer<svCatContainer, svCatContainerDirIoStream>(
        2, parent == nullptr || parent->getType() == 1, "CatContainerSubDirState: viewContainer");
}

svContainerFile* CatContainerSubDirState::viewContainerFile(svContainer* dir, char* name, int len) {
    return ViewContainerFile<svCatContainerFile, svCatContainerFileBufferIoStream>(
        dir, name, len, true, "CatContainerSubDirState: viewContainerFile");
}

void RFSMbuilder::setHead(ContainerState* h) {
    if (head != h) delete head;
    head = h;
}

ContainerState* RFSMbuilder::makeRFSM() {
    auto* start = new StartContainerState;
    auto* std = new StdContainerState;
    auto* stdSub = new StdContainerSubDirState;
    auto* cat = new CatContainerState;
    auto* catSub = new CatContainerSubDirState;
    // Index order is priority: "is it a CAT file" is asked before "is it a directory".
    start->setNext(std, 0);
    start->setNext(stdSub, 1);
    start->setNext(cat, 2);
    start->setNext(catSub, 3);
    std->setNext(cat, 0);
    std->setNext(stdSub, 1);
    stdSub->setNext(cat, 0);
    stdSub->setNext(stdSub, 1);
    // No edge leads from a CAT state to the CAT-file state: a CAT inside a
    // CAT is an entry, never opened.
    cat->setNext(catSub, 0);
    catSub->setNext(catSub, 0);
    // The head is handed over: the builder's destructor leaves it alone.
    head = start;
    return start;
}
