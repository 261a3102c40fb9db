// The UTF-16 stream buffer that publishes its text as SinkTextEvent records.
#include "cxutil/io/SinkTextEventBuffer.hpp"
#include "cxutil/eventmgr/EventMgr.hpp"

#include <boost/make_shared.hpp>

namespace cxutil { namespace io {

std::streamsize SinkTextEventBuffer::xsputn(unsigned short const* s, std::streamsize n) {
    if (n <= 0) return 0;
    boost::shared_ptr<eventmgr::EventMgr> mgr = eventmgr::EventMgr::instance();
    if (!mgr->hasSubscribers(SinkTextEvent::staticTypeName())) return n;
    mgr->publish(boost::make_shared<SinkTextEvent>(stream_, std::basic_string<unsigned short>(s, s + n)), this);
    return n;
}

SinkTextEventBuffer::int_type SinkTextEventBuffer::overflow(int_type c) {
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    unsigned short unit = traits_type::to_char_type(c);
    xsputn(&unit, 1);
    return c;
}

}} // namespace cxutil::io
