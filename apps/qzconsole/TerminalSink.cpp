// The console's command window: a sink over a file descriptor and its factory.
#include "TerminalSink.hpp"

#include <boost/make_shared.hpp>
#include <cerrno>
#include <unistd.h>

namespace qzconsole {

FdStreamBuffer::FdStreamBuffer(int fd) : fd_(fd) { setp(store_, store_ + sizeof store_); }

FdStreamBuffer::~FdStreamBuffer() { drain(); }

bool FdStreamBuffer::drain() {
    char const* p = pbase();
    while (p < pptr()) {
        ssize_t n = ::write(fd_, p, static_cast<size_t>(pptr() - p));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        p += n;
    }
    bool ok = p == pptr();
    setp(store_, store_ + sizeof store_);
    return ok;
}

FdStreamBuffer::int_type FdStreamBuffer::overflow(int_type c) {
    if (!drain()) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) {
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
    }
    return traits_type::not_eof(c);
}

int FdStreamBuffer::sync() { return drain() ? 0 : -1; }

TerminalSink::TerminalSink(int fd)
    : CmdWinSink(boost::shared_ptr<std::streambuf>(boost::make_shared<FdStreamBuffer>(fd))),
      terminal_(::isatty(fd)),
      pages_(terminal_ && ::isatty(0)) {}

// The buffer is held for the call: a guard may swap the sink's buffer meanwhile.
void TerminalSink::doClc() {
    if (!terminal_) return;
    boost::shared_ptr<std::streambuf> const buffer = getOutStreamBuffer();
    buffer->sputn("\033[H\033[2J", 7);
    buffer->pubsync();
}

void TerminalSink::doHome() {
    if (!terminal_) return;
    boost::shared_ptr<std::streambuf> const buffer = getOutStreamBuffer();
    buffer->sputn("\033[H", 3);
    buffer->pubsync();
}

TerminalSinkFactory::TerminalSinkFactory()
    : out_(boost::make_shared<TerminalSink>(1)), err_(boost::make_shared<TerminalSink>(2)) {}

boost::shared_ptr<CmdWinSink> TerminalSinkFactory::getCmdWinSink(bool isErrorStream) const {
    return isErrorStream ? err_ : out_;
}

} // namespace qzconsole
