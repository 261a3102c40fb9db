// A sink that captures text in memory, as UTF-16 (default) or as narrow bytes.
// Reading does not consume: the text stays in the buffer.
#pragma once
#include "qzservices/io/CXSink.hpp"

#include <sstream>
#include <string>

namespace services { namespace io {

class CXStringSink : public CXSink {
public:
    typedef std::basic_stringbuf<unsigned short> ustringbuf;

    CXStringSink();  // UTF-16
    explicit CXStringSink(boost::shared_ptr<ustringbuf> const& buffer);
    explicit CXStringSink(boost::shared_ptr<std::stringbuf> const& buffer);

    bool needsFormattingForDisplay() const override;
    virtual std::string getString() const;
    virtual std::basic_string<unsigned short> getUnicodeString() const;

    void setNeedsFormattingForDisplay(bool value) { needsFormatting_ = value; }

private:
    bool needsFormatting_;
    bool isUnicode_;
};

}} // namespace services::io
