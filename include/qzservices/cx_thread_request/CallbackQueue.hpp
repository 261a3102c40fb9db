/// @file
/// The requests of the main-thread callback service, first in, first out.
/// Any thread appends; only the main thread takes them out and runs them.
/// Its lock covers one deque operation and nothing else.
#pragma once
#include "qzservices/export.hpp"
#include <uv/CriticalSection.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>

QZSERVICES_API_BEGIN

namespace services { namespace cx_thread_request {

/// One request, allocated with malloc by the poster and freed with free by the server.
struct queue_entry {
    std::uint32_t client;  ///< the poster's token
    int (*callback)(void*);  ///< its result is ignored
    void* argument;  ///< passed to the callback as it is
};

/// The queue of requests and the server that runs them on the main thread.
class CallbackQueue {
public:
    /// Registers the feature "ThreadServiceRequest" (so there is one queue).
    CallbackQueue();
    /// Frees the requests that were never taken.
    ~CallbackQueue();
    CallbackQueue(CallbackQueue const&) = delete;  ///< one per process: not copyable
    CallbackQueue& operator=(CallbackQueue const&) = delete;  ///< nor assignable

    void CallbackAdd(unsigned int token, int (*callback)(void*), void* argument);  ///< queues a request from any thread
    void queue_push(unsigned int token, int (*callback)(void*), void* argument);  ///< appends one request under the lock
    /// The first request, now the caller's to free, or null if there is none.
    queue_entry* queue_pop();
    /// Takes requests until the queue is empty, and runs each one, under the
    /// registry's lock, if its client is still registered. The argument is not
    /// used. One server at a time: the main thread.
    void serviceCallbackRequests(int unused);

    /// Read without the lock, as the server does.
    bool empty() const { return size_.load(std::memory_order_acquire) == 0; }

private:
    std::deque<queue_entry*> queue_;
    Orrery::System::CriticalSection_DEPRECATED lock_;
    /// The deque's size, readable without the lock.
    std::atomic<std::size_t> size_;
};

}} // namespace services::cx_thread_request

QZSERVICES_API_END
