/// @file
/// What the system waits for when it waits for the user: the present input
/// requester (with a guard that sets it for a scope and may announce it), the
/// prompt text with its three states, and the keyboard-reading flag.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/archive_fwd.hpp"
#include "qzservices/prompt/InputRequester.hpp"

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

#include <cxutil/eventmgr/BaseEvent.hpp>
#include <fd/util/scope_guard.hpp>

QZSERVICES_API_BEGIN

namespace services { namespace prompt {

/// The present requester: a plain variable, no lock. 0 at load.
InputRequester getInputRequester();
/// Stores and returns the previous value.
InputRequester setInputRequester(InputRequester requester);

/// Announces, through the event manager, who now waits for input.
class InputRequestEvent : public cxutil::eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "InputRequestEvent"; }  ///< the type name subscribers match

    InputRequestEvent();  ///< requester -1
    explicit InputRequestEvent(InputRequester requester);  ///< an event for `requester`
    explicit InputRequestEvent(std::vector<std::string> types);  ///< for subclasses; requester -1
    InputRequestEvent(std::vector<std::string> types, InputRequester requester);  ///< for subclasses, with a requester
    InputRequestEvent(InputRequestEvent const& other) = default;  ///< copies types and requester
    ~InputRequestEvent() override;  ///< nothing of its own to release

    InputRequestEvent* clone() const override;  ///< a copy the manager owns

    InputRequester getRequester() const { return requester_; }  ///< who waits
    /// Same event types and same requester.
    bool operator==(InputRequestEvent const& other) const {
        return BaseEvent::operator==(other) && requester_ == other.requester_;
    }
    bool operator!=(InputRequestEvent const& other) const { return !(*this == other); }  ///< not operator==

    /// The archive form: the base object, then the requester in version 1 only.
    template <class Archive>
    void serializeImpl(Archive& ar, unsigned int version);
    QZ_DECLARE_SERIALIZE_EXPLICIT

private:
    InputRequester requester_;
};

/// Sets the requester for a scope and restores what it found. With `publish`
/// it announces both ends as events, each with the value then in force.
class InputRequesterGuard {
public:
    InputRequesterGuard(InputRequester const& requester, bool publish);  ///< sets `requester`, announcing it if asked
    ~InputRequesterGuard();  ///< never throws
    InputRequesterGuard(InputRequesterGuard const&) = delete;  ///< one per scope: not copyable
    InputRequesterGuard& operator=(InputRequesterGuard const&) = delete;  ///< nor assignable

private:
    fd::util::scope_guard restore_;
    bool publish_;
};

}} // namespace services::prompt

BOOST_CLASS_EXPORT_KEY2(services::prompt::InputRequestEvent, "services::prompt::InputRequestEvent")
BOOST_CLASS_VERSION(services::prompt::InputRequestEvent, 1)
BOOST_CLASS_TRACKING(services::prompt::InputRequestEvent, boost::serialization::track_selectively)

namespace services {

/// The prompt text. State 0 normal, 1 an emergency, 2 an emergency question;
/// any other value reads as 0. Guarded by a process-wide shared mutex.
class PromptHolder {
public:
    /// The prompt's three states.
    enum State { NORMAL = 0, EMERGENCY = 1, EMERGENCY_QUESTION = 2 };
    static void setState(State state);  ///< changes the state under the mutex
    ///@{
    /// ">>", "[Please exit and restart CALYX]>>", "Attempt to restart CALYX? [y or n]>>".
    static char const* getString();
    static bool isQuestion();  ///< state 2
    static bool isEmergency();  ///< state 1 or 2
    ///@}

private:
    static State state_;
};

/// Stands around the emergency question: state 2 for its life, then 1. Deliberately
/// not back to 0: a session that had an emergency keeps saying so.
class PromptGuard {
public:
    PromptGuard();  ///< state 2
    ~PromptGuard();  ///< state 1
    PromptGuard(PromptGuard const&) = delete;  ///< one per question: not copyable
    PromptGuard& operator=(PromptGuard const&) = delete;  ///< nor assignable
};

} // namespace services

bool svIsReadingKeyboardInput();  ///< whether the session is reading keys now
bool svSetReadingKeyboardInput(bool reading);  ///< returns the previous value

QZSERVICES_API_END
