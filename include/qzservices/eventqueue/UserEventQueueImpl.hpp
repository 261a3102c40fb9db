/// @file
/// The user event queue behind its handle: an in-memory list of events paired
/// with one wake byte "E" in an anonymous pipe, and the table of watched file
/// descriptors that the event loop waits on with one select.
///
/// While anything watches the pipe (a host that asked for either end, a
/// watched descriptor besides the read end, or a handler other than ReadPipe
/// on it): the pipe holds one byte exactly
/// while the queue is not empty, and every write or read of the byte happens
/// with the mutex held. While nothing does, no byte is written: a push only
/// raises a wake word and wakes the loop's wait on it (a futex), one system
/// call instead of a pipe write and the select and read that follow it.
/// Asking for an end puts the byte in the pipe for the events already queued.
///
/// Threads: push() from any thread. Everything else belongs to the thread of
/// the event loop: the waits, pop, flush, the inputs map and the timer, which
/// the mutex does not cover. Handlers run without the mutex, so they may push.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/eventqueue/UserEventRecord.hpp"
#include "qzservices/eventqueue/UserEventRecordQueue.hpp"

#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <atomic>
#include <cstdint>

#include <map>

QZSERVICES_API_BEGIN

namespace eventqueue {

/// The handler of a watched descriptor: called with the descriptor and whether
/// the wait asked for a flush. False lowers the count that the wait returns.
typedef bool (*UserEventInputHandler)(int fd, bool flush);

/// The queue itself: the wake pipe, the watched descriptors, the timer and the records.
class UserEventQueueImpl {
public:
    /// Makes the pipe (CALYX:services:UserEventQueuePipeCreationFailed with the
    /// errno if it cannot), sets the write end non-blocking and watches the
    /// read end with ReadPipe. No timeout.
    UserEventQueueImpl();
    /// Closes both ends, the read end first, both always; a failed close raises
    /// CALYX:services:UserEventQueueFileDescriptorCloseFailed with the errno.
    ~UserEventQueueImpl() noexcept(false);
    UserEventQueueImpl(UserEventQueueImpl const&) = delete;  ///< owns descriptors: not copyable
    UserEventQueueImpl& operator=(UserEventQueueImpl const&) = delete;  ///< nor assignable

    /// The wake pipe's read end. Whoever holds it may take the wake byte off
    /// the pipe behind the queue's back, so from then on a push looks in the
    /// pipe; and it may wait on it, so from then on every push keeps the byte
    /// there (it is written at once for the events already queued).
    int getReadFd() const;
    /// The wake pipe's write end, non-blocking. Whoever holds it may write a
    /// byte of its own, so from then on the loop waits on the pipe.
    int getWriteFd() const;

    /// Seconds, or -1.0 when the timer's seconds are below 1. Intended: a timer
    /// of less than a second is in force and yet reads as -1.0.
    double getTimer() const;
    int getTimerSec() const { return timerSec_; }  ///< the timeout's whole seconds; negative: none
    int getTimerUSec() const { return timerUSec_; }  ///< the timeout's microseconds
    ///@{
    /// The timeout of every later wait. Below zero: none. Otherwise whole
    /// seconds and the floor of the fraction in microseconds.
    void setTimer(double seconds);
    void setTimer(int seconds, int microseconds);  ///< stored as given
    ///@}

    /// Replaces the handler of `fd`; the previous one, or null. A descriptor
    /// that select cannot watch (negative, or not below FD_SETSIZE) raises
    /// CALYX:services:UserEventQueueBadFileDescriptor and changes nothing.
    UserEventInputHandler addInput(int fd, UserEventInputHandler handler);
    /// The removed handler, or null for a descriptor that is not watched.
    UserEventInputHandler removeInput(int fd);

    ///@{
    /// One wait on all watched descriptors; each ready one's handler runs,
    /// lowest descriptor first, told not to flush (or to flush). The result is
    /// select's count less one per handler that returned false (never below
    /// 0): 0 when the timer ran out, -1 when select failed and nothing ran.
    int getNextEventOrBlock();
    int flushEventsOrBlock();
    ///@}

    /// Whether the read end becomes readable within `seconds` (while no byte
    /// is kept in the pipe: whether an event is queued by then). -1.0 waits
    /// without limit; any other negative value answers false at once. Takes
    /// no lock.
    bool eventPending(double seconds);
    bool eventPending() { return eventPending(0.0); }  ///< whether the read end is readable now
    bool waitForEvent(double seconds) { return eventPending(seconds); }  ///< the same, waiting up to `seconds`

    /// Queues a copy of the record and makes sure that the wake byte is there.
    /// Throws UserEventQueueBlockedException* when the byte cannot be written;
    /// the event stays queued in every case.
    void push(UserEventRecord const& record);
    /// Reads the wake byte (blocking: call it when the pipe is readable; while
    /// no byte is kept, it waits for a push instead), takes
    /// the first event, dispatches it without the mutex and returns it. With an
    /// empty queue: a default record, nothing dispatched.
    UserEventRecord pop();
    /// Reads the wake byte and dispatches every queued event, without the mutex.
    void flush();

private:
    /// How a wait on the wake word ended.
    enum class WakeWait { Queued, TimedOut, Failed };

    int selectFcn(bool flush);
    int waitOnWakeWord(bool flush);  ///< selectFcn while the loop waits on the wake word
    /// Runs the handler of a ready descriptor; false when it refused.
    bool dispatchInput(int fd, UserEventInputHandler handler, bool flush);
    bool waitsOnWakeWord() const;  ///< loop thread: ReadPipe on the read end is all it watches, no byte kept
    /// Loop thread: waits until an event is queued, when `limited` at most
    /// the seconds and microseconds given. Failed for a timeout that select
    /// would refuse, or a signal.
    WakeWait waitForPush(bool limited, int seconds, int microseconds);
    bool pipeReadable(double seconds) const;  ///< select on the read end alone
    void keepByteInPipe() const;  ///< from now on the byte is kept; writes it for what is queued
    void choosePipeOrWakeWord();  ///< loop thread, after the watched descriptors changed
    void takeWakeByte(boost::unique_lock<boost::mutex>& lock);  ///< with the mutex held
    void readWakeByte();  ///< with the mutex held
    void writeMissingByte() const;  ///< with the mutex held: the byte for a non-empty queue

    int readFd_;
    int writeFd_;
    std::map<int, UserEventInputHandler> inputs_;
    UserEventRecordQueue queue_;
    UserEventRecordQueue flushQueue_;
    int timerSec_;
    int timerUSec_;
    mutable boost::mutex mutex_;
    /// True while a byte that this queue wrote is known to be in the pipe, so
    /// that a push to a non-empty queue needs no system call. Only ever true
    /// when the pipe really holds a byte (reads and writes of the byte happen
    /// under the mutex); false means "look".
    mutable bool wakeByteInPipe_;
    /// Set once either end was handed out: the byte may then vanish without a
    /// read of ours, or a host may write one, so wakeByteInPipe_ is no longer
    /// enough to skip the look; and the byte is kept for good.
    mutable std::atomic<bool> endShared_{false};
    /// Whether pushes keep the byte in the pipe. Written with the mutex held;
    /// the loop reads it without, to choose how to wait.
    mutable std::atomic<bool> keepByte_{false};
    /// kEmpty, kQueued (events wait) or kSleeping (empty, and the loop sleeps
    /// on this word). Pushes and takes set it with the mutex held; the one
    /// waiting thread, the loop's, moves it from kEmpty to kSleeping without.
    std::atomic<std::uint32_t> wakeWord_{0};
};

} // namespace eventqueue

QZSERVICES_API_END
