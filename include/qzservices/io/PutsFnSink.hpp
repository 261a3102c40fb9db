/// @file
/// A command-window sink that hands its text, as C strings, to a function.
/// Text collects in a fixed 8,090-character area and is handed on at sync or
/// when the area overflows (then in pieces of 8,091): no allocation per write.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CmdWinSink.hpp"

#include <boost/function.hpp>

QZSERVICES_API_BEGIN

namespace services { namespace io {

/// The narrow buffer of a PutsFnSink.
class PutsFnStreamBuffer : public std::streambuf {
public:
    typedef boost::function1<int, char const*> PutsFn;  ///< takes a C string; -1 reports a failure
    static const int kStoreSize = 8096;  ///< bytes of the store, room for the NUL
    static const int kPutAreaSize = 8090;  ///< characters collected before an overflow

    explicit PutsFnStreamBuffer(PutsFn const& fn);  ///< hands text to `fn`
    void set_function(PutsFn const& fn) { fn_ = fn; }  ///< replaces the function

    int_type overflow(int_type c) override;  ///< hands the area on, then keeps `c`
    /// Hands the text on. Returns the number of characters handed on, or 0 when
    /// the function reported -1: the function's result never fails the stream.
    int sync() override;

private:
    PutsFn fn_;
    char store_[kStoreSize];
};

/// The sink over that buffer; never asks for input.
class PutsFnSink : public CmdWinSink {
public:
    PutsFnSink();  ///< swallows all text until set_function
    explicit PutsFnSink(boost::function1<int, char const*> const& fn);  ///< hands text to `fn`
    ~PutsFnSink() override;  ///< releases its buffer

    bool isInputRequestNecessary() override;  ///< false
    void requestInput() override;  ///< nothing

    void set_function(boost::function1<int, char const*> const& fn);  ///< replaces the function

private:
    boost::shared_ptr<PutsFnStreamBuffer> buffer_;
};

}} // namespace services::io

QZSERVICES_API_END
