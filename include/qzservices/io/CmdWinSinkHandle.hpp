/// @file
/// The one global choice of the command window: a host installs a factory of
/// its own sinks, and a new factory redirects the very next write of the
/// proxies without touching any sink stack: a write reuses the sink its
/// thread found last only while no factory change (and no change of a sink's
/// buffer) has happened since.
///
/// A replaced sink may outlive its replacement on a thread that wrote to it
/// and has not written or flushed since, until that thread does or exits; the
/// thread that makes the change lets go of it at once (src/io/sink_cache.hpp).
///
/// Lock: sMutex, shared per lookup, exclusive for a factory change. Operations
/// that call into the sink (doClc, doHome, ctrlCProcessed, requestInput) run
/// with it held shared, so a sink must not install a factory from them.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CmdWinSink.hpp"
#include "qzservices/io/PutsFnSink.hpp"

#include <boost/scoped_ptr.hpp>
#include <boost/thread/once.hpp>
#include <boost/thread/shared_mutex.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <utility>

QZSERVICES_API_BEGIN

namespace services { namespace prompt { class InputRequestEvent; } }
namespace services { namespace io { class CLCEvent; class HomeEvent; } }

/// What a host implements to hand the library its command-window sinks. A
/// factory answers the same sink for a stream as long as it is installed: the
/// proxies keep what it answered until the next factory change.
class CmdWinSinkFactory {
public:
    virtual ~CmdWinSinkFactory();  ///< owned by the host
    virtual boost::shared_ptr<CmdWinSink> getCmdWinSink(bool isErrorStream) const = 0;  ///< the sink of one stream
};

namespace services { namespace io {

/// Holds the current and previous sink factories; all static.
class CmdWinSinkHandle {
public:
    typedef std::pair<CmdWinSinkFactory*, CmdWinSinkFactory*> FactoryPair;  ///< current, previous; not owned

    /// The current factory's sink, or null with no factory.
    static boost::shared_ptr<CmdWinSink> getInstanceAsCmdWin(bool isErr);
    /// The proxy of that stream (what goes on a stream's stack); safe with no factory.
    static boost::shared_ptr<CXSink> getInstance(bool isErr);

    /// The given factory becomes current and the current one previous: one level
    /// of undo. The first call subscribes the handle to its events, once.
    static void setFactory(CmdWinSinkFactory* factory);
    /// Replaces both pointers and returns the old pair; subscribes to nothing.
    static FactoryPair setFactoryPair(FactoryPair const& pair);
    /// Previous becomes current, and previous is forgotten.
    static void restorePreviousFactory();

    ///@{
    /// These act on the current output sink; with no factory they do nothing
    /// (isDirty answers false).
    static bool isDirty();
    static void setDirty(bool dirty);  ///< sets the current sink's dirty flag
    static void ctrlCProcessed();  ///< tells the current sink that an interrupt was handled
    static void keyStrokeRequested(services::prompt::InputRequester const& requester);  ///< tells it one key is wanted
    ///@}

    ///@{
    /// Event handlers.
    /// Asks the sink for input.
    static void inputRequestedEventHappened(services::prompt::InputRequestEvent const& event);
    static void handleClc(CLCEvent const& event);  ///< clears the current sink's window
    static void handleHome(HomeEvent const& event);  ///< homes the current sink's cursor
    ///@}

    static void invariants() {}  ///< a hook for checks; none here

private:
    static void setSinkImpl();
    static void subscribeToEvtMgr();

    static boost::scoped_ptr<boost::shared_mutex> sMutex;
    static FactoryPair sFactoryPair;
    static boost::shared_ptr<CmdWinSink> sSinkImpl;
    static cxutil::eventmgr::ScopedConnection connection_;
    static cxutil::eventmgr::ScopedConnection CLCConnection_;
    static cxutil::eventmgr::ScopedConnection homeConnection_;
    static boost::once_flag sSubscribeOnce;
};

/// The fallback factory: two function sinks that swallow text until the host
/// gives them a function. The same two objects at every call.
class DefaultPrintHandlerSinkFactory : public CmdWinSinkFactory {
public:
    static DefaultPrintHandlerSinkFactory* instance();  ///< the one factory, made on first use
    boost::shared_ptr<CmdWinSink> getCmdWinSink(bool isErrorStream) const override;  ///< the error or output sink

    boost::shared_ptr<PutsFnSink> const& outputSink() const { return out_; }  ///< the output stream's sink
    boost::shared_ptr<PutsFnSink> const& errorSink() const { return err_; }  ///< the error stream's sink

private:
    DefaultPrintHandlerSinkFactory();
    static void init_instance();

    boost::shared_ptr<PutsFnSink> out_;
    boost::shared_ptr<PutsFnSink> err_;
    static boost::scoped_ptr<DefaultPrintHandlerSinkFactory> i;
    static boost::once_flag flag;
};

///@{
/// Registers one more object that flushes both streams when the process asks
/// whether it may exit and when it closes its windows. One is registered at load.
void registerShutdownObject();
void initialize();  ///< registers one more such object
///@}

}} // namespace services::io

QZSERVICES_API_END
