// Hooks added and released on other threads while the main thread pumps:
// every pump sees a consistent snapshot, no hook is called after its token's
// release completed and its last dispatch returned, and nothing is lost.
#include "qzservices/system_events/ProcessPendingEvents.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using services::system_events::PpeDispatchHook;
using services::system_events::PpeGuiDispatchHook;

namespace {

std::atomic<int> gLiveHooks{0};
std::atomic<long> gDispatches{0};

class CountingHook : public PpeGuiDispatchHook {
public:
    CountingHook() { ++gLiveHooks; }
    // Released on a producer thread, possibly while a pump has it started:
    // the pump then skips it. A call into a destroyed hook would show as a
    // sanitizer report.
    ~CountingHook() override { --gLiveHooks; }
    bool startProcessing(int) override {
        ++calls_;
        return true;
    }
    void endProcessing(int) override { ++calls_; }
    bool dispatch(bool) override {
        ++calls_;
        ++gDispatches;
        return true;
    }

private:
    int calls_ = 0;  // touched by the pumping thread only
};

TEST(PumpStress, HooksComeAndGoOnOtherThreadsWhilePumpsRun) {
    std::atomic<int> finished{0};
    std::vector<std::thread> producers;
    for (int t = 0; t < 3; ++t) {
        producers.emplace_back([&finished] {
            std::vector<boost::shared_ptr<void>> held;
            for (int i = 0; i < 2000; ++i) {
                boost::unique_ptr<PpeGuiDispatchHook> hook(new CountingHook);
                held.push_back(sysq::addProcessPendingEventsHook(hook));
                if (held.size() > 4) {
                    sysq::removeProcessPendingEventsHook(held.front());
                    held.erase(held.begin());
                }
            }
            for (auto& token : held) sysq::removeProcessPendingEventsHook(token);
            ++finished;
        });
    }
    long pumps = 0;
    while (finished.load() < 3) {
        svWS_ProcessPendingEvents(0, -1);
        ++pumps;
    }
    for (auto& p : producers) p.join();
    svWS_ProcessPendingEvents();
    EXPECT_GT(pumps, 0);
    EXPECT_EQ(0, gLiveHooks.load());
    EXPECT_GT(gDispatches.load(), 0);
}

} // namespace
