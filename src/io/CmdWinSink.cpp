// The command window as a sink, with the input requests a host supplies.
#include "qzservices/io/CmdWinSink.hpp"

bool CmdWinSink::isInEvalC_ = false;

CmdWinSink::CmdWinSink(boost::shared_ptr<std::streambuf> const& buffer) : CXSink(buffer), reserved_(-1) {}
CmdWinSink::CmdWinSink(boost::shared_ptr<services::io::ustreambuf> const& buffer) : CXSink(buffer), reserved_(-1) {}
CmdWinSink::~CmdWinSink() = default;

bool CmdWinSink::supportsBuzz() const { return true; }
bool CmdWinSink::supportsMore() const { return true; }
bool CmdWinSink::supportsHotlinks() const { return false; }
bool CmdWinSink::needsFormattingForDisplay() const { return true; }
bool CmdWinSink::useDiary() const { return !isInEvalC_; }
bool CmdWinSink::useEcho() const { return true; }
bool CmdWinSink::useLogging() const { return !isInEvalC_; }

void CmdWinSink::ctrlCProcessed() {
    invariants();
    // A reference of its own: the write may end a guard that replaces the buffer.
    boost::shared_ptr<std::streambuf> const buf = getOutStreamBuffer();
    if (buf) {
        buf->sputn("\n", 1);
        buf->pubsync();
    }
    setDirty(true);
}

void CmdWinSink::doClc() {}
void CmdWinSink::doHome() {}
void CmdWinSink::keyStrokeRequested(services::prompt::InputRequester const&) const {}

void CmdWinSink::inputRequested() {
    if (isInputRequestNecessary()) requestInput();
}

bool CmdWinSink::setIsInEvalC(bool value) {
    bool previous = isInEvalC_;
    isInEvalC_ = value;
    return previous;
}
