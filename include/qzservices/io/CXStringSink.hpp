/// @file
/// A sink that captures text in memory, as UTF-16 (default) or as narrow bytes.
/// Reading does not consume: the text stays in the buffer.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CXSink.hpp"

#include <sstream>
#include <string>

QZSERVICES_API_BEGIN

namespace services { namespace io {

/// The sink over a string buffer of its own or one it is given.
class CXStringSink : public CXSink {
public:
    typedef std::basic_stringbuf<unsigned short> ustringbuf;  ///< an in-memory buffer of UTF-16 units

    CXStringSink();  ///< UTF-16
    explicit CXStringSink(boost::shared_ptr<ustringbuf> const& buffer);  ///< captures into `buffer`, as UTF-16
    explicit CXStringSink(boost::shared_ptr<std::stringbuf> const& buffer);  ///< captures into `buffer`, as bytes

    bool needsFormattingForDisplay() const override;  ///< false unless set below
    virtual std::string getString() const;  ///< everything captured, as narrow text
    virtual std::basic_string<unsigned short> getUnicodeString() const;  ///< everything captured, as UTF-16

    void setNeedsFormattingForDisplay(bool value) { needsFormatting_ = value; }  ///< makes the sink ask for window layout

private:
    bool needsFormatting_;
    bool isUnicode_;
};

}} // namespace services::io

QZSERVICES_API_END
