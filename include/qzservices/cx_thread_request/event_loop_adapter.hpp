/// @file
/// The event-loop road of the main-thread callback service, ready made: it
/// connects the service (mtInitializeCallbackServiceFromEventLoop) to the user
/// event queue. Afterwards a callback that another thread queues with
/// mtCallbackAdd posts a user event, and runs on the thread that waits in
/// UserEventQueue::getNextEventOrBlock() or flushEventsOrBlock(), as long as
/// bit 1 of the feature "ThreadServiceRequest" is set
/// (svSetFeatureValue("ThreadServiceRequest", 2), or 3 for both roads).
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

/// Main thread, before the first callback is queued; a second call changes
/// nothing. A host with an event loop of its own connects the service to it
/// with mtInitializeCallbackServiceFromEventLoop instead.
void mtConnectCallbackServiceToUserEventQueue();

QZSERVICES_API_END
