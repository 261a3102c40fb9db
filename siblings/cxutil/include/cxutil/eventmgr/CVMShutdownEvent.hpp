// The event the host publishes when the runtime shuts down.
#pragma once
#include "cxutil/cxutil_export.hpp"
#include "cxutil/eventmgr/BaseEvent.hpp"

CXUTIL_API_BEGIN

namespace cxutil { namespace eventmgr {

// Published by the host when the runtime shuts down.
class CVMShutdownEvent : public BaseEvent {
public:
    static char const* staticTypeName() { return "CVMShutdownEvent"; }
    CVMShutdownEvent() : BaseEvent(appendType(staticTypeName())) {}
    BaseEvent* clone() const override { return new CVMShutdownEvent(*this); }
};

}} // namespace cxutil::eventmgr

CXUTIL_API_END
