// "demo-events N": a thread of its own posts N user events (through
// svWS_PostUserEvent) and N callbacks (through mtCallbackAdd) to the main
// thread, then one last event that reports how many of each have run.
#pragma once

namespace qzconsole {

// Main thread. Registers the demo's event kinds; call after installEventLoop.
void installDemoEvents();
// Starts a run of `count` (after the previous run's thread has finished
// posting); a negative count only reports the totals of the current run.
void demoEvents(long count);
// Waits for the posting thread, at exit.
void finishDemoEvents();

} // namespace qzconsole
