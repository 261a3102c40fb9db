// The user event queue against boost::asio's io_context, between the same two
// threads: a producer hands over 1,000,000 events, the main thread runs each
// one's handler (the same function in both). One iteration is the whole
// million; the ratio line compares the best runs.
//
// Also: the queue's pop mode (one event per wait) per event, and the wake-up
// latency from a push on an idle queue to its handler, for both, as counters
// (median and 99th percentile, microseconds).
#include "ratio_main.hpp"

#include <qzservices/eventqueue/UserEventQueue.hpp>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
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

std::atomic<std::uint64_t> gAcknowledged{0};
std::vector<double> gLatencyUs;

void stampedHandler(void* data) {
    auto const* words = static_cast<eventqueue::UserEventData const*>(data);
    gLatencyUs.push_back((nowNs() - static_cast<std::int64_t>(words->word[0])) / 1000.0);
    gAcknowledged.fetch_add(1, std::memory_order_release);
}

// The producer waits for each handler, then leaves the consumer idle for a
// while before the next push, so that every push finds it asleep.
void produceStamped(std::function<void(eventqueue::UserEventData)> const& post) {
    for (int i = 0; i < kLatencySamples; ++i) {
        while (gAcknowledged.load(std::memory_order_acquire) < static_cast<std::uint64_t>(i))
            std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        eventqueue::UserEventData data = {{static_cast<std::uint64_t>(nowNs()), 0}};
        post(data);
    }
}

void reportPercentiles(benchmark::State& state) {
    std::vector<double> v = gLatencyUs;
    std::sort(v.begin(), v.end());
    state.counters["median_us"] = v[v.size() / 2];
    state.counters["p99_us"] = v[v.size() * 99 / 100];
}

void QueueWakeLatency(benchmark::State& state) {
    eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();
    q->setTimer(-1.0);
    for (auto _ : state) {
        gAcknowledged = 0;
        gLatencyUs.clear();
        std::thread producer([q] {
            produceStamped([q](eventqueue::UserEventData data) {
                eventqueue::UserEventRecord record(data);
                record.setEventHandler(&stampedHandler);
                q->push(record);
            });
        });
        while (gAcknowledged.load() < static_cast<std::uint64_t>(kLatencySamples)) q->flushEventsOrBlock();
        producer.join();
    }
    reportPercentiles(state);
}

void AsioWakeLatency(benchmark::State& state) {
    for (auto _ : state) {
        boost::asio::io_context ctx(1);
        auto work = boost::asio::make_work_guard(ctx);
        gAcknowledged = 0;
        gLatencyUs.clear();
        std::thread producer([&ctx] {
            produceStamped([&ctx](eventqueue::UserEventData data) {
                boost::asio::post(ctx, [data]() mutable { stampedHandler(&data); });
            });
        });
        while (gAcknowledged.load() < static_cast<std::uint64_t>(kLatencySamples)) ctx.run_one();
        work.reset();
        producer.join();
    }
    reportPercentiles(state);
}

BENCHMARK(QueueFlushMillion)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AsioPostMillion)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(QueuePopPerEvent)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(QueueWakeLatency)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(AsioWakeLatency)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return qzbench::runWithRatios(argc, argv, {{"QueueFlushMillion", "AsioPostMillion"}});
}
