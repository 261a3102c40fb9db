// The interpreter's side of qzdesktop: the main thread's loop and what the
// library asks of the host (a key, a line, the window size).
//
// The network thread reaches this only through handOver and interrupt: each
// message goes into an inbox under a lock, and one user event on the library's
// queue wakes the main thread to take it out. The main thread pumps with
// svWS_ProcessPendingEvents and waits in the user event queue whenever it
// waits for the page (a statement, the more key, an input line).
#pragma once
#include "PageSink.hpp"
#include "Protocol.hpp"

#include <deque>
#include <mutex>
#include <pthread.h>
#include <string>

namespace qzlang {
class Session;
}

namespace qzdesktop {

class Desktop {
public:
    explicit Desktop(Outbox& outbox);

    // ---- any thread ----
    void handOver(ClientMessage&& message);
    // Marks the interrupt on the main thread, as a ctrl-C would on a
    // terminal (a running statement reads no messages, only that flag), and
    // wakes a wait.
    void interrupt();

    // ---- main thread ----
    // The inbox's kind of user event; from the host's start.
    void install();
    // The handler of SIGUSR1, the signal by which interrupt() reaches this thread.
    static void installInterruptSignal();
    // Statements until `exit` is accepted; the exit status.
    int run(qzlang::Session& language);
    // The more prompt's key (the library's flushRead).
    int readKey();
    // input()'s line reader: the session has announced the request, which
    // the sink has passed to the page; shows `prompt` in the pane and waits
    // for the page's line. An interrupt ends the wait by throwing.
    bool readInputLine(std::string const& prompt, std::string& line);
    // The page's last size becomes the window's.
    void applyWindowSize();
    Outbox& outbox() { return outbox_; }

    static Desktop* instance();
    // The inbox's user event: takes the page's messages over.
    void takeInboxFromEvent();

private:
    enum class Waiting { Nothing, Statement, Key, Line };

    void waitOnce();
    void sendReady(qzlang::Session& language);
    void sendHelp(std::string const& topic);

    Outbox& outbox_;
    pthread_t mainThread_;
    int inboxKind_ = -1;
    std::mutex inboxLock_;
    std::deque<ClientMessage> inbox_;  // under inboxLock_

    // Main thread only.
    qzlang::Session* language_ = nullptr;
    Waiting waiting_ = Waiting::Nothing;
    std::deque<std::string> statements_;
    std::deque<int> keys_;
    std::deque<std::string> lines_;
    int columns_ = 80;
    int rows_ = 24;
};

} // namespace qzdesktop
