// A snapshot of a sink's seven properties.
#include "qzservices/io/SinkTraits.hpp"

namespace services { namespace io {

SinkTraits::SinkTraits()
    : buzz(false), more(false), links(false), displayformatting(false), diary(false), echo(false), logging(false) {}

SinkTraits::SinkTraits(boost::shared_ptr<CXSink> const& sink) : SinkTraits() {
    if (!sink) return;
    // Asked in this order; a sink may count or log the questions.
    buzz = sink->supportsBuzz();
    more = sink->supportsMore();
    links = sink->supportsHotlinks();
    displayformatting = sink->needsFormattingForDisplay();
    diary = sink->useDiary();
    echo = sink->useEcho();
    logging = sink->useLogging();
}

SinkTraits::~SinkTraits() = default;

}} // namespace services::io
