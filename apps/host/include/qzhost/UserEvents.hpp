// The user events of a host's event loop, on the library's user event queue:
// kinds made by number, posted from any thread, run on the thread that waits
// in the queue. Also the main-thread callback service's view of the same loop.
#pragma once

namespace qzhost {

// Hands the library these event functions (svSetWS_EventFcns and the callback
// service) and lets callbacks from other threads run both while the host
// waits and between statements ("ThreadServiceRequest" 3). Main thread, once,
// before any other thread starts; Host does it.
void installUserEvents();

// A new kind of user event whose handler takes a long; its number for postUserEvent.
// Main thread, during start.
int createUserEvent(void (*handler)(long));
// Posts one event of a kind, from any thread; false for an unknown kind or a
// queue that refused it.
bool postUserEvent(int kind, long data);

// Runs what is queued now, without waiting.
void runPendingEvents();

} // namespace qzhost
