// Posting a user event to the front end, and hiding the splash screen.
#include "qzservices/system_events/PostUserEvent.hpp"
#include "qzservices/system_events/QZEvent.hpp"
#include "io/callbacks_private.hpp"

#include <cxutil/eventmgr/EventMgr.hpp>

#include <boost/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>

namespace services {

void QZEvent::signal() {
    boost::lock_guard<boost::mutex> lock(mutex);
    signalled = true;
    condition.notify_one();
}

} // namespace services

boost::shared_ptr<services::QZEvent> getUserEventQueueEvent() {
    // Made on the first call under the compiler's once-guard (which, unlike
    // boost::call_once, ThreadSanitizer sees); a throw while making it leaves
    // the guard open, so the next call tries again.
    static boost::shared_ptr<services::QZEvent> const instance = boost::make_shared<services::QZEvent>();
    return instance;
}

bool svWS_PostUserEvent(int eventId, long data) {
    bool const posted = services::io::detail::gHostCallbacks.postUserEvent(eventId, data);
    getUserEventQueueEvent()->signal();
    return posted;
}

namespace services { namespace ui {

HideSplashScreenEvent::HideSplashScreenEvent() : BaseEvent(appendType(staticTypeName())) {}
HideSplashScreenEvent::HideSplashScreenEvent(HideSplashScreenEvent const&) : BaseEvent(appendType(staticTypeName())) {}
HideSplashScreenEvent::~HideSplashScreenEvent() = default;
cxutil::eventmgr::BaseEvent* HideSplashScreenEvent::clone() const { return new HideSplashScreenEvent(*this); }

}} // namespace services::ui

void svWS_HideSplashScreen() {
    services::ui::HideSplashScreenEvent event;
    cxutil::eventmgr::EventMgr::instance()->post(event, 1);
}
