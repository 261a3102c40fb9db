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
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cmath>
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

} // namespace

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
    return previous;
}

UserEventInputHandler UserEventQueueImpl::removeInput(int fd) {
    auto it = inputs_.find(fd);
    if (it == inputs_.end()) return nullptr;
    UserEventInputHandler const handler = it->second;
    inputs_.erase(it);
    return handler;
}

// ---- the waits ----

int UserEventQueueImpl::getNextEventOrBlock() { return selectFcn(false); }
int UserEventQueueImpl::flushEventsOrBlock() { return selectFcn(true); }

int UserEventQueueImpl::selectFcn(bool flush) {
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
                if (handler != nullptr && !handler(fd, flush) && result > 0) --result;
            }
            // Found again by key: a handler may have added or removed inputs.
            it = inputs_.upper_bound(fd);
        }
    }
    uvInterruptState::ThrowIfInterruptPending();
    return result;
}

bool UserEventQueueImpl::eventPending(double seconds) {
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
    // Cheap check first: a byte this queue wrote and nobody has read yet is
    // still there, so a busy queue posts without a system call. Once a host
    // holds the read end it may have read the byte itself: then the pipe is
    // asked, and a byte that went missing is written again by this push.
    if (wakeByteInPipe_ && !readEndShared_.load()) return;
    if (eventPending(0.0)) {
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
    readWakeByte();
    UserEventRecord result;
    if (queue_.empty()) return result;  // the byte is used up; nothing to dispatch
    result = queue_.front();
    queue_.pop_front();
    if (!queue_.empty()) {
        // Put the byte back for the events that remain.
        if (eventPending(0.0)) {
            wakeByteInPipe_ = true;
        } else if (::write(writeFd_, &kWakeByte, 1) > 0) {
            wakeByteInPipe_ = true;
        }
    }
    lock.unlock();
    result.dispatchEvent();
    return result;
}

void UserEventQueueImpl::flush() {
    {
        boost::lock_guard<boost::mutex> lock(mutex_);
        readWakeByte();
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
