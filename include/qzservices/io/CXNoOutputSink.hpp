/// @file
/// A sink that accepts every character and drops it: silence for a scope.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CXSink.hpp"

QZSERVICES_API_BEGIN

/// A buffer that takes every character and keeps none.
class CXNoOutputStreamBuffer : public std::streambuf {
protected:
    int_type overflow(int_type c) override { return c; }  ///< accepts and drops `c`
};

/// A sink over a CXNoOutputStreamBuffer: every write succeeds and shows nothing.
class CXNoOutputSink : public services::io::CXSink {
public:
    CXNoOutputSink();  ///< narrow primary that drops everything
    ~CXNoOutputSink() override;  ///< nothing of its own to release
};

QZSERVICES_API_END
