/// @file
/// A sink that accepts every character and drops it: silence for a scope.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CXSink.hpp"

QZSERVICES_API_BEGIN

class CXNoOutputStreamBuffer : public std::streambuf {  // a buffer that takes every character and keeps none
protected:
    int_type overflow(int_type c) override { return c; }  ///< accepts and drops `c`
};

class CXNoOutputSink : public services::io::CXSink {  // a sink over that buffer
public:
    CXNoOutputSink();  ///< narrow primary that drops everything
    ~CXNoOutputSink() override;  ///< nothing of its own to release
};

QZSERVICES_API_END
