/// @file
/// The base of every sink: a narrow and a UTF-16 stream buffer, one primary and
/// the other an adaptor over it, plus the yes-or-no properties by which the
/// pipeline asks what this destination can do. Not thread-safe: one writer.
#pragma once
#include "qzservices/export.hpp"
#include <boost/shared_ptr.hpp>
#include <boost/variant.hpp>
#include <streambuf>

QZSERVICES_API_BEGIN

namespace services { namespace io {

typedef std::basic_streambuf<unsigned short> ustreambuf;  ///< a stream buffer of UTF-16 code units

/// The primary buffer a sink had before a change: alternative 0 narrow, 1 UTF-16.
typedef boost::variant<boost::shared_ptr<std::streambuf>, boost::shared_ptr<ustreambuf>> StreamBufferVariant;

/// A destination of the output streams; the properties below all answer false here.
class CXSink {
public:
    CXSink();  ///< no buffers
    explicit CXSink(boost::shared_ptr<std::streambuf> const& buffer);  ///< narrow primary, UTF-16 adaptor over it
    explicit CXSink(boost::shared_ptr<ustreambuf> const& buffer);  ///< UTF-16 primary, narrow adaptor over it

    /// A UTF-16 primary and the narrow buffer to put in front of it, for a sink
    /// whose narrow text should not always pass through a converter.
    CXSink(boost::shared_ptr<ustreambuf> const& buffer, boost::shared_ptr<std::streambuf> const& narrowFront);

    virtual void activate();  ///< called when the sink comes to the top; does nothing here
    virtual void deactivate();  ///< syncs the primary buffer
    virtual bool isDirty() const;  ///< whether text was written since the flag was cleared
    virtual void setDirty(bool dirty);  ///< sets that flag
    virtual bool supportsBuzz() const;  ///< whether the bell may ring here
    virtual bool supportsMore() const;  ///< whether output pages at the more prompt
    virtual bool supportsHotlinks() const;  ///< whether help links are written as links
    virtual bool needsFormattingForDisplay() const;  ///< whether text is laid out for a window
    virtual bool useDiary() const;  ///< whether the diary copies this output
    virtual bool useEcho() const;  ///< whether input is echoed here
    virtual bool useLogging() const;  ///< whether the log copies this output
    virtual ~CXSink();  ///< releases the buffers it shares

    /// The narrow buffer.
    boost::shared_ptr<std::streambuf> const& getOutStreamBuffer() const { return outStreamBuffer_; }
    /// The UTF-16 buffer.
    boost::shared_ptr<ustreambuf> const& getUnicodeOutStreamBuffer() const { return unicodeOutStreamBuffer_; }

    // Each returns the primary buffer that was in place, in the alternative of its kind.
    StreamBufferVariant setOutStreamBuffer(boost::shared_ptr<std::streambuf> const& buffer);  ///< a new narrow primary
    StreamBufferVariant setUnicodeOutStreamBuffer(boost::shared_ptr<ustreambuf> const& buffer);  ///< a new UTF-16 primary
    StreamBufferVariant restoreInitialBuffers();  ///< the primary the sink was made with

    /// Deleter for buffers that somebody else owns (a standard stream's own buffer).
    static void doNothingDeleter(std::streambuf*);

private:
    StreamBufferVariant currentPrimary() const;

    boost::shared_ptr<std::streambuf> outStreamBuffer_;
    boost::shared_ptr<ustreambuf> unicodeOutStreamBuffer_;
    boost::shared_ptr<std::streambuf> initialOutStreamBuffer_;
    boost::shared_ptr<ustreambuf> initialUnicodeOutStreamBuffer_;
    bool dirty_;
    bool currentIsUnicode_;
    bool initialIsUnicode_;
};

}} // namespace services::io

QZSERVICES_API_END
