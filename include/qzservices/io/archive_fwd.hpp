/// @file
/// The six Boost archive classes that the event records are written to and read
/// from, declared so that classes can name their serializeExplicit overloads.
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

namespace boost { namespace archive {
class text_oarchive;
class text_iarchive;
class binary_oarchive;
class binary_iarchive;
class xml_oarchive;
class xml_iarchive;
}} // namespace boost::archive

/// Declares one serializeExplicit per archive class, each the ordinary
/// serialize for that archive, and the serialize that Boost calls.
#define QZ_DECLARE_SERIALIZE_EXPLICIT                                                         \
public:                                                                                       \
    void serializeExplicit(boost::archive::text_oarchive& ar, unsigned int version);         \
    void serializeExplicit(boost::archive::text_iarchive& ar, unsigned int version);         \
    void serializeExplicit(boost::archive::binary_oarchive& ar, unsigned int version);       \
    void serializeExplicit(boost::archive::binary_iarchive& ar, unsigned int version);       \
    void serializeExplicit(boost::archive::xml_oarchive& ar, unsigned int version);          \
    void serializeExplicit(boost::archive::xml_iarchive& ar, unsigned int version);          \
    template <class Archive>                                                                  \
    void serialize(Archive& ar, unsigned int version) {                                       \
        serializeExplicit(ar, version);                                                       \
    }

QZSERVICES_API_END
