// The two global narrow text streams, CXOut and CXErr. Each has a stack of
// sinks whose top decides where text goes. At the first push the wrapped
// standard stream (std::cout, std::cerr) is redirected into the CXStream, so
// that everything printed with it takes the same road.
//
// No lock: sink stacks change on the signal thread only, by convention.
#pragma once
#include "qzservices/io/CXSink.hpp"

#include <cxutil/io/StreamTypeEnum.hpp>

#include <deque>
#include <memory>
#include <ostream>
#include <stack>

namespace cxutil { namespace eventmgr {
template <class T> class OnceConnection;
class CVMShutdownEvent;
}} // namespace cxutil::eventmgr

// Put into a standard stream at the first push: feeds its characters, one at a
// time, to the CXStream. No put area.
class ForwardingStreamBuffer : public std::streambuf {
public:
    explicit ForwardingStreamBuffer(std::ostream* target) : target_(target) {}

protected:
    int_type overflow(int_type c) override;
    int sync() override;

private:
    std::ostream* target_;
};

namespace services { namespace io {

class CXStream : public std::ostream {
public:
    typedef std::stack<boost::shared_ptr<CXSink>, std::deque<boost::shared_ptr<CXSink>>> SinkStack;

    CXStream(std::ostream& stream, cxutil::io::StreamTypeEnum type);
    ~CXStream() override;
    CXStream(CXStream const&) = delete;
    CXStream& operator=(CXStream const&) = delete;

    void push(boost::shared_ptr<CXSink> const& sink);
    // Pushes the very sink object on top of `other`'s stack; nothing is copied.
    void push(CXStream const& other);
    // Removes the top sink. The default sink at the bottom must never be popped:
    // callers balance their pushes.
    void pop();

    boost::shared_ptr<SinkStack> getStack() const { return stack_; }
    // Replaces the stack, in standalone mode only; `stack` must not be empty.
    void setStack(boost::shared_ptr<SinkStack> const& stack);
    std::streambuf* getDefaultStreamBuf() { return defaultBuf_; }
    // Gives the wrapped stream its own buffer back, then flushes this stream.
    void shutdown();

    // Each asks the top sink.
    void setDirty(bool dirty) const;
    bool supportsHotlinks() const;
    bool needsFormattingForDisplay() const;
    bool supportsBuzz() const;
    bool supportsMore() const;
    bool useDiary() const;
    bool useEcho() const;
    bool useLogging() const;  // true for every stream while logAllStreams_

    static void setLogAllStreams(bool value) { logAllStreams_ = value; }

    // Makes this stream, and the UTF-16 stream manager, write into the sink.
    void rdbufFromSink(boost::shared_ptr<CXSink> const& sink);

    cxutil::io::StreamTypeEnum getType() const { return type_; }

    static CXStream CXOut;
    static CXStream CXErr;
    static boost::shared_ptr<std::ostream> logStreamPtr_;
    static boost::shared_ptr<std::ostream> diaryStreamPtr_;
    static bool logAllStreams_;

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
