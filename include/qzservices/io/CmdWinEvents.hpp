// Events that a front end publishes to clear the command window (CLCEvent) or
// move its cursor home (HomeEvent); the handle passes them to the current sink.
#pragma once
#include "qzservices/io/archive_fwd.hpp"

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>
#include <cxutil/eventmgr/BaseEvent.hpp>

namespace services { namespace io {

class CLCEvent : public cxutil::eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "CLCEvent"; }
    CLCEvent() : BaseEvent(appendType(staticTypeName())) {}
    ~CLCEvent() override;
    CLCEvent* clone() const override { return new CLCEvent(*this); }
    QZ_DECLARE_SERIALIZE_EXPLICIT
};

class HomeEvent : public cxutil::eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "HomeEvent"; }
    HomeEvent() : BaseEvent(appendType(staticTypeName())) {}
    ~HomeEvent() override;
    HomeEvent* clone() const override { return new HomeEvent(*this); }
    QZ_DECLARE_SERIALIZE_EXPLICIT
};

}} // namespace services::io

BOOST_CLASS_EXPORT_KEY2(services::io::CLCEvent, "services::io::CLCEvent")
BOOST_CLASS_EXPORT_KEY2(services::io::HomeEvent, "services::io::HomeEvent")
BOOST_CLASS_VERSION(services::io::CLCEvent, 1)
BOOST_CLASS_VERSION(services::io::HomeEvent, 1)
BOOST_CLASS_TRACKING(services::io::CLCEvent, boost::serialization::track_selectively)
BOOST_CLASS_TRACKING(services::io::HomeEvent, boost::serialization::track_selectively)
