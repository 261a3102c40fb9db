// The three look-ups: each walks the path with a fresh walker and hands back
// the deepest object reached, which owns the chain.
#include "qzservices/containers/ContainerState.hpp"

#include <memory>

namespace {

struct Walk {
    bool ok;
    svContainer* tail;
    ContainerState* last;
};

Walk walk(char const* path, bool statLast) {
    std::unique_ptr<RFSMwalker> walker(new RFSMwalker);
    bool const ok = walker->walkRFSM(path, statLast);
    return Walk{ok, walker->getTail(), walker->getLast()};
}

// The file object of a tail: what the last state makes of it (attached to
// the tail), or the tail's own file when the state makes none.
svContainerFile* fileOf(Walk const& w) {
    svContainerFile* f = w.last ? w.last->viewContainerFile(w.tail) : nullptr;
    return f ? f : w.tail->getFile();
}

// A plain step does not stat, so a walk may end on a tail whose type is not
// known; one stat tells it, so that asking for a container or for a file
// reports the wrong kind in both families.
void learnType(svContainer* tail) {
    if (tail->getFileType() != svFile::typeUnknown || tail->standsAtDot()) return;
    tail->saveFileStat();
    if (!tail->stat()) tail->recoverFileStat();
}

} // namespace

svContainer* svContainer::svFindContainer(char const* path) {
    Walk const w = walk(path, false);
    if (w.tail == nullptr) return nullptr;
    if (!w.ok) return w.tail;
    learnType(w.tail);
    if (w.tail->getFileType() == typeFile) {
        fileOf(w);
        w.tail->setFileAccess(5);
    } else {
        w.tail->updateFullPath(".");
    }
    return w.tail;
}

svContainerFile* svContainerFile::svFindContainerFile(char const* path) {
    Walk const w = walk(path, false);
    if (w.tail == nullptr) return nullptr;
    if (w.ok) {
        learnType(w.tail);
        svContainerFile* f = fileOf(w);
        if (f != nullptr && f->getFileType() == typeDirectory) f->setFileAccess(5);
        return f;
    }
    if (w.tail->getFile() != nullptr) return w.tail->getFile();
    return fileOf(w);
}

svFile* svFindContainerOrContainerFile(char const* path) {
    Walk const w = walk(path, true);
    if (w.tail == nullptr) return nullptr;
    if (w.ok) {
        if (w.tail->getFileType() != svFile::typeDirectory) {
            svContainerFile* f = fileOf(w);
            return f ? static_cast<svFile*>(f) : w.tail;
        }
        w.tail->updateFullPath(".");
        return w.tail;
    }
    if (w.tail->getFile() != nullptr) return w.tail->getFile();
    return w.tail;
}
