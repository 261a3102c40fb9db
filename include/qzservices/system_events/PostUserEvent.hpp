/// @file
/// Posting to the front end: a user event through the host's posting function,
/// and the request to hide the splash screen through the event manager.
#pragma once
#include "qzservices/export.hpp"
#include <cxutil/eventmgr/BaseEvent.hpp>

QZSERVICES_API_BEGIN

/// Calls the posting function that the host installed with svSetWS_EventFcns
/// and returns its result; then signals the QZEvent, whatever that result was.
/// From any thread.
bool svWS_PostUserEvent(int eventId, long data);

/// Posts a HideSplashScreenEvent; its subscribers do the hiding.
void svWS_HideSplashScreen();

namespace services { namespace ui {

/// The request, published to the event manager, to hide the splash screen.
class HideSplashScreenEvent : public cxutil::eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "HideSplashScreenEvent"; }  ///< the type name subscribers match
    HideSplashScreenEvent();  ///< an event with its type list
    /// Builds the type list anew; there is nothing else to copy.
    HideSplashScreenEvent(HideSplashScreenEvent const& other);
    ~HideSplashScreenEvent() override;  ///< nothing of its own to release
    cxutil::eventmgr::BaseEvent* clone() const override;  ///< a copy the manager owns
};

}} // namespace services::ui

QZSERVICES_API_END
