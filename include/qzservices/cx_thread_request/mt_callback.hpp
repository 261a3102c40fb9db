/// @file
/// The main-thread callback service: any thread asks for a plain function to
/// run on the main thread (the interpreter's). A client registers for a token,
/// queues callbacks under it, and removes the token when it goes away; what it
/// had queued and not yet run is then skipped, and no callback of it can start
/// once mtCallbackRemoveClient has returned.
///
/// The callbacks run in one of two places, as the feature "ThreadServiceRequest"
/// says (bit 0: between statements, "interlaced"; bit 1: from the event loop).
/// Until the feature sets a bit, mtCallbackAdd drops its requests silently.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/cx_thread_request/CallbackQueue.hpp"
#include "qzservices/cx_thread_request/ClientRegistry.hpp"

#include <atomic>

QZSERVICES_API_BEGIN

///@{
/// From any thread.
unsigned int mtCallbackRegisterClient();
int mtCallbackRemoveClient(unsigned int token);  ///< 1 if the token was live, else 0
///@}
/// Queues a request and, once an event loop is connected, posts it a wake-up.
void mtCallbackAdd(unsigned int token, int (*callback)(void*), void* argument);

/// Connects the service to an event loop: `createEvent` registers a handler for
/// a new kind of user event and returns its number; `postEvent` posts one event
/// of a kind, with an integer argument. Main thread.
void mtInitializeCallbackServiceFromEventLoop(int (*createEvent)(void (*)(int)), bool (*postEvent)(int, int));
/// Runs the queue if the event-loop place is enabled. No re-entry guard.
void mtServiceCallbackRequestsFromEventLoop(int unused);
/// Runs the queue between statements if that place is enabled; a call from
/// inside a callback that it runs returns at once.
void mtServiceCallbackRequestsInterlaced();

/// The callback of the feature: sets both flags from the bits of `value`.
void ThreadServiceRequestCb(int value);

// One byte each, false at load. Atomic only so that a mode change racing with
// a post is defined; no ordering is implied.
extern std::atomic<bool> threadServiceOnLineNo;  ///< callbacks run between statements
extern std::atomic<bool> threadServiceOnIdle;  ///< callbacks run from the event loop

// The two singletons, built at load (the registry first) in static storage.
extern services::cx_thread_request::ClientRegistry* services_cx_thread_request_client_registry;  ///< the client registry
extern services::cx_thread_request::CallbackQueue* services_cx_thread_request_callback_queue;  ///< the request queue
int init_services_cx_thread_request_client_registry(int ignored);  ///< always 1
int init_services_cx_thread_request_callback_queue(int ignored);  ///< always 1
extern int services_cx_thread_request_client_registry_def_inited;  ///< 1 once the registry is built
extern int services_cx_thread_request_callback_queue_def_inited;  ///< 1 once the queue is built
/// Counts the static singletons that have been asked for.
extern int static_ref_okay;

QZSERVICES_API_END
