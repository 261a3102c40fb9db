// Scope guards that point a command-window sink at other buffers for a while.
#include "qzservices/io/CmdWinSinkGuards.hpp"

using services::io::StreamBufferVariant;
using services::io::ustreambuf;

CmdWinSinkBufferGuard::CmdWinSinkBufferGuard(boost::shared_ptr<CmdWinSink> const& sink, Change const& change)
    : outStreamBuffer_(sink ? sink->getOutStreamBuffer() : boost::shared_ptr<std::streambuf>()),
      unicodeOutStreamBuffer_(sink ? sink->getUnicodeOutStreamBuffer() : boost::shared_ptr<ustreambuf>()),
      sink_(sink),
      previous_(boost::shared_ptr<ustreambuf>()),
      visitor_(sink) {
    if (sink_ && change) previous_ = change(sink_);
}

CmdWinSinkBufferGuard::~CmdWinSinkBufferGuard() {
    if (!sink_) return;
    try {
        boost::apply_visitor(visitor_, previous_);
    } catch (...) {
        // Destructors of scope guards swallow exceptions.
    }
}

void CmdWinSinkBufferGuard::restoring_visitor::operator()(boost::shared_ptr<std::streambuf> const& buffer) const {
    sink_->setOutStreamBuffer(buffer);
}

void CmdWinSinkBufferGuard::restoring_visitor::operator()(boost::shared_ptr<ustreambuf> const& buffer) const {
    sink_->setUnicodeOutStreamBuffer(buffer);
}

CmdWinSinkUseAlternateBuffer::CmdWinSinkUseAlternateBuffer(boost::shared_ptr<CmdWinSink> const& sink,
                                                           boost::shared_ptr<std::streambuf> const& buffer)
    : guard_(sink, [buffer](boost::shared_ptr<CmdWinSink> const& s) { return s->setOutStreamBuffer(buffer); }) {}

CmdWinSinkUseAlternateBuffer::CmdWinSinkUseAlternateBuffer(boost::shared_ptr<CmdWinSink> const& sink,
                                                           boost::shared_ptr<ustreambuf> const& buffer)
    : guard_(sink, [buffer](boost::shared_ptr<CmdWinSink> const& s) { return s->setUnicodeOutStreamBuffer(buffer); }) {}

CmdWinSinkUseInitialBuffer::CmdWinSinkUseInitialBuffer(boost::shared_ptr<CmdWinSink> const& sink)
    : guard_(sink, [](boost::shared_ptr<CmdWinSink> const& s) { return s->restoreInitialBuffers(); }) {}
