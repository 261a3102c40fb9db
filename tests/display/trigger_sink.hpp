// A sink for tests of displays that end early: it records what reaches it
// and sets the stop flag, or the interrupt flag, once a trigger text has
// passed through.
#pragma once
#include "qzservices/io/CXSink.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/more.hpp"

#include <uv/uv.hpp>

#include <boost/make_shared.hpp>

#include <streambuf>
#include <string>

namespace qztest {

// Records what reaches it and sets the stop flag, or the interrupt flag,
// once `trigger` has passed through.
class TriggerBuffer : public std::streambuf {
public:
    TriggerBuffer(std::string trigger, bool interrupt) : trigger_(std::move(trigger)), interrupt_(interrupt) {}
    std::string text;

protected:
    std::streamsize xsputn(char const* s, std::streamsize n) override {
        text.append(s, static_cast<size_t>(n));
        if (!fired_ && text.find(trigger_) != std::string::npos) {
            fired_ = true;
            if (interrupt_)
                uvSetInterruptPending(1);
            else
                services::io::setStopPrintingFlag(true);
        }
        return n;
    }
    int_type overflow(int_type c) override {
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        char const ch = traits_type::to_char_type(c);
        xsputn(&ch, 1);
        return c;
    }

private:
    std::string trigger_;
    bool interrupt_;
    bool fired_ = false;
};

struct PushedTrigger {
    boost::shared_ptr<TriggerBuffer> buffer;
    explicit PushedTrigger(std::string trigger, bool interrupt = false)
        : buffer(boost::make_shared<TriggerBuffer>(std::move(trigger), interrupt)) {
        services::io::CXStream::CXOut.push(boost::make_shared<services::io::CXSink>(
            boost::shared_ptr<std::streambuf>(buffer)));
    }
    ~PushedTrigger() { services::io::CXStream::CXOut.pop(); }
};

} // namespace qztest
