// The interrupt state: pending and enabled flags, the signal thread, the
// per-thread interrupt mode and the checks that act on a pending interrupt.
#include "uv/uv.hpp"
#include "uv/services_hooks.hpp"

#include <atomic>
#include <thread>

namespace {

std::atomic<int> gPending{0};
std::atomic<int> gEnabled{1};
std::atomic<std::thread::id> gSignalThread{std::this_thread::get_id()};
thread_local int tInterruptMode = 1;
std::atomic<unsigned long long> gInterruptChecks{0};

} // namespace

extern "C" {

int uvIsInterruptPending(void) { return gPending.load(); }
void uvSetInterruptPending(int pending) { gPending.store(pending ? 1 : 0); }
int uvIsInterruptEnabled(void) { return gEnabled.load(); }
int uvSetInterruptEnabled(int enabled) { return gEnabled.exchange(enabled ? 1 : 0); }

int uvIsSignalThread(void) { return gSignalThread.load() == std::this_thread::get_id(); }
void uvSetSignalThread(void) { gSignalThread.store(std::this_thread::get_id()); }

} // extern "C"

uvInterruptMode::uvInterruptMode(int mode) : previous_(tInterruptMode) { tInterruptMode = mode; }
uvInterruptMode::~uvInterruptMode() { tInterruptMode = previous_; }
int uvInterruptMode::current() { return tInterruptMode; }

extern "C" unsigned long long uvInterruptCheckCount(void) { return gInterruptChecks.load(); }

namespace {
// Throws the services library's interrupt exception for a pending interrupt.
// The services library catches it, so with no services library loaded the
// interrupt stays pending.
void raisePendingInterrupt() {
    uvServicesHooks const* hooks = uvGetServicesHooks();
    if (hooks == nullptr) return;
    if (gPending.exchange(0)) hooks->raiseInterrupt(true);  // a pending interrupt is a ctrl-C
}
} // namespace

void uvLongjmpIfInterruptPending() {
    gInterruptChecks.fetch_add(1, std::memory_order_relaxed);
    if (!gEnabled.load() || tInterruptMode == 0) return;
    raisePendingInterrupt();
}

void uvInterruptState::ThrowIfInterruptPending() {
    if (!gEnabled.load()) return;
    raisePendingInterrupt();
}
