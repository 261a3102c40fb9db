// The generation of the command-window sinks: a count that moves on whenever
// what a write of the proxies would reach changes (a factory installed or
// restored, a sink's buffer replaced or given back). A writer that remembers
// the generation of the sink and buffer it looked up last may use them again
// while the count still reads the same, without the handle's lock.
#pragma once
#include <atomic>
#include <cstdint>

namespace services { namespace io { namespace sink_generation {

extern std::atomic<std::uint64_t> counter;

// Acquire: a reader that sees the new count sees the change made before it.
inline std::uint64_t current() { return counter.load(std::memory_order_acquire); }
// Called after the change is made.
inline void bump() { counter.fetch_add(1, std::memory_order_acq_rel); }

}}} // namespace services::io::sink_generation
