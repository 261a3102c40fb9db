// The archive forms of the command-window events, the input request event and
// the sink property snapshot, in the text, binary and XML archives. Including
// all six archive classes here before the export implementations registers
// each export name and its pointer serialisers while the library loads.
#include "qzservices/io/CmdWinEvents.hpp"
#include "qzservices/io/SinkTraits.hpp"
#include "qzservices/prompt/prompt.hpp"

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/archive/text_iarchive.hpp>
#include <boost/archive/text_oarchive.hpp>
#include <boost/archive/xml_iarchive.hpp>
#include <boost/archive/xml_oarchive.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/void_cast.hpp>

BOOST_CLASS_EXPORT_IMPLEMENT(services::io::CLCEvent)
BOOST_CLASS_EXPORT_IMPLEMENT(services::io::HomeEvent)
BOOST_CLASS_EXPORT_IMPLEMENT(services::prompt::InputRequestEvent)
BOOST_CLASS_EXPORT_IMPLEMENT(services::io::SinkTraits)

namespace {

using boost::serialization::base_object;
using boost::serialization::make_nvp;
using cxutil::eventmgr::BaseEvent;

// The element of the base object bears the name of the derived class.
template <class Event, class Archive>
void serializeBase(Event& event, Archive& ar, char const* elementName) {
    boost::serialization::void_cast_register<Event, BaseEvent>();
    ar & make_nvp(elementName, base_object<BaseEvent>(event));
}

} // namespace

// Each class's six overloads are the same template step for one archive class.
#define QZ_DEFINE_SERIALIZE_EXPLICIT(Class, body)                                                       \
    void Class::serializeExplicit(boost::archive::text_oarchive& ar, unsigned int version) { body; }   \
    void Class::serializeExplicit(boost::archive::text_iarchive& ar, unsigned int version) { body; }   \
    void Class::serializeExplicit(boost::archive::binary_oarchive& ar, unsigned int version) { body; } \
    void Class::serializeExplicit(boost::archive::binary_iarchive& ar, unsigned int version) { body; } \
    void Class::serializeExplicit(boost::archive::xml_oarchive& ar, unsigned int version) { body; }    \
    void Class::serializeExplicit(boost::archive::xml_iarchive& ar, unsigned int version) { body; }

namespace services { namespace io {

// The version is ignored: both event classes only ever held their base.
QZ_DEFINE_SERIALIZE_EXPLICIT(CLCEvent, (void)version; serializeBase(*this, ar, "CLCEvent"))
QZ_DEFINE_SERIALIZE_EXPLICIT(HomeEvent, (void)version; serializeBase(*this, ar, "HomeEvent"))

template <class Archive>
void SinkTraits::serializeImpl(Archive& ar, unsigned int /*version*/) {
    ar & make_nvp("buzz", buzz);
    ar & make_nvp("more", more);
    ar & make_nvp("links", links);
    ar & make_nvp("displayformatting", displayformatting);
    ar & make_nvp("diary", diary);
    ar & make_nvp("echo", echo);
    ar & make_nvp("logging", logging);
}

QZ_DEFINE_SERIALIZE_EXPLICIT(SinkTraits, serializeImpl(ar, version))

}} // namespace services::io

namespace services { namespace prompt {

// Version 0 has no requester: loading it leaves the target's requester as it was.
template <class Archive>
void InputRequestEvent::serializeImpl(Archive& ar, unsigned int version) {
    serializeBase(*this, ar, "InputRequestEvent");
    if (version == 1) ar & make_nvp("requester", requester_);
}

QZ_DEFINE_SERIALIZE_EXPLICIT(InputRequestEvent, serializeImpl(ar, version))

}} // namespace services::prompt
