// The desktop's command window: the outbox of WebSocket messages and its sink.
#include "PageSink.hpp"

#include <qzservices/prompt/prompt.hpp>

#include <boost/make_shared.hpp>

namespace qzdesktop {

namespace {

// The stream buffer of one sink: everything goes straight to the outbox,
// which does the batching, so this has no put area.
class OutboxBuffer : public std::streambuf {
public:
    OutboxBuffer(Outbox& outbox, char stream) : outbox_(outbox), stream_(stream) {}

protected:
    std::streamsize xsputn(char const* s, std::streamsize n) override {
        if (n > 0) outbox_.write(stream_, s, static_cast<std::size_t>(n));
        return n;
    }
    int_type overflow(int_type c) override {
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            char const ch = traits_type::to_char_type(c);
            outbox_.write(stream_, &ch, 1);
        }
        return traits_type::not_eof(c);
    }
    int sync() override {
        outbox_.flush();
        return 0;
    }

private:
    Outbox& outbox_;
    char stream_;
};

} // namespace

void Outbox::write(char stream, char const* text, std::size_t n) {
    if (!pending_.empty() && pending_[0] != stream) flush();
    if (pending_.empty()) {
        pending_.reserve(kBatch + 1);
        pending_.push_back(stream);
    }
    while (n > 0) {
        std::size_t const room = kBatch + 1 - pending_.size();
        std::size_t const take = n < room ? n : room;
        pending_.append(text, take);
        text += take;
        n -= take;
        if (pending_.size() == kBatch + 1) {
            flush();
            if (n > 0) pending_.push_back(stream);
        }
    }
}

void Outbox::flush() {
    if (pending_.size() <= 1) {
        pending_.clear();
        return;
    }
    auto message = std::make_shared<std::string>();
    message->swap(pending_);
    send_(std::move(message));
}

void Outbox::control(std::string message) {
    flush();
    send_(std::make_shared<std::string const>(std::move(message)));
}

PageSink::PageSink(Outbox& outbox, char stream)
    : CmdWinSink(boost::shared_ptr<std::streambuf>(boost::make_shared<OutboxBuffer>(outbox, stream))), outbox_(outbox) {}

bool PageSink::isInputRequestNecessary() {
    auto const requester = services::prompt::getInputRequester();
    return requester == services::prompt::INPUT_FUNCTION || requester == services::prompt::KEYBOARD_FUNCTION;
}

void PageSink::requestInput() { outbox_.control("n"); }

void PageSink::doClc() { outbox_.control("c"); }

void PageSink::doHome() { outbox_.control("H"); }

void PageSink::keyStrokeRequested(services::prompt::InputRequester const& requester) const {
    outbox_.control(requester == services::prompt::MORE_PROMPT ? "m" : "k");
}

PageSinkFactory::PageSinkFactory(Outbox& outbox)
    : out_(boost::make_shared<PageSink>(outbox, 'o')), err_(boost::make_shared<PageSink>(outbox, 'e')) {}

boost::shared_ptr<CmdWinSink> PageSinkFactory::getCmdWinSink(bool isErrorStream) const {
    return isErrorStream ? err_ : out_;
}

} // namespace qzdesktop
