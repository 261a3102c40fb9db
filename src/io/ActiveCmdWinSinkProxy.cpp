#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkGuards.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/orrery/InterruptException.hpp"
#include "qzservices/prompt/prompt.hpp"
#include "qzservices/state/session_modes.hpp"
#include "io/sink_generation.hpp"

#include <boost/make_shared.hpp>
#include <boost/optional.hpp>
#include <cxutil/io/SinkTextEventBuffer.hpp>
#include <fd/i18n/codecvt.hpp>
#include <orrery/exceptions.hpp>
#include <uv/uv.hpp>

#include <algorithm>

namespace services { namespace io {

namespace {

bool gPublishSinkText = false;

char const kMoreText[] = "--more--";

template <class CharT>
struct CharForm;

template <>
struct CharForm<unsigned short> {
    static boost::shared_ptr<std::basic_streambuf<unsigned short>> const& bufferOf(CXSink const& s) {
        return s.getUnicodeOutStreamBuffer();
    }
};

template <>
struct CharForm<char> {
    static boost::shared_ptr<std::streambuf> const& bufferOf(CXSink const& s) { return s.getOutStreamBuffer(); }
};

boost::shared_ptr<CXSink> outputProxy() { return CmdWinSinkHandle::getInstance(false); }

// The sink and buffer a thread's last write of one stream went to, and the
// sink generation they were looked up in. Most writes find the same again:
// one load of the generation then replaces the handle's lock, the factory's
// call and two reference counts. The cache's own references keep both alive
// through a write even when a host buffer ends a guard from inside its
// xsputn (that bumps the generation, so the next write looks up anew).
template <class CharT>
struct CachedSink {
    std::uint64_t generation = ~std::uint64_t(0);
    boost::shared_ptr<CmdWinSink> sink;
    boost::shared_ptr<std::basic_streambuf<CharT>> buffer;
    int depth = 0;  // writes of this stream under way on this thread
};

template <class CharT>
CachedSink<CharT>& cachedSink(bool isErr) {
    thread_local CachedSink<CharT> slots[2];
    return slots[isErr ? 1 : 0];
}

// Counts a write in progress for the length of a call.
class DepthGuard {
public:
    explicit DepthGuard(int& depth) : depth_(depth) { ++depth_; }
    ~DepthGuard() { --depth_; }
    DepthGuard(DepthGuard const&) = delete;
    DepthGuard& operator=(DepthGuard const&) = delete;

private:
    int& depth_;
};

} // namespace

void enableSinkTextEventPublishing() { gPublishSinkText = true; }
void disableSinkTextEventPublishing() { gPublishSinkText = false; }

// ---- the buffer ----

template <class CharT, class Traits>
ActiveCmdWinSinkBufferProxyT<CharT, Traits>::ActiveCmdWinSinkBufferProxyT(cxutil::io::StreamTypeEnum type)
    : type_(type), hasUnsyncedText_(false), publishSinkText_(false) {
    if (sizeof(CharT) == 2) {
        sinkTextBuffer_ = boost::make_shared<cxutil::io::SinkTextEventBuffer>(type);
        codecvt_.reset(new fd::i18n::stream_codecvt_ustring_to_string(std::string(), true));
    }
}

template <class CharT, class Traits>
ActiveCmdWinSinkBufferProxyT<CharT, Traits>::~ActiveCmdWinSinkBufferProxyT() = default;

template <class CharT, class Traits>
boost::shared_ptr<CmdWinSink> ActiveCmdWinSinkBufferProxyT<CharT, Traits>::currentSink() const {
    if (type_ == cxutil::io::OUTPUT_STREAM) return CmdWinSinkHandle::getInstanceAsCmdWin(false);
    if (type_ == cxutil::io::ERROR_STREAM) return CmdWinSinkHandle::getInstanceAsCmdWin(true);
    return boost::shared_ptr<CmdWinSink>();
}

template <class CharT, class Traits>
boost::shared_ptr<typename ActiveCmdWinSinkBufferProxyT<CharT, Traits>::buffer_type> const&
ActiveCmdWinSinkBufferProxyT<CharT, Traits>::bufferOf(boost::shared_ptr<CmdWinSink> const& sink) {
    return CharForm<CharT>::bufferOf(*sink);
}

template <class CharT, class Traits>
std::streamsize ActiveCmdWinSinkBufferProxyT<CharT, Traits>::xsputn(CharT const* p, std::streamsize n) {
    return send_to_sink(p, n);
}

template <class CharT, class Traits>
typename ActiveCmdWinSinkBufferProxyT<CharT, Traits>::int_type
ActiveCmdWinSinkBufferProxyT<CharT, Traits>::overflow(int_type c) {
    // End-of-file is sent as a unit like any other value.
    CharT unit = Traits::to_char_type(c);
    std::streamsize sent = send_to_sink(&unit, 1);
    if (sent != 1) return Traits::eof();
    return Traits::eq_int_type(c, Traits::eof()) ? int_type(0) : c;
}

template <class CharT, class Traits>
std::streamsize ActiveCmdWinSinkBufferProxyT<CharT, Traits>::send_to_sink(CharT const* text, std::streamsize n) {
    logIt(text, n);  // the taps see every text, sink or not
    hasUnsyncedText_ = true;
    if (pending_.empty() && (type_ == cxutil::io::OUTPUT_STREAM || type_ == cxutil::io::ERROR_STREAM)) {
        CachedSink<CharT>& cache = cachedSink<CharT>(type_ == cxutil::io::ERROR_STREAM);
        // Only the outermost write of a thread uses the cache: a nested one
        // (from a host buffer or the key wait) must not drop what the outer
        // write is still writing through.
        if (cache.depth == 0) {
            DepthGuard inWrite(cache.depth);
            std::uint64_t const generation = sink_generation::current();
            if (generation != cache.generation || !cache.sink) {
                // Read before the look-up: a change in between only costs a
                // second look-up at the next write.
                cache.sink = currentSink();
                cache.buffer = cache.sink ? bufferOf(cache.sink) : boost::shared_ptr<buffer_type>();
                cache.generation = generation;
            }
            if (cache.sink) {
                std::streamsize result = send_through(text, n, *cache.sink, cache.buffer);
                cache.sink->setDirty(true);
                return result;
            }
            cache.generation = ~std::uint64_t(0);
        }
    }
    boost::shared_ptr<CmdWinSink> sink = currentSink();  // kept for the whole call
    if (!sink) {
        if (n > 0) pending_.insert(pending_.end(), text, text + n);
        return n;
    }
    if (!pending_.empty()) {
        // If the user quits here, pending_ stays and goes out with the next write.
        send_if_more_allows(pending_.data(), static_cast<std::streamsize>(pending_.size()), sink);
        pending_.clear();
    }
    std::streamsize result = send_if_more_allows(text, n, sink);
    sink->setDirty(true);
    return result;
}

template <class CharT, class Traits>
std::streamsize ActiveCmdWinSinkBufferProxyT<CharT, Traits>::send_if_more_allows(
    CharT const* text, std::streamsize n, boost::shared_ptr<CmdWinSink> const& sink) {
    if (n < 0) return n;
    // Holding the sink does not hold its buffer: a host buffer further down may
    // end a buffer guard from inside its own write (or the key wait may), and
    // that replaces the sink's buffer, an adaptor perhaps, while we write
    // through it. So the buffer gets a reference of its own, on every road.
    boost::shared_ptr<buffer_type> const b = bufferOf(sink);
    return send_through(text, n, *sink, b);
}

template <class CharT, class Traits>
std::streamsize ActiveCmdWinSinkBufferProxyT<CharT, Traits>::send_through(CharT const* text, std::streamsize n,
                                                                        CmdWinSink& sink,
                                                                        boost::shared_ptr<buffer_type> const& b) {
    if (n < 0) return n;
    if (!b) return 0;
    if (!isMoreOn() || !sink.supportsMore()) return b->sputn(text, n);

    // Only line feeds count; a last piece without one goes out uncounted. The
    // wait comes after a piece went out, so its line stands above the prompt.
    // An empty text runs once too, and may wait if the page is already full.
    CharT const* p = text;
    CharT const* end = text + n;
    std::streamsize total = 0;
    do {
        CharT const* q = std::find(p, end, CharT(10));
        CharT const* next;
        if (q != end) {
            total += b->sputn(p, q + 1 - p);
            incrementMoreCount();
            next = q + 1;
        } else {
            total += b->sputn(p, end - p);
            next = end;
        }
        if (getMoreCount() >= getTotalMoreCount()) wait_for_more(b);
        p = next;
    } while (p < end);
    return total;
}

namespace {

[[noreturn]] void quitPrinting() {
    resetMoreCount();
    setStopPrintingFlag(true);
    uvSetInterruptPending(1);
    throw Orrery::System::InterruptException();
}

// An exception out of the key wait counts as the wish to quit if it is a
// std::exception; an older utility error is first prepared for rethrow, and
// whatever that preparation throws is judged in its place.
std::exception_ptr judgeWaitException(std::exception_ptr caught, bool& isQuit) {
    std::exception_ptr judged = caught;
    try {
        std::rethrow_exception(caught);
    } catch (Orrery::System::uvErrorException_DEPRECATED& e) {
        try {
            e.prepareForRethrow();
        } catch (...) {
            judged = std::current_exception();
        }
    } catch (...) {
    }
    isQuit = false;
    try {
        std::rethrow_exception(judged);
    } catch (std::exception const&) {
        isQuit = true;
    } catch (...) {
    }
    return judged;
}

} // namespace

template <class CharT, class Traits>
void ActiveCmdWinSinkBufferProxyT<CharT, Traits>::wait_for_more(boost::shared_ptr<buffer_type> const& b) {
    resetMoreCount();
    if (!svJavaUseDesktop()) {
        // The desktop shows a sign of its own.
        CharT prompt[8];
        std::copy(kMoreText, kMoreText + 8, prompt);
        b->sputn(prompt, 8);
    }
    int key = 0;
    {
        boost::optional<services::prompt::InputRequesterGuard> guard;
        guard.emplace(services::prompt::MORE_PROMPT, false);
        b->pubsync();  // the prompt must be visible; an exception here only ends the guard
        int noted = uvIsInterruptEnabled();
        boost::optional<int> old;
        try {
            resetMoreCount();
            old = uvSetInterruptEnabled(1);  // a ctrl-C works at the prompt even if interrupts were off
            key = flushRead();
            uvSetInterruptEnabled(*old);
        } catch (...) {
            bool isQuit = false;
            std::exception_ptr judged = judgeWaitException(std::current_exception(), isQuit);
            if (!isQuit) {
                guard.reset();
                std::rethrow_exception(judged);
            }
            uvSetInterruptEnabled(old ? *old : noted);
            guard.reset();
            deleteCurrentLine();
            quitPrinting();
        }
    }
    deleteCurrentLine();
    if (key == 32) {
        resetMoreCount();  // a whole page follows
    } else if (key == 113) {
        quitPrinting();
    } else {
        setMoreCount(getTotalMoreCount() - 1);  // one line follows
    }
}

template <class CharT, class Traits>
void ActiveCmdWinSinkBufferProxyT<CharT, Traits>::logIt(CharT const* text, std::streamsize n) {
    // Cheap test first: with no tap open and no sink-text events, asking the
    // sink's properties (a lookup under the handle's lock) would change nothing.
    bool const publishes = sizeof(CharT) == 2 && publishSinkText_ && n > 0;
    if (!publishes && !CXStream::logStreamPtr_ && !CXStream::diaryStreamPtr_) return;
    // Both streams ask the output proxy, so error text follows the output sink's properties.
    boost::shared_ptr<CXSink> proxy = outputProxy();
    bool useLogging = proxy->useLogging();
    // The taps are held for the call: the sink-text event below runs listeners,
    // which may close the log or the diary.
    boost::shared_ptr<std::ostream> const log = useLogging ? CXStream::logStreamPtr_ : nullptr;
    boost::shared_ptr<std::ostream> const diary = proxy->useDiary() ? CXStream::diaryStreamPtr_ : nullptr;
    bool const toLog = bool(log);
    bool const toDiary = bool(diary);
    if (publishes && useLogging)
        sinkTextBuffer_->sputn(reinterpret_cast<unsigned short const*>(text), n);
    if ((!toLog && !toDiary) || n < 1) return;

    if (sizeof(CharT) == 1) {
        char const* bytes = reinterpret_cast<char const*>(text);
        if (toLog) log->rdbuf()->sputn(bytes, n);
        if (toDiary) diary->rdbuf()->sputn(bytes, n);
        return;
    }
    size_t size = n < 6 ? 25 : static_cast<size_t>(n) * 5;
    std::unique_ptr<char[]> buffer(new char[size]);
    unsigned short const* from = reinterpret_cast<unsigned short const*>(text);
    unsigned short const* fromEnd = from + n;
    int more;
    do {
        char* to = buffer.get();
        more = (*codecvt_)(from, fromEnd, to, buffer.get() + size);
        std::streamsize produced = to - buffer.get();
        if (produced > 0) {
            if (toLog) log->rdbuf()->sputn(buffer.get(), produced);
            if (toDiary) diary->rdbuf()->sputn(buffer.get(), produced);
        }
    } while (more != 0);
}

template <class CharT, class Traits>
void ActiveCmdWinSinkBufferProxyT<CharT, Traits>::flush_logs() {
    boost::shared_ptr<CXSink> proxy = outputProxy();
    bool useLogging = proxy->useLogging();
    if (CXStream::logStreamPtr_ && useLogging) CXStream::logStreamPtr_->flush();
    if (CXStream::diaryStreamPtr_ && proxy->useDiary()) CXStream::diaryStreamPtr_->flush();
    if (sinkTextBuffer_ && useLogging && publishSinkText_) sinkTextBuffer_->pubsync();
}

template <class CharT, class Traits>
int ActiveCmdWinSinkBufferProxyT<CharT, Traits>::sync() {
    if (!hasUnsyncedText_) {
        publishSinkText_ = gPublishSinkText;
        return 0;
    }
    flush_logs();
    boost::shared_ptr<CmdWinSink> sink = currentSink();
    if (!sink) {
        // hasUnsyncedText_ stays set: the next sync tries again.
        publishSinkText_ = gPublishSinkText;
        return 0;
    }
    boost::shared_ptr<buffer_type> b = bufferOf(sink);
    if (!b) return 0;
    if (!pending_.empty()) {
        // Kept text goes out straight, with no paging, on this road.
        b->sputn(pending_.data(), static_cast<std::streamsize>(pending_.size()));
        pending_.clear();
    }
    hasUnsyncedText_ = false;
    return b->pubsync();
}

template class ActiveCmdWinSinkBufferProxyT<unsigned short>;
template class ActiveCmdWinSinkBufferProxyT<char>;

// ---- the proxy ----

boost::shared_ptr<ActiveCmdWinSinkProxy> ActiveCmdWinSinkProxy::outACWSP_;
boost::shared_ptr<ActiveCmdWinSinkProxy> ActiveCmdWinSinkProxy::errACWSP_;
boost::once_flag ActiveCmdWinSinkProxy::sInitOnce = BOOST_ONCE_INIT;

ActiveCmdWinSinkProxy::ActiveCmdWinSinkProxy(cxutil::io::StreamTypeEnum type)
    : CXSink(boost::shared_ptr<ustreambuf>(boost::make_shared<ActiveCmdWinSinkBufferProxy>(type))),
      type_(type),
      traits_(boost::shared_ptr<CXSink>()) {}

ActiveCmdWinSinkProxy::~ActiveCmdWinSinkProxy() = default;

void ActiveCmdWinSinkProxy::initInstances() {
    outACWSP_ = boost::make_shared<ActiveCmdWinSinkProxy>(cxutil::io::OUTPUT_STREAM);
    errACWSP_ = boost::make_shared<ActiveCmdWinSinkProxy>(cxutil::io::ERROR_STREAM);
}

boost::shared_ptr<ActiveCmdWinSinkProxy> ActiveCmdWinSinkProxy::getInstance(cxutil::io::StreamTypeEnum type) {
    boost::call_once(sInitOnce, &ActiveCmdWinSinkProxy::initInstances);
    if (type == cxutil::io::OUTPUT_STREAM) return outACWSP_;
    if (type == cxutil::io::ERROR_STREAM) return errACWSP_;
    return boost::shared_ptr<ActiveCmdWinSinkProxy>();
}

boost::shared_ptr<CmdWinSink> ActiveCmdWinSinkProxy::getSink() const {
    if (type_ == cxutil::io::OUTPUT_STREAM) return CmdWinSinkHandle::getInstanceAsCmdWin(false);
    if (type_ == cxutil::io::ERROR_STREAM) return CmdWinSinkHandle::getInstanceAsCmdWin(true);
    return boost::shared_ptr<CmdWinSink>();
}

void ActiveCmdWinSinkProxy::activate() {
    if (getUnicodeOutStreamBuffer()) getUnicodeOutStreamBuffer()->pubsync();
}

void ActiveCmdWinSinkProxy::deactivate() {
    if (getUnicodeOutStreamBuffer()) getUnicodeOutStreamBuffer()->pubsync();
}

bool ActiveCmdWinSinkProxy::isDirty() const { return true; }

void ActiveCmdWinSinkProxy::setDirty(bool dirty) {
    if (boost::shared_ptr<CmdWinSink> sink = getSink()) sink->setDirty(dirty);
}

bool ActiveCmdWinSinkProxy::supportsBuzz() const {
    boost::shared_ptr<CmdWinSink> sink = getSink();
    return sink ? sink->supportsBuzz() : traits_.buzz;
}

bool ActiveCmdWinSinkProxy::supportsMore() const {
    boost::shared_ptr<CmdWinSink> sink = getSink();
    return sink ? sink->supportsMore() : traits_.more;
}

bool ActiveCmdWinSinkProxy::supportsHotlinks() const {
    boost::shared_ptr<CmdWinSink> sink = getSink();
    return sink ? sink->supportsHotlinks() : traits_.links;
}

bool ActiveCmdWinSinkProxy::needsFormattingForDisplay() const {
    boost::shared_ptr<CmdWinSink> sink = getSink();
    return sink ? sink->needsFormattingForDisplay() : traits_.displayformatting;
}

bool ActiveCmdWinSinkProxy::useDiary() const {
    boost::shared_ptr<CmdWinSink> sink = getSink();
    return sink ? sink->useDiary() : true;
}

bool ActiveCmdWinSinkProxy::useEcho() const {
    boost::shared_ptr<CmdWinSink> sink = getSink();
    return sink ? sink->useEcho() : traits_.echo;
}

bool ActiveCmdWinSinkProxy::useLogging() const {
    boost::shared_ptr<CmdWinSink> sink = getSink();
    return sink ? sink->useLogging() : true;
}

}} // namespace services::io

// ---- CXPushDefaultSink ----

using services::io::CXStream;
using services::io::CmdWinSinkHandle;

CXPushDefaultSink::CXPushDefaultSink(bool outToError) {
    boost::shared_ptr<CmdWinSink> out =
        uvIsSignalThread() ? CmdWinSinkHandle::getInstanceAsCmdWin(false) : boost::shared_ptr<CmdWinSink>();
    outGuard_ = boost::make_shared<CmdWinSinkUseInitialBuffer>(out);
    boost::shared_ptr<CmdWinSink> err =
        uvIsSignalThread() ? CmdWinSinkHandle::getInstanceAsCmdWin(true) : boost::shared_ptr<CmdWinSink>();
    errGuard_ = boost::make_shared<CmdWinSinkUseInitialBuffer>(err);
    if (uvIsSignalThread()) {
        CXStream::CXOut.push(CmdWinSinkHandle::getInstance(outToError));
        CXStream::CXErr.push(CmdWinSinkHandle::getInstance(true));
    }
}

CXPushDefaultSink::~CXPushDefaultSink() {
    if (uvIsSignalThread()) {
        // One try block: a failure of the first pop skips the second.
        try {
            CXStream::CXOut.pop();
            CXStream::CXErr.pop();
        } catch (...) {
        }
    }
    errGuard_.reset();
    outGuard_.reset();
}
