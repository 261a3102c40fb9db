/// @file
/// The process-wide queue by which any thread hands an event to the thread
/// that runs the event loop. A handle: each operation forwards to the
/// implementation (see UserEventQueueImpl.hpp for the contract of each).
///
/// The event loop calls getNextEventOrBlock() or flushEventsOrBlock() in a
/// loop; the read end of the wake pipe is one of the watched descriptors, with
/// the handler ReadPipe, so queued events run among the other descriptors'.
/// While it is the only one and no host asked for an end of the pipe, the
/// loop sleeps on a futex instead, which a push wakes directly.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/eventqueue/UserEventQueueBlockedException.hpp"
#include "qzservices/eventqueue/UserEventQueueImpl.hpp"
#include "qzservices/eventqueue/UserEventRecord.hpp"

QZSERVICES_API_BEGIN

namespace eventqueue {

/// The handle on the one queue, through which every thread reaches it.
class UserEventQueue {
public:
    /// The one queue, made with its pipe on the first call and never destroyed.
    static UserEventQueue* getInstance();

    int getReadFd() const { return impl_->getReadFd(); }  ///< the wake pipe's read end
    int getWriteFd() const { return impl_->getWriteFd(); }  ///< the wake pipe's write end
    double getTimer() const { return impl_->getTimer(); }  ///< the wait timeout in seconds, -1.0 below one
    void setTimer(double seconds) { impl_->setTimer(seconds); }  ///< the timeout of later waits; negative: none
    /// Watches `fd` with `handler`; returns the handler it replaced.
    UserEventInputHandler addInput(int fd, UserEventInputHandler handler) { return impl_->addInput(fd, handler); }
    /// Stops watching `fd`; its handler or null.
    UserEventInputHandler removeInput(int fd) { return impl_->removeInput(fd); }
    int getNextEventOrBlock() { return impl_->getNextEventOrBlock(); }  ///< one wait; ready handlers run, one event each
    int flushEventsOrBlock() { return impl_->flushEventsOrBlock(); }  ///< one wait; ready handlers run, flushing
    bool eventPending() { return impl_->eventPending(0.0); }  ///< whether an event waits now
    bool waitForEvent(double seconds) { return impl_->waitForEvent(seconds); }  ///< whether one arrives within `seconds`
    /// Queues a copy from any thread. When the wake byte cannot be written it
    /// throws a UserEventQueueBlockedException* allocated with new, which the
    /// catcher deletes; the event stays queued.
    void push(UserEventRecord const& record) { impl_->push(record); }
    UserEventRecord pop() { return impl_->pop(); }  ///< runs and returns the first event
    void flush() { impl_->flush(); }  ///< runs every queued event

    /// The implementation, for what only it offers (the timer's two fields).
    UserEventQueueImpl* getImpl() const { return impl_; }

private:
    UserEventQueue();
    ~UserEventQueue() = delete;  ///< never destroyed
    UserEventQueueImpl* impl_;
};

/// The handler of the read end: flush() when told to flush, otherwise pop()
/// with the record dropped. The descriptor is not used; always true.
bool ReadPipe(int fd, bool flush);

} // namespace eventqueue

QZSERVICES_API_END
