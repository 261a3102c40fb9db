/// @file
/// A process-wide one-shot signal by which a waiting thread learns that a user
/// event was posted. svWS_PostUserEvent is the only setter; a waiter (outside
/// this library) waits on `condition` with `mutex` held and clears `signalled`
/// itself.
#pragma once
#include "qzservices/export.hpp"
#include <boost/shared_ptr.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>

QZSERVICES_API_BEGIN

namespace services {

/// A flag, its mutex and its condition variable.
class QZEvent {
public:
    QZEvent() : signalled(false) {}  ///< not signalled
    QZEvent(QZEvent const&) = delete;  ///< one per process: not copyable
    QZEvent& operator=(QZEvent const&) = delete;  ///< nor assignable

    /// Sets the flag and wakes one waiter.
    void signal();

    bool signalled;  ///< guarded by mutex
    boost::mutex mutex;  ///< guards signalled
    boost::condition_variable_any condition;  ///< notified by signal()
};

} // namespace services

/// The one instance, made on the first call (from any thread). If making it
/// throws, the next call tries again.
boost::shared_ptr<services::QZEvent> getUserEventQueueEvent();

QZSERVICES_API_END
