// Eight threads post callbacks while clients are being removed; the main
// thread runs them from a real event loop, woken through the user event
// queue. No callback of a client may run once its removal has returned (its
// argument is freed right then, so a late run is also a use after free), and
// every request of a client that stays is run exactly once.
// QZ_STRESS_SCALE scales the counts.
#include "support/child_process.hpp"
#include "support/stress_scale.hpp"

#include <qzservices/cx_thread_request/mt_callback.hpp>
#include <qzservices/eventqueue/UserEventQueue.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

constexpr int kPosters = 8;
constexpr int kClients = 64;

struct Payload {
    int client;
};

std::atomic<bool> gRemoved[kClients];
std::atomic<long> gPosted[kClients];
long gRuns[kClients];  // main thread only
long gLateRuns = 0;    // main thread only

int countRun(void* argument) {
    int const client = static_cast<Payload*>(argument)->client;
    // A removal may not return while this runs either: look again after a
    // pause, at the argument too.
    for (int look = 0; look < 2; ++look, std::this_thread::yield())
        gLateRuns += gRemoved[static_cast<Payload*>(argument)->client].load();
    ++gRuns[client];
    return 0;
}

// The event loop's side: one kind of user event, carried by the queue.
void (*gServe)(int) = nullptr;

void runServe(void* data) {
    gServe(static_cast<int>(static_cast<eventqueue::UserEventData*>(data)->word[1]));
}

int createEvent(void (*handler)(int)) {
    gServe = handler;
    return 1;
}

bool postEvent(int id, int argument) {
    eventqueue::UserEventData data = {{static_cast<std::uint64_t>(id), static_cast<std::uint64_t>(argument)}};
    eventqueue::UserEventRecord record(data);
    record.setEventHandler(&runServe);
    eventqueue::UserEventQueue::getInstance()->push(record);
    return true;
}

} // namespace

TEST(CallbackStress, NoCallbackRunsAfterItsClientsRemovalReturned) {
    auto r = qztest::runInFreshProcess([] {
        int const perPoster = qztest::stressScaled(25000);
        eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();
        ThreadServiceRequestCb(2);
        mtInitializeCallbackServiceFromEventLoop(&createEvent, &postEvent);

        std::vector<unsigned int> tokens;
        std::vector<Payload*> payloads;
        for (int c = 0; c < kClients; ++c) {
            tokens.push_back(mtCallbackRegisterClient());
            payloads.push_back(new Payload{c});
            gRemoved[c] = false;
            gPosted[c] = 0;
        }

        std::atomic<long> totalPosted{0};
        std::atomic<int> busy{kPosters + 1};
        std::vector<std::thread> threads;
        for (int t = 0; t < kPosters; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < perPoster; ++i) {
                    int const c = (t * 7 + i) % kClients;
                    // A removed client's payload is gone: post it no more.
                    if (gRemoved[c].load()) continue;
                    ++gPosted[c];
                    mtCallbackAdd(tokens[c], &countRun, payloads[c]);
                    ++totalPosted;
                }
                --busy;
            });
        }
        // Removes the even clients one by one while the posting goes on, and
        // frees each one's argument as soon as the removal returns.
        threads.emplace_back([&] {
            long const total = static_cast<long>(perPoster) * kPosters;
            for (int c = 0; c < kClients; c += 2) {
                long const mark = total * (c + 1) / (kClients + 2);
                while (totalPosted.load() < mark && busy.load() > 1) std::this_thread::yield();
                if (mtCallbackRemoveClient(tokens[c]) != 1) std::fprintf(stderr, "client %d was not live\n", c);
                gRemoved[c] = true;
                delete payloads[c];
            }
            --busy;
        });

        q->setTimer(1.0);
        while (busy.load() > 0 || !services_cx_thread_request_callback_queue->empty()) q->flushEventsOrBlock();
        for (auto& t : threads) t.join();
        while (q->eventPending()) q->flush();

        QZ_CHILD_CHECK(gLateRuns == 0, 2);
        for (int c = 0; c < kClients; ++c) {
            // A kept (odd) client ran each request once, a removed one at most each.
            if (c % 2 == 1 ? gRuns[c] != gPosted[c].load() : gRuns[c] > gPosted[c].load()) {
                std::fprintf(stderr, "client %d: %ld posted, %ld run\n", c, gPosted[c].load(), gRuns[c]);
                return 3;
            }
        }
        for (int c = 1; c < kClients; c += 2) {
            mtCallbackRemoveClient(tokens[c]);
            delete payloads[c];
        }
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}
