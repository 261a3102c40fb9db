// The callback service over the user event queue: one kind of user event per
// handler the service creates, carried in the record's first word, with the
// service's argument in the second.
#include "qzservices/cx_thread_request/event_loop_adapter.hpp"

#include "qzservices/cx_thread_request/mt_callback.hpp"
#include "qzservices/eventqueue/UserEventQueue.hpp"

#include <atomic>
#include <cstdint>

namespace {

// The service creates one kind; a few more slots cost nothing. Written on the
// main thread before any post, read by the dispatcher on the same thread.
void (*gHandlers[4])(int) = {};
std::atomic<int> gKindCount{0};
bool gConnected = false;

void dispatch(void* data) {
    auto const* words = static_cast<eventqueue::UserEventData const*>(data);
    std::uint64_t const kind = words->word[0];
    if (kind >= static_cast<std::uint64_t>(gKindCount.load())) return;
    gHandlers[kind](static_cast<int>(words->word[1]));
}

int createKind(void (*handler)(int)) {
    int const kind = gKindCount.load();
    if (handler == nullptr || kind == static_cast<int>(sizeof gHandlers / sizeof gHandlers[0])) return -1;
    gHandlers[kind] = handler;
    gKindCount.store(kind + 1);
    return kind;
}

// From any thread.
bool postKind(int kind, int argument) {
    if (kind < 0) return false;
    eventqueue::UserEventData words = {{static_cast<std::uint64_t>(kind), static_cast<std::uint64_t>(argument)}};
    eventqueue::UserEventRecord record(words);
    record.setEventHandler(&dispatch);
    try {
        eventqueue::UserEventQueue::getInstance()->push(record);
    } catch (eventqueue::UserEventQueueBlockedException* e) {
        delete e;  // the event is queued; only its wake byte is missing
        return false;
    }
    return true;
}

} // namespace

void mtConnectCallbackServiceToUserEventQueue() {
    if (gConnected) return;
    gConnected = true;
    mtInitializeCallbackServiceFromEventLoop(&createKind, &postKind);
}
