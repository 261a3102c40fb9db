// The user events of a host's event loop, and the callback service's view of it.
#include "qzhost/UserEvents.hpp"

#include <qzservices/cx_thread_request/mt_callback.hpp>
#include <qzservices/eventqueue/UserEventQueue.hpp>
#include <qzservices/io/callbacks.hpp>
#include <qzservices/state/features.hpp>

#include <vector>

namespace qzhost {

namespace {

// The kinds of user event. Filled on the main thread during start, and read
// only by the dispatcher, which runs there too; posters only carry numbers.
struct Kind {
    void (*longHandler)(long);
    void (*intHandler)(int);
};
std::vector<Kind> gKinds;

void dispatchKind(void* data) {
    auto const* words = static_cast<eventqueue::UserEventData const*>(data);
    if (words->word[0] >= gKinds.size()) return;
    Kind const& kind = gKinds[words->word[0]];
    long const argument = static_cast<long>(words->word[1]);
    if (kind.longHandler != nullptr) kind.longHandler(argument);
    if (kind.intHandler != nullptr) kind.intHandler(static_cast<int>(argument));
}

bool post(int kind, long data) {
    if (kind < 0) return false;
    eventqueue::UserEventData words = {{static_cast<std::uint64_t>(kind), static_cast<std::uint64_t>(data)}};
    eventqueue::UserEventRecord record(words);
    record.setEventHandler(&dispatchKind);
    try {
        eventqueue::UserEventQueue::getInstance()->push(record);
    } catch (eventqueue::UserEventQueueBlockedException* e) {
        delete e;  // queued, but nothing will wake the loop for it now
        return false;
    }
    return true;
}

// The callback service's view of the same loop.
int createCallbackEvent(void (*handler)(int)) {
    gKinds.push_back(Kind{nullptr, handler});
    return static_cast<int>(gKinds.size() - 1);
}

bool postCallbackEvent(int kind, int argument) { return post(kind, argument); }

} // namespace

int createUserEvent(void (*handler)(long)) {
    gKinds.push_back(Kind{handler, nullptr});
    return static_cast<int>(gKinds.size() - 1);
}

bool postUserEvent(int kind, long data) { return post(kind, data); }

void installUserEvents() {
    svSetWS_EventFcns(&postUserEvent, &createUserEvent, nullptr, nullptr);
    mtInitializeCallbackServiceFromEventLoop(&createCallbackEvent, &postCallbackEvent);
    // Callbacks from other threads run both while the host waits for input
    // and between statements, as a host's "feature ThreadServiceRequest 3" would ask.
    svSetFeatureValue("ThreadServiceRequest", 3);
}

void runPendingEvents() {
    eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();
    while (q->eventPending()) q->flush();
}

} // namespace qzhost
