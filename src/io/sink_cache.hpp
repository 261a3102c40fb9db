// What the proxies' writes on one thread reuse while nothing has changed: the
// command-window sink of each stream and its two buffers, with the generation
// they were looked up in. The generation moves on at every factory change and
// every replacement of a sink's buffer, so one load of it tells a writer
// whether the sink its thread found last is still the one to write to; while
// it is, a write takes neither the handle's lock nor any reference count.
//
// Lifetime: an entry holds strong references, so a sink and buffer stay alive
// through a write even if the host drops them from another thread meanwhile.
// A replaced sink is not kept for long: the thread that makes the change drops
// its own entries at once (unless a write of its own still runs through them,
// which drops them as it ends); every other thread drops its stale entries at
// its next write or flush of that stream, or when it exits. A thread that wrote
// once and then only sleeps keeps the old sink until then: the price of a hot
// path without a reference count or a lock (a cross-thread release would need
// a store-load fence on every write).
#pragma once
#include "qzservices/io/CmdWinSink.hpp"

#include <atomic>
#include <cstdint>
#include <streambuf>

namespace services { namespace io { namespace sink_cache {

/// The generation: moved on by every change of what a write would reach.
extern std::atomic<std::uint64_t> generation;

/// One stream's entry on one thread. Only its own thread touches it.
struct Entry {
    std::uint64_t generation = ~std::uint64_t(0);  // never a real generation: stale
    boost::shared_ptr<CmdWinSink> sink;  // null: no factory at the last look-up
    boost::shared_ptr<std::streambuf> narrow;
    boost::shared_ptr<ustreambuf> unicode;
    int depth = 0;  // writes through this entry under way on this thread
};

/// Called after a change is made (a factory installed, a buffer replaced):
/// moves the generation on and drops this thread's entries that no write uses.
void changed();

/// Both streams' entries of one thread.
struct Entries {
    Entry stream[2];  // output, error
};

/// This thread's entries, or null before its first write. A plain pointer
/// (no construction guard to pass on every access), freed at thread exit.
/// Initial-exec: reached at a fixed offset from the thread pointer instead of
/// through a call per access; eight bytes that a library loaded later takes
/// from the static block the C library keeps spare for such variables.
extern __thread Entries* tEntries __attribute__((tls_model("initial-exec")));

/// Makes this thread's entries.
Entries& makeEntries();
/// Looks the entry's sink up anew, in generation `g`.
void refill(Entry& e, bool isErr, std::uint64_t g);

/// This thread's entry for the stream, looked up anew if stale; null while a
/// write already runs through it (a nested write takes the general road) or
/// when the stream has no sink.
inline Entry* reusable(bool isErr) {
    Entries* all = tEntries;
    Entry& e = (all ? *all : makeEntries()).stream[isErr ? 1 : 0];
    if (e.depth != 0) return nullptr;
    // Acquire: a writer that sees a new generation sees the change behind it.
    std::uint64_t const g = generation.load(std::memory_order_acquire);
    if (e.generation != g) refill(e, isErr, g);
    return e.sink ? &e : nullptr;
}

/// Drops this thread's entry for the stream if it is stale and idle.
void dropIfStale(bool isErr);

/// Marks an entry in use for the length of a write; the last one out drops it
/// if a change happened meanwhile.
class InUse {
public:
    explicit InUse(Entry& e) : e_(e) { ++e_.depth; }
    ~InUse() {
        if (--e_.depth == 0 && e_.generation != generation.load(std::memory_order_acquire)) release();
    }
    InUse(InUse const&) = delete;
    InUse& operator=(InUse const&) = delete;

private:
    void release();
    Entry& e_;
};

}}} // namespace services::io::sink_cache
