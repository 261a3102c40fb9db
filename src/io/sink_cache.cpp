// Each thread's entries of the sink cache and the generation that validates them.
#include "io/sink_cache.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"

#include <pthread.h>

namespace services { namespace io { namespace sink_cache {

std::atomic<std::uint64_t> generation{0};

__thread Entries* tEntries __attribute__((tls_model("initial-exec"))) = nullptr;

namespace {

// The entries are freed by the key's destructor when the thread exits; the
// main thread's stay until the process ends, so that text written while
// static objects are destroyed still finds them whole.
void freeEntries(void* p) {
    tEntries = nullptr;  // a write from a sink's destructor below makes new ones
    delete static_cast<Entries*>(p);
}

// The references go after the entry is whole again: a sink's destructor may
// write, and that write finds a consistent (stale) entry.
void drop(Entry& e) {
    boost::shared_ptr<CmdWinSink> sink;
    boost::shared_ptr<std::streambuf> narrow;
    boost::shared_ptr<ustreambuf> unicode;
    e.generation = ~std::uint64_t(0);
    e.sink.swap(sink);
    e.narrow.swap(narrow);
    e.unicode.swap(unicode);
}

} // namespace

Entries& makeEntries() {
    static pthread_key_t const key = [] {
        pthread_key_t k;
        pthread_key_create(&k, &freeEntries);
        return k;
    }();
    tEntries = new Entries;
    pthread_setspecific(key, tEntries);
    return *tEntries;
}

void refill(Entry& e, bool isErr, std::uint64_t g) {
    // The generation was read before the look-up: a change in between leaves
    // the entry stale, which costs one more look-up at the next write.
    boost::shared_ptr<CmdWinSink> sink = CmdWinSinkHandle::getInstanceAsCmdWin(isErr);
    boost::shared_ptr<std::streambuf> narrow;
    boost::shared_ptr<ustreambuf> unicode;
    if (sink) {
        narrow = sink->getOutStreamBuffer();
        unicode = sink->getUnicodeOutStreamBuffer();
    }
    e.sink.swap(sink);
    e.narrow.swap(narrow);
    e.unicode.swap(unicode);
    e.generation = g;
}

void changed() {
    generation.fetch_add(1, std::memory_order_acq_rel);
    if (Entries* all = tEntries) {
        for (Entry& e : all->stream)
            if (e.depth == 0) drop(e);
    }
}

void dropIfStale(bool isErr) {
    Entries* all = tEntries;
    if (!all) return;
    Entry& e = all->stream[isErr ? 1 : 0];
    if (e.depth == 0 && e.generation != generation.load(std::memory_order_acquire)) drop(e);
}

void InUse::release() { drop(e_); }

}}} // namespace services::io::sink_cache
