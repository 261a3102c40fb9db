// The interpreter's side of qzdesktop: the main thread's statement loop, its
// waits for the page, and the inbox the network thread fills.
#include "Desktop.hpp"

#include <qzhost/Host.hpp>
#include <qzhost/Messages.hpp>
#include <qzhost/Statements.hpp>
#include <qzhost/UserEvents.hpp>
#include <qzlang/Session.hpp>
#include <qzservices/qzservices.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>

#include <csignal>

namespace qzdesktop {

namespace {

Desktop* gDesktop = nullptr;

void takeInboxEvent(long) { gDesktop->takeInboxFromEvent(); }

// "2x3" for a 2-by-3 array.
std::string sizeText(vxArray const* a) {
    std::string out;
    size_t const n = vxGetNumberOfDimensions(a);
    size_t const* dims = vxGetDimensions(a);
    for (size_t i = 0; i < n; ++i) out += (i ? "x" : "") + std::to_string(dims[i]);
    return out;
}

// A failed statement's report: one wrapped line "Error: ...".
void reportError(qzlang::Session&, std::string const&, std::string const& message) { qzhost::printError(message); }

} // namespace

Desktop::Desktop(Outbox& outbox) : outbox_(outbox), mainThread_(pthread_self()) { gDesktop = this; }

Desktop* Desktop::instance() { return gDesktop; }

void Desktop::install() {
    mainThread_ = pthread_self();
    inboxKind_ = qzhost::createUserEvent(&takeInboxEvent);
}

void Desktop::installInterruptSignal() {
    // A wait in the user event queue wakes with EINTR and sees the interrupt.
    qzhost::installSignal(SIGUSR1, &qzhost::markInterruptPending);
}

void Desktop::handOver(ClientMessage&& message) {
    {
        std::lock_guard<std::mutex> lock(inboxLock_);
        inbox_.push_back(std::move(message));
    }
    qzhost::postUserEvent(inboxKind_, 0);
}

void Desktop::interrupt() {
    pthread_kill(mainThread_, SIGUSR1);
    // A signal that lands just before the wait begins would leave the wait
    // asleep; the wake byte ends it, and the wait then sees the interrupt.
    qzhost::postUserEvent(inboxKind_, 0);
}

void Desktop::takeInboxFromEvent() {
    std::deque<ClientMessage> taken;
    {
        std::lock_guard<std::mutex> lock(inboxLock_);
        taken.swap(inbox_);
    }
    for (ClientMessage& m : taken) {
        switch (m.kind) {
        case ClientKind::Statement:
            statements_.push_back(std::move(m.text));
            break;
        case ClientKind::Key:
            if (waiting_ == Waiting::Key) keys_.push_back(m.key);  // a key nobody asked for is dropped
            break;
        case ClientKind::InputLine:
            if (waiting_ == Waiting::Line) lines_.push_back(std::move(m.text));
            break;
        case ClientKind::Resize:
            columns_ = m.columns;
            rows_ = m.rows;
            break;
        case ClientKind::Help:
            sendHelp(m.text);
            break;
        case ClientKind::Interrupt:
            break;  // the signal has marked it already
        }
    }
}

void Desktop::applyWindowSize() {
    ioSetNumWindowColumns(static_cast<size_t>(columns_));
    ioSetNumWindowRows(static_cast<size_t>(rows_));
}

// One wait for the page: the pump's hooks, then the user event queue, which
// runs the inbox event when it comes. An interrupt ends the wait by throwing.
void Desktop::waitOnce() {
    svWS_ProcessPendingEvents();
    eventqueue::UserEventQueue::getInstance()->flushEventsOrBlock();
}

void Desktop::sendReady(qzlang::Session& language) {
    std::string vars = "v";
    for (std::string const& name : language.names()) {
        vxArray const* a = language.find(name);
        if (a == nullptr) continue;
        vars += name + "\t" + sizeText(a) + "\t" + vxGetClassName(a) + "\n";
    }
    outbox_.control(std::move(vars));
    outbox_.control(std::string("p") + services::PromptHolder::getString() + " ");
}

void Desktop::sendHelp(std::string const& topic) {
    std::string text;
    qzlang::Command const* c = language_ != nullptr ? language_->commands().find(topic) : nullptr;
    if (c != nullptr)
        text = c->usage;
    else
        text = "No help for " + topic + ".";
    outbox_.control("h" + topic + "\n" + text);
}

int Desktop::readKey() {
    keys_.clear();
    Waiting const before = waiting_;
    waiting_ = Waiting::Key;
    services::io::CmdWinSinkHandle::keyStrokeRequested(services::prompt::getInputRequester());
    try {
        while (keys_.empty()) waitOnce();
    } catch (...) {
        waiting_ = before;
        throw;
    }
    waiting_ = before;
    int const key = keys_.front();
    keys_.pop_front();
    return key;
}

bool Desktop::readInputLine(std::string const& prompt, std::string& line) {
    lines_.clear();
    Waiting const before = waiting_;
    waiting_ = Waiting::Line;
    try {
        if (!prompt.empty()) uvPutsn(0, prompt.data(), prompt.size());
        ioFlush();
        while (lines_.empty()) waitOnce();
    } catch (...) {
        waiting_ = before;
        throw;
    }
    waiting_ = before;
    line = std::move(lines_.front());
    lines_.pop_front();
    return true;
}

int Desktop::run(qzlang::Session& language) {
    language_ = &language;
    // input() and pause wait for the page on this thread, never on standard input.
    language.input().setLineReader(
        [this](std::string const& prompt, std::string& line) { return readInputLine(prompt, line); });
    language.input().setKeyReader([this] { return readKey(); });
    for (;;) {
        ioFlush();
        waiting_ = Waiting::Statement;
        sendReady(language);
        try {
            while (statements_.empty()) waitOnce();
        } catch (Orrery::System::InterruptException const& e) {
            // An interrupt at the prompt: nothing to stop; the prompt stands again.
            qzhost::clearInterrupt(e);
            continue;
        }
        waiting_ = Waiting::Nothing;
        std::string const text = statements_.front();
        statements_.pop_front();

        applyWindowSize();  // a resized page counts from this statement on
        // "q" at the more sign, or Stop: the statement ends, the session goes on.
        if (qzhost::runPromptStatement(language, text, &reportError).exitAsked) {
            if (qzhost::mayExit(false)) break;
            uvPuts("The exit was refused; the session goes on.\n");
        }
    }
    waiting_ = Waiting::Nothing;
    ioFlush();
    outbox_.control("q");
    language_ = nullptr;
    return 0;
}

} // namespace qzdesktop
