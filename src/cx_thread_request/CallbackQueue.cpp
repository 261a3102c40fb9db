// The requests of the main-thread callback service, first in, first out.
#include "qzservices/cx_thread_request/CallbackQueue.hpp"
#include "qzservices/cx_thread_request/mt_callback.hpp"
#include "qzservices/state/features.hpp"

#include <cstdlib>

namespace services { namespace cx_thread_request {

using Orrery::System::CriticalSectionGuard;

CallbackQueue::CallbackQueue() : size_(0) {
    lock_.init();
    svRegisterOneArg("ThreadServiceRequest", 0, &ThreadServiceRequestCb);
}

CallbackQueue::~CallbackQueue() {
    for (queue_entry* entry : queue_) std::free(entry);
}

void CallbackQueue::CallbackAdd(unsigned int token, int (*callback)(void*), void* argument) {
    queue_push(token, callback, argument);
}

void CallbackQueue::queue_push(unsigned int token, int (*callback)(void*), void* argument) {
    queue_entry* entry = static_cast<queue_entry*>(std::malloc(sizeof(queue_entry)));
    if (entry == nullptr) return;  // no memory: dropped silently, as this service reports nothing
    entry->client = token;
    entry->callback = callback;
    entry->argument = argument;
    CriticalSectionGuard guard(lock_);
    queue_.push_back(entry);
    size_.store(queue_.size(), std::memory_order_release);
}

queue_entry* CallbackQueue::queue_pop() {
    CriticalSectionGuard guard(lock_);
    if (queue_.empty()) return nullptr;
    queue_entry* entry = queue_.front();
    queue_.pop_front();
    size_.store(queue_.size(), std::memory_order_release);
    return entry;
}

void CallbackQueue::serviceCallbackRequests(int /*unused*/) {
    ClientRegistry& registry = *services_cx_thread_request_client_registry;
    while (!empty()) {
        queue_entry* entry = queue_pop();
        if (entry == nullptr) break;  // only a second server could empty it meanwhile
        unsigned int const client = entry->client;
        int (*const callback)(void*) = entry->callback;
        void* const argument = entry->argument;
        std::free(entry);

        // Held across the callback: a removal on another thread waits for it,
        // and no callback of a removed client starts afterwards.
        CriticalSectionGuard guard(registry.getLock());
        if (registry.query_token(client) && callback != nullptr) (void)callback(argument);
    }
}

}} // namespace services::cx_thread_request
