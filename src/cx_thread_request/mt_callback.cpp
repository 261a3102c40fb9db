// The main-thread callback service: tokens, queued callbacks and their runs.
#include "qzservices/cx_thread_request/mt_callback.hpp"

#include <boost/thread/once.hpp>

#include <cstdlib>
#include <new>

using services::cx_thread_request::CallbackQueue;
using services::cx_thread_request::ClientRegistry;

std::atomic<bool> threadServiceOnLineNo{false};
std::atomic<bool> threadServiceOnIdle{false};

ClientRegistry* services_cx_thread_request_client_registry = nullptr;
CallbackQueue* services_cx_thread_request_callback_queue = nullptr;
int static_ref_okay = 0;

namespace {

// The connection to an event loop. The post function is stored before the
// event number, and read after it, so that a poster that sees a number also
// sees the function.
std::atomic<bool (*)(int, int)> gPostEvent{nullptr};
std::atomic<int> gEventId{-1};

// Main thread only: the interlaced service is running.
bool gInterlacedInProgress = false;

// The singletons live in static buffers, built under a once-flag and
// destroyed at exit.
alignas(ClientRegistry) unsigned char gRegistryStorage[sizeof(ClientRegistry)];
alignas(CallbackQueue) unsigned char gQueueStorage[sizeof(CallbackQueue)];
boost::once_flag gRegistryOnce = BOOST_ONCE_INIT;
boost::once_flag gQueueOnce = BOOST_ONCE_INIT;

void destroyRegistry() { services_cx_thread_request_client_registry->~ClientRegistry(); }
void destroyQueue() { services_cx_thread_request_callback_queue->~CallbackQueue(); }

void constructRegistry() {
    services_cx_thread_request_client_registry = new (gRegistryStorage) ClientRegistry;
    std::atexit(&destroyRegistry);
}

void constructQueue() {
    services_cx_thread_request_callback_queue = new (gQueueStorage) CallbackQueue;
    std::atexit(&destroyQueue);
}

// Sets a re-entrancy flag for a scope and clears it however the scope ends.
class InProgress {
public:
    explicit InProgress(bool& flag) : flag_(flag) { flag_ = true; }
    ~InProgress() { flag_ = false; }
    InProgress(InProgress const&) = delete;
    InProgress& operator=(InProgress const&) = delete;
private:
    bool& flag_;
};

// Runs `construct` once per process. A nested call from inside the
// construction (its own flag is set then) returns at once.
int constructOnce(bool& inProgress, boost::once_flag& once, void (*construct)()) {
    if (inProgress) return 1;
    InProgress scope(inProgress);
    ++static_ref_okay;
    boost::call_once(once, construct);
    return 1;
}

} // namespace

int init_services_cx_thread_request_client_registry(int /*ignored*/) {
    static bool inProgress = false;
    return constructOnce(inProgress, gRegistryOnce, &constructRegistry);
}

int init_services_cx_thread_request_callback_queue(int /*ignored*/) {
    static bool inProgress = false;
    return constructOnce(inProgress, gQueueOnce, &constructQueue);
}

// Built at load, the registry first: the queue's server needs it.
int services_cx_thread_request_client_registry_def_inited = init_services_cx_thread_request_client_registry(1);
int services_cx_thread_request_callback_queue_def_inited = init_services_cx_thread_request_callback_queue(1);

// ---- clients ----

unsigned int mtCallbackRegisterClient() { return services_cx_thread_request_client_registry->registerClient(); }

int mtCallbackRemoveClient(unsigned int token) {
    return services_cx_thread_request_client_registry->removeClient(token);
}

// ---- posting ----

void mtCallbackAdd(unsigned int token, int (*callback)(void*), void* argument) {
    if (!threadServiceOnLineNo.load(std::memory_order_relaxed) && !threadServiceOnIdle.load(std::memory_order_relaxed))
        return;  // no place to run it: dropped without a word
    services_cx_thread_request_callback_queue->CallbackAdd(token, callback, argument);
    int const eventId = gEventId.load(std::memory_order_acquire);
    if (eventId == -1) return;  // no event loop yet: it waits for the next service
    bool (*const post)(int, int) = gPostEvent.load(std::memory_order_relaxed);
    if (post != nullptr) (void)post(eventId, 0);
}

void mtInitializeCallbackServiceFromEventLoop(int (*createEvent)(void (*)(int)), bool (*postEvent)(int, int)) {
    gPostEvent.store(postEvent, std::memory_order_relaxed);
    if (createEvent == nullptr) return;  // nothing to connect to
    gEventId.store(createEvent(&mtServiceCallbackRequestsFromEventLoop), std::memory_order_release);
}

// ---- serving ----

void mtServiceCallbackRequestsFromEventLoop(int n) {
    if (threadServiceOnIdle.load(std::memory_order_relaxed))
        services_cx_thread_request_callback_queue->serviceCallbackRequests(n);
}

void mtServiceCallbackRequestsInterlaced() {
    if (!threadServiceOnLineNo.load(std::memory_order_relaxed) || gInterlacedInProgress) return;
    // Cleared also when a callback throws, so that the next statement serves again.
    InProgress scope(gInterlacedInProgress);
    services_cx_thread_request_callback_queue->serviceCallbackRequests(-1);
}

void ThreadServiceRequestCb(int value) {
    threadServiceOnLineNo.store((value & 1) != 0, std::memory_order_relaxed);
    threadServiceOnIdle.store((value & 2) != 0, std::memory_order_relaxed);
}
