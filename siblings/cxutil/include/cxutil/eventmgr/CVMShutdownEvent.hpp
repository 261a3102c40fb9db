#pragma once
#include "cxutil/eventmgr/BaseEvent.hpp"

namespace cxutil { namespace eventmgr {

// Published by the host when the runtime shuts down.
class CVMShutdownEvent : public BaseEvent {
public:
    static char const* staticTypeName() { return "CVMShutdownEvent"; }
    CVMShutdownEvent() : BaseEvent(appendType(staticTypeName())) {}
    BaseEvent* clone() const override { return new CVMShutdownEvent(*this); }
};

}} // namespace cxutil::eventmgr
