// The computational thread count, the math library's callback and oneTBB's
// scheduler.
//
// oneTBB has no task_scheduler_init. Its life cycle is kept with two pieces:
// a task_arena per ComputationalThreadsInit, initialised with the count
// (which brings up the scheduler; its workers start when work arrives), and
// one tbb::global_control on max_allowed_parallelism, owned by the record
// while any scheduler is active.
// The limit follows every later change of the count, so that parallel work
// started after "NumThreads n" uses at most n threads.
#include "qzservices/state/threading.hpp"
#include "qzservices/state/features.hpp"

#include <msg/calyx_messages.hpp>
#include <uv/cores.hpp>
#include <uv/debug_print.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/once.hpp>

#include <atomic>
#include <memory>

namespace services { namespace threading {

namespace {

unsigned long const kMaxNumComputationalThreads = 512;
unsigned long const kNoCount = static_cast<unsigned long>(-1);

struct ThreadingState {
    boost::mutex mutex;  // guards all of the record
    bool initialized = false;
    MathLibraryCallback mathLibraryCallback = nullptr;
    bool multithreadingEnabled = true;
    unsigned long numThreads = uvGetNumAllCores();
    // oneTBB: how many schedulers are active, and the limit they share.
    unsigned activeSchedulers = 0;
    std::unique_ptr<tbb::global_control> parallelismLimit;
};

typedef boost::lock_guard<boost::mutex> Lock;

boost::once_flag gStateOnce = BOOST_ONCE_INIT;
// Published with release and read with acquire: boost::call_once orders this
// too, but through atomics that ThreadSanitizer does not see.
std::atomic<ThreadingState*> gState{nullptr};

void makeState() {
    // Released at exit, after every object that was built before the record's first use.
    static std::unique_ptr<ThreadingState> owner(new ThreadingState);
    gState.store(owner.get(), std::memory_order_release);
}

ThreadingState& state() {
    boost::call_once(gStateOnce, &makeState);
    return *gState.load(std::memory_order_acquire);
}

// Both with the lock held.
void tellMathLibrary(ThreadingState& s) {
    if (!s.initialized || s.mathLibraryCallback == nullptr) return;
    s.mathLibraryCallback(s.multithreadingEnabled, s.multithreadingEnabled ? s.numThreads : kNoCount);
}

void applyParallelismLimit(ThreadingState& s) {
    if (s.activeSchedulers == 0) return;
    // A new control replaces the old one; oneTBB applies the newest value at
    // once, and the count is never 0 here.
    std::unique_ptr<tbb::global_control> limit(
        new tbb::global_control(tbb::global_control::max_allowed_parallelism, s.numThreads));
    s.parallelismLimit = std::move(limit);
}

} // namespace

unsigned long getNumProcessors() { return uvGetNumAllCores(); }
unsigned long getMaxNumComputationalThreads() { return kMaxNumComputationalThreads; }

unsigned long getNumComputationalThreads() {
    ThreadingState& s = state();
    Lock lock(s.mutex);
    return s.numThreads;
}

void setNumComputationalThreads(unsigned long n) {
    ThreadingState& s = state();
    Lock lock(s.mutex);
    if (n > kMaxNumComputationalThreads) {
        dbg_multiThreaded_utprintf(
            "Requested number of computational threads %zu is too big.\n Setting number of threads to the limit %zu.\n",
            n, kMaxNumComputationalThreads);
        s.numThreads = kMaxNumComputationalThreads;
    } else {
        dbg_multiThreaded_utprintf("Setting number of computational threads to %zu.\n", n);
        s.numThreads = n;
    }
    tellMathLibrary(s);
    // oneTBB refuses a limit of 0: the previous limit stays until a real count comes.
    if (s.numThreads > 0) applyParallelismLimit(s);
}

bool isCALYXThreadingEnabled() {
    ThreadingState& s = state();
    Lock lock(s.mutex);
    return s.multithreadingEnabled;
}

bool isMathLibraryThreadingEnabled() {
    ThreadingState& s = state();
    Lock lock(s.mutex);
    return s.mathLibraryCallback != nullptr;
}

bool setMathLibraryCallback(MathLibraryCallback callback) {
    ThreadingState& s = state();
    Lock lock(s.mutex);
    s.mathLibraryCallback = callback;
    return !s.initialized;
}

// One started scheduler: its arena, and its share of the record's limit.
class ComputationalThreadsInit::Guts {
public:
    explicit Guts(bool allowed);
    ~Guts() { terminate(); }
    Guts(Guts const&) = delete;
    Guts& operator=(Guts const&) = delete;

private:
    void initialize(unsigned long numThreads);
    void terminate();

    std::unique_ptr<tbb::task_arena> arena_;  // null while deferred or terminated
};

ComputationalThreadsInit::Guts::Guts(bool allowed) {
    // Deferred: nothing starts until initialize below.
    ThreadingState& s = state();
    if (!allowed) {
        Lock lock(s.mutex);
        s.numThreads = 1;
        s.multithreadingEnabled = false;
        tellMathLibrary(s);
        dbg_multiThreaded_utprintf("Disabling computational multithreading.");
    }
    unsigned long count = 0;
    {
        Lock lock(s.mutex);
        // A second Guts finds the features registered already.
        if (!s.initialized) {
            svRegisterBuiltin("NumCores", 0, &numCores);
            svRegisterBuiltin("NumThreads", 0, &numThreads);
            svRegisterBuiltin("MaxNumThreads", 0, &maxNumThreads);
            dbg_multiThreaded_utprintf("Registered Multicore features.\n");
            s.initialized = true;
            tellMathLibrary(s);
        }
        count = s.numThreads;
    }
    initialize(count);
}

void ComputationalThreadsInit::Guts::initialize(unsigned long numThreads) {
    int const concurrency = static_cast<int>(numThreads > 0 ? numThreads : 1);
    std::unique_ptr<tbb::task_arena> arena(new tbb::task_arena(concurrency));
    arena->initialize();
    ThreadingState& s = state();
    Lock lock(s.mutex);
    ++s.activeSchedulers;
    if (s.numThreads > 0) applyParallelismLimit(s);
    arena_ = std::move(arena);
}

void ComputationalThreadsInit::Guts::terminate() {
    if (!arena_) return;
    arena_->terminate();
    arena_.reset();
    ThreadingState& s = state();
    Lock lock(s.mutex);
    if (--s.activeSchedulers == 0) s.parallelismLimit.reset();
}

ComputationalThreadsInit::ComputationalThreadsInit(bool allowed) : guts_(new Guts(allowed)) {}

ComputationalThreadsInit::~ComputationalThreadsInit() { delete guts_; }

void numCores(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    outArgs[0] = vxCreateDoubleScalar(static_cast<double>(getNumProcessors()));
}

void maxNumThreads(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    outArgs[0] = vxCreateDoubleScalar(static_cast<double>(getMaxNumComputationalThreads()));
}

void numThreads(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs) {
    if (outCount > 2) vxm::detail::error_maxlhs();
    if (inCount > 1) vxm::detail::error_maxrhs();
    if (inCount == 1) {
        if (!isCALYXThreadingEnabled()) vxErrMsgId(CALYX::Multicore::MultithreadingDisabled());
        int const requested = vxGetScalarInt(inArgs[0]);
        if (requested < 0) vxErrMsgId(CALYX::Multicore::IllegalNumComputationalThreads(requested));
        unsigned long n = static_cast<unsigned long>(requested);
        if (n == 0) {
            n = uvGetNumAllCores();
            dbg_multiThreaded_utprintf("Setting number of threads to default %zu\n", n);
        }
        setNumComputationalThreads(n);
    }
    outArgs[0] = vxCreateDoubleScalar(static_cast<double>(getNumComputationalThreads()));
    if (outCount > 1) outArgs[1] = vxCreateDoubleScalar(isMathLibraryThreadingEnabled() ? 1.0 : 0.0);
}

}} // namespace services::threading
