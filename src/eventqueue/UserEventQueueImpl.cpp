// The user event queue: its list of events, its wake pipe and its watched
// descriptors.
#include "qzservices/eventqueue/UserEventQueueImpl.hpp"
#include "qzservices/eventqueue/UserEventQueue.hpp"

#include <msg/calyx_messages.hpp>
#include <orrery/exceptions.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cmath>
#include <ctime>
#include <string>

namespace eventqueue {

namespace {

char const kWakeByte = 'E';
// Records a drained flush queue may keep in its ring (about 1.5 MB).
std::size_t const kKeptRecords = 65536;

// A double as an int the way the processor's truncating conversion gives it:
// anything an int cannot hold (NaN included) becomes INT_MIN. Intended: a NaN
// timeout thus makes select fail, as it would with the plain conversion, but
// without undefined behaviour.
int truncateToInt(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return INT_MIN;
    return static_cast<int>(value);
}

// Splits non-negative (or NaN) seconds into whole seconds and the floor of the
// fraction in microseconds. A wait too long for an int (2^31 seconds or more,
// infinity too) is the longest one select takes, not a failure: an event loop
// with such a timer must sleep, not spin.
void splitSeconds(double seconds, int& whole, int& micro) {
    if (seconds >= 2147483648.0) {
        whole = INT_MAX;
        micro = 999999;
        return;
    }
    double integral = 0.0;
    double const fraction = std::modf(seconds, &integral);
    whole = truncateToInt(integral);
    micro = truncateToInt(std::floor(fraction * 1e6));
}

std::string errnoText(int err) { return std::to_string(static_cast<long>(err)); }

// The wake word's states.
std::uint32_t const kEmpty = 0;
std::uint32_t const kQueued = 1;
std::uint32_t const kSleeping = 2;

// The word as the kernel sees it: a lock-free atomic of 32 bits is the plain
// word in memory.
std::uint32_t* wordAddress(std::atomic<std::uint32_t>& word) { return reinterpret_cast<std::uint32_t*>(&word); }

// Sleeps while the word holds `expected`, at most `timeout` (null: no limit).
// -1 with errno: EAGAIN (the word had changed), ETIMEDOUT, EINTR. Unlike
// select, and like the blocking read of the pipe, an untimed wait resumes
// after a handler installed with SA_RESTART: a signal meant to end the wait
// is installed without it (as the hosts' interrupt signal is). Untimed it
// stays, because a timeout arms a kernel timer at every wait, which costs
// the wake-up a good part of a microsecond on a virtual machine.
long futexWait(std::atomic<std::uint32_t>& word, std::uint32_t expected, timespec const* timeout) {
    return ::syscall(SYS_futex, wordAddress(word), FUTEX_WAIT_PRIVATE, expected, timeout, nullptr, 0);
}

void futexWakeAll(std::atomic<std::uint32_t>& word) {
    (void)::syscall(SYS_futex, wordAddress(word), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

} // namespace

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t), "the wake word is a plain word");

UserEventQueueImpl::UserEventQueueImpl()
    : readFd_(-1), writeFd_(-1), timerSec_(-1), timerUSec_(-1), wakeByteInPipe_(false) {
    int fds[2];
    if (::pipe(fds) != 0) vxErrMsgId(CALYX::services::UserEventQueuePipeCreationFailed(errnoText(errno)));
    readFd_ = fds[0];
    writeFd_ = fds[1];
    // Only O_NONBLOCK: the write end never has other status flags worth keeping.
    (void)::fcntl(writeFd_, F_SETFL, O_NONBLOCK);
    try {
        addInput(readFd_, &ReadPipe);
    } catch (...) {
        // A read end beyond what select can watch: give the pipe back.
        ::close(readFd_);
        ::close(writeFd_);
        throw;
    }
}

UserEventQueueImpl::~UserEventQueueImpl() noexcept(false) {
    int failure = 0;
    if (::close(readFd_) != 0) failure = errno;
    if (::close(writeFd_) != 0 && failure == 0) failure = errno;
    if (failure != 0) vxErrMsgId(CALYX::services::UserEventQueueFileDescriptorCloseFailed(errnoText(failure)));
}

// ---- the ends of the pipe ----

int UserEventQueueImpl::getReadFd() const {
    keepByteInPipe();
    return readFd_;
}

int UserEventQueueImpl::getWriteFd() const {
    keepByteInPipe();
    return writeFd_;
}

void UserEventQueueImpl::keepByteInPipe() const {
    if (endShared_.load() && keepByte_.load()) return;  // cheap check: asked before
    boost::lock_guard<boost::mutex> lock(mutex_);
    endShared_.store(true);
    if (!keepByte_.load()) {
        keepByte_.store(true);
        writeMissingByte();
    }
}

void UserEventQueueImpl::choosePipeOrWakeWord() {
    // A handler of its own on the read end may read the descriptor it is given: the pipe then.
    bool const onlyOwnEnd =
        inputs_.size() == 1 && inputs_.begin()->first == readFd_ && inputs_.begin()->second == &ReadPipe;
    boost::lock_guard<boost::mutex> lock(mutex_);
    bool const keep = endShared_.load() || !onlyOwnEnd;
    if (keep == keepByte_.load()) return;
    keepByte_.store(keep);
    // Back to the wake word, a byte already there stays until the next take
    // reads it (wakeByteInPipe_ says so).
    if (keep) writeMissingByte();
}

void UserEventQueueImpl::writeMissingByte() const {
    if (queue_.empty() || wakeByteInPipe_) return;
    // Non-blocking: a pipe too full for one byte already holds one.
    if (pipeReadable(0.0) || ::write(writeFd_, &kWakeByte, 1) > 0) wakeByteInPipe_ = true;
}

// ---- the timer ----

double UserEventQueueImpl::getTimer() const {
    if (timerSec_ < 1) return -1.0;  // intended, also for a timer below one second
    return timerSec_ + timerUSec_ / 1e6;
}

void UserEventQueueImpl::setTimer(double seconds) {
    if (seconds < 0) {
        timerSec_ = -1;
        timerUSec_ = -1;
        return;
    }
    splitSeconds(seconds, timerSec_, timerUSec_);  // NaN is not below zero and lands here
}

void UserEventQueueImpl::setTimer(int seconds, int microseconds) {
    timerSec_ = seconds;
    timerUSec_ = microseconds;
}

// ---- watched descriptors ----

UserEventInputHandler UserEventQueueImpl::addInput(int fd, UserEventInputHandler handler) {
    if (fd < 0 || fd >= FD_SETSIZE) vxErrMsgId(CALYX::services::UserEventQueueBadFileDescriptor(std::to_string(fd)));
    UserEventInputHandler& slot = inputs_[fd];
    UserEventInputHandler const previous = slot;
    slot = handler;
    choosePipeOrWakeWord();
    return previous;
}

UserEventInputHandler UserEventQueueImpl::removeInput(int fd) {
    auto it = inputs_.find(fd);
    if (it == inputs_.end()) return nullptr;
    UserEventInputHandler const handler = it->second;
    inputs_.erase(it);
    choosePipeOrWakeWord();
    return handler;
}

// ---- the waits ----

int UserEventQueueImpl::getNextEventOrBlock() { return selectFcn(false); }
int UserEventQueueImpl::flushEventsOrBlock() { return selectFcn(true); }

bool UserEventQueueImpl::waitsOnWakeWord() const {
    // keepByte_ is cleared only while ReadPipe on the read end is all there is to watch.
    return !keepByte_.load(std::memory_order_relaxed);
}

int UserEventQueueImpl::selectFcn(bool flush) {
    if (waitsOnWakeWord()) return waitOnWakeWord(flush);

    fd_set ready;
    FD_ZERO(&ready);
    int highest = 0;  // select's first argument is 1 with nothing to watch
    for (auto const& input : inputs_) {
        FD_SET(input.first, &ready);
        highest = input.first + 1;
    }
    if (highest == 0) highest = 1;

    // A fresh copy of the timer: select may change what it is given.
    timeval timeout;
    timeval* timeoutPtr = nullptr;
    if (timerSec_ != -1) {
        timeout.tv_sec = timerSec_;
        timeout.tv_usec = timerUSec_;
        timeoutPtr = &timeout;
    }
    int result = ::select(highest, &ready, nullptr, nullptr, timeoutPtr);

    uvInterruptState::ThrowIfInterruptPending();  // before any handler runs
    {
        uvInterruptMode dispatchMode(0);
        int remaining = result;
        auto it = inputs_.begin();
        while (remaining > 0 && it != inputs_.end()) {
            int const fd = it->first;
            UserEventInputHandler const handler = it->second;
            if (FD_ISSET(fd, &ready)) {
                --remaining;
                if (!dispatchInput(fd, handler, flush) && result > 0) --result;
            }
            // Found again by key: a handler may have added or removed inputs.
            it = inputs_.upper_bound(fd);
        }
    }
    uvInterruptState::ThrowIfInterruptPending();
    return result;
}

// The same wait as select's with the read end as the only descriptor, kept
// short: what it touches between the wake and the handler is the latency.
int UserEventQueueImpl::waitOnWakeWord(bool flush) {
    int result = 0;
    switch (waitForPush(timerSec_ != -1, timerSec_, timerUSec_)) {
    case WakeWait::Queued: result = 1; break;
    case WakeWait::TimedOut: result = 0; break;
    case WakeWait::Failed: result = -1; break;
    }
    uvInterruptState::ThrowIfInterruptPending();  // before any handler runs
    if (result == 1) {
        uvInterruptMode dispatchMode(0);
        if (!dispatchInput(readFd_, &ReadPipe, flush)) result = 0;
    }
    uvInterruptState::ThrowIfInterruptPending();
    return result;
}

bool UserEventQueueImpl::dispatchInput(int fd, UserEventInputHandler handler, bool flush) {
    if (handler == &ReadPipe && fd == readFd_) {
        // This queue's own events: taken from this queue, whichever is the process's.
        if (flush) this->flush();
        else (void)pop();
        return true;
    }
    return handler == nullptr || handler(fd, flush);
}

UserEventQueueImpl::WakeWait UserEventQueueImpl::waitForPush(bool limited, int seconds, int microseconds) {
    typedef std::chrono::steady_clock Clock;
    Clock::time_point deadline{};
    if (limited) {
        // What select refuses, refused the same way.
        if (seconds < 0 || microseconds < 0 || microseconds > 999999) return WakeWait::Failed;
        deadline = Clock::now() + std::chrono::seconds(seconds) + std::chrono::microseconds(microseconds);
    }
    for (;;) {
        std::uint32_t state = wakeWord_.load(std::memory_order_acquire);
        if (state == kQueued) return WakeWait::Queued;
        if (state == kEmpty && !wakeWord_.compare_exchange_strong(state, kSleeping, std::memory_order_acquire)) {
            continue;  // a push came in between
        }
        timespec remaining{};
        timespec const* remainingPtr = nullptr;
        if (limited) {
            auto const left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now()).count();
            if (left <= 0) {
                state = kSleeping;
                wakeWord_.compare_exchange_strong(state, kEmpty, std::memory_order_acquire);
                return state == kQueued ? WakeWait::Queued : WakeWait::TimedOut;
            }
            remaining.tv_sec = static_cast<time_t>(left / 1000000000);
            remaining.tv_nsec = static_cast<long>(left % 1000000000);
            remainingPtr = &remaining;
        }
        if (futexWait(wakeWord_, kSleeping, remainingPtr) != 0 && errno == EINTR) {
            // A signal ends the wait as it ends select's, so that the loop sees the interrupt.
            state = kSleeping;
            wakeWord_.compare_exchange_strong(state, kEmpty, std::memory_order_acquire);
            return state == kQueued ? WakeWait::Queued : WakeWait::Failed;
        }
    }
}

bool UserEventQueueImpl::eventPending(double seconds) {
    if (keepByte_.load()) return pipeReadable(seconds);
    if (seconds == -1.0) return waitForPush(false, 0, 0) == WakeWait::Queued;
    if (!(seconds >= 0)) return false;  // a timeout select refuses, NaN among them
    int whole = 0, micro = 0;
    splitSeconds(seconds, whole, micro);
    return waitForPush(true, whole, micro) == WakeWait::Queued;
}

bool UserEventQueueImpl::pipeReadable(double seconds) const {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(readFd_, &readable);
    timeval timeout;
    timeval* timeoutPtr = &timeout;
    if (seconds >= 0 || std::isnan(seconds)) {
        int whole = 0, micro = 0;
        splitSeconds(seconds, whole, micro);
        timeout.tv_sec = whole;
        timeout.tv_usec = micro;
    } else if (seconds == -1.0) {
        timeoutPtr = nullptr;  // no limit
    } else {
        // Intended: any other negative wait is a timeout select refuses, so
        // the answer is false at once.
        timeout.tv_sec = -1;
        timeout.tv_usec = -1;
    }
    return ::select(readFd_ + 1, &readable, nullptr, nullptr, timeoutPtr) > 0;
}

// ---- the queue ----

void UserEventQueueImpl::push(UserEventRecord const& record) {
    boost::unique_lock<boost::mutex> lock(mutex_);
    queue_.push_back(record);
    bool const sleeper = wakeWord_.exchange(kQueued, std::memory_order_release) == kSleeping;
    if (!keepByte_.load()) {
        // Nothing watches the pipe: the wake word is the whole signal. Woken
        // after the unlock, so that the loop does not wake into a held mutex.
        lock.unlock();
        if (sleeper) futexWakeAll(wakeWord_);
        return;
    }
    if (sleeper) futexWakeAll(wakeWord_);  // a wait that began before the byte was kept
    // Cheap check first: while neither end was handed out, the pipe holds
    // exactly what this queue wrote and did not read, so no push needs to
    // look. Once a host holds an end it may have read the byte itself, or
    // written one: then the pipe is asked, and a byte that went missing is
    // written again by this push.
    if (!endShared_.load()) {
        if (wakeByteInPipe_) return;
    } else if (pipeReadable(0.0)) {
        wakeByteInPipe_ = true;
        return;
    }
    int retries = 0;
    for (;;) {
        errno = 0;
        ssize_t const written = ::write(writeFd_, &kWakeByte, 1);
        int const err = errno;
        if (written > 0) {
            wakeByteInPipe_ = true;
            // Kept as it stands: a write that succeeds and yet leaves EAGAIN
            // behind is made again.
            if (err == EAGAIN) continue;
            return;
        }
        if (retries > 99) {
            // The 101st failure: about a second of a full pipe.
            if (err == EAGAIN) throw new UserEventQueueBlockedException;  // the lock goes as it leaves
            return;
        }
        ++retries;
        if (err == EAGAIN) {
            // Let the reader make room.
            lock.unlock();
            ::usleep(10000);
            lock.lock();
            continue;
        }
        lock.unlock();
        if (err == EINTR) throw;  // kept as it stands: with no exception in flight this ends the process
        throw new UserEventQueueBlockedException;
    }
}

void UserEventQueueImpl::takeWakeByte(boost::unique_lock<boost::mutex>& lock) {
    if (keepByte_.load() || wakeByteInPipe_) {
        readWakeByte();
        return;
    }
    // No byte is kept: an empty queue waits for a push, as the read would
    // block, and a signal ends the wait as it ends the read.
    while (queue_.empty()) {
        lock.unlock();
        WakeWait const outcome = waitForPush(false, 0, 0);
        lock.lock();
        if (outcome == WakeWait::Failed) throw Orrery::System::InterruptException();
    }
}

void UserEventQueueImpl::readWakeByte() {
    char byte = 0;
    errno = 0;  // so that an end of file reports 0 rather than a stale value
    if (::read(readFd_, &byte, 1) < 1) {
        int const err = errno;
        if (err == EINTR) throw Orrery::System::InterruptException();
        vxErrMsgId(CALYX::services::UserEventQueueReadFailed(errnoText(err)));
    }
    wakeByteInPipe_ = false;
}

UserEventRecord UserEventQueueImpl::pop() {
    boost::unique_lock<boost::mutex> lock(mutex_);
    takeWakeByte(lock);
    UserEventRecord result;
    if (queue_.empty()) {
        wakeWord_.store(kEmpty, std::memory_order_relaxed);
        return result;  // the byte is used up; nothing to dispatch
    }
    result = queue_.front();
    queue_.pop_front();
    wakeWord_.store(queue_.empty() ? kEmpty : kQueued, std::memory_order_relaxed);
    // Put the byte back for the events that remain.
    if (keepByte_.load()) writeMissingByte();
    lock.unlock();
    result.dispatchEvent();
    return result;
}

void UserEventQueueImpl::flush() {
    {
        boost::unique_lock<boost::mutex> lock(mutex_);
        takeWakeByte(lock);
        wakeWord_.store(kEmpty, std::memory_order_relaxed);
        if (flushQueue_.empty()) {
            flushQueue_.swap(queue_);  // the whole queue, without copying it under the lock
        } else {
            // Left over from a flush that a handler's exception ended: those go first.
            for (UserEventRecord const& record : queue_) flushQueue_.push_back(record);
            queue_.clear();
        }
    }
    while (!flushQueue_.empty()) {
        UserEventRecord const record = flushQueue_.front();
        flushQueue_.pop_front();
        record.dispatchEvent();
    }
    // A burst's ring goes back to the allocator; an ordinary one is kept for
    // the next swap.
    flushQueue_.releaseIfLargerThan(kKeptRecords);
}

} // namespace eventqueue
