// Captures what reaches CXOut and CXErr for the length of a scope, through
// string sinks pushed on both streams.
#pragma once
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CXStringSink.hpp"

#include <boost/make_shared.hpp>
#include <string>

namespace qztest {

struct Capture {
    boost::shared_ptr<services::io::CXStringSink> out = boost::make_shared<services::io::CXStringSink>();
    boost::shared_ptr<services::io::CXStringSink> err = boost::make_shared<services::io::CXStringSink>();
    Capture() {
        services::io::CXStream::CXOut.push(out);
        services::io::CXStream::CXErr.push(err);
    }
    ~Capture() {
        services::io::CXStream::CXErr.pop();
        services::io::CXStream::CXOut.pop();
    }
    Capture(Capture const&) = delete;
    Capture& operator=(Capture const&) = delete;
    std::string outText() {
        services::io::CXStream::CXOut.flush();
        return out->getString();
    }
};

} // namespace qztest
