// The computational threads: the BLAS thread count follows the library's
// count, parallel elementwise work gives what serial work gives, and a
// pending interrupt stops long work.
#include "helpers.hpp"

#include <qzservices/orrery/InterruptException.hpp>
#include <qzservices/state/threading.hpp>
#include <uv/uv.hpp>

#include <cblas.h>

using namespace kt;
using qzlang::kernels::Binary;

namespace {

ArrayPtr ramp(size_t m, size_t n) {
    ArrayPtr a(vxCreateDoubleMatrix(m, n, vxREAL));
    for (size_t k = 0; k < m * n; ++k) vxGetPr(a.get())[k] = double(k % 1000) * 0.5;
    return a;
}

TEST(KernelThreads, BlasThreadsFollowTheComputationalCount) {
    services::threading::ComputationalThreadsInit threads(true);
    qzlang::kernels::attachToComputationalThreads();
    unsigned long before = services::threading::getNumComputationalThreads();
    services::threading::setNumComputationalThreads(1);
    EXPECT_EQ(openblas_get_num_threads(), 1);
    services::threading::setNumComputationalThreads(2);
    EXPECT_EQ(openblas_get_num_threads(), 2);
    services::threading::setNumComputationalThreads(before);
}

TEST(KernelThreads, ParallelExpansionMatchesSerial) {
    // A column against a row: every block of the result starts mid-odometer.
    ArrayPtr col = ramp(700, 1), row = ramp(1, 300), big = ramp(700, 300);
    unsigned long before = services::threading::getNumComputationalThreads();
    std::vector<ArrayPtr> results;
    for (unsigned long n : {1ul, 2ul}) {
        services::threading::setNumComputationalThreads(n);
        results.push_back(qzlang::kernels::binary(Binary::Minus, col.get(), row.get()));
        results.push_back(qzlang::kernels::binary(Binary::Times, big.get(), row.get()));
        results.push_back(call1("sum", {big.get()}));
    }
    services::threading::setNumComputationalThreads(before);
    for (size_t k = 0; k < 3; ++k) {
        SCOPED_TRACE(k);
        size_t n = vxGetNumberOfElements(results[k].get());
        ASSERT_EQ(n, vxGetNumberOfElements(results[k + 3].get()));
        EXPECT_EQ(0, std::memcmp(vxGetPr(results[k].get()), vxGetPr(results[k + 3].get()), n * sizeof(double)));
    }
    // Spot values written out: (i, j) of col - row is (i - j) / 2.
    EXPECT_EQ(vxGetPr(results[0].get())[5 + 3 * 700], 1.0);
}

TEST(KernelThreads, LargeResultsWrittenPastTheCachesAreExact) {
    // Large enough for the streaming stores; odd, so that a block ends unaligned.
    size_t n = (size_t(3) << 20) + 7;
    ArrayPtr x = ramp(1, n), y(vxCreateDoubleMatrix(1, n, vxREAL));
    for (size_t k = 0; k < n; ++k) vxGetPr(y.get())[k] = double(k % 7) - 3;
    unsigned long before = services::threading::getNumComputationalThreads();
    for (unsigned long threads : {1ul, 2ul}) {
        SCOPED_TRACE(threads);
        services::threading::setNumComputationalThreads(threads);
        ArrayPtr z = qzlang::kernels::binary(Binary::Times, x.get(), y.get());
        ArrayPtr w = qzlang::kernels::binary(Binary::Minus, z.get(), x.get());
        size_t wrong = 0;
        for (size_t k = 0; k < n; ++k) {
            double xv = double(k % 1000) * 0.5, yv = double(k % 7) - 3;
            wrong += vxGetPr(z.get())[k] != xv * yv || vxGetPr(w.get())[k] != xv * yv - xv;
        }
        EXPECT_EQ(wrong, 0u);
    }
    services::threading::setNumComputationalThreads(before);
}

TEST(KernelThreads, APendingInterruptStopsLongWork) {
    ArrayPtr x = ramp(1, 1 << 20);
    unsigned long long checks = uvInterruptCheckCount();
    uvSetInterruptPending(1);
    EXPECT_THROW(qzlang::kernels::binary(Binary::Plus, x.get(), x.get()), Orrery::System::InterruptException);
    EXPECT_FALSE(uvIsInterruptPending());
    EXPECT_GT(uvInterruptCheckCount(), checks);
    // Without an interrupt the same work completes.
    EXPECT_EQ(vxGetPr(qzlang::kernels::binary(Binary::Plus, x.get(), x.get()).get())[3], 3.0);
}

} // namespace
