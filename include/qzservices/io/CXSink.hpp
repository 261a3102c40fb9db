// The base of every sink: a narrow and a UTF-16 stream buffer, one primary and
// the other an adaptor over it, plus the yes-or-no properties by which the
// pipeline asks what this destination can do. Not thread-safe: one writer.
#pragma once
#include <boost/shared_ptr.hpp>
#include <boost/variant.hpp>
#include <streambuf>

namespace services { namespace io {

typedef std::basic_streambuf<unsigned short> ustreambuf;

// The primary buffer a sink had before a change: alternative 0 narrow, 1 UTF-16.
typedef boost::variant<boost::shared_ptr<std::streambuf>, boost::shared_ptr<ustreambuf>> StreamBufferVariant;

class CXSink {
public:
    CXSink();
    explicit CXSink(boost::shared_ptr<std::streambuf> const& buffer);
    explicit CXSink(boost::shared_ptr<ustreambuf> const& buffer);

    virtual void activate();
    virtual void deactivate();  // syncs the primary buffer
    virtual bool isDirty() const;
    virtual void setDirty(bool dirty);
    virtual bool supportsBuzz() const;
    virtual bool supportsMore() const;
    virtual bool supportsHotlinks() const;
    virtual bool needsFormattingForDisplay() const;
    virtual bool useDiary() const;
    virtual bool useEcho() const;
    virtual bool useLogging() const;
    virtual ~CXSink();

    boost::shared_ptr<std::streambuf> const& getOutStreamBuffer() const { return outStreamBuffer_; }
    boost::shared_ptr<ustreambuf> const& getUnicodeOutStreamBuffer() const { return unicodeOutStreamBuffer_; }

    // Each returns the primary buffer that was in place, in the alternative of its kind.
    StreamBufferVariant setOutStreamBuffer(boost::shared_ptr<std::streambuf> const& buffer);
    StreamBufferVariant setUnicodeOutStreamBuffer(boost::shared_ptr<ustreambuf> const& buffer);
    StreamBufferVariant restoreInitialBuffers();

    // Deleter for buffers that somebody else owns (a standard stream's own buffer).
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
