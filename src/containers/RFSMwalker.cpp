// The walker: reads a path component by component against the machine and
// builds the chain of containers.
#include "qzservices/containers/ContainerFeature.hpp"
#include "qzservices/containers/ContainerState.hpp"

#include <px/px.hpp>

#include <cstring>

RFSMwalker::RFSMwalker() : RFSMwalker(getContainerFeature().getStartRFSM()) {}

RFSMwalker::RFSMwalker(ContainerState* head) : tail(nullptr), last(head ? head->getNext(0) : nullptr) {}

char const* RFSMwalker::rootPathName(char const* path, int* len) {
    *len = path != nullptr && path[0] == '/' ? 1 : 0;
    return path;
}

char* RFSMwalker::nextPathName(char* from, int* len) {
    while (*from == '/') ++from;
    char* end = from;
    while (*end != '\0' && *end != '/') ++end;
    *len = static_cast<int>(end - from);
    return from;
}

char* RFSMwalker::nameExtension(char* name, int* len) {
    int const n = *len;
    if (n <= 0 || name[n - 1] == '.') {
        *len = 0;
        return name;
    }
    for (int i = n - 1; i >= 1; --i) {
        if (name[i] == '.') {
            *len = n - i - 1;
            return name + i + 1;
        }
    }
    // No dot, or only a leading one (".cat"): no extension.
    *len = 0;
    return name;
}

bool RFSMwalker::walkRFSM(char const* path, bool statLast) {
    if (last == nullptr) return false;
    tail = last->viewContainer(nullptr);
    if (path == nullptr) path = "";
    // A path that cannot fit a path buffer is refused before any step, so
    // that no join below ever has to cut it.
    if (std::strlen(path) >= SV_PATH_BUFFER_SIZE) {
        tail->setFileAccess(6);
        return false;
    }
    char buffer[SV_PATH_BUFFER_SIZE] = {};
    char const* work = pxIsAbsolutePath(path) ? path : pxFullPath(buffer, path, SV_PATH_BUFFER_SIZE);
    std::string own(work);  // the components are cut out of a copy we may read freely

    int rootLen = 0;
    rootPathName(own.c_str(), &rootLen);
    if (rootLen == 0) {
        tail->setFileAccess(4);
        return false;
    }
    tail->appendToPartialPath(own.c_str(), rootLen);
    int len = 0;
    char* component = nextPathName(&own[0] + rootLen, &len);

    while (len != 0) {
        ContainerState* match = nullptr;
        int extLen = len;
        for (int i = 0; i < last->getNextSize(); ++i) {
            // extLen carries over from one successor to the next; only the
            // first can refuse, so this is harmless (and kept).
            char* ext = nameExtension(component, &extLen);
            ContainerState* candidate = last->getNext(i);
            if (candidate != nullptr && candidate->matchesContainerType(ext, extLen)) {
                match = candidate;
                break;
            }
        }
        if (match == nullptr) {
            tail->enter(component, len);
            return false;
        }
        if (match->isSubDirectoryState()) {
            last = match;
            int nextLen = 0;
            char* further = nextPathName(component + len, &nextLen);
            if (nextLen == 0) return tail->enter(component, len, statLast);
            if (!tail->enter(component, len)) return false;
            tail->updateFullPath(".");
            component = further;
            len = nextLen;
            continue;
        }
        // A container file: open it and step into it.
        svContainerFile* f = last->viewContainerFile(tail, component, len);
        if (f == nullptr || f->getFileStream() == nullptr) return false;
        if (!f->getFileStream()->open()) return false;
        svContainer* child = match->viewContainer(tail);
        child->setParent(tail);
        tail->setChild(child);
        if (child->getDirStream() != nullptr) child->getDirStream()->setBase(tail->getFile()->getFileStream());
        tail = child;
        last = match;
        component = nextPathName(component + len, &len);
        if (!tail->enter(".", 1, len == 0 ? statLast : false)) return false;
    }
    return true;
}
