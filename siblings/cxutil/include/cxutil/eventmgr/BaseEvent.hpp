// The root of all events. An event carries the list of type names it answers
// to, most general first; the manager delivers it to the subscribers of each.
#pragma once
#include "cxutil/cxutil_export.hpp"
#include <boost/serialization/access.hpp>
#include <boost/serialization/export.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <iosfwd>
#include <string>
#include <typeinfo>
#include <vector>

CXUTIL_API_BEGIN

namespace cxutil { namespace eventmgr {

class BaseEvent {
public:
    typedef std::vector<std::string> TypeList;

    BaseEvent();                        // answers to "BaseEvent" only
    explicit BaseEvent(TypeList types);
    BaseEvent(BaseEvent const&) = default;
    BaseEvent& operator=(BaseEvent const&) = default;
    virtual ~BaseEvent();

    virtual BaseEvent* clone() const;
    virtual bool canBeSerialized() const;
    // Writes the type list, for diagnostics.
    virtual void fillStream(std::ostream& os) const;

    TypeList const& getTypes() const { return types_; }
    bool isOfType(std::string const& name) const;
    // The most derived type name (the last of the list).
    std::string const& getTypeName() const { return types_.back(); }

    bool operator==(BaseEvent const& other) const { return types_ == other.types_; }
    bool operator!=(BaseEvent const& other) const { return !(*this == other); }

    // The list of a direct subclass: "BaseEvent" followed by `typeName`.
    static TypeList appendType(std::string const& typeName);
    // A subclass's list extended by `typeName`, for classes that may be derived
    // again: the further subclass passes its list up through its base.
    static TypeList addStaticEventType(TypeList types, std::string const& typeName);

    // The event as `Event`, or std::bad_cast if it is of another class.
    template <class Event>
    static Event const& safeDownCast(BaseEvent const& event) {
        return dynamic_cast<Event const&>(event);
    }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& ar, unsigned int /*version*/) {
        ar & boost::serialization::make_nvp("types", types_);
    }

    TypeList types_;
};

}} // namespace cxutil::eventmgr

BOOST_CLASS_EXPORT_KEY2(cxutil::eventmgr::BaseEvent, "cxutil::eventmgr::BaseEvent")

CXUTIL_API_END
