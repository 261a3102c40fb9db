// The commit and expose hooks and the gate that runs them.
#include "qzservices/system_events/update_hooks.hpp"
#include "qzservices/system_events/WSPPEInstrumentation.hpp"

#include <boost/weak_ptr.hpp>
#include <vector>

namespace {

using services::system_events::WSPPEIScopeGuard;
using services::system_events::WSPPEInstrumentation;

std::vector<sysq::ExposeHookProxy*> gExposeHooks;
std::vector<sysq::CommitHookProxy*> gCommitHooks;
boost::weak_ptr<boost::function<bool()>> gPreviousUpdatesComplete;

template <class Proxy, class F>
Proxy* addHook(std::vector<Proxy*>& hooks, F fcn) {
    if (fcn == nullptr) return nullptr;
    Proxy* proxy = new Proxy;
    proxy->fcn = fcn;
    proxy->enabled = true;
    hooks.push_back(proxy);
    return proxy;
}

// Closes the gap for each element equal to `proxy`, then steps past the
// element that moved into it: of two equal neighbours the second stays. The
// proxy's memory is not freed. Both are intended.
template <class Proxy>
void removeHook(std::vector<Proxy*>& hooks, Proxy const* proxy) {
    if (proxy == nullptr) return;
    for (size_t i = 0; i < hooks.size(); ++i)
        if (hooks[i] == proxy) hooks.erase(hooks.begin() + static_cast<std::ptrdiff_t>(i));
}

} // namespace

void svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType type) {
    WSPPEIScopeGuard timing(WSPPEInstrumentation::CDU_ALL);
    if (!services::system_events::invokePreviousUpdatesCompleteFunction()) type = svCommitDatabaseUpdatesType_1;
    // A copy: hooks added meanwhile wait for the next commit, removed ones still get this one.
    std::vector<sysq::CommitHookProxy*> const hooks(gCommitHooks);
    for (sysq::CommitHookProxy* proxy : hooks)
        if (proxy->enabled && proxy->fcn != nullptr) proxy->fcn(type);
}

void svWS_ProcessExposeEvents() {
    WSPPEIScopeGuard timing(WSPPEInstrumentation::PROCESS_EXPOSE_EVENTS);
    std::vector<sysq::ExposeHookProxy*> const hooks(gExposeHooks);
    for (sysq::ExposeHookProxy* proxy : hooks)
        if (proxy->enabled && proxy->fcn != nullptr) proxy->fcn();
}

namespace sysq {

CommitHookProxy* addCommitDatabaseUpdateHook(void (*fcn)(svCommitDatabaseUpdatesType)) {
    return addHook(gCommitHooks, fcn);
}

ExposeHookProxy* addProcessExposeEventsHook(void (*fcn)()) { return addHook(gExposeHooks, fcn); }

void removeCommitDatabaseUpdatesHook(CommitHookProxy const* proxy) { removeHook(gCommitHooks, proxy); }

void removeProcessExposeEventsHook(ExposeHookProxy const* proxy) { removeHook(gExposeHooks, proxy); }

boost::shared_ptr<void> addPreviousUpdatesCompleteFcn(boost::function<bool()> const& fcn) {
    boost::shared_ptr<boost::function<bool()>> strong;
    if (!fcn.empty()) strong.reset(new boost::function<bool()>(fcn));
    gPreviousUpdatesComplete = strong;
    return strong;
}

void removePreviousUpdatesCompleteFcn(boost::shared_ptr<void>& token) { token.reset(); }

} // namespace sysq

namespace services { namespace system_events {

bool invokePreviousUpdatesCompleteFunction() {
    boost::shared_ptr<boost::function<bool()>> gate = gPreviousUpdatesComplete.lock();
    if (!gate || gate->empty()) return true;
    return (*gate)();
}

}} // namespace services::system_events
