// The console's event loop: the user event queue, with standard input watched.
#include "EventLoop.hpp"
#include "LineEditor.hpp"

#include <qzservices/eventqueue/UserEventQueue.hpp>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace qzconsole {

namespace {

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

} // namespace qzconsole
