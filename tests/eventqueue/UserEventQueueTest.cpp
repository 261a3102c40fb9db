// The process-wide queue as an event loop sees it: dispatch order, the wake
// byte, the timer, the watched descriptors and interrupts.
#include "eventqueue/QueueFixture.hpp"

#include <qzservices/orrery/InterruptException.hpp>
#include <vx/errors.hpp>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cmath>
#include <stdexcept>
#include <thread>

using eventqueue::ReadPipe;
using eventqueue::UserEventRecord;
using qztest::bytesInPipe;
using qztest::QueueTest;
using qztest::seenTags;
using qztest::taggedRecord;

namespace {

typedef std::chrono::steady_clock Clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A pipe of the test's own, closed at the end.
struct TestPipe {
    int fd[2] = {-1, -1};
    TestPipe() { EXPECT_EQ(pipe(fd), 0); }
    ~TestPipe() {
        close(fd[0]);
        close(fd[1]);
    }
    void makeReadable() { ASSERT_EQ(write(fd[1], "x", 1), 1); }
};

std::vector<int> gHandled;

bool consumeAndAccept(int fd, bool) {
    char c;
    EXPECT_EQ(read(fd, &c, 1), 1);
    gHandled.push_back(fd);
    return true;
}

bool consumeAndRefuse(int fd, bool flush) {
    consumeAndAccept(fd, flush);
    return false;
}

bool gLastFlushFlag = false;
bool rememberFlushFlag(int fd, bool flush) {
    gLastFlushFlag = flush;
    return consumeAndAccept(fd, flush);
}

bool neverCalled(int, bool) {
    ADD_FAILURE() << "a handler ran that should not have";
    return true;
}

void throwingHandler(void*) { throw std::runtime_error("handler failed"); }

void pushingHandler(void* data) {
    qztest::recordTag(data);
    eventqueue::UserEventQueue::getInstance()->push(taggedRecord(99));
}

} // namespace

// ---- dispatch ----

TEST_F(QueueTest, ThreeWaitsDispatchThreePushesInOrder) {
    q->push(taggedRecord(1));
    q->push(taggedRecord(2));
    q->push(taggedRecord(3));
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 1);

    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1}));
    EXPECT_TRUE(q->eventPending());
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 2}));
    EXPECT_TRUE(q->eventPending());
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 2, 3}));
    EXPECT_FALSE(q->eventPending());
}

TEST_F(QueueTest, OneFlushingWaitDispatchesEverything) {
    for (std::uint64_t i = 1; i <= 3; ++i) q->push(taggedRecord(i));
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 2, 3}));
    EXPECT_FALSE(q->eventPending());
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);
}

TEST_F(QueueTest, NullHandlerEventIsRemovedAndDispatchedAsNothing) {
    q->push(taggedRecord(4, nullptr));
    q->push(taggedRecord(5));
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_TRUE(seenTags().empty());
    EXPECT_TRUE(q->eventPending());
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{5}));
}

TEST_F(QueueTest, PopReturnsTheRecordItDispatched) {
    q->push(taggedRecord(41));
    UserEventRecord r = q->pop();
    EXPECT_EQ(r.getEvent()->word[0], 41u);
    EXPECT_EQ(r.getEventHandler(), &qztest::recordTag);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{41}));
}

TEST_F(QueueTest, HandlerMayPushAndTheNextWaitRunsIt) {
    q->push(taggedRecord(1, &pushingHandler));
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1}));
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 1);
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 99}));
}

TEST_F(QueueTest, ThrowingHandlerDuringFlushLeavesTheRestForTheNextFlush) {
    q->push(taggedRecord(1, &throwingHandler));
    q->push(taggedRecord(2));
    q->push(taggedRecord(3));
    EXPECT_THROW(q->flushEventsOrBlock(), std::runtime_error);
    EXPECT_TRUE(seenTags().empty());
    EXPECT_FALSE(q->eventPending());  // the queue itself was emptied
    q->push(taggedRecord(4));
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{2, 3, 4}));
}

TEST_F(QueueTest, ThrowingHandlerDuringPopLeavesTheQueueUsable) {
    q->push(taggedRecord(1, &throwingHandler));
    q->push(taggedRecord(2));
    EXPECT_THROW(q->getNextEventOrBlock(), std::runtime_error);
    EXPECT_TRUE(q->eventPending());
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{2}));
    EXPECT_FALSE(q->eventPending());
}

// ---- the wake byte ----

TEST_F(QueueTest, PipeHoldsOneByteExactlyWhileTheQueueIsNotEmpty) {
    int const fd = q->getReadFd();
    EXPECT_EQ(bytesInPipe(fd), 0);
    for (int i = 0; i < 1000; ++i) q->push(taggedRecord(static_cast<std::uint64_t>(i)));
    EXPECT_EQ(bytesInPipe(fd), 1);
    for (int i = 0; i < 999; ++i) {
        q->pop();
        ASSERT_EQ(bytesInPipe(fd), 1) << "after pop " << i;
    }
    q->pop();
    EXPECT_EQ(bytesInPipe(fd), 0);
    q->push(taggedRecord(1));
    q->push(taggedRecord(2));
    EXPECT_EQ(bytesInPipe(fd), 1);
    q->flush();
    EXPECT_EQ(bytesInPipe(fd), 0);
    EXPECT_EQ(seenTags().size(), 1002u);
}

TEST_F(QueueTest, PostersOnManyThreadsLeaveOneByte) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([this] {
            for (int i = 0; i < 500; ++i) q->push(taggedRecord(1));
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 1);
    q->flush();
    EXPECT_EQ(seenTags().size(), 2000u);
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);
}

TEST_F(QueueTest, ByteWrittenByAnotherHandIsTakenAsTheWakeByte) {
    // Abnormal, but it must not add a second byte.
    ASSERT_EQ(write(q->getWriteFd(), "E", 1), 1);
    q->push(taggedRecord(1));
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 1);
    q->flush();
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1}));
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);
}

TEST_F(QueueTest, PopOfAByteWithAnEmptyQueueDispatchesNothing) {
    ASSERT_EQ(write(q->getWriteFd(), "E", 1), 1);
    UserEventRecord r = q->pop();
    EXPECT_EQ(r.getEventHandler(), nullptr);
    EXPECT_EQ(r.getEvent()->word[0], 0u);
    EXPECT_TRUE(seenTags().empty());
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);
}

// ---- the timer ----

TEST_F(QueueTest, TimerBelowOneSecondReadsAsMinusOneYetLimitsTheWait) {
    q->setTimer(0.5);
    EXPECT_EQ(q->getTimer(), -1.0);
    EXPECT_EQ(q->getImpl()->getTimerSec(), 0);
    EXPECT_EQ(q->getImpl()->getTimerUSec(), 500000);
    Clock::time_point start = Clock::now();
    EXPECT_EQ(q->getNextEventOrBlock(), 0);
    double const waited = secondsSince(start);
    EXPECT_GE(waited, 0.45);
    EXPECT_LT(waited, 5.0);
    // The wait worked on a copy: the timer is as it was.
    EXPECT_EQ(q->getImpl()->getTimerSec(), 0);
    EXPECT_EQ(q->getImpl()->getTimerUSec(), 500000);
}

TEST_F(QueueTest, TimerOfWholeAndFractionalSecondsReadsBack) {
    q->setTimer(2.25);
    EXPECT_EQ(q->getTimer(), 2.25);
    EXPECT_EQ(q->getImpl()->getTimerSec(), 2);
    EXPECT_EQ(q->getImpl()->getTimerUSec(), 250000);
    q->setTimer(1.0);
    EXPECT_EQ(q->getTimer(), 1.0);
    q->setTimer(3.0000009);  // the fraction's microseconds are floored
    EXPECT_EQ(q->getImpl()->getTimerSec(), 3);
    EXPECT_EQ(q->getImpl()->getTimerUSec(), 0);
    q->setTimer(0.0);  // a zero timeout is a poll, and reads as -1.0
    EXPECT_EQ(q->getImpl()->getTimerSec(), 0);
    EXPECT_EQ(q->getTimer(), -1.0);
}

TEST_F(QueueTest, NegativeTimerMeansNoLimit) {
    q->setTimer(2.0);
    q->setTimer(-3.0);
    EXPECT_EQ(q->getImpl()->getTimerSec(), -1);
    EXPECT_EQ(q->getImpl()->getTimerUSec(), -1);
    EXPECT_EQ(q->getTimer(), -1.0);
    // Proof of no limit: the wait outlasts a pause and returns for the push.
    std::thread poster([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        q->push(taggedRecord(7));
    });
    Clock::time_point start = Clock::now();
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_GE(secondsSince(start), 0.25);
    poster.join();
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{7}));
}

TEST_F(QueueTest, NaNTimerMakesEveryWaitFailAtOnce) {
    q->setTimer(std::nan(""));
    EXPECT_EQ(q->getImpl()->getTimerSec(), INT_MIN);
    EXPECT_EQ(q->getTimer(), -1.0);
    q->push(taggedRecord(1));
    EXPECT_EQ(q->getNextEventOrBlock(), -1);  // select refused the timeout; no handler ran
    EXPECT_TRUE(seenTags().empty());
    q->setTimer(-1.0);
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1}));
}

TEST_F(QueueTest, WaitWithNothingWatchedStillSleepsForTheTimer) {
    ASSERT_EQ(q->removeInput(q->getReadFd()), &ReadPipe);
    q->setTimer(0.2);
    Clock::time_point start = Clock::now();
    EXPECT_EQ(q->flushEventsOrBlock(), 0);
    EXPECT_GE(secondsSince(start), 0.18);
}

// ---- eventPending and waitForEvent ----

TEST_F(QueueTest, WaitForEventWithMinusOneWaitsWithoutLimit) {
    std::thread poster([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        q->push(taggedRecord(1));
    });
    Clock::time_point start = Clock::now();
    EXPECT_TRUE(q->waitForEvent(-1.0));
    EXPECT_GE(secondsSince(start), 0.25);
    poster.join();
    EXPECT_TRUE(seenTags().empty());  // waiting dispatches nothing
}

TEST_F(QueueTest, WaitForEventWithOtherNegativesAnswersFalseAtOnce) {
    q->push(taggedRecord(1));
    ASSERT_TRUE(q->eventPending());
    Clock::time_point start = Clock::now();
    EXPECT_FALSE(q->waitForEvent(-2.0));  // even with an event there
    EXPECT_FALSE(q->waitForEvent(-0.5));
    EXPECT_FALSE(q->waitForEvent(-1.0000001));
    EXPECT_LT(secondsSince(start), 1.0);
}

TEST_F(QueueTest, WaitForEventTimesOutOrSeesTheByte) {
    Clock::time_point start = Clock::now();
    EXPECT_FALSE(q->waitForEvent(0.2));
    EXPECT_GE(secondsSince(start), 0.18);
    EXPECT_FALSE(q->eventPending());
    EXPECT_FALSE(q->waitForEvent(std::nan("")));
    q->push(taggedRecord(1));
    EXPECT_TRUE(q->eventPending());
    EXPECT_TRUE(q->waitForEvent(0.0));
    EXPECT_TRUE(q->waitForEvent(10.0));
}

// ---- watched descriptors ----

TEST_F(QueueTest, AddAndRemoveInputReportTheHandlerTheyReplace) {
    TestPipe p;
    int const fd = p.fd[0];
    EXPECT_EQ(q->addInput(fd, &consumeAndAccept), nullptr);
    EXPECT_EQ(q->addInput(fd, &consumeAndRefuse), &consumeAndAccept);
    EXPECT_EQ(q->removeInput(fd), &consumeAndRefuse);
    EXPECT_EQ(q->removeInput(fd), nullptr);
    EXPECT_EQ(q->removeInput(1000), nullptr);
    EXPECT_EQ(q->addInput(fd, nullptr), nullptr);
    EXPECT_EQ(q->removeInput(fd), nullptr);  // it was there, with a null handler
}

TEST_F(QueueTest, DescriptorsThatSelectCannotWatchAreRefused) {
    for (int fd : {-1, -100, static_cast<int>(FD_SETSIZE), static_cast<int>(FD_SETSIZE) + 7}) {
        try {
            q->addInput(fd, &consumeAndAccept);
            ADD_FAILURE() << "no error for " << fd;
        } catch (vx::Error const& e) {
            EXPECT_EQ(e.identifier(), "CALYX:services:UserEventQueueBadFileDescriptor");
            EXPECT_NE(std::string(e.what()).find(std::to_string(fd)), std::string::npos) << e.what();
        }
        EXPECT_EQ(q->removeInput(fd), nullptr);
    }
}

TEST_F(QueueTest, ReadyDescriptorsRunLowestFirstWithTheFlushFlag) {
    TestPipe a, b;
    gHandled.clear();
    q->addInput(b.fd[0], &consumeAndAccept);
    q->addInput(a.fd[0], &rememberFlushFlag);
    a.makeReadable();
    b.makeReadable();
    EXPECT_EQ(q->flushEventsOrBlock(), 2);
    int const low = std::min(a.fd[0], b.fd[0]);
    int const high = std::max(a.fd[0], b.fd[0]);
    EXPECT_EQ(gHandled, (std::vector<int>{low, high}));
    EXPECT_TRUE(gLastFlushFlag);
    a.makeReadable();
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    EXPECT_FALSE(gLastFlushFlag);
    q->removeInput(a.fd[0]);
    q->removeInput(b.fd[0]);
}

TEST_F(QueueTest, HandlerReturningFalseLowersTheCountButNotBelowZero) {
    TestPipe a, b, c;
    gHandled.clear();
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

    // A ready descriptor without a handler still counts.
    q->addInput(b.fd[0], nullptr);
    b.makeReadable();
    a.makeReadable();
    q->setTimer(0.0);
    EXPECT_EQ(q->getNextEventOrBlock(), 1);
    char drain;
    EXPECT_EQ(read(b.fd[0], &drain, 1), 1);
    q->removeInput(a.fd[0]);
    q->removeInput(b.fd[0]);
    q->removeInput(c.fd[0]);
}

TEST_F(QueueTest, QueuedEventsAndOtherDescriptorsShareOneWait) {
    TestPipe a;
    gHandled.clear();
    q->addInput(a.fd[0], &consumeAndAccept);
    a.makeReadable();
    q->push(taggedRecord(3));
    EXPECT_EQ(q->flushEventsOrBlock(), 2);
    EXPECT_EQ(gHandled, (std::vector<int>{a.fd[0]}));
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{3}));
    q->removeInput(a.fd[0]);
}

TEST_F(QueueTest, RemovingTheReadDescriptorHoldsEventsUntilItIsBack) {
    EXPECT_EQ(q->removeInput(q->getReadFd()), &ReadPipe);
    q->push(taggedRecord(1));
    q->push(taggedRecord(2));
    q->setTimer(0.1);
    EXPECT_EQ(q->flushEventsOrBlock(), 0);
    EXPECT_TRUE(seenTags().empty());
    EXPECT_TRUE(q->eventPending());
    EXPECT_EQ(q->addInput(q->getReadFd(), &ReadPipe), nullptr);
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 2}));
}

TEST_F(QueueTest, HandlerMayRemoveAnotherInputDuringTheWait) {
    TestPipe a, b;
    static int sOther = -1;
    sOther = std::max(a.fd[0], b.fd[0]);
    int const first = std::min(a.fd[0], b.fd[0]);
    gHandled.clear();
    q->addInput(first, [](int fd, bool flush) {
        eventqueue::UserEventQueue::getInstance()->removeInput(sOther);
        return consumeAndAccept(fd, flush);
    });
    q->addInput(sOther, &neverCalled);
    a.makeReadable();
    b.makeReadable();
    EXPECT_EQ(q->getNextEventOrBlock(), 2);
    EXPECT_EQ(gHandled, (std::vector<int>{first}));
    q->removeInput(first);
}

// ---- interrupts ----

TEST_F(QueueTest, PendingInterruptAtTheWaitThrowsBeforeAnyHandler) {
    q->push(taggedRecord(1));
    uvSetInterruptPending(1);
    EXPECT_THROW(q->flushEventsOrBlock(), Orrery::System::InterruptException);
    EXPECT_TRUE(seenTags().empty());
    EXPECT_TRUE(q->eventPending());
    EXPECT_EQ(uvIsInterruptPending(), 0);
    EXPECT_EQ(q->flushEventsOrBlock(), 1);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1}));
}

namespace {
void interruptingHandler(void* data) {
    qztest::recordTag(data);
    // Inside the dispatch the mode is 0, so the older test leaves it pending.
    uvSetInterruptPending(1);
    uvLongjmpIfInterruptPending();
}
} // namespace

TEST_F(QueueTest, InterruptRaisedByAHandlerSurfacesAfterTheDispatch) {
    q->push(taggedRecord(1, &interruptingHandler));
    q->push(taggedRecord(2));
    EXPECT_THROW(q->flushEventsOrBlock(), Orrery::System::InterruptException);
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 2}));  // all of the flush ran first
    EXPECT_EQ(uvInterruptMode::current(), 1);
}
