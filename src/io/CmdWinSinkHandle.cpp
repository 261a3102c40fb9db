// The global choice of the command window: the factory of a host's sinks.
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinEvents.hpp"
#include "qzservices/prompt/prompt.hpp"
#include "io/sink_cache.hpp"

#include <boost/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/shared_lock_guard.hpp>

CmdWinSinkFactory::~CmdWinSinkFactory() = default;

namespace services { namespace io {

namespace {
// A shared hold on the handle's mutex, taken on every write of the proxy.
// The non-blocking attempt comes first: boost's blocking acquisition also
// switches thread interruption off and on again, two thread-data look-ups
// that cost more than the lock itself. Both take the same shared ownership.
class SharedLock {
public:
    explicit SharedLock(boost::shared_mutex& m) : m_(m) {
        if (!m_.try_lock_shared()) m_.lock_shared();
    }
    ~SharedLock() { m_.unlock_shared(); }
    SharedLock(SharedLock const&) = delete;
    SharedLock& operator=(SharedLock const&) = delete;

private:
    boost::shared_mutex& m_;
};
typedef boost::lock_guard<boost::shared_mutex> ExclusiveLock;
} // namespace

boost::scoped_ptr<boost::shared_mutex> CmdWinSinkHandle::sMutex(new boost::shared_mutex);
CmdWinSinkHandle::FactoryPair CmdWinSinkHandle::sFactoryPair(nullptr, nullptr);
boost::shared_ptr<CmdWinSink> CmdWinSinkHandle::sSinkImpl;
cxutil::eventmgr::ScopedConnection CmdWinSinkHandle::connection_;
cxutil::eventmgr::ScopedConnection CmdWinSinkHandle::CLCConnection_;
cxutil::eventmgr::ScopedConnection CmdWinSinkHandle::homeConnection_;
boost::once_flag CmdWinSinkHandle::sSubscribeOnce = BOOST_ONCE_INIT;

boost::shared_ptr<CmdWinSink> CmdWinSinkHandle::getInstanceAsCmdWin(bool isErr) {
    SharedLock lock(*sMutex);
    CmdWinSinkFactory* factory = sFactoryPair.first;
    return factory ? factory->getCmdWinSink(isErr) : boost::shared_ptr<CmdWinSink>();
}

boost::shared_ptr<CXSink> CmdWinSinkHandle::getInstance(bool isErr) {
    SharedLock lock(*sMutex);
    return ActiveCmdWinSinkProxy::getInstance(isErr ? cxutil::io::ERROR_STREAM : cxutil::io::OUTPUT_STREAM);
}

void CmdWinSinkHandle::setFactory(CmdWinSinkFactory* factory) {
    // Subscribed before the exclusive lock: delivery takes the lock shared.
    boost::call_once(sSubscribeOnce, &CmdWinSinkHandle::subscribeToEvtMgr);
    {
        ExclusiveLock lock(*sMutex);
        sFactoryPair.second = sFactoryPair.first;
        sFactoryPair.first = factory;
        setSinkImpl();
    }
    // Outside the lock: this thread's cached sinks may be the last references.
    sink_cache::changed();
}

CmdWinSinkHandle::FactoryPair CmdWinSinkHandle::setFactoryPair(FactoryPair const& pair) {
    FactoryPair old;
    {
        ExclusiveLock lock(*sMutex);
        old = sFactoryPair;
        sFactoryPair = pair;
        setSinkImpl();
    }
    sink_cache::changed();
    return old;
}

void CmdWinSinkHandle::restorePreviousFactory() {
    {
        ExclusiveLock lock(*sMutex);
        sFactoryPair.first = sFactoryPair.second;
        sFactoryPair.second = nullptr;
        setSinkImpl();
    }
    sink_cache::changed();
}

bool CmdWinSinkHandle::isDirty() {
    SharedLock lock(*sMutex);
    invariants();
    return sSinkImpl && sSinkImpl->isDirty();
}

void CmdWinSinkHandle::setDirty(bool dirty) {
    SharedLock lock(*sMutex);
    invariants();
    if (sSinkImpl) sSinkImpl->setDirty(dirty);
}

void CmdWinSinkHandle::ctrlCProcessed() {
    SharedLock lock(*sMutex);
    invariants();
    if (sSinkImpl) sSinkImpl->ctrlCProcessed();
}

void CmdWinSinkHandle::keyStrokeRequested(services::prompt::InputRequester const& requester) {
    SharedLock lock(*sMutex);
    invariants();
    if (!sSinkImpl) return;
    setDirty(true);  // takes the shared lock a second time, as any lookup would
    sSinkImpl->keyStrokeRequested(requester);
}

void CmdWinSinkHandle::inputRequestedEventHappened(services::prompt::InputRequestEvent const&) {
    SharedLock lock(*sMutex);
    invariants();
    if (!sSinkImpl) return;
    // Bring all text that is on its way to the screen before the prompt shows.
    // The requester in the event is not looked at.
    if (sSinkImpl->isDirty()) CXStream::CXOut.flush();
    sSinkImpl->inputRequested();
}

void CmdWinSinkHandle::handleClc(CLCEvent const&) {
    SharedLock lock(*sMutex);
    invariants();
    if (sSinkImpl) sSinkImpl->doClc();
}

void CmdWinSinkHandle::handleHome(HomeEvent const&) {
    SharedLock lock(*sMutex);
    invariants();
    if (sSinkImpl) sSinkImpl->doHome();
}

void CmdWinSinkHandle::setSinkImpl() {
    if (sFactoryPair.first)
        sSinkImpl = sFactoryPair.first->getCmdWinSink(false);
    else
        sSinkImpl.reset();
}

void CmdWinSinkHandle::subscribeToEvtMgr() {
    boost::shared_ptr<cxutil::eventmgr::EventMgr> mgr = cxutil::eventmgr::EventMgr::instance();
    connection_.assign(mgr->subscribe<services::prompt::InputRequestEvent>(
        &CmdWinSinkHandle::inputRequestedEventHappened, "InputRequestEvent"));
    CLCConnection_.assign(mgr->subscribe<CLCEvent>(&CmdWinSinkHandle::handleClc, "CLCEvent"));
    homeConnection_.assign(mgr->subscribe<HomeEvent>(&CmdWinSinkHandle::handleHome, "HomeEvent"));
}

// ---- DefaultPrintHandlerSinkFactory ----

boost::scoped_ptr<DefaultPrintHandlerSinkFactory> DefaultPrintHandlerSinkFactory::i;
boost::once_flag DefaultPrintHandlerSinkFactory::flag = BOOST_ONCE_INIT;

DefaultPrintHandlerSinkFactory::DefaultPrintHandlerSinkFactory()
    : out_(boost::make_shared<PutsFnSink>()), err_(boost::make_shared<PutsFnSink>()) {}

void DefaultPrintHandlerSinkFactory::init_instance() { i.reset(new DefaultPrintHandlerSinkFactory); }

DefaultPrintHandlerSinkFactory* DefaultPrintHandlerSinkFactory::instance() {
    boost::call_once(flag, &DefaultPrintHandlerSinkFactory::init_instance);
    return i.get();
}

boost::shared_ptr<CmdWinSink> DefaultPrintHandlerSinkFactory::getCmdWinSink(bool isErrorStream) const {
    return isErrorStream ? err_ : out_;
}

}} // namespace services::io
