#include "qzservices/system_events/PostUserEvent.hpp"
#include "qzservices/system_events/QZEvent.hpp"
#include "io/callbacks_private.hpp"

#include <cxutil/eventmgr/EventMgr.hpp>

#include <boost/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/once.hpp>

namespace services {

void QZEvent::signal() {
    boost::lock_guard<boost::mutex> lock(mutex);
    signalled = true;
    condition.notify_one();
}

} // namespace services

namespace {

boost::once_flag gQZEventOnce = BOOST_ONCE_INIT;
// Static storage; filled once. A throw while making it leaves the once-flag
// unset, so the next call tries again.
boost::shared_ptr<services::QZEvent> gQZEvent;

void makeQZEvent() { gQZEvent = boost::make_shared<services::QZEvent>(); }

} // namespace

boost::shared_ptr<services::QZEvent> getUserEventQueueEvent() {
    boost::call_once(gQZEventOnce, &makeQZEvent);
    return gQZEvent;
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
