// The root of all events: its list of type names.
#include "cxutil/eventmgr/BaseEvent.hpp"

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>
#include <boost/archive/xml_iarchive.hpp>
#include <boost/archive/xml_oarchive.hpp>
#include <algorithm>
#include <ostream>

BOOST_CLASS_EXPORT_IMPLEMENT(cxutil::eventmgr::BaseEvent)

namespace cxutil { namespace eventmgr {

BaseEvent::BaseEvent() : types_(1, "BaseEvent") {}

BaseEvent::BaseEvent(TypeList types) : types_(std::move(types)) {
    if (types_.empty()) types_.push_back("BaseEvent");
}

BaseEvent::~BaseEvent() = default;

BaseEvent* BaseEvent::clone() const { return new BaseEvent(*this); }

bool BaseEvent::canBeSerialized() const { return true; }

void BaseEvent::fillStream(std::ostream& os) const {
    for (size_t i = 0; i < types_.size(); ++i) os << (i ? "/" : "") << types_[i];
}

bool BaseEvent::isOfType(std::string const& name) const {
    return std::find(types_.begin(), types_.end(), name) != types_.end();
}

BaseEvent::TypeList BaseEvent::appendType(std::string const& typeName) {
    return addStaticEventType(TypeList(1, "BaseEvent"), typeName);
}

BaseEvent::TypeList BaseEvent::addStaticEventType(TypeList types, std::string const& typeName) {
    if (types.empty() || types.front() != "BaseEvent") types.insert(types.begin(), "BaseEvent");
    // The subclass's own names were added first, so the new name goes in front of
    // them; the most derived name stays last.
    if (std::find(types.begin(), types.end(), typeName) == types.end()) types.insert(types.begin() + 1, typeName);
    return types;
}

}} // namespace cxutil::eventmgr
