// The base of every sink: its two stream buffers and its properties.
#include "qzservices/io/CXSink.hpp"
#include "io/sink_cache.hpp"

#include <fd/io/streambuf_adaptor.hpp>

namespace services { namespace io {

namespace {
// An empty encoding name means the native encoding.
std::string const kNative;
} // namespace

CXSink::CXSink() : dirty_(false), currentIsUnicode_(false), initialIsUnicode_(false) {}

CXSink::CXSink(boost::shared_ptr<std::streambuf> const& buffer)
    : outStreamBuffer_(buffer),
      unicodeOutStreamBuffer_(fd::io::make_ustreambuf_adaptor(buffer, kNative)),
      initialOutStreamBuffer_(outStreamBuffer_),
      initialUnicodeOutStreamBuffer_(unicodeOutStreamBuffer_),
      dirty_(false),
      currentIsUnicode_(false),
      initialIsUnicode_(false) {}

CXSink::CXSink(boost::shared_ptr<ustreambuf> const& buffer)
    : CXSink(buffer, fd::io::make_streambuf_adaptor(buffer, kNative)) {}

CXSink::CXSink(boost::shared_ptr<ustreambuf> const& buffer, boost::shared_ptr<std::streambuf> const& narrowFront)
    : outStreamBuffer_(narrowFront),
      unicodeOutStreamBuffer_(buffer),
      initialOutStreamBuffer_(outStreamBuffer_),
      initialUnicodeOutStreamBuffer_(unicodeOutStreamBuffer_),
      dirty_(false),
      currentIsUnicode_(true),
      initialIsUnicode_(true) {}

CXSink::~CXSink() = default;

void CXSink::activate() {}

void CXSink::deactivate() {
    // Local references: the buffer's sync may end a guard that replaces it.
    if (currentIsUnicode_) {
        if (boost::shared_ptr<ustreambuf> const b = unicodeOutStreamBuffer_) b->pubsync();
    } else if (boost::shared_ptr<std::streambuf> const b = outStreamBuffer_) {
        b->pubsync();
    }
}

bool CXSink::isDirty() const { return dirty_; }
void CXSink::setDirty(bool dirty) { dirty_ = dirty; }
bool CXSink::supportsBuzz() const { return false; }
bool CXSink::supportsMore() const { return false; }
bool CXSink::supportsHotlinks() const { return false; }
bool CXSink::needsFormattingForDisplay() const { return false; }
bool CXSink::useDiary() const { return false; }
bool CXSink::useEcho() const { return false; }
bool CXSink::useLogging() const { return false; }

StreamBufferVariant CXSink::currentPrimary() const {
    if (currentIsUnicode_) return StreamBufferVariant(unicodeOutStreamBuffer_);
    return StreamBufferVariant(outStreamBuffer_);
}

StreamBufferVariant CXSink::setOutStreamBuffer(boost::shared_ptr<std::streambuf> const& buffer) {
    StreamBufferVariant previous = currentPrimary();
    currentIsUnicode_ = false;
    if (!initialOutStreamBuffer_) {
        // First installation on a default-constructed sink: it becomes the initial one.
        initialIsUnicode_ = false;
        initialOutStreamBuffer_ = buffer;
        initialUnicodeOutStreamBuffer_ = fd::io::make_ustreambuf_adaptor(buffer, kNative);
    }
    outStreamBuffer_ = buffer;
    unicodeOutStreamBuffer_ = fd::io::make_ustreambuf_adaptor(buffer, kNative);
    sink_cache::changed();  // the next write of a proxy takes the new buffer
    return previous;
}

StreamBufferVariant CXSink::setUnicodeOutStreamBuffer(boost::shared_ptr<ustreambuf> const& buffer) {
    StreamBufferVariant previous = currentPrimary();
    currentIsUnicode_ = true;
    if (!initialUnicodeOutStreamBuffer_) {
        initialIsUnicode_ = true;
        initialUnicodeOutStreamBuffer_ = buffer;
        initialOutStreamBuffer_ = fd::io::make_streambuf_adaptor(buffer, kNative);
    }
    unicodeOutStreamBuffer_ = buffer;
    outStreamBuffer_ = fd::io::make_streambuf_adaptor(buffer, kNative);
    sink_cache::changed();  // the next write of a proxy takes the new buffer
    return previous;
}

StreamBufferVariant CXSink::restoreInitialBuffers() {
    StreamBufferVariant previous = currentPrimary();
    currentIsUnicode_ = initialIsUnicode_;
    outStreamBuffer_ = initialOutStreamBuffer_;
    unicodeOutStreamBuffer_ = initialUnicodeOutStreamBuffer_;
    sink_cache::changed();  // the next write of a proxy takes the new buffer
    return previous;
}

void CXSink::doNothingDeleter(std::streambuf*) {}

}} // namespace services::io
