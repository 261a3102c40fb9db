/// @file
/// The pending-event pump. Event sources register hooks; one call of
/// svWS_ProcessPendingEvents starts them, polls them in passes until all report
/// done (or an interrupt is pending), and ends them. Between passes it waits up
/// to 1 ms on the registered condition, if there is one.
///
/// The registry may be changed from any thread; a pump works on a snapshot and
/// skips hooks that have gone. A registration returns a token
/// (boost::shared_ptr<void>), the only strong reference to the hook: releasing
/// it ends the hook. There is no re-entry guard: a pump called from inside a
/// hook starts and ends the hooks again for itself.
#pragma once
#include "qzservices/export.hpp"
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/move/unique_ptr.hpp>
#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>

QZSERVICES_API_BEGIN

namespace boost {
using movelib::unique_ptr;  ///< the owning pointer the registrations take
}

namespace services { namespace system_events {

/// An event source that needs a start and an end around each pump.
class PpeGuiDispatchHook : boost::noncopyable {
public:
    virtual ~PpeGuiDispatchHook();  ///< destroyed when its token is released
    ///@{
    /// True if the hook has started for this pump; false vetoes the first pass
    /// and only delays the hook in later ones.
    virtual bool startProcessing(int eventMask) = 0;
    virtual void endProcessing(int eventMask) = 0;  ///< ends the hook's part in this pump
    ///@}
    /// True if the hook is done for this pump.
    virtual bool dispatch(bool waitForWindows) = 0;
};

/// An event source that only dispatches.
class PpeDispatchHook : boost::noncopyable {
public:
    virtual ~PpeDispatchHook();  ///< destroyed when its token is released
    virtual bool dispatch() = 0;  ///< true if done for this pump
    virtual void dispatchOne();  ///< one event; calls dispatch() and drops its result
};

/// What a pump sleeps on between passes.
class PpeCondition : boost::noncopyable {
public:
    virtual ~PpeCondition();  ///< destroyed when its token is released
    ///@{
    /// Sleeps in 24-hour slices until woken, or until an interrupt is pending
    /// after a slice ran out. True in both cases.
    virtual bool wait();
    virtual void notify() = 0;  ///< wakes the waiter
    ///@}
    /// Sleeps at most `duration`; true if woken.
    virtual bool timed_wait(boost::posix_time::time_duration duration) = 0;

    ///@{
    /// Passes a wake-up on to the registered condition, unless that is this
    /// one. A registered condition must exist: there is no test for none.
    void notify_all();
    bool timed_wait_until(boost::posix_time::ptime const& deadline);  ///< timed_wait up to `deadline`; true if woken
    ///@}
    /// For writers of timed_wait: +infinity gives `maximum`; -infinity,
    /// not-a-date-time and negative durations give 0; otherwise the seconds,
    /// limited to [0, maximum].
    static double convertToSeconds(boost::posix_time::time_duration duration, double maximum);
};

}} // namespace services::system_events

///@{
/// Runs one pump over the registered hooks (see above); the shorter forms pass defaults.
void svWS_ProcessPendingEvents(int eventMask, int eventCount, bool waitForWindows);
void svWS_ProcessPendingEvents(int eventMask, int eventCount);  ///< windows not waited for
void svWS_ProcessPendingEvents(int eventMask);  ///< no event count
void svWS_ProcessPendingEvents();  ///< every kind of event
///@}

namespace sysq {

///@{
/// Each takes the hook over and leaves the argument empty.
boost::shared_ptr<void> addProcessPendingEventsHook(boost::unique_ptr<services::system_events::PpeGuiDispatchHook>& hook);
boost::shared_ptr<void> addProcessPendingEventsHook(boost::unique_ptr<services::system_events::PpeDispatchHook>& hook);
///@}
/// With `replaceExisting` false while a condition is alive: an empty token,
/// and the argument keeps its condition. Otherwise the new one is waited on.
boost::shared_ptr<void> addProcessPendingEventsHook(boost::unique_ptr<services::system_events::PpeCondition>& condition,
                                                    bool replaceExisting);
///@{
/// Empties the token, then removes expired hooks from the registry.
void removeProcessPendingEventsHook(boost::shared_ptr<void>& token);
boost::shared_ptr<services::system_events::PpeCondition> getCondition();  ///< the registered condition, or empty
///@}
/// A dispatch hook that is always done; its destruction purges the registry.
boost::shared_ptr<void> addProcessPendingEventsUnitTestHook();

} // namespace sysq

QZSERVICES_API_END
