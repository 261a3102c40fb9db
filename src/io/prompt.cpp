// The present input requester, the prompt's text and state, and whether the
// keyboard is being read.
#include "qzservices/prompt/prompt.hpp"

#include <boost/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/shared_lock_guard.hpp>
#include <boost/thread/shared_mutex.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>

#include <utility>

namespace services { namespace prompt {

namespace {

InputRequester gRequester = COMMAND_LINE;

void publish(InputRequester requester) {
    cxutil::eventmgr::EventMgr::instance()->publish(boost::make_shared<InputRequestEvent>(requester), nullptr);
}

} // namespace

InputRequester getInputRequester() { return gRequester; }

InputRequester setInputRequester(InputRequester requester) { return std::exchange(gRequester, requester); }

InputRequestEvent::InputRequestEvent() : BaseEvent(appendType(staticTypeName())), requester_(NO_REQUESTER) {}

InputRequestEvent::InputRequestEvent(InputRequester requester)
    : BaseEvent(appendType(staticTypeName())), requester_(requester) {}

InputRequestEvent::InputRequestEvent(std::vector<std::string> types)
    : BaseEvent(addStaticEventType(std::move(types), staticTypeName())), requester_(NO_REQUESTER) {}

InputRequestEvent::InputRequestEvent(std::vector<std::string> types, InputRequester requester)
    : BaseEvent(addStaticEventType(std::move(types), staticTypeName())), requester_(requester) {}

InputRequestEvent::~InputRequestEvent() = default;

InputRequestEvent* InputRequestEvent::clone() const { return new InputRequestEvent(*this); }

InputRequesterGuard::InputRequesterGuard(InputRequester const& requester, bool publishEvents)
    : restore_([former = getInputRequester()] { setInputRequester(former); }), publish_(publishEvents) {
    setInputRequester(requester);
    // If publishing throws, restore_ puts the former requester back on the way out.
    if (publish_) publish(requester);
}

InputRequesterGuard::~InputRequesterGuard() {
    try {
        restore_.run();
        if (publish_) publish(getInputRequester());  // the restored value
    } catch (...) {
    }
}

}} // namespace services::prompt

namespace services {

namespace {

boost::shared_mutex& promptMutex() {
    static boost::shared_mutex m;
    return m;
}

} // namespace

PromptHolder::State PromptHolder::state_ = PromptHolder::NORMAL;

void PromptHolder::setState(State state) {
    boost::this_thread::disable_interruption noInterrupt;
    boost::lock_guard<boost::shared_mutex> lock(promptMutex());
    state_ = state;
}

char const* PromptHolder::getString() {
    boost::this_thread::disable_interruption noInterrupt;
    boost::shared_lock<boost::shared_mutex> lock(promptMutex());
    switch (state_) {
    case EMERGENCY: return "[Please exit and restart CALYX]>>";
    case EMERGENCY_QUESTION: return "Attempt to restart CALYX? [y or n]>>";
    default: return ">>";
    }
}

bool PromptHolder::isQuestion() {
    boost::this_thread::disable_interruption noInterrupt;
    boost::shared_lock<boost::shared_mutex> lock(promptMutex());
    return state_ == EMERGENCY_QUESTION;
}

bool PromptHolder::isEmergency() {
    boost::this_thread::disable_interruption noInterrupt;
    boost::shared_lock<boost::shared_mutex> lock(promptMutex());
    return state_ == EMERGENCY || state_ == EMERGENCY_QUESTION;
}

PromptGuard::PromptGuard() { PromptHolder::setState(PromptHolder::EMERGENCY_QUESTION); }

PromptGuard::~PromptGuard() {
    try {
        PromptHolder::setState(PromptHolder::EMERGENCY);
    } catch (...) {
    }
}

} // namespace services

namespace {
bool gReadingKeyboardInput = false;
} // namespace

bool svIsReadingKeyboardInput() { return gReadingKeyboardInput; }

bool svSetReadingKeyboardInput(bool reading) { return std::exchange(gReadingKeyboardInput, reading); }
