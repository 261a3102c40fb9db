// The process-wide queue as an event loop sees it: dispatch order, the wake
// byte, the timer, the watched descriptors and interrupts.
#include "eventqueue/QueueFixture.hpp"

#include <qzservices/orrery/InterruptException.hpp>
#include <vx/errors.hpp>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <climits>
#include <cmath>
#include <stdexcept>
#include <thread>

using eventqueue::ReadPipe;
using qztest::bytesInPipe;
using qztest::seenTags;
using qztest::taggedRecord;
using Tags = std::vector<std::uint64_t>;

namespace {

typedef std::chrono::steady_clock Clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

std::vector<int> gHandled;  // descriptors the handlers below consumed a byte of
bool gLastFlushFlag = false;

// A pipe of the test's own, closed (and no longer watched) at the end; the
// record of handled descriptors starts afresh with it.
struct TestPipe {
    int fd[2] = {-1, -1};
    TestPipe() {
        EXPECT_EQ(pipe(fd), 0);
        gHandled.clear();
    }
    ~TestPipe() {
        eventqueue::UserEventQueue::getInstance()->removeInput(fd[0]);
        close(fd[0]);
        close(fd[1]);
    }
    void makeReadable() { ASSERT_EQ(write(fd[1], "x", 1), 1); }
};

bool consumeAndAccept(int fd, bool flush) {
    char c;
    EXPECT_EQ(read(fd, &c, 1), 1);
    gHandled.push_back(fd);
    gLastFlushFlag = flush;
    return true;
}

bool consumeAndRefuse(int fd, bool flush) { return !consumeAndAccept(fd, flush); }

void throwingHandler(void*) { throw std::runtime_error("handler failed"); }

void pushingHandler(void* data) {
    qztest::recordTag(data);
    eventqueue::UserEventQueue::getInstance()->push(taggedRecord(99));
}

void interruptingHandler(void* data) {
    qztest::recordTag(data);
    uvSetInterruptPending(1);
    uvLongjmpIfInterruptPending();  // the dispatch runs in mode 0: this leaves it pending
}

using EventQueue = qztest::QueueTest;

} // namespace

// ---- dispatch ----

TEST_F(EventQueue, EachWaitDispatchesOneEventInOrderAndANullHandlerIsANoOp) {
    q->push(taggedRecord(1));
    q->push(taggedRecord(2, nullptr));
    q->push(taggedRecord(3));
    Tags const after[] = {{1}, {1}, {1, 3}};
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(bytesInPipe(q->getReadFd()), 1);  // else the wait would block for good
        EXPECT_EQ(q->getNextEventOrBlock(), 1);
        EXPECT_EQ(seenTags(), after[i]);
    }
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);

    for (std::uint64_t i = 4; i <= 6; ++i) q->push(taggedRecord(i));
    EXPECT_EQ(q->flushEventsOrBlock(), 1);  // one flushing wait for all
    EXPECT_EQ(seenTags(), (Tags{1, 3, 4, 5, 6}));
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);
}

TEST_F(EventQueue, HandlerMayPushAndTheNextWaitRunsIt) {
    q->push(taggedRecord(1, &pushingHandler));
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 1);
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (Tags{1, 99}));
}

TEST_F(EventQueue, ThrowingHandlerLeavesTheRestForTheNextWait) {
    q->push(taggedRecord(1, &throwingHandler));
    q->push(taggedRecord(2));
    q->push(taggedRecord(3));
    EXPECT_THROW(q->flushEventsOrBlock(), std::runtime_error);
    EXPECT_FALSE(q->eventPending());  // the queue itself was emptied into the flush
    q->push(taggedRecord(4));
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (Tags{2, 3, 4}));  // the leftovers first

    q->push(taggedRecord(5, &throwingHandler));
    q->push(taggedRecord(6));
    EXPECT_THROW(q->getNextEventOrBlock(), std::runtime_error);
    ASSERT_TRUE(q->eventPending());  // the byte was put back before the dispatch
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_EQ(seenTags(), (Tags{2, 3, 4, 6}));
    EXPECT_FALSE(q->eventPending());
}

// ---- the wake byte ----

TEST_F(EventQueue, PipeHoldsOneByteExactlyWhileTheQueueIsNotEmpty) {
    int const fd = q->getReadFd();
    for (int i = 0; i < 1000; ++i) q->push(taggedRecord(static_cast<std::uint64_t>(i)));
    EXPECT_EQ(bytesInPipe(fd), 1);
    for (int i = 0; i < 999; ++i) {
        EXPECT_EQ(q->pop().getEvent()->word[0], static_cast<std::uint64_t>(i));
        ASSERT_EQ(bytesInPipe(fd), 1) << "after pop " << i;
    }
    eventqueue::UserEventRecord last = q->pop();
    EXPECT_EQ(last.getEventHandler(), &qztest::recordTag);
    EXPECT_EQ(bytesInPipe(fd), 0);
    EXPECT_EQ(seenTags().size(), 1000u);
}

TEST_F(EventQueue, AByteAHostTookOffTheReadEndIsWrittenAgainByTheNextPush) {
    int const fd = q->getReadFd();  // a host that holds the read end
    q->push(taggedRecord(1));
    ASSERT_EQ(bytesInPipe(fd), 1);
    char byte = 0;
    ASSERT_EQ(read(fd, &byte, 1), 1);  // its own loop takes the byte
    q->push(taggedRecord(2));
    EXPECT_EQ(bytesInPipe(fd), 1);  // signalled again at once
    q->push(taggedRecord(3));
    EXPECT_EQ(bytesInPipe(fd), 1);  // and never more than one byte
    q->setTimer(1.0);  // a lost byte would end this wait with nothing done
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (Tags{1, 2, 3}));
    EXPECT_EQ(bytesInPipe(fd), 0);
}

TEST_F(EventQueue, ByteWrittenByAnotherHandIsTakenAsTheWakeByte) {
    ASSERT_EQ(write(q->getWriteFd(), "E", 1), 1);
    q->push(taggedRecord(1));
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 1);  // not a second byte
    q->flush();
    EXPECT_EQ(seenTags(), (Tags{1}));
    // A stray byte with an empty queue: used up, nothing dispatched.
    ASSERT_EQ(write(q->getWriteFd(), "E", 1), 1);
    eventqueue::UserEventRecord r = q->pop();
    EXPECT_EQ(r.getEventHandler(), nullptr);
    EXPECT_EQ(seenTags(), (Tags{1}));
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);
}

// A queue whose ends nobody asked for wakes its loop by the wake word; a
// host that asks for the read end, or a second watched descriptor, puts the
// loop back on the pipe, with the byte there for what is already queued.
TEST(QueueWithoutPipe, WakesByTheWordUntilThePipeIsNeeded) {
    seenTags().clear();
    std::unique_ptr<eventqueue::UserEventQueueImpl> q(new eventqueue::UserEventQueueImpl);
    q->setTimer(0.05);
    EXPECT_EQ(q->flushEventsOrBlock(), 0);
    EXPECT_FALSE(q->eventPending());
    q->setTimer(-1.0);
    std::thread producer([&q] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        q->push(taggedRecord(1));
    });
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    producer.join();

    int other[2];
    ASSERT_EQ(pipe(other), 0);
    q->push(taggedRecord(2));
    EXPECT_TRUE(q->eventPending());
    q->addInput(other[0], &consumeAndAccept);  // now select watches both
    q->setTimer(1.0);  // a missing byte would end this wait with nothing done
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    q->removeInput(other[0]);
    close(other[0]);
    close(other[1]);

    q->push(taggedRecord(3));
    q->push(taggedRecord(4));
    int const fd = q->getReadFd();
    EXPECT_EQ(bytesInPipe(fd), 1);
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_EQ(bytesInPipe(fd), 1);
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(bytesInPipe(fd), 0);
    EXPECT_EQ(seenTags(), (Tags{1, 2, 3, 4}));
}

// ---- the timer and waitForEvent ----

TEST_F(EventQueue, TimerReadsBackItsFieldsAndANaNTimerFailsEveryWait) {
    struct Row {
        double set, reads;
        int sec, usec;
    } const rows[] = {
        {0.5, -1.0, 0, 500000},  {2.25, 2.25, 2, 250000}, {1.0, 1.0, 1, 0},        {3.0000009, 3.0, 3, 0},
        {0.0, -1.0, 0, 0},       {-3.0, -1.0, -1, -1},    {NAN, -1.0, INT_MIN, INT_MIN},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.set);
        q->setTimer(2.0);
        q->setTimer(row.set);
        EXPECT_EQ(q->getTimer(), row.reads);
        EXPECT_EQ(q->getImpl()->getTimerSec(), row.sec);
        EXPECT_EQ(q->getImpl()->getTimerUSec(), row.usec);
    }
    q->push(taggedRecord(1));
    EXPECT_EQ(q->getNextEventOrBlock(), -1);  // select refuses the NaN timer's fields at once
    EXPECT_TRUE(seenTags().empty());
}

TEST_F(EventQueue, TimeoutsBeyondAnIntAreTheLongestWaitNotAFailure) {
    double const kMaxSeconds = 2147483647.999999;
    for (double huge : {2147483648.0, 1e12, static_cast<double>(INFINITY)}) {
        SCOPED_TRACE(huge);
        q->setTimer(huge);
        EXPECT_EQ(q->getImpl()->getTimerSec(), INT_MAX);
        EXPECT_EQ(q->getImpl()->getTimerUSec(), 999999);
        EXPECT_EQ(q->getTimer(), kMaxSeconds);
        q->push(taggedRecord(1));
        EXPECT_EQ(q->getNextEventOrBlock(), 1);  // the event comes within the wait
        EXPECT_EQ(seenTags(), (Tags{1}));
        seenTags().clear();
        q->push(taggedRecord(2));
        EXPECT_TRUE(q->waitForEvent(huge));
        q->flush();
        seenTags().clear();
    }
    q->setTimer(2147483647.5);  // the largest whole second an int holds is kept as it is
    EXPECT_EQ(q->getImpl()->getTimerSec(), INT_MAX);
    EXPECT_EQ(q->getImpl()->getTimerUSec(), 500000);
}

TEST_F(EventQueue, TimerBelowOneSecondStillLimitsTheWaitEvenWithNothingWatched) {
    q->setTimer(0.3);
    Clock::time_point start = Clock::now();
    EXPECT_EQ(q->getNextEventOrBlock(), 0);
    EXPECT_GE(secondsSince(start), 0.28);
    EXPECT_EQ(q->getImpl()->getTimerUSec(), 300000);  // the wait worked on a copy

    ASSERT_EQ(q->removeInput(q->getReadFd()), &ReadPipe);
    q->push(taggedRecord(1));
    q->push(taggedRecord(2));
    start = Clock::now();
    EXPECT_EQ(q->flushEventsOrBlock(), 0);  // events are held while the read end is not watched
    EXPECT_GE(secondsSince(start), 0.28);
    EXPECT_TRUE(seenTags().empty());
    EXPECT_TRUE(q->eventPending());
    EXPECT_EQ(q->addInput(q->getReadFd(), &ReadPipe), nullptr);
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (Tags{1, 2}));
}

TEST_F(EventQueue, MinusOneWaitsWithoutLimit) {
    std::thread poster([this] {
        for (std::uint64_t tag : {7, 8}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            q->push(taggedRecord(tag));
        }
    });
    q->setTimer(-3.0);
    Clock::time_point start = Clock::now();
    EXPECT_TRUE(q->waitForEvent(-1.0));
    EXPECT_GE(secondsSince(start), 0.25);
    EXPECT_TRUE(seenTags().empty());  // waiting dispatches nothing
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    start = Clock::now();
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_GE(secondsSince(start), 0.25);
    poster.join();
    EXPECT_EQ(seenTags(), (Tags{7, 8}));
}

TEST_F(EventQueue, WaitForEventTimesOutSeesTheByteOrRefusesOtherNegatives) {
    Clock::time_point start = Clock::now();
    EXPECT_FALSE(q->waitForEvent(0.2));
    EXPECT_GE(secondsSince(start), 0.18);
    EXPECT_FALSE(q->waitForEvent(std::nan("")));
    q->push(taggedRecord(1));
    EXPECT_TRUE(q->waitForEvent(0.0));
    EXPECT_TRUE(q->waitForEvent(10.0));
    start = Clock::now();
    for (double seconds : {-2.0, -0.5, -1.0000001}) EXPECT_FALSE(q->waitForEvent(seconds)) << seconds;
    EXPECT_LT(secondsSince(start), 1.0);
}

// ---- watched descriptors ----

TEST_F(EventQueue, AddAndRemoveInputReportTheHandlerTheyReplace) {
    TestPipe p;
    int const fd = p.fd[0];
    EXPECT_EQ(q->addInput(fd, &consumeAndAccept), nullptr);
    EXPECT_EQ(q->addInput(fd, &consumeAndRefuse), &consumeAndAccept);
    EXPECT_EQ(q->removeInput(fd), &consumeAndRefuse);
    EXPECT_EQ(q->removeInput(fd), nullptr);
    EXPECT_EQ(q->removeInput(1000), nullptr);
    for (int bad : {-1, static_cast<int>(FD_SETSIZE)}) {
        try {
            q->addInput(bad, &consumeAndAccept);
            ADD_FAILURE() << "no error for " << bad;
        } catch (vx::Error const& e) {
            EXPECT_EQ(e.identifier(), "CALYX:services:UserEventQueueBadFileDescriptor");
            EXPECT_NE(std::string(e.what()).find(std::to_string(bad)), std::string::npos) << e.what();
        }
        EXPECT_EQ(q->removeInput(bad), nullptr);
    }
}

TEST_F(EventQueue, ReadyDescriptorsAndEventsShareOneWaitLowestFirst) {
    TestPipe a, b;
    q->addInput(b.fd[0], &consumeAndAccept);
    q->addInput(a.fd[0], &consumeAndAccept);
    a.makeReadable();
    b.makeReadable();
    q->push(taggedRecord(3));
    EXPECT_EQ(q->flushEventsOrBlock(), 3);
    int const low = std::min(a.fd[0], b.fd[0]), high = std::max(a.fd[0], b.fd[0]);
    EXPECT_EQ(gHandled, (std::vector<int>{low, high}));
    EXPECT_TRUE(gLastFlushFlag);
    EXPECT_EQ(seenTags(), (Tags{3}));
    a.makeReadable();
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_FALSE(gLastFlushFlag);
}

TEST_F(EventQueue, HandlerReturningFalseLowersTheCountButNotBelowZero) {
    TestPipe a, b, c;
    q->addInput(a.fd[0], &consumeAndRefuse);
    q->addInput(b.fd[0], &consumeAndAccept);
    q->addInput(c.fd[0], &consumeAndRefuse);
    a.makeReadable();
    b.makeReadable();
    c.makeReadable();
    EXPECT_EQ(q->getNextEventOrBlock(), 1);  // three ready, two refused
    EXPECT_EQ(gHandled.size(), 3u);
    a.makeReadable();
    c.makeReadable();
    EXPECT_EQ(q->getNextEventOrBlock(), 0);  // both refused: 0, not less
    q->addInput(b.fd[0], nullptr);  // ready without a handler: still counts
    b.makeReadable();
    a.makeReadable();
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
}

TEST_F(EventQueue, HandlerMayRemoveItsOwnAndAnotherInputDuringTheWait) {
    TestPipe a, b;
    static int sOther = -1;
    sOther = std::max(a.fd[0], b.fd[0]);
    int const first = std::min(a.fd[0], b.fd[0]);
    q->addInput(first, [](int fd, bool flush) {
        eventqueue::UserEventQueue::getInstance()->removeInput(sOther);
        eventqueue::UserEventQueue::getInstance()->removeInput(fd);
        return consumeAndAccept(fd, flush);
    });
    q->addInput(sOther, &consumeAndAccept);
    a.makeReadable();
    b.makeReadable();
    EXPECT_EQ(q->getNextEventOrBlock(), 2);
    EXPECT_EQ(gHandled, (std::vector<int>{first}));
    EXPECT_EQ(q->removeInput(first), nullptr);
}

// ---- interrupts ----

TEST_F(EventQueue, InterruptPendingAtTheWaitThrowsBeforeAnyHandlerOneRaisedByAHandlerAfterAll) {
    q->push(taggedRecord(1));
    uvSetInterruptPending(1);
    EXPECT_THROW(q->flushEventsOrBlock(), Orrery::System::InterruptException);
    EXPECT_TRUE(seenTags().empty());
    EXPECT_EQ(uvIsInterruptPending(), 0);
    q->push(taggedRecord(2, &interruptingHandler));
    q->push(taggedRecord(3));
    EXPECT_THROW(q->flushEventsOrBlock(), Orrery::System::InterruptException);
    EXPECT_EQ(seenTags(), (Tags{1, 2, 3}));
    EXPECT_EQ(uvInterruptMode::current(), 1);
}
