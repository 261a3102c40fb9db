// The cost of one call of the pending-event pump: with no hooks, and with ten
// dispatch hooks that are done at once. Figures are nanoseconds a pump.
#include "ratio_main.hpp"

#include <qzservices/qzservices.hpp>

#include <vector>

namespace {

class DoneHook : public services::system_events::PpeDispatchHook {
public:
    bool dispatch() override { return true; }
};

void EmptyPump(benchmark::State& state) {
    for (auto _ : state) svWS_ProcessPendingEvents();
}

void PumpOverTenDoneHooks(benchmark::State& state) {
    std::vector<boost::shared_ptr<void>> tokens;
    for (int i = 0; i < 10; ++i) {
        boost::unique_ptr<services::system_events::PpeDispatchHook> hook(new DoneHook);
        tokens.push_back(sysq::addProcessPendingEventsHook(hook));
    }
    for (auto _ : state) svWS_ProcessPendingEvents();
    for (auto& token : tokens) sysq::removeProcessPendingEventsHook(token);
}

BENCHMARK(EmptyPump);
BENCHMARK(PumpOverTenDoneHooks);

} // namespace

int main(int argc, char** argv) { return qzbench::runWithRatios(argc, argv, {}); }
