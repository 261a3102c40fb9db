// Flushing of the two streams and the registry of flush functions.
#include "qzservices/io/ioFlush.hpp"
#include "qzservices/io/CXStream.hpp"

#include <cstdlib>

namespace {

struct FlushNode {
    void (*fn)(long);
    FlushNode* next;
};

FlushNode* gFlushHead = nullptr;

} // namespace

extern "C" int ioFlush(void) {
    using services::io::CXStream;
    CXStream::CXOut.flush();
    CXStream::CXErr.flush();
    return (CXStream::CXOut.bad() || CXStream::CXErr.bad()) ? 0 : 1;
}

extern "C" void ioFlushStreams(long arg) {
    // The next pointer is read after the call returns.
    for (FlushNode* node = gFlushHead; node != nullptr; node = node->next) node->fn(arg);
}

extern "C" void ioRegisterFlushStreamFcn(void (*fn)(long)) {
    if (fn == nullptr) return;
    FlushNode* node = static_cast<FlushNode*>(std::calloc(1, sizeof(FlushNode)));
    if (node == nullptr) return;
    node->fn = fn;
    FlushNode** tail = &gFlushHead;
    while (*tail != nullptr) tail = &(*tail)->next;
    *tail = node;
}

extern "C" void ioUnregisterFlushStreamFcn(void (*fn)(long)) {
    if (fn == nullptr || gFlushHead == nullptr) return;
    if (gFlushHead->fn == fn) {
        // Intended: the head node is unlinked but never freed.
        gFlushHead = gFlushHead->next;
        return;
    }
    for (FlushNode* prev = gFlushHead; prev->next != nullptr; prev = prev->next) {
        if (prev->next->fn == fn) {
            FlushNode* gone = prev->next;
            prev->next = gone->next;
            std::free(gone);
            return;
        }
    }
}
