// The computational threads of the kernels: elementwise work runs in a oneTBB
// arena as wide as the library's thread count, and the BLAS threads follow
// the same count through the math-library callback.
#include "internal.hpp"

#include <qzservices/state/threading.hpp>
#include <uv/uv.hpp>

#include <cblas.h>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <atomic>
#include <memory>
#include <mutex>

namespace qzlang { namespace kernels {
namespace detail {

namespace {

std::mutex gArenaMutex;
std::unique_ptr<tbb::task_arena> gArena;
size_t gArenaWidth = 0;

tbb::task_arena& arenaFor(size_t width) {
    std::lock_guard<std::mutex> lock(gArenaMutex);
    if (!gArena || gArenaWidth != width) {
        gArena.reset(new tbb::task_arena(static_cast<int>(width)));
        gArenaWidth = width;
    }
    return *gArena;
}

} // namespace

size_t threadCount() {
    unsigned long n = services::threading::getNumComputationalThreads();
    return n == 0 ? 1 : n;
}

void parallelRanges(size_t n, size_t grain, void (*f)(size_t, size_t, void*), void* ctx) {
    if (grain == 0) grain = 1;
    size_t threads = threadCount();
    if (threads <= 1 || n < 2 * grain) {
        // Serial, in blocks, so that a long run still sees a ctrl-C.
        for (size_t b = 0; b < n; b += grain) {
            f(b, std::min(n, b + grain), ctx);
            if (uvIsInterruptPending()) break;
        }
        uvLongjmpIfInterruptPending();
        return;
    }
    // Workers never throw for an interrupt: they stop taking blocks, and the
    // calling thread raises it once the loop is over. Blocks stay at the
    // grain (simple partitioner), so that a worker the system deschedules
    // holds back one small block, not half of the work.
    std::atomic<bool> stop{false};
    arenaFor(threads).execute([&] {
        tbb::parallel_for(tbb::blocked_range<size_t>(0, n, grain), [&](tbb::blocked_range<size_t> const& r) {
            if (stop.load(std::memory_order_relaxed)) return;
            f(r.begin(), r.end(), ctx);
            if (uvIsInterruptPending()) stop.store(true, std::memory_order_relaxed);
        }, tbb::simple_partitioner());
    });
    uvLongjmpIfInterruptPending();
}

} // namespace detail

namespace {
// Runs under the threading record's mutex: must not call back into it.
void mathLibraryThreads(bool enabled, unsigned long n) {
    int count = (!enabled || n == static_cast<unsigned long>(-1) || n == 0) ? 1 : static_cast<int>(n);
    openblas_set_num_threads(count);
}
} // namespace

void attachToComputationalThreads() {
    static std::once_flag once;
    std::call_once(once, [] {
        openblas_set_num_threads(static_cast<int>(detail::threadCount()));
        services::threading::setMathLibraryCallback(&mathLibraryThreads);
    });
}

}} // namespace qzlang::kernels
