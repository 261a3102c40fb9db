/// @file
/// Events that a front end publishes to clear the command window (CLCEvent) or
/// move its cursor home (HomeEvent); the handle passes them to the current sink.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/archive_fwd.hpp"

#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>
#include <cxutil/eventmgr/BaseEvent.hpp>

QZSERVICES_API_BEGIN

namespace services { namespace io {

/// The request to clear the command window.
class CLCEvent : public cxutil::eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "CLCEvent"; }  ///< the type name subscribers match
    CLCEvent() : BaseEvent(appendType(staticTypeName())) {}  ///< an event with its type list
    ~CLCEvent() override;  ///< nothing of its own to release
    CLCEvent* clone() const override { return new CLCEvent(*this); }  ///< a copy the manager owns
    QZ_DECLARE_SERIALIZE_EXPLICIT
};

/// The request to move the command window's cursor home.
class HomeEvent : public cxutil::eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "HomeEvent"; }  ///< the type name subscribers match
    HomeEvent() : BaseEvent(appendType(staticTypeName())) {}  ///< an event with its type list
    ~HomeEvent() override;  ///< nothing of its own to release
    HomeEvent* clone() const override { return new HomeEvent(*this); }  ///< a copy the manager owns
    QZ_DECLARE_SERIALIZE_EXPLICIT
};

}} // namespace services::io

BOOST_CLASS_EXPORT_KEY2(services::io::CLCEvent, "services::io::CLCEvent")
BOOST_CLASS_EXPORT_KEY2(services::io::HomeEvent, "services::io::HomeEvent")
BOOST_CLASS_VERSION(services::io::CLCEvent, 1)
BOOST_CLASS_VERSION(services::io::HomeEvent, 1)
BOOST_CLASS_TRACKING(services::io::CLCEvent, boost::serialization::track_selectively)
BOOST_CLASS_TRACKING(services::io::HomeEvent, boost::serialization::track_selectively)

QZSERVICES_API_END
