// The two global text streams, CXOut and CXErr, and their sink stacks.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/UnicodeStreams.hpp"
#include "qzservices/state/session_modes.hpp"

#include <boost/bind/bind.hpp>
#include <cxutil/eventmgr/CVMShutdownEvent.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <iostream>

// ---- ForwardingStreamBuffer ----

ForwardingStreamBuffer::int_type ForwardingStreamBuffer::overflow(int_type c) {
    target_->put(traits_type::to_char_type(c));
    return target_->bad() ? traits_type::eof() : c;
}

int ForwardingStreamBuffer::sync() {
    target_->flush();
    return target_->bad() ? -1 : 0;
}

namespace services { namespace io {

using cxutil::eventmgr::CVMShutdownEvent;
using cxutil::eventmgr::EventMgr;
using cxutil::eventmgr::OnceConnection;

boost::shared_ptr<std::ostream> CXStream::logStreamPtr_;
boost::shared_ptr<std::ostream> CXStream::diaryStreamPtr_;
bool CXStream::logAllStreams_ = false;

// CXOut is defined first, so it is constructed first.
CXStream CXStream::CXOut(std::cout, cxutil::io::OUTPUT_STREAM);
CXStream CXStream::CXErr(std::cerr, cxutil::io::ERROR_STREAM);

CXStream::CXStream(std::ostream& stream, cxutil::io::StreamTypeEnum type)
    // A null buffer: the stream is bad (and silent) until the first push.
    : std::ostream(nullptr),
      stack_(new SinkStack),
      stream_(stream),
      defaultBuf_(stream.rdbuf()),
      forwardBuf_(nullptr),
      shutdownConn_(nullptr),
      firstPush_(true),
      type_(type) {
    // The standard stream keeps owning its buffer.
    defaultSink_.reset(new CXSink(boost::shared_ptr<std::streambuf>(defaultBuf_, &CXSink::doNothingDeleter)));
    forwardBuf_ = new ForwardingStreamBuffer(this);
    // Placed directly, without push: the wrapped stream stays untouched.
    stack_->push(defaultSink_);
    defaultSink_->activate();
}

CXStream::~CXStream() {
    try {
        stream_.rdbuf(defaultBuf_);
    } catch (...) {
    }
    try {
        delete forwardBuf_;
    } catch (...) {
    }
    delete shutdownConn_;
}

void CXStream::push(boost::shared_ptr<CXSink> const& sink) {
    if (firstPush_) {
        stream_.rdbuf(forwardBuf_);
        boost::shared_ptr<EventMgr> mgr = EventMgr::instance();
        auto* conn = new OnceConnection<CVMShutdownEvent>(boost::bind(&CXStream::shutdown, this), mgr);
        delete shutdownConn_;
        shutdownConn_ = conn;
        firstPush_ = false;
    }
    rdbufFromSink(sink);
    if (!stack_->empty()) stack_->top()->deactivate();
    stack_->push(sink);
    sink->activate();
}

void CXStream::push(CXStream const& other) { push(other.top()); }

void CXStream::pop() {
    // Keep the old top alive through the call.
    boost::shared_ptr<CXSink> old = stack_->top();
    stack_->pop();
    old->deactivate();
    stack_->top()->activate();
    rdbufFromSink(stack_->top());
}

void CXStream::setStack(boost::shared_ptr<SinkStack> const& stack) {
    if (!svIsStandaloneMode()) return;
    if (!stack_->empty()) stack_->top()->deactivate();
    stack_ = stack;
    stack_->top()->activate();
    rdbufFromSink(stack_->top());
}

void CXStream::shutdown() {
    stream_.rdbuf(defaultBuf_);
    flush();
}

void CXStream::rdbufFromSink(boost::shared_ptr<CXSink> const& sink) {
    boost::shared_ptr<std::streambuf> const& b = sink->getOutStreamBuffer();
    // A sink built on the redirected standard stream must not feed back into itself.
    std::streambuf* effective = (b.get() == forwardBuf_) ? defaultBuf_ : b.get();
    currentBuf_ = b;
    rdbuf(effective);  // also clears the error state, the badbit of a fresh stream included
    if (type_ == cxutil::io::OUTPUT_STREAM)
        unicode_stream_manager::get_instance().set_current_output_streambuf(sink->getUnicodeOutStreamBuffer());
    else if (type_ == cxutil::io::ERROR_STREAM)
        unicode_stream_manager::get_instance().set_current_error_streambuf(sink->getUnicodeOutStreamBuffer());
}

void CXStream::setDirty(bool dirty) const { top()->setDirty(dirty); }
bool CXStream::supportsHotlinks() const { return top()->supportsHotlinks(); }
bool CXStream::needsFormattingForDisplay() const { return top()->needsFormattingForDisplay(); }
bool CXStream::supportsBuzz() const { return top()->supportsBuzz(); }
bool CXStream::supportsMore() const { return top()->supportsMore(); }
bool CXStream::useDiary() const { return top()->useDiary(); }
bool CXStream::useEcho() const { return top()->useEcho(); }
bool CXStream::useLogging() const { return logAllStreams_ || top()->useLogging(); }

}} // namespace services::io
