/// @file
/// The two global narrow text streams, CXOut and CXErr. Each has a stack of
/// sinks whose top decides where text goes. At the first push the wrapped
/// standard stream (std::cout, std::cerr) is redirected into the CXStream, so
/// that everything printed with it takes the same road.
///
/// No lock: sink stacks change on the signal thread only, by convention.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CXSink.hpp"

#include <cxutil/io/StreamTypeEnum.hpp>

#include <deque>
#include <memory>
#include <ostream>
#include <stack>

QZSERVICES_API_BEGIN

namespace cxutil { namespace eventmgr {
template <class T> class OnceConnection;
class CVMShutdownEvent;
}} // namespace cxutil::eventmgr

/// Put into a standard stream at the first push: feeds its characters, one at a
/// time, to the CXStream. No put area.
class ForwardingStreamBuffer : public std::streambuf {
public:
    /// `target` is the CXStream's narrow stream; not owned, it outlives the buffer.
    explicit ForwardingStreamBuffer(std::ostream* target) : target_(target) {}

protected:
    int_type overflow(int_type c) override;  ///< writes `c` to the target; end of file does nothing
    int sync() override;  ///< flushes the target

private:
    std::ostream* target_;
};

namespace services { namespace io {

/// An output stream (CXOut, CXErr) that writes into the sink on top of its stack.
class CXStream : public std::ostream {
public:
    /// The sinks, the active one on top.
    typedef std::stack<boost::shared_ptr<CXSink>, std::deque<boost::shared_ptr<CXSink>>> SinkStack;

    CXStream(std::ostream& stream, cxutil::io::StreamTypeEnum type);  ///< wraps `stream` with a default sink
    ~CXStream() override;  ///< gives the wrapped stream its buffer back
    CXStream(CXStream const&) = delete;  ///< owns its stack: not copyable
    CXStream& operator=(CXStream const&) = delete;  ///< nor assignable

    void push(boost::shared_ptr<CXSink> const& sink);  ///< makes `sink` the destination
    /// Pushes the very sink object on top of `other`'s stack; nothing is copied.
    void push(CXStream const& other);
    /// Removes the top sink. The default sink at the bottom must never be popped:
    /// callers balance their pushes.
    void pop();

    boost::shared_ptr<SinkStack> getStack() const { return stack_; }  ///< the stack, shared
    /// Replaces the stack, in standalone mode only; `stack` must not be empty.
    void setStack(boost::shared_ptr<SinkStack> const& stack);
    std::streambuf* getDefaultStreamBuf() { return defaultBuf_; }  ///< the wrapped stream's own buffer
    /// Gives the wrapped stream its own buffer back, then flushes this stream.
    void shutdown();

    // Each asks the top sink.
    void setDirty(bool dirty) const;  ///< sets the top sink's dirty flag
    bool supportsHotlinks() const;  ///< as the top sink says
    bool needsFormattingForDisplay() const;  ///< as the top sink says
    bool supportsBuzz() const;  ///< as the top sink says
    bool supportsMore() const;  ///< as the top sink says
    bool useDiary() const;  ///< as the top sink says
    bool useEcho() const;  ///< as the top sink says
    bool useLogging() const;  ///< true for every stream while logAllStreams_

    static void setLogAllStreams(bool value) { logAllStreams_ = value; }  ///< makes every stream logged, or not

    /// Makes this stream, and the UTF-16 stream manager, write into the sink.
    void rdbufFromSink(boost::shared_ptr<CXSink> const& sink);

    cxutil::io::StreamTypeEnum getType() const { return type_; }  ///< output or error

    static CXStream CXOut;  ///< the output stream; std::cout feeds it after the first push
    static CXStream CXErr;  ///< the error stream; std::cerr feeds it after the first push
    static boost::shared_ptr<std::ostream> logStreamPtr_;  ///< where logged output goes, or empty
    static boost::shared_ptr<std::ostream> diaryStreamPtr_;  ///< where the diary goes, or empty
    static bool logAllStreams_;  ///< whether every stream is logged

private:
    boost::shared_ptr<CXSink> const& top() const { return stack_->top(); }

    boost::shared_ptr<CXSink> defaultSink_;
    boost::shared_ptr<SinkStack> stack_;
    std::ostream& stream_;
    std::streambuf* defaultBuf_;
    boost::shared_ptr<std::streambuf> currentBuf_;
    ForwardingStreamBuffer* forwardBuf_;
    cxutil::eventmgr::OnceConnection<cxutil::eventmgr::CVMShutdownEvent>* shutdownConn_;
    bool firstPush_;
    cxutil::io::StreamTypeEnum type_;
};

}} // namespace services::io

QZSERVICES_API_END
