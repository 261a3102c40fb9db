// A snapshot of a sink's seven properties, in a form that can be archived.
#pragma once
#include "qzservices/io/CXSink.hpp"

namespace services { namespace io {

class SinkTraits {
public:
    SinkTraits();
    explicit SinkTraits(boost::shared_ptr<CXSink> const& sink);  // all false for a null sink
    virtual ~SinkTraits();

    bool operator==(SinkTraits const& o) const {
        return buzz == o.buzz && more == o.more && links == o.links && displayformatting == o.displayformatting &&
               diary == o.diary && echo == o.echo && logging == o.logging;
    }

    bool buzz;
    bool more;
    bool links;
    bool displayformatting;
    bool diary;
    bool echo;
    bool logging;
};

}} // namespace services::io
