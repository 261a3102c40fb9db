// demo-events: user events and callbacks posted to the main thread from a
// thread of its own, and the report of how many ran.
#include "DemoEvents.hpp"
#include "EventLoop.hpp"
#include "LineEditor.hpp"

#include <qzhost/UserEvents.hpp>
#include <qzservices/cx_thread_request/mt_callback.hpp>
#include <qzservices/io/ioFlush.hpp>
#include <qzservices/prompt/prompt.hpp>
#include <qzservices/system_events/PostUserEvent.hpp>
#include <uv/uv.hpp>

#include <csignal>
#include <cstdint>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace qzconsole {

namespace {

int gEventKind = -1;
int gDoneKind = -1;
unsigned int gClient = 0;
std::thread gPoster;

// Main thread only: the handlers and callbacks all run there. A run's events
// carry its number, so that stragglers of an earlier run are not counted.
long gRun = 0;
long gPosted = 0;
long gEventsRun = 0;
long gCallbacksRun = 0;
bool gDoneSeen = true;  // the current run's last event has been handled

void report(char const* when) {
    uvPrintf("demo-events run %ld: %ld posted of each; %ld events and %ld callbacks ran%s\n", gRun, gPosted,
             gEventsRun, gCallbacksRun, when);
}

void onDemoEvent(long run) {
    if (run == gRun) ++gEventsRun;
}

int onDemoCallback(void* run) {
    if (reinterpret_cast<std::intptr_t>(run) == gRun) ++gCallbacksRun;
    return 0;
}

// The last event of a run: everything posted before it has been taken off
// the queue by now, so the totals are final unless callbacks wait for the
// next statement.
void onDemoDone(long run) {
    if (run != gRun) return;
    gDoneSeen = true;
    bool const atPrompt = waitingForInput() && ::isatty(0);
    if (atPrompt) uvPuts("\n");
    report(" (posting finished)");
    ioFlush();
    if (atPrompt) lineEditorRedisplay();
}

void post(long run, long count) {
    for (long i = 0; i < count; ++i) {
        svWS_PostUserEvent(gEventKind, run);
        mtCallbackAdd(gClient, &onDemoCallback, reinterpret_cast<void*>(static_cast<std::intptr_t>(run)));
    }
    svWS_PostUserEvent(gDoneKind, run);
}

} // namespace

void installDemoEvents() {
    gEventKind = qzhost::createUserEvent(&onDemoEvent);
    gDoneKind = qzhost::createUserEvent(&onDemoDone);
    gClient = mtCallbackRegisterClient();
}

void demoEvents(long count) {
    if (count < 0) {
        report("");
        return;
    }
    finishDemoEvents();
    // A run whose last event has not been handled yet still gets its line:
    // what ran up to now, since its stragglers will not be counted.
    if (!gDoneSeen) report(" (superseded by the next run)");
    gDoneSeen = false;
    ++gRun;
    gPosted = count;
    gEventsRun = 0;
    gCallbacksRun = 0;
    // The poster must not take the console's ctrl-C: the main thread waits
    // in select and has to see it. The new thread inherits this mask.
    sigset_t block, previous;
    sigemptyset(&block);
    sigaddset(&block, SIGINT);
    pthread_sigmask(SIG_BLOCK, &block, &previous);
    gPoster = std::thread(&post, gRun, count);
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    uvPrintf("demo-events run %ld: posting %ld events and %ld callbacks\n", gRun, count, count);
}

void finishDemoEvents() {
    if (gPoster.joinable()) gPoster.join();
}

} // namespace qzconsole
