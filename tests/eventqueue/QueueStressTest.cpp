// Many producers against the one event-loop thread: every event dispatched
// exactly once, in the order its producer pushed it, and the wake byte gone
// at the end; on the process's queue, whose pipe a host holds, and on a queue
// of our own, which wakes its loop without the pipe. QZ_STRESS_SCALE (a
// fraction or multiple) scales the counts.
#include "eventqueue/QueueFixture.hpp"
#include "support/stress_scale.hpp"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using eventqueue::UserEventQueueImpl;
using eventqueue::UserEventRecord;
using qztest::bytesInPipe;

namespace {

constexpr int kProducers = 8;

// Touched by the handler only, on the thread that waits.
std::vector<std::uint64_t> gNextSequence;
std::uint64_t gDispatched = 0;
std::uint64_t gOutOfOrder = 0;

void checkOrder(void* data) {
    auto const* words = static_cast<eventqueue::UserEventData const*>(data);
    std::uint64_t const producer = words->word[0];
    std::uint64_t const sequence = words->word[1];
    if (producer >= gNextSequence.size() || sequence != gNextSequence[producer]) {
        ++gOutOfOrder;
    } else {
        ++gNextSequence[producer];
    }
    ++gDispatched;
}

} // namespace

// Runs the producers against `q`'s loop; returns once all is dispatched.
void produceAndWait(UserEventQueueImpl* q) {
    int const perProducer = qztest::stressScaled(100000);
    std::uint64_t const total = static_cast<std::uint64_t>(perProducer) * kProducers;
    gNextSequence.assign(kProducers, 0);
    gDispatched = 0;
    gOutOfOrder = 0;

    std::atomic<int> running{kProducers};
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([q, p, perProducer, &running] {
            for (int i = 0; i < perProducer; ++i) {
                eventqueue::UserEventData data = {{static_cast<std::uint64_t>(p), static_cast<std::uint64_t>(i)}};
                UserEventRecord record(data);
                record.setEventHandler(&checkOrder);
                q->push(record);
            }
            --running;
        });
    }

    // A timer, so that a lost wake-up ends the loop instead of hanging it.
    q->setTimer(2.0);
    std::uint64_t waits = 0;
    int idleAfterDone = 0;
    while (gDispatched < total && idleAfterDone < 3) {
        // Mostly flushing, now and then one event at a time: both paths of
        // the wake-up are under load.
        int const n = (++waits % 8 == 0) ? q->getNextEventOrBlock() : q->flushEventsOrBlock();
        ASSERT_GE(n, 0);
        if (n == 0 && running == 0) ++idleAfterDone;
    }
    for (auto& t : producers) t.join();

    EXPECT_EQ(gDispatched, total);
    EXPECT_EQ(gOutOfOrder, 0u);
    for (int p = 0; p < kProducers; ++p) EXPECT_EQ(gNextSequence[p], static_cast<std::uint64_t>(perProducer)) << p;
    EXPECT_FALSE(q->eventPending());
}

using QueueStress = qztest::QueueTest;

TEST_F(QueueStress, EightProducersEveryEventOnceInProducerOrder) {
    produceAndWait(q->getImpl());
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);
}

TEST(QueueStressWithoutPipe, EightProducersEveryEventOnceInProducerOrder) {
    std::unique_ptr<UserEventQueueImpl> q(new UserEventQueueImpl);
    produceAndWait(q.get());
    EXPECT_EQ(bytesInPipe(q->getReadFd()), 0);  // never written
}
