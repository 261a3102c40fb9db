/// @file
/// The sink that streams write into at run time. It has no destination of its
/// own: at every write it finds the current command-window sink (the one its
/// thread found last, while no change has happened since), copies the text to
/// the service log, the diary and the sink text events, keeps it while no sink
/// exists, and pages it line by line under the more rule.
///
/// Its primary buffer is UTF-16; its narrow buffer sends ASCII text to the
/// sink's narrow buffer unconverted (sendAscii) and converts everything else.
///
/// No lock of its own; the only lock on the path is CmdWinSinkHandle's, taken
/// shared per lookup (a thread looks up only after a change) and released
/// before text moves on. The writer is blocked in its own call while the
/// "--more--" prompt stands.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CXSink.hpp"
#include "qzservices/io/CmdWinSink.hpp"
#include "qzservices/io/SinkTraits.hpp"

#include <boost/thread/once.hpp>
#include <cxutil/io/StreamTypeEnum.hpp>
#include <memory>
#include <streambuf>
#include <vector>

QZSERVICES_API_BEGIN

namespace cxutil { namespace io { class SinkTextEventBuffer; } }
namespace fd { namespace i18n { class stream_codecvt_ustring_to_string; } }

class CmdWinSinkUseInitialBuffer;

namespace services { namespace io {

/// The stream buffer inside the proxy. No put area: every write arrives at once.
/// The library makes only the unsigned short form; the char form differs in
/// using the sink's narrow buffer and copying bytes to log and diary unconverted.
template <class CharT, class Traits = std::char_traits<CharT>>
/// The proxy's buffer for characters of CharT.
class ActiveCmdWinSinkBufferProxyT : public std::basic_streambuf<CharT, Traits> {
public:
    typedef typename Traits::int_type int_type;  ///< a character or end of file
    typedef std::basic_streambuf<CharT, Traits> buffer_type;  ///< a sink buffer of the same width

    explicit ActiveCmdWinSinkBufferProxyT(cxutil::io::StreamTypeEnum type);  ///< the buffer of the output or error stream
    ~ActiveCmdWinSinkBufferProxyT() override;  ///< releases its converter and event buffer

    /// Text kept while no command-window sink existed (without bound).
    std::vector<CharT> const& pending() const { return pending_; }
    /// Sends `n` ASCII bytes as the same number of UTF-16 units would go, but
    /// straight to the sink's narrow buffer when no tap, kept text or paging
    /// is in the way. Returns the number sent. The narrow road of the proxy sink.
    std::streamsize sendAscii(char const* text, std::streamsize n);

protected:
    std::streamsize xsputn(CharT const* p, std::streamsize n) override;  ///< sends `n` characters on at once
    int_type overflow(int_type c) override;  ///< sends one character on
    int sync() override;  ///< sends kept text on and syncs the sink

private:
    std::streamsize send_to_sink(CharT const* text, std::streamsize n);
    std::streamsize send_if_more_allows(CharT const* text, std::streamsize n, boost::shared_ptr<CmdWinSink> const& sink);
    // The same through a buffer of the sink that the caller holds for the call.
    std::streamsize send_through(CharT const* text, std::streamsize n, CmdWinSink& sink,
                                 boost::shared_ptr<buffer_type> const& b);
    void wait_for_more(boost::shared_ptr<buffer_type> const& b);
    void logIt(CharT const* text, std::streamsize n);
    void flush_logs();
    boost::shared_ptr<CmdWinSink> currentSink() const;
    /// The sink's buffer of this width; valid while the caller holds the sink.
    static boost::shared_ptr<buffer_type> const& bufferOf(boost::shared_ptr<CmdWinSink> const& sink);

    cxutil::io::StreamTypeEnum type_;
    boost::shared_ptr<cxutil::io::SinkTextEventBuffer> sinkTextBuffer_;
    std::vector<CharT> pending_;
    std::unique_ptr<fd::i18n::stream_codecvt_ustring_to_string> codecvt_;
    bool hasUnsyncedText_;
    bool publishSinkText_;  ///< latched copy of the global switch
    bool lastUnitOpensPair_;  ///< the last unit sent was a high surrogate
};

typedef ActiveCmdWinSinkBufferProxyT<unsigned short> ActiveCmdWinSinkBufferProxy;  ///< the UTF-16 proxy buffer

// The global switch for sink text events. A buffer takes the new value only at
// a sync that finds nothing to send or no sink.
void enableSinkTextEventPublishing();  ///< turns the switch on
void disableSinkTextEventPublishing();  ///< turns the switch off

/// The sink of each standard stream at run time; each property is the current sink's, or false with none.
class ActiveCmdWinSinkProxy : public CXSink {
public:
    explicit ActiveCmdWinSinkProxy(cxutil::io::StreamTypeEnum type);  ///< the proxy of the output or error stream
    ~ActiveCmdWinSinkProxy() override;  ///< nothing of its own to release

    void activate() override;  ///< sync of the UTF-16 buffer
    void deactivate() override;  ///< the same
    bool isDirty() const override;  ///< always true
    void setDirty(bool dirty) override;  ///< passed to the current sink, if any
    bool supportsBuzz() const override;  ///< the current sink's answer
    bool supportsMore() const override;  ///< the current sink's answer
    bool supportsHotlinks() const override;  ///< the current sink's answer
    bool needsFormattingForDisplay() const override;  ///< the current sink's answer
    bool useDiary() const override;  ///< true with no sink
    bool useEcho() const override;  ///< the current sink's answer
    bool useLogging() const override;  ///< true with no sink

    /// The output proxy for 0, the error proxy for 1, null otherwise.
    static boost::shared_ptr<ActiveCmdWinSinkProxy> getInstance(cxutil::io::StreamTypeEnum type);
    /// The single road to the current command-window sink of this stream.
    boost::shared_ptr<CmdWinSink> getSink() const;

private:
    ActiveCmdWinSinkProxy(cxutil::io::StreamTypeEnum type, boost::shared_ptr<ActiveCmdWinSinkBufferProxy> const& buffer);
    static void initInstances();

    cxutil::io::StreamTypeEnum type_;
    boost::shared_ptr<CXSink> unused_;  ///< stays null
    SinkTraits traits_;  ///< all false: the answers with no sink

    static boost::shared_ptr<ActiveCmdWinSinkProxy> outACWSP_;
    static boost::shared_ptr<ActiveCmdWinSinkProxy> errACWSP_;
    static boost::once_flag sInitOnce;
};

}} // namespace services::io

/// Puts both streams on the command window for the length of a scope: the
/// sinks return to their initial buffers, and the proxies go on the stacks.
/// On any thread but the signal thread it does nothing.
class CXPushDefaultSink {
public:
    explicit CXPushDefaultSink(bool outToError = false);  ///< true sends the output stream to the error sink too
    ~CXPushDefaultSink();  ///< pops both streams and restores the sinks' buffers
    CXPushDefaultSink(CXPushDefaultSink const&) = delete;  ///< one per scope: not copyable
    CXPushDefaultSink& operator=(CXPushDefaultSink const&) = delete;  ///< nor assignable

private:
    boost::shared_ptr<CmdWinSinkUseInitialBuffer> outGuard_;
    boost::shared_ptr<CmdWinSinkUseInitialBuffer> errGuard_;
};

QZSERVICES_API_END
