// Events that a front end publishes to clear the command window (CLCEvent) or
// move its cursor home (HomeEvent); the handle passes them to the current sink.
#pragma once
#include <cxutil/eventmgr/BaseEvent.hpp>

namespace services { namespace io {

class CLCEvent : public cxutil::eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "CLCEvent"; }
    CLCEvent() : BaseEvent(appendType(staticTypeName())) {}
    ~CLCEvent() override;
    CLCEvent* clone() const override { return new CLCEvent(*this); }
};

class HomeEvent : public cxutil::eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "HomeEvent"; }
    HomeEvent() : BaseEvent(appendType(staticTypeName())) {}
    ~HomeEvent() override;
    HomeEvent* clone() const override { return new HomeEvent(*this); }
};

}} // namespace services::io
