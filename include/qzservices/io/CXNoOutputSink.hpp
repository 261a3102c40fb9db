// A sink that accepts every character and drops it: silence for a scope.
#pragma once
#include "qzservices/io/CXSink.hpp"

class CXNoOutputStreamBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return c; }
};

class CXNoOutputSink : public services::io::CXSink {
public:
    CXNoOutputSink();
    ~CXNoOutputSink() override;
};
