// The sink that captures text in memory.
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/CXNoOutputSink.hpp"

#include <boost/make_shared.hpp>
#include <fd/i18n/convert.hpp>

namespace services { namespace io {

CXStringSink::CXStringSink()
    : CXSink(boost::shared_ptr<ustreambuf>(boost::make_shared<ustringbuf>())), needsFormatting_(false), isUnicode_(true) {}

CXStringSink::CXStringSink(boost::shared_ptr<ustringbuf> const& buffer)
    : CXSink(boost::shared_ptr<ustreambuf>(buffer)), needsFormatting_(false), isUnicode_(true) {}

CXStringSink::CXStringSink(boost::shared_ptr<std::stringbuf> const& buffer)
    : CXSink(boost::shared_ptr<std::streambuf>(buffer)), needsFormatting_(false), isUnicode_(false) {}

bool CXStringSink::needsFormattingForDisplay() const { return needsFormatting_; }

std::string CXStringSink::getString() const {
    if (isUnicode_) return fd::i18n::to_string(getUnicodeString());
    // Callers do not replace the buffers of string sinks; a foreign buffer here
    // is a programming error.
    return dynamic_cast<std::stringbuf&>(*getOutStreamBuffer()).str();
}

std::basic_string<unsigned short> CXStringSink::getUnicodeString() const {
    if (isUnicode_) return dynamic_cast<ustringbuf&>(*getUnicodeOutStreamBuffer()).str();
    return fd::i18n::to_ustring(getString());
}

}} // namespace services::io

CXNoOutputSink::CXNoOutputSink()
    : services::io::CXSink(boost::shared_ptr<std::streambuf>(boost::make_shared<CXNoOutputStreamBuffer>())) {}

CXNoOutputSink::~CXNoOutputSink() = default;
