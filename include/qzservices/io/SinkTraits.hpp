/// @file
/// A snapshot of a sink's seven properties, in a form that can be archived.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CXSink.hpp"
#include "qzservices/io/archive_fwd.hpp"

#include <boost/serialization/export.hpp>
#include <boost/serialization/tracking.hpp>
#include <boost/serialization/version.hpp>

QZSERVICES_API_BEGIN

namespace services { namespace io {

/// Seven flags, one per sink property, copied at construction.
class SinkTraits {
public:
    SinkTraits();  ///< all false
    explicit SinkTraits(boost::shared_ptr<CXSink> const& sink);  ///< all false for a null sink
    virtual ~SinkTraits();  ///< nothing to release

    /// True when all seven flags are equal.
    bool operator==(SinkTraits const& o) const {
        return buzz == o.buzz && more == o.more && links == o.links && displayformatting == o.displayformatting &&
               diary == o.diary && echo == o.echo && logging == o.logging;
    }

    /// The archive form: the seven flags in field order.
    template <class Archive>
    void serializeImpl(Archive& ar, unsigned int version);
    QZ_DECLARE_SERIALIZE_EXPLICIT

    bool buzz;  ///< supportsBuzz
    bool more;  ///< supportsMore
    bool links;  ///< supportsHotlinks
    bool displayformatting;  ///< needsFormattingForDisplay
    bool diary;  ///< useDiary
    bool echo;  ///< useEcho
    bool logging;  ///< useLogging
};

}} // namespace services::io

BOOST_CLASS_EXPORT_KEY2(services::io::SinkTraits, "services::io::SinkTraits")
BOOST_CLASS_VERSION(services::io::SinkTraits, 1)
BOOST_CLASS_TRACKING(services::io::SinkTraits, boost::serialization::track_selectively)

QZSERVICES_API_END
