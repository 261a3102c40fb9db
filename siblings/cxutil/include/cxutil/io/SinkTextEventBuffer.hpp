// A UTF-16 stream buffer that publishes what it receives as SinkTextEvent
// records, so that listeners (a desktop, a test) see the command window's text.
// No put area: each write is one event. Nothing is built while nobody listens.
#pragma once
#include "cxutil/cxutil_export.hpp"
#include "cxutil/eventmgr/BaseEvent.hpp"
#include "cxutil/io/StreamTypeEnum.hpp"

#include <streambuf>
#include <string>

CXUTIL_API_BEGIN

namespace cxutil { namespace io {

class SinkTextEvent : public eventmgr::BaseEvent {
public:
    static char const* staticTypeName() { return "SinkTextEvent"; }
    SinkTextEvent(StreamTypeEnum stream, std::basic_string<unsigned short> text)
        : BaseEvent(appendType(staticTypeName())), stream_(stream), text_(std::move(text)) {}
    BaseEvent* clone() const override { return new SinkTextEvent(*this); }
    StreamTypeEnum getStreamType() const { return stream_; }
    std::basic_string<unsigned short> const& getText() const { return text_; }
private:
    StreamTypeEnum stream_;
    std::basic_string<unsigned short> text_;
};

class SinkTextEventBuffer : public std::basic_streambuf<unsigned short> {
public:
    explicit SinkTextEventBuffer(StreamTypeEnum stream) : stream_(stream) {}
    StreamTypeEnum getStreamType() const { return stream_; }

protected:
    std::streamsize xsputn(unsigned short const* s, std::streamsize n) override;
    int_type overflow(int_type c) override;

private:
    StreamTypeEnum stream_;
};

}} // namespace cxutil::io

CXUTIL_API_END
