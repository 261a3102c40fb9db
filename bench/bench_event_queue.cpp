// The user event queue against boost::asio's io_context, between the same two
// threads: a producer hands over 1,000,000 events, the main thread runs each
// one's handler (the same function in both). One iteration is the whole
// million; the ratio line compares the best runs.
//
// Also: the queue's pop mode (one event per wait) per event, and the wake-up
// latency from a push on an idle queue to its handler, for both, measured
// alike and interleaved in rounds so that both see the same load on the
// machine: counters (median and 99th percentile, microseconds) per run, and a
// ratio line of the medians over every sample of every run.
#include "ratio_main.hpp"

#include <qzservices/eventqueue/UserEventQueue.hpp>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

namespace {

constexpr std::uint64_t kEvents = 1000000;
constexpr std::uint64_t kPopEvents = 200000;
constexpr int kLatencySamples = 5000;

// The handler of both sides: counts, and reads the event's words as a real
// handler would.
std::uint64_t gHandled = 0;
std::uint64_t gChecksum = 0;

void handle(void* data) {
    gChecksum += static_cast<eventqueue::UserEventData const*>(data)->word[0];
    ++gHandled;
}

eventqueue::UserEventRecord recordFor(std::uint64_t i) {
    eventqueue::UserEventData data = {{i, 0}};
    eventqueue::UserEventRecord record(data);
    record.setEventHandler(&handle);
    return record;
}

// Nanoseconds per event of one iteration (each benchmark runs one).
std::int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// One producer thread pushes `count` events while this thread takes them
// off the queue with drain(queue) until all were handled.
template <class Drain>
void produceAndDrain(benchmark::State& state, std::uint64_t count, Drain drain) {
    eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();
    q->setTimer(-1.0);
    std::int64_t elapsed = 0;
    for (auto _ : state) {
        std::int64_t const start = nowNs();
        gHandled = 0;
        std::thread producer([q, count] {
            for (std::uint64_t i = 0; i < count; ++i) q->push(recordFor(i));
        });
        while (gHandled < count) drain(q);
        producer.join();
        elapsed = nowNs() - start;
    }
    state.counters["ns_per_event"] = static_cast<double>(elapsed) / count;
}

void QueueFlushMillion(benchmark::State& state) {
    produceAndDrain(state, kEvents, [](eventqueue::UserEventQueue* q) { q->flushEventsOrBlock(); });
}

void AsioPostMillion(benchmark::State& state) {
    std::int64_t elapsed = 0;
    for (auto _ : state) {
        std::int64_t const start = nowNs();
        boost::asio::io_context ctx(1);
        auto work = boost::asio::make_work_guard(ctx);
        gHandled = 0;
        std::thread producer([&ctx] {
            for (std::uint64_t i = 0; i < kEvents; ++i) {
                eventqueue::UserEventData data = {{i, 0}};
                boost::asio::post(ctx, [data]() mutable { handle(&data); });
            }
            // The last one lets run() return once everything before it ran.
            boost::asio::post(ctx, [&] {});
        });
        while (gHandled < kEvents) ctx.run_one();
        work.reset();
        ctx.run();
        producer.join();
        elapsed = nowNs() - start;
    }
    state.counters["ns_per_event"] = static_cast<double>(elapsed) / kEvents;
}

void QueuePopPerEvent(benchmark::State& state) {
    produceAndDrain(state, kPopEvents, [](eventqueue::UserEventQueue* q) { q->getNextEventOrBlock(); });
}

// ---- wake-up latency on an idle consumer ----

constexpr int kLatencyRounds = 10;
constexpr int kSamplesPerRound = 500;

std::atomic<std::uint64_t> gAcknowledged{0};
std::vector<double>* gLatencyUs = nullptr;  // where the handler records, set before each round

void stampedHandler(void* data) {
    auto const* words = static_cast<eventqueue::UserEventData const*>(data);
    gLatencyUs->push_back((nowNs() - static_cast<std::int64_t>(words->word[0])) / 1000.0);
    gAcknowledged.fetch_add(1, std::memory_order_release);
}

// The producer waits for each handler, then leaves the consumer idle for a
// while before the next push, so that every push finds it asleep.
void produceStamped(std::function<void(eventqueue::UserEventData)> const& post) {
    for (int i = 0; i < kSamplesPerRound; ++i) {
        while (gAcknowledged.load(std::memory_order_acquire) < static_cast<std::uint64_t>(i))
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        eventqueue::UserEventData data = {{static_cast<std::uint64_t>(nowNs()), 0}};
        post(data);
    }
}

// One round on the queue: its loop waits with flushEventsOrBlock, as a host's does.
void queueRound() {
    eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();
    q->setTimer(-1.0);
    gAcknowledged = 0;
    std::thread producer([q] {
        produceStamped([q](eventqueue::UserEventData data) {
            eventqueue::UserEventRecord record(data);
            record.setEventHandler(&stampedHandler);
            q->push(record);
        });
    });
    while (gAcknowledged.load() < static_cast<std::uint64_t>(kSamplesPerRound)) q->flushEventsOrBlock();
    producer.join();
}

// One round on asio: its loop waits with run_one, the handler the same.
void asioRound() {
    boost::asio::io_context ctx(1);
    auto work = boost::asio::make_work_guard(ctx);
    gAcknowledged = 0;
    std::thread producer([&ctx] {
        produceStamped([&ctx](eventqueue::UserEventData data) {
            boost::asio::post(ctx, [data]() mutable { stampedHandler(&data); });
        });
    });
    while (gAcknowledged.load() < static_cast<std::uint64_t>(kSamplesPerRound)) ctx.run_one();
    work.reset();
    producer.join();
}

// Every sample of every run, for the ratio line.
std::vector<double> gAllQueueUs, gAllAsioUs;

double percentile(std::vector<double> v, int percent) {
    if (v.empty()) return 0.0;
    std::sort(v.begin(), v.end());
    return v[v.size() * static_cast<size_t>(percent) / 100];
}

void WakeLatency(benchmark::State& state) {
    std::vector<double> queueUs, asioUs;
    queueUs.reserve(kLatencyRounds * kSamplesPerRound);
    asioUs.reserve(kLatencyRounds * kSamplesPerRound);
    for (auto _ : state) {
        for (int round = 0; round < kLatencyRounds; ++round) {
            // Which side goes first alternates, so that neither always follows the other.
            for (int side = 0; side < 2; ++side) {
                bool const queue = (side == 0) == (round % 2 == 0);
                gLatencyUs = queue ? &queueUs : &asioUs;
                if (queue) queueRound();
                else asioRound();
            }
        }
    }
    state.counters["queue_median_us"] = percentile(queueUs, 50);
    state.counters["queue_p99_us"] = percentile(queueUs, 99);
    state.counters["asio_median_us"] = percentile(asioUs, 50);
    state.counters["asio_p99_us"] = percentile(asioUs, 99);
    gAllQueueUs.insert(gAllQueueUs.end(), queueUs.begin(), queueUs.end());
    gAllAsioUs.insert(gAllAsioUs.end(), asioUs.begin(), asioUs.end());
}

BENCHMARK(QueueFlushMillion)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AsioPostMillion)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(QueuePopPerEvent)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(WakeLatency)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    int const rc = qzbench::runWithRatios(argc, argv, {{"QueueFlushMillion", "AsioPostMillion"}});
    double const asio = percentile(gAllAsioUs, 50);
    if (asio > 0) {
        std::printf("ratio QueueWakeMedian / AsioWakeMedian = %.2f (medians of %zu samples each: %.2f us, %.2f us)\n",
                    percentile(gAllQueueUs, 50) / asio, gAllQueueUs.size(), percentile(gAllQueueUs, 50), asio);
    }
    return rc;
}
