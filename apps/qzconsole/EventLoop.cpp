#include "EventLoop.hpp"
#include "LineEditor.hpp"

#include <qzservices/cx_thread_request/mt_callback.hpp>
#include <qzservices/eventqueue/UserEventQueue.hpp>
#include <qzservices/io/callbacks.hpp>
#include <qzservices/state/features.hpp>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace qzconsole {

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

// ---- standard input ----

std::string gPending;  // what has been read of the current line
bool gLineReady = false;
bool gEndOfInput = false;
bool gWaiting = false;

bool readableNow(int fd) {
    pollfd p = {fd, POLLIN, 0};
    return ::poll(&p, 1, 0) > 0;
}

void endInput(int fd) {
    gEndOfInput = true;
    // Otherwise every later wait would find the descriptor ready at once.
    eventqueue::UserEventQueue::getInstance()->removeInput(fd);
}

bool gEditing = false;  // a terminal: the line editor reads the keys

// Reads byte by byte and stops after a line feed, so that what follows the
// line stays in the descriptor (for the more prompt's keys, and for a pipe).
// On a terminal the line editor takes one key at a time instead.
bool onStandardInput(int fd, bool /*flush*/) {
    if (gEditing) {
        if (gWaiting) lineEditorReadKey();
        return true;
    }
    for (;;) {
        char c = 0;
        ssize_t const n = ::read(fd, &c, 1);
        if (n == 1) {
            gPending.push_back(c);
            if (c == '\n') {
                gLineReady = true;
                return true;
            }
            if (!readableNow(fd)) return true;
            continue;
        }
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) return true;  // the wait looks at interrupts
        endInput(fd);
        return true;
    }
}

} // namespace

int createUserEvent(void (*handler)(long)) {
    gKinds.push_back(Kind{handler, nullptr});
    return static_cast<int>(gKinds.size() - 1);
}

bool postUserEvent(int kind, long data) { return post(kind, data); }

void installEventLoop() {
    // A closed standard input is the end of input. Looked at before the
    // queue makes its pipe, which would otherwise take descriptor 0.
    bool const haveInput = ::fcntl(0, F_GETFD) != -1;
    eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();
    // With descriptor 0 open the pipe cannot have taken it. The read end is
    // not asked for: a host that holds it makes every push look in the pipe.
    if (haveInput) {
        q->addInput(0, &onStandardInput);
    } else {
        gEndOfInput = true;
    }
    svSetWS_EventFcns(&postUserEvent, &createUserEvent, nullptr, nullptr);
    mtInitializeCallbackServiceFromEventLoop(&createCallbackEvent, &postCallbackEvent);
    // Callbacks from other threads run both while the prompt stands and
    // between statements, as a host's "feature ThreadServiceRequest 3" would ask.
    svSetFeatureValue("ThreadServiceRequest", 3);
}

void useLineEditor() { gEditing = true; }

bool lineEditorActive() { return gEditing; }

void deliverLine(char const* line) {
    if (line == nullptr) {
        gEndOfInput = true;
        return;
    }
    gPending = line;
    gPending.push_back('\n');
    gLineReady = true;
}

bool readLine(std::string& line, char const* prompt) {
    eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();
    gWaiting = true;
    if (gEditing && !gEndOfInput) lineEditorBegin(prompt);
    try {
        while (!gLineReady && !gEndOfInput) {
            q->flushEventsOrBlock();
            if (gEditing) lineEditorAfterWait();
        }
    } catch (...) {
        gWaiting = false;
        gPending.clear();
        if (gEditing) lineEditorCancel();
        throw;
    }
    gWaiting = false;
    if (!gLineReady && gPending.empty()) return false;
    line.swap(gPending);
    gPending.clear();
    if (gLineReady) line.pop_back();  // the line feed
    gLineReady = false;
    return true;
}

bool waitingForInput() { return gWaiting; }

void runPendingEvents() {
    eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();
    while (q->eventPending()) q->flush();
}

} // namespace qzconsole
