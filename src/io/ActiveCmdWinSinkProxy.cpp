// The proxy sink that streams write into, and CXPushDefaultSink, which puts it
// on both streams for a session.
#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkGuards.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/prompt/prompt.hpp"
#include "qzservices/state/session_modes.hpp"
#include "io/sink_cache.hpp"

#include <boost/make_shared.hpp>
#include <boost/optional.hpp>
#include <cxutil/io/SinkTextEventBuffer.hpp>
#include <fd/i18n/codecvt.hpp>
#include <fd/i18n/convert.hpp>
#include <fd/io/streambuf_adaptor.hpp>
#include <orrery/exceptions.hpp>
#include <uv/uv.hpp>
#include <unicode/ucnv.h>

#include <algorithm>
#include <cstring>
#include <strings.h>

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
    static boost::shared_ptr<ustreambuf> const& bufferOf(sink_cache::Entry const& e) { return e.unicode; }
};

template <>
struct CharForm<char> {
    static boost::shared_ptr<std::streambuf> const& bufferOf(CXSink const& s) { return s.getOutStreamBuffer(); }
    static boost::shared_ptr<std::streambuf> const& bufferOf(sink_cache::Entry const& e) { return e.narrow; }
};

boost::shared_ptr<CXSink> outputProxy() { return CmdWinSinkHandle::getInstance(false); }

// This thread's cached sink of the stream, or null (another kind of stream,
// no sink, or a write of this stream already under way on this thread).
sink_cache::Entry* reusableEntry(cxutil::io::StreamTypeEnum type) {
    if (type == cxutil::io::OUTPUT_STREAM) return sink_cache::reusable(false);
    if (type == cxutil::io::ERROR_STREAM) return sink_cache::reusable(true);
    return nullptr;
}

void dropStaleEntry(cxutil::io::StreamTypeEnum type) {
    if (type == cxutil::io::OUTPUT_STREAM || type == cxutil::io::ERROR_STREAM)
        sink_cache::dropIfStale(type == cxutil::io::ERROR_STREAM);
}

// A high surrogate: its character is complete only with the next unit.
template <class CharT>
bool opensPair(CharT unit) {
    return sizeof(CharT) == 2 && (static_cast<unsigned>(unit) & 0xfc00u) == 0xd800u;
}

} // namespace

void enableSinkTextEventPublishing() { gPublishSinkText = true; }
void disableSinkTextEventPublishing() { gPublishSinkText = false; }

// ---- the buffer ----

template <class CharT, class Traits>
ActiveCmdWinSinkBufferProxyT<CharT, Traits>::ActiveCmdWinSinkBufferProxyT(cxutil::io::StreamTypeEnum type)
    : type_(type), hasUnsyncedText_(false), publishSinkText_(false), lastUnitOpensPair_(false) {
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
std::streamsize ActiveCmdWinSinkBufferProxyT<CharT, Traits>::sendAscii(char const* text, std::streamsize n) {
    // Straight into the sink's narrow buffer when nothing on the UTF-16 road
    // would see a difference: no tap to copy to, no kept text to send first,
    // no paging to count lines for, and no half of a surrogate pair waiting in
    // the sink's converting buffer for the unit after it.
    bool const tapped = (sizeof(CharT) == 2 && publishSinkText_) || CXStream::logStreamPtr_ ||
                        CXStream::diaryStreamPtr_;
    if (n > 0 && !tapped && pending_.empty() && !lastUnitOpensPair_) {
        sink_cache::Entry* e = reusableEntry(type_);
        if (e && e->narrow && (!isMoreOn() || !e->sink->supportsMore())) {
            sink_cache::InUse inUse(*e);
            hasUnsyncedText_ = true;
            std::streamsize const sent = e->narrow->sputn(text, n);
            e->sink->setDirty(true);
            return sent;
        }
    }
    // The UTF-16 road, in the pieces a converting buffer would make.
    CharT wide[512];
    std::streamsize done = 0;
    while (done < n) {
        std::streamsize const len = std::min<std::streamsize>(n - done, 512);
        for (std::streamsize i = 0; i < len; ++i) wide[i] = static_cast<unsigned char>(text[done + i]);
        if (send_to_sink(wide, len) != len) return done;
        done += len;
    }
    return n;
}

template <class CharT, class Traits>
std::streamsize ActiveCmdWinSinkBufferProxyT<CharT, Traits>::send_to_sink(CharT const* text, std::streamsize n) {
    logIt(text, n);  // the taps see every text, sink or not
    hasUnsyncedText_ = true;
    if (n > 0) lastUnitOpensPair_ = opensPair(text[n - 1]);
    if (pending_.empty()) {
        if (sink_cache::Entry* e = reusableEntry(type_)) {
            // The entry's references hold sink and buffer through the write,
            // even if a host buffer ends a guard from inside its own write.
            sink_cache::InUse inUse(*e);
            std::streamsize result = send_through(text, n, *e->sink, CharForm<CharT>::bufferOf(*e));
            e->sink->setDirty(true);
            return result;
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
    dropStaleEntry(type_);  // a flush lets go of a sink replaced since this thread's last write
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
        lastUnitOpensPair_ = opensPair(pending_.back());
        pending_.clear();
    }
    hasUnsyncedText_ = false;
    return b->pubsync();
}

template class ActiveCmdWinSinkBufferProxyT<unsigned short>;
template class ActiveCmdWinSinkBufferProxyT<char>;

// ---- the narrow front ----

namespace {

// Whether every byte below 0x80 of the native encoding is that ASCII character
// and never part of a longer sequence, so that ASCII text reads the same
// before and after a round through UTF-16. Asked once, as the converting
// buffer asks once.
bool nativeAsciiIsItself() {
    UErrorCode err = U_ZERO_ERROR;
    UConverter* cnv = ucnv_open(fd::i18n::resolve_encoding(std::string()).c_str(), &err);
    if (U_FAILURE(err) || !cnv) return false;
    char const* name = ucnv_getName(cnv, &err);
    bool const itself = U_SUCCESS(err) && name &&
                        (strncasecmp(name, "UTF-8", 5) == 0 || strncasecmp(name, "US-ASCII", 8) == 0 ||
                         strncasecmp(name, "ISO-8859", 8) == 0);
    ucnv_close(cnv);
    return itself;
}

// Eight bytes at a time: the top bits of all bytes gathered by one "or".
bool isAscii(char const* s, std::streamsize n) {
    std::uint64_t high = 0;
    std::streamsize i = 0;
    for (; i + 8 <= n; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, s + i, 8);
        high |= word;
    }
    for (; i < n; ++i) high |= static_cast<unsigned char>(s[i]);
    return (high & 0x8080808080808080ull) == 0;
}

// The narrow buffer of the proxy sink. ASCII text, nearly all output, takes
// the UTF-16 buffer's narrow road (sendAscii), which spares it a conversion
// to UTF-16 and back; any other text goes through the converting buffer, as
// all text once did. A piece that ends in a byte above 0x7f may leave part of
// a character inside the converter, so text keeps to the converting buffer
// until a piece ends in ASCII again.
class NarrowFront : public std::streambuf {
public:
    NarrowFront(boost::shared_ptr<ActiveCmdWinSinkBufferProxy> const& proxy,
                boost::shared_ptr<std::streambuf> const& converting)
        : proxy_(proxy), converting_(converting), asciiIsItself_(nativeAsciiIsItself()) {}

protected:
    std::streamsize xsputn(char const* s, std::streamsize n) override { return send(s, n); }

    int_type overflow(int_type c) override {
        // As the converting buffer: end of file is no character and sends nothing.
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        char const ch = traits_type::to_char_type(c);
        return send(&ch, 1) == 1 ? c : traits_type::eof();
    }

    int sync() override { return converting_->pubsync(); }

private:
    std::streamsize send(char const* s, std::streamsize n) {
        if (asciiIsItself_ && !converterMayHold_ && isAscii(s, n)) return proxy_->sendAscii(s, n);
        std::streamsize const sent = converting_->sputn(s, n);
        if (n > 0) converterMayHold_ = static_cast<unsigned char>(s[n - 1]) >= 0x80;
        return sent;
    }

    boost::shared_ptr<ActiveCmdWinSinkBufferProxy> proxy_;
    boost::shared_ptr<std::streambuf> converting_;  // over proxy_
    bool asciiIsItself_;
    bool converterMayHold_ = false;
};

boost::shared_ptr<std::streambuf> narrowFrontOf(boost::shared_ptr<ActiveCmdWinSinkBufferProxy> const& proxy) {
    return boost::make_shared<NarrowFront>(proxy, fd::io::make_streambuf_adaptor(proxy, std::string()));
}

} // namespace

// ---- the proxy ----

boost::shared_ptr<ActiveCmdWinSinkProxy> ActiveCmdWinSinkProxy::outACWSP_;
boost::shared_ptr<ActiveCmdWinSinkProxy> ActiveCmdWinSinkProxy::errACWSP_;
boost::once_flag ActiveCmdWinSinkProxy::sInitOnce = BOOST_ONCE_INIT;

ActiveCmdWinSinkProxy::ActiveCmdWinSinkProxy(cxutil::io::StreamTypeEnum type)
    : ActiveCmdWinSinkProxy(type, boost::make_shared<ActiveCmdWinSinkBufferProxy>(type)) {}

ActiveCmdWinSinkProxy::ActiveCmdWinSinkProxy(cxutil::io::StreamTypeEnum type,
                                             boost::shared_ptr<ActiveCmdWinSinkBufferProxy> const& buffer)
    : CXSink(boost::shared_ptr<ustreambuf>(buffer), narrowFrontOf(buffer)),
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
