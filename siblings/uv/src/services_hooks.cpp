// The table of calls into the services library, installed when it loads.
#include "uv/services_hooks.hpp"

#include <atomic>

namespace {
// Written once when the services library loads, read on every output call.
std::atomic<uvServicesHooks const*> gHooks{nullptr};
} // namespace

extern "C" void uvSetServicesHooks(uvServicesHooks const* hooks) { gHooks.store(hooks, std::memory_order_release); }

uvServicesHooks const* uvGetServicesHooks() { return gHooks.load(std::memory_order_acquire); }
