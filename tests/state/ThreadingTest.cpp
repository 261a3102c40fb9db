// The computational thread count: the "NumThreads" rules, the disabled mode,
// the math library's callback, oneTBB's limit, and the record under several
// threads at once.
#include "qzservices/state/features.hpp"
#include "qzservices/state/threading.hpp"
#include "state/state_test.hpp"

#include <uv/cores.hpp>
#include <uv/debug_print.hpp>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include <mutex>
#include <set>

using qztest::expectInFreshProcess;
namespace threading = services::threading;

// oneTBB is not built with ThreadSanitizer, so the hand-over of work between
// its threads looks like races there; the threads a loop used are counted in
// the other builds only, and the limit itself is checked in all of them.
#if defined(__SANITIZE_THREAD__)
#define QZ_OBSERVE_TBB_THREADS 0
#else
#define QZ_OBSERVE_TBB_THREADS 1
#endif

namespace {

using qztest::errorIdOf;

// "NumThreads" with an optional input (owned here); both outputs as doubles.
std::pair<double, double> callNumThreads(vxArray* input = nullptr) {
    auto out = qztest::callBuiltin(&threading::numThreads, 2, {input});
    return {vxGetScalar(out[0].get()), vxGetScalar(out[1].get())};
}

// "NumThreads n" with the multithreading trace on: the count it returns and what it printed.
std::pair<double, std::string> setTracing(double n) {
    dbg_multiThreaded_setEnabled(1);
    testing::internal::CaptureStderr();
    double const result = callNumThreads(vxCreateDoubleScalar(n)).first;
    std::string const printed = testing::internal::GetCapturedStderr();
    dbg_multiThreaded_setEnabled(0);
    return {result, printed};
}

// Restores the count after tests that change it in this process.
class NumThreadsFeature : public ::testing::Test {
protected:
    void TearDown() override { threading::setNumComputationalThreads(saved_); }
    unsigned long saved_ = threading::getNumComputationalThreads();
};

// The distinct threads that ran the bodies of a parallel loop of short
// sleeps, which gives idle workers every chance to join.
size_t threadsUsedByParallelFor() {
    std::mutex mutex;
    std::set<std::thread::id> ids;
    tbb::parallel_for(tbb::blocked_range<int>(0, 400, 1), [&](tbb::blocked_range<int> const& range) {
        for (int i = range.begin(); i != range.end(); ++i) {
            {
                std::lock_guard<std::mutex> lock(mutex);
                ids.insert(std::this_thread::get_id());
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    return ids.size();
}

} // namespace

TEST_F(NumThreadsFeature, AThousandIsCutTo512AndZeroMeansTheCoreCount) {
    EXPECT_EQ(std::make_pair(512.0, std::string("Requested number of computational threads 1000 is too big.\n"
                                                " Setting number of threads to the limit 512.\n")),
              setTracing(1000));
    EXPECT_EQ(512u, threading::getNumComputationalThreads());
    EXPECT_EQ(std::make_pair(512.0, std::string("Setting number of computational threads to 512.\n")), setTracing(512));
    threading::setNumComputationalThreads(3);
    std::string const n = std::to_string(uvGetNumAllCores());
    EXPECT_EQ(std::make_pair(static_cast<double>(uvGetNumAllCores()),
                             "Setting number of threads to default " + n + "\nSetting number of computational threads to " + n + ".\n"),
              setTracing(0));
    EXPECT_EQ(uvGetNumAllCores(), threading::getNumProcessors());
}

TEST_F(NumThreadsFeature, NegativeNonNumbersAndBadArgumentCountsAreRefusedAndChangeNothing) {
    threading::setNumComputationalThreads(5);
    try {
        callNumThreads(vxCreateDoubleScalar(-1));
        ADD_FAILURE() << "-1 was accepted";
    } catch (vx::Error const& e) {
        EXPECT_EQ("CALYX:Multicore:IllegalNumComputationalThreads", e.identifier());
        EXPECT_NE(std::string::npos, std::string(e.what()).find("-1")) << e.what();
    }
    EXPECT_EQ("CALYX:vx:notNumeric", errorIdOf([] { callNumThreads(vxCreateString("4")); }));
    EXPECT_EQ("CALYX:vx:scalarOutOfIntRange", errorIdOf([] { callNumThreads(vxCreateDoubleScalar(1e12)); }));
    EXPECT_EQ("CALYX:maxlhs", errorIdOf([] { qztest::callBuiltin(&threading::numThreads, 3, {vxCreateDoubleScalar(1)}); }));
    EXPECT_EQ("CALYX:maxrhs",
              errorIdOf([] { qztest::callBuiltin(&threading::numThreads, 1, {vxCreateDoubleScalar(1), vxCreateDoubleScalar(2)}); }));
    EXPECT_EQ(5u, threading::getNumComputationalThreads());
    EXPECT_EQ(2.0, callNumThreads(vxCreateDoubleScalar(2.9)).first);  // fractions are cut toward zero
}

TEST(ComputationalThreads, DisabledMeansOneThreadAndNoChanges) {
    expectInFreshProcess([] {
        static std::vector<std::pair<bool, unsigned long>> calls;
        QZ_CHILD_CHECK(threading::setMathLibraryCallback([](bool on, unsigned long n) { calls.emplace_back(on, n); }), 2);
        threading::ComputationalThreadsInit init(false);
        QZ_CHILD_CHECK(threading::getNumComputationalThreads() == 1 && !threading::isCALYXThreadingEnabled(), 3);
        // Told once, at initialisation, with no count.
        QZ_CHILD_CHECK(calls.size() == 1 && !calls[0].first && calls[0].second == static_cast<unsigned long>(-1), 5);
        for (double n : {1.0, 4.0, 0.0, -1.0})
            QZ_CHILD_CHECK(errorIdOf([n] { callNumThreads(vxCreateDoubleScalar(n)); }) == "CALYX:Multicore:MultithreadingDisabled", 6);
        QZ_CHILD_CHECK(callNumThreads() == std::make_pair(1.0, 1.0), 7);
        // A direct set is still passed on, without a count.
        threading::setNumComputationalThreads(4);
        QZ_CHILD_CHECK(calls.size() == 2 && !calls[1].first && calls[1].second == static_cast<unsigned long>(-1), 8);
        return 0;
    });
}

TEST(ComputationalThreads, CallbackIsHeldUntilInitialisationThenToldEveryChange) {
    expectInFreshProcess([] {
        static std::vector<std::pair<bool, unsigned long>> calls;
        QZ_CHILD_CHECK(!threading::isMathLibraryThreadingEnabled() && callNumThreads().second == 0.0, 2);
        QZ_CHILD_CHECK(threading::setMathLibraryCallback([](bool on, unsigned long n) { calls.emplace_back(on, n); }), 4);
        QZ_CHILD_CHECK(threading::isMathLibraryThreadingEnabled() && callNumThreads().second == 1.0, 5);
        QZ_CHILD_CHECK(!svIsFeatureRegistered("NumThreads"), 7);
        threading::setNumComputationalThreads(3);
        QZ_CHILD_CHECK(calls.empty(), 8);
        {
            threading::ComputationalThreadsInit init(true);
            QZ_CHILD_CHECK(calls.size() == 1 && calls[0].first && calls[0].second == 3, 9);
            for (char const* name : {"NumCores", "numthreads", "MaxNumThreads"})
                QZ_CHILD_CHECK(svIsFeatureRegistered(name), 10);
            threading::setNumComputationalThreads(1000);
            QZ_CHILD_CHECK(calls.size() == 2 && calls[1].second == 512, 11);
            // A second start neither registers again nor tells the library again.
            threading::ComputationalThreadsInit again(true);
            QZ_CHILD_CHECK(calls.size() == 2 && !threading::setMathLibraryCallback(nullptr), 12);
        }
        return 0;
    });
}

TEST(ComputationalThreads, ParallelForAfterNumThreadsUsesAtMostThatMany) {
    expectInFreshProcess([] {
        using tbb::global_control;
        size_t const defaultLimit = global_control::active_value(global_control::max_allowed_parallelism);
        {
            threading::ComputationalThreadsInit init(true);
            callNumThreads(vxCreateDoubleScalar(2));
            QZ_CHILD_CHECK(global_control::active_value(global_control::max_allowed_parallelism) == 2, 3);
            QZ_CHILD_CHECK(!QZ_OBSERVE_TBB_THREADS || threadsUsedByParallelFor() <= 2, 4);
            callNumThreads(vxCreateDoubleScalar(1));
            QZ_CHILD_CHECK(global_control::active_value(global_control::max_allowed_parallelism) == 1, 5);
            QZ_CHILD_CHECK(!QZ_OBSERVE_TBB_THREADS || threadsUsedByParallelFor() == 1, 6);
            // More than the machine has is allowed: the limit is the count.
            callNumThreads(vxCreateDoubleScalar(4));
            QZ_CHILD_CHECK(global_control::active_value(global_control::max_allowed_parallelism) == 4, 7);
        }
        // Stopping the scheduler lifts the limit.
        QZ_CHILD_CHECK(global_control::active_value(global_control::max_allowed_parallelism) == defaultLimit, 8);
        return 0;
    });
}

TEST(ComputationalThreads, TheRecordIsMadeOnceAndKeptWholeUnderManyThreads) {
    expectInFreshProcess([] {
        // Plain counters: the callback runs under the record's lock.
        static unsigned long told = 0, strange = 0;
        threading::ComputationalThreadsInit init(true);
        threading::setMathLibraryCallback([](bool, unsigned long n) {
            if (n < 1 || n > 8) ++strange;  // only the values the writers set may arrive
            ++told;
        });
        std::vector<std::thread> threads;
        std::atomic<bool> torn{false};
        int const kWriters = 4, kSets = 500;
        for (int t = 0; t < kWriters; ++t)
            threads.emplace_back([t, &torn] {
                for (int i = 0; i < kSets; ++i) {
                    threading::setNumComputationalThreads(static_cast<unsigned long>(1 + (t + i) % 8));
                    unsigned long const n = threading::getNumComputationalThreads();
                    if (n < 1 || n > 8 || !threading::isCALYXThreadingEnabled()) torn = true;
                }
            });
        for (auto& t : threads) t.join();
        QZ_CHILD_CHECK(!torn, 2);
        threading::getNumComputationalThreads();  // the lock orders the counters before these reads
        QZ_CHILD_CHECK(told == static_cast<unsigned long>(kWriters * kSets) && strange == 0, 3);
        return 0;
    });
}
