// The pending-event pump and its hooks.
#include "qzservices/system_events/ProcessPendingEvents.hpp"
#include "qzservices/system_events/update_hooks.hpp"

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/exception_ptr.hpp>
#include <boost/make_shared.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/once.hpp>
#include <boost/weak_ptr.hpp>
#include <fd/diag/terminate.hpp>
#include <fd/log/logger.hpp>
#include <uv/uv.hpp>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <sstream>
#include <typeinfo>
#include <vector>

namespace services { namespace system_events {

PpeGuiDispatchHook::~PpeGuiDispatchHook() = default;
PpeDispatchHook::~PpeDispatchHook() = default;
PpeCondition::~PpeCondition() = default;

void PpeDispatchHook::dispatchOne() { (void)dispatch(); }

}} // namespace services::system_events

namespace {

using services::system_events::PpeCondition;
using services::system_events::PpeDispatchHook;
using services::system_events::PpeGuiDispatchHook;

fd::log::basic_diagnostic_logger const& logger() {
    static fd::log::basic_diagnostic_logger const instance("services::system_events::ProcessPendingEvents");
    return instance;
}

#define QZ_PPE_SCOPE() fd::log::basic_diagnostic_logger::named_scope ppeScope(logger(), __PRETTY_FUNCTION__, __FILE__, __LINE__)

// What the registry holds: a weak reference to one hook, ordered by the
// number it was given when added.
class AdaptHook {
public:
    explicit AdaptHook(unsigned id) : id(id) {}
    virtual ~AdaptHook() = default;
    virtual bool isExpired() const = 0;
    virtual bool dispatch(bool waitForWindows, bool oneEvent) = 0;
    virtual bool start(int /*eventMask*/) { return true; }
    virtual void end(int /*eventMask*/) {}

    bool operator<(AdaptHook const& other) const { return id < other.id; }
    bool operator==(AdaptHook const& other) const { return id == other.id; }

    unsigned const id;
};

template <class Hook>
void logExpired() {
    if (logger().enabled(4))
        logger().write(4, "skipping expired " + fd::diag::detail::demangle_typeid_name(typeid(Hook).name()));
}

class AdaptGuiDispatchHook : public AdaptHook {
public:
    AdaptGuiDispatchHook(unsigned id, boost::weak_ptr<PpeGuiDispatchHook> hook) : AdaptHook(id), hook_(hook) {}
    bool isExpired() const override { return hook_.expired(); }
    bool dispatch(bool waitForWindows, bool /*oneEvent*/) override {
        boost::shared_ptr<PpeGuiDispatchHook> hook = hook_.lock();
        if (!hook) return logExpired<PpeGuiDispatchHook>(), true;
        return hook->dispatch(waitForWindows);
    }
    bool start(int eventMask) override {
        boost::shared_ptr<PpeGuiDispatchHook> hook = hook_.lock();
        if (!hook) return logExpired<PpeGuiDispatchHook>(), true;
        return hook->startProcessing(eventMask);
    }
    void end(int eventMask) override {
        boost::shared_ptr<PpeGuiDispatchHook> hook = hook_.lock();
        if (!hook) return logExpired<PpeGuiDispatchHook>();
        hook->endProcessing(eventMask);
    }

private:
    boost::weak_ptr<PpeGuiDispatchHook> hook_;
};

class AdaptDispatchHook : public AdaptHook {
public:
    AdaptDispatchHook(unsigned id, boost::weak_ptr<PpeDispatchHook> hook) : AdaptHook(id), hook_(hook) {}
    bool isExpired() const override { return hook_.expired(); }
    bool dispatch(bool /*waitForWindows*/, bool oneEvent) override {
        boost::shared_ptr<PpeDispatchHook> hook = hook_.lock();
        if (!hook) return logExpired<PpeDispatchHook>(), true;
        if (oneEvent) {
            hook->dispatchOne();
            return true;
        }
        return hook->dispatch();
    }

private:
    boost::weak_ptr<PpeDispatchHook> hook_;
};

typedef boost::shared_ptr<AdaptHook> HookRef;
typedef std::vector<HookRef> HookList;

struct Registry {
    boost::mutex mutex;
    HookList hooks;  // ascending by id
    boost::weak_ptr<PpeCondition> condition;
};

boost::once_flag gRegistryOnce = BOOST_ONCE_INIT;
Registry* gRegistry = nullptr;
std::atomic<unsigned> gNextId{1};

// Made on first use and destroyed at process exit.
Registry& registry() {
    boost::call_once(gRegistryOnce, [] {
        static Registry instance;
        gRegistry = &instance;
    });
    return *gRegistry;
}

HookList copyHooks() {
    Registry& r = registry();
    boost::lock_guard<boost::mutex> lock(r.mutex);
    return r.hooks;
}

void purge() {
    Registry& r = registry();
    boost::lock_guard<boost::mutex> lock(r.mutex);
    r.hooks.erase(std::remove_if(r.hooks.begin(), r.hooks.end(), [](HookRef const& h) { return h->isExpired(); }),
                  r.hooks.end());
}

void insertHook(HookRef const& adapter) {
    Registry& r = registry();
    boost::lock_guard<boost::mutex> lock(r.mutex);
    // Numbers are taken before the lock, so a later number may already be in.
    if (r.hooks.empty() || r.hooks.back()->id < adapter->id) {
        r.hooks.push_back(adapter);
    } else {
        auto at = std::upper_bound(r.hooks.begin(), r.hooks.end(), adapter,
                                   [](HookRef const& a, HookRef const& b) { return a->id < b->id; });
        r.hooks.insert(at, adapter);
    }
}

bool byId(HookRef const& a, HookRef const& b) {
    if (a && b) return a->id < b->id;
    if (!a && !b) return a.get() < b.get();
    return !a;  // null entries first
}

bool dispatchHooks(HookList const& started, bool waitForWindows, bool oneEvent) {
    QZ_PPE_SCOPE();
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    size_t done = 0;
    for (HookRef const& hook : started)  // every hook in every pass: no early exit
        if (hook->dispatch(waitForWindows, oneEvent)) ++done;
    return done == started.size();
}

bool startUnstartedHooks(HookList const& hooks, int eventMask, HookList& started) {
    QZ_PPE_SCOPE();
    // Matched by the shared pointers' own ordering (their control blocks),
    // while both lists are sorted by id; the two orders agree as long as
    // control blocks come at ascending addresses. Intended.
    HookList unstarted;
    std::set_difference(hooks.begin(), hooks.end(), started.begin(), started.end(), std::back_inserter(unstarted));
    if (unstarted.empty()) return true;
    size_t const total = started.size() + unstarted.size();
    started.reserve(total);
    struct SortOnExit {
        HookList& list;
        ~SortOnExit() { std::sort(list.begin(), list.end(), &byId); }
    } sortOnExit{started};
    for (HookRef const& hook : unstarted)
        if (hook->start(eventMask)) started.push_back(hook);  // a refusal is asked again next time
    return started.size() == total;
}

// Ends every started hook; the first exception is rethrown after all ended.
void endHooks(HookList const& started, int eventMask) {
    QZ_PPE_SCOPE();
    boost::exception_ptr first;
    for (HookRef const& hook : started) {
        try {
            hook->end(eventMask);
        } catch (...) {
            if (first) {
                if (logger().enabled(256)) logger().write(256, "ignoring exception during endProcessing");
            } else {
                first = boost::current_exception();
            }
        }
    }
    if (first) boost::rethrow_exception(first);
}

boost::shared_ptr<PpeCondition> liveCondition() {
    Registry& r = registry();
    boost::lock_guard<boost::mutex> lock(r.mutex);
    return r.condition.lock();
}

// One pump; the caller has entered the log scope named after the entry point.
void pump(int eventMask, int eventCount, bool waitForWindows) {
    if (logger().enabled(2)) {
        std::ostringstream record;
        record << " event_mask=" << eventMask << " event_count=" << eventCount
               << " wait_for_windows=" << (waitForWindows ? 1 : 0);
        logger().write(2, record.str());
    }
    uvInterruptMode noInterrupts(0);
    HookList started;
    try {
        svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
        bool allStarted;
        {
            HookList const hooks = copyHooks();
            allStarted = startUnstartedHooks(hooks, eventMask, started);
        }
        if (allStarted) {  // a hook that refuses its first start vetoes the dispatch
            if (logger().enabled(4)) logger().write(4, "numHooks=" + std::to_string(started.size()));
            for (;;) {
                if (uvIsInterruptPending()) break;
                if (dispatchHooks(started, waitForWindows, eventCount == 1)) break;
                if (boost::shared_ptr<PpeCondition> condition = liveCondition())
                    (void)condition->timed_wait(boost::posix_time::microseconds(1000));
                HookList const hooks = copyHooks();
                (void)startUnstartedHooks(hooks, eventMask, started);
            }
        }
        purge();
    } catch (...) {
        // The hooks that started are ended however the pump is left; an
        // exception from ending them gives way to the one already leaving.
        try {
            endHooks(started, eventMask);
        } catch (...) {
        }
        throw;
    }
    endHooks(started, eventMask);
}

class UnitTestHook : public PpeDispatchHook {
public:
    ~UnitTestHook() override { purge(); }
    bool dispatch() override { return true; }
    void dispatchOne() override {}
};

// The caller has entered the log scope named after the add operation.
template <class Hook, class Adapter>
boost::shared_ptr<void> addHook(boost::unique_ptr<Hook>& hook) {
    boost::shared_ptr<Hook> token(hook.release());
    insertHook(boost::make_shared<Adapter>(gNextId.fetch_add(1), token));
    return token;
}

} // namespace

// The log scope carries the entry point's own signature; the shorter forms
// go through the full one, so every pump's scope reads the same.
void svWS_ProcessPendingEvents(int eventMask, int eventCount, bool waitForWindows) {
    QZ_PPE_SCOPE();
    pump(eventMask, eventCount, waitForWindows);
}
void svWS_ProcessPendingEvents(int eventMask, int eventCount) { svWS_ProcessPendingEvents(eventMask, eventCount, false); }
void svWS_ProcessPendingEvents(int eventMask) { svWS_ProcessPendingEvents(eventMask, -1, false); }
void svWS_ProcessPendingEvents() { svWS_ProcessPendingEvents(0, -1, false); }

namespace sysq {

boost::shared_ptr<void> addProcessPendingEventsHook(boost::unique_ptr<PpeGuiDispatchHook>& hook) {
    QZ_PPE_SCOPE();
    return addHook<PpeGuiDispatchHook, AdaptGuiDispatchHook>(hook);
}

boost::shared_ptr<void> addProcessPendingEventsHook(boost::unique_ptr<PpeDispatchHook>& hook) {
    QZ_PPE_SCOPE();
    return addHook<PpeDispatchHook, AdaptDispatchHook>(hook);
}

boost::shared_ptr<void> addProcessPendingEventsHook(boost::unique_ptr<PpeCondition>& condition, bool replaceExisting) {
    QZ_PPE_SCOPE();
    Registry& r = registry();
    boost::lock_guard<boost::mutex> lock(r.mutex);
    if (!replaceExisting && !r.condition.expired()) return boost::shared_ptr<void>();
    // An earlier condition whose token is still held lives on, no longer waited on.
    boost::shared_ptr<PpeCondition> token(condition.release());
    r.condition = token;
    return token;
}

void removeProcessPendingEventsHook(boost::shared_ptr<void>& token) {
    {
        boost::shared_ptr<void> released;
        released.swap(token);
    }  // released without the lock: the hook's destructor may call in here
    purge();
}

boost::shared_ptr<PpeCondition> getCondition() { return liveCondition(); }

boost::shared_ptr<void> addProcessPendingEventsUnitTestHook() {
    boost::unique_ptr<PpeDispatchHook> hook(new UnitTestHook);
    return addProcessPendingEventsHook(hook);
}

} // namespace sysq

namespace services { namespace system_events {

bool PpeCondition::wait() {
    boost::posix_time::time_duration const day = boost::posix_time::microseconds(86400000000LL);
    for (;;) {
        if (timed_wait(day)) return true;
        if (uvIsInterruptPending()) return true;  // looked at only after a slice ran out
    }
}

void PpeCondition::notify_all() {
    boost::shared_ptr<PpeCondition> registered = sysq::getCondition();
    if (registered.get() == this) return;
    registered->notify();  // a registered condition must exist: the contract has no test
}

bool PpeCondition::timed_wait_until(boost::posix_time::ptime const& deadline) {
    return timed_wait(deadline - boost::posix_time::microsec_clock::universal_time());
}

double PpeCondition::convertToSeconds(boost::posix_time::time_duration duration, double maximum) {
    if (duration.is_pos_infinity()) return maximum;
    if (duration.is_special() || duration.is_negative()) return 0.0;
    double const seconds = static_cast<double>(duration.total_microseconds()) / 1e6;
    if (seconds > maximum) return maximum;
    return seconds < 0.0 ? 0.0 : seconds;
}

}} // namespace services::system_events
