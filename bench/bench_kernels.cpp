// The numeric kernels against their baselines in the same run:
// - z = x .* y + x and sum(x) on 10^7 doubles (two binary calls, the second
//   reusing the first's temporary, and the statement run by a session; one
//   table call) against numpy doing the same; numpy runs in a python3 child started
//   once (Debian's /usr/bin/python3 and its numpy), which times each
//   expression itself as this program does (the mean of a run of 10, the best
//   of 5 runs) and reports the seconds; those figures are handed to the
//   benchmark library as manual times.
// - 1000x1000 A * B through binary(MTimes) against a direct cblas_dgemm call.
// - the same product, and the elementwise expression, with one computational
//   thread against two.
#include "ratio_main.hpp"

#include <qzlang/Session.hpp>
#include <qzlang/kernels/Kernels.hpp>
#include <qzservices/state/threading.hpp>

#include <cblas.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>

namespace {

using qzlang::ArrayPtr;
using qzlang::kernels::Binary;

constexpr size_t kElements = 10000000;
constexpr size_t kOrder = 1000;

ArrayPtr randomArray(size_t m, size_t n, unsigned seed) {
    ArrayPtr a(vxCreateDoubleMatrix(m, n, vxREAL));
    std::mt19937_64 g(seed);
    std::uniform_real_distribution<double> u(0, 1);
    double* p = vxGetPr(a.get());
    for (size_t k = 0; k < m * n; ++k) p[k] = u(g);
    return a;
}

vxArray const* vectorX() {
    static ArrayPtr x = randomArray(1, kElements, 1);
    return x.get();
}
vxArray const* vectorY() {
    static ArrayPtr y = randomArray(1, kElements, 2);
    return y.get();
}

// numpy's seconds for each expression, measured once in a child process.
std::map<std::string, double> const& numpyTimes() {
    static std::map<std::string, double> times = [] {
        std::map<std::string, double> t;
        // The machine's OpenBLAS settings are meant for this binary, not numpy's.
        char const* cmd =
            "env -u OPENBLAS_CORETYPE -u OPENBLAS_L2_SIZE /usr/bin/python3 -c '\n"
            "import time, numpy as np\n"
            "x = np.random.rand(10**7); y = np.random.rand(10**7)\n"
            "def best(f):\n"
            "    r = []\n"
            "    for _ in range(5):\n"
            "        t0 = time.perf_counter()\n"
            "        for _ in range(10): f()\n"
            "        r.append((time.perf_counter() - t0) / 10)\n"
            "    return min(r)\n"
            "print(\"timesplus\", best(lambda: x * y + x))\n"
            "print(\"sum\", best(lambda: np.sum(x)))\n"
            "print(\"version\", np.__version__)\n"
            "'";
        FILE* p = popen(cmd, "r");
        if (!p) return t;
        char name[64];
        char value[64];
        while (std::fscanf(p, "%63s %63s", name, value) == 2) {
            if (std::string(name) == "version") std::fprintf(stderr, "numpy %s\n", value);
            else t[name] = std::atof(value);
        }
        pclose(p);
        return t;
    }();
    return times;
}

// x .* y + x as the interpreter computes it: the temporary x .* y, which
// nothing else holds, is handed to the second operator to take the result.
ArrayPtr timesPlus() {
    ArrayPtr t = qzlang::kernels::binary(Binary::Times, vectorX(), vectorY());
    vxArray const* tv = t.get();
    return qzlang::kernels::binary(Binary::Plus, tv, vectorX(), std::move(t));
}

void KernelsTimesPlus(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(timesPlus().get());
    }
}
BENCHMARK(KernelsTimesPlus)->Unit(benchmark::kMillisecond);

// The way the statement ran before temporaries were reused and chains
// fused: each operator writes a fresh result.
void FreshTimesPlus(benchmark::State& state) {
    for (auto _ : state) {
        ArrayPtr t = qzlang::kernels::binary(Binary::Times, vectorX(), vectorY());
        ArrayPtr z = qzlang::kernels::binary(Binary::Plus, t.get(), vectorX());
        benchmark::DoNotOptimize(z.get());
    }
}
BENCHMARK(FreshTimesPlus)->Unit(benchmark::kMillisecond);

// The statement itself, parsed and run by a session (one fused pass).
void LanguageTimesPlus(benchmark::State& state) {
    qzlang::Session session;
    session.execute("rng(1); x = rand(1, 1e7); y = rand(1, 1e7);");
    for (auto _ : state) session.execute("z = x .* y + x;");
}
BENCHMARK(LanguageTimesPlus)->Unit(benchmark::kMillisecond);

void KernelsSum(benchmark::State& state) {
    auto const* sum = qzlang::kernels::find("sum");
    std::vector<vxArray const*> in{vectorX()};
    for (auto _ : state) {
        std::vector<ArrayPtr> out;
        sum->fn(1, out, in);
        benchmark::DoNotOptimize(out[0].get());
    }
}
BENCHMARK(KernelsSum)->Unit(benchmark::kMillisecond);

void numpyBaseline(benchmark::State& state, char const* key) {
    auto const& t = numpyTimes();
    auto it = t.find(key);
    if (it == t.end()) {
        state.SkipWithError("python3 with numpy did not run");
        for (auto _ : state) {
        }
        return;
    }
    for (auto _ : state) state.SetIterationTime(it->second);
}
void NumpyTimesPlus(benchmark::State& state) { numpyBaseline(state, "timesplus"); }
void NumpySum(benchmark::State& state) { numpyBaseline(state, "sum"); }
BENCHMARK(NumpyTimesPlus)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(NumpySum)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

vxArray const* matrixA() {
    static ArrayPtr a = randomArray(kOrder, kOrder, 3);
    return a.get();
}
vxArray const* matrixB() {
    static ArrayPtr b = randomArray(kOrder, kOrder, 4);
    return b.get();
}

void KernelsMTimes(benchmark::State& state) {
    for (auto _ : state) {
        ArrayPtr c = qzlang::kernels::binary(Binary::MTimes, matrixA(), matrixB());
        benchmark::DoNotOptimize(c.get());
    }
}
BENCHMARK(KernelsMTimes)->Unit(benchmark::kMillisecond);

void DirectDgemm(benchmark::State& state) {
    std::vector<double> c(kOrder * kOrder);
    int n = int(kOrder);
    for (auto _ : state) {
        cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, n, n, n, 1.0, vxGetPr(matrixA()), n, vxGetPr(matrixB()), n, 0.0,
                    c.data(), n);
        benchmark::DoNotOptimize(c.data());
    }
}
BENCHMARK(DirectDgemm)->Unit(benchmark::kMillisecond);

// The same work under a given thread count (feature NumThreads).
template <unsigned long N> void MTimesThreads(benchmark::State& state) {
    unsigned long before = services::threading::getNumComputationalThreads();
    services::threading::setNumComputationalThreads(N);
    for (auto _ : state) {
        ArrayPtr c = qzlang::kernels::binary(Binary::MTimes, matrixA(), matrixB());
        benchmark::DoNotOptimize(c.get());
    }
    services::threading::setNumComputationalThreads(before);
}
void MTimesThreads1(benchmark::State& s) { MTimesThreads<1>(s); }
void MTimesThreads2(benchmark::State& s) { MTimesThreads<2>(s); }
BENCHMARK(MTimesThreads1)->Unit(benchmark::kMillisecond);
BENCHMARK(MTimesThreads2)->Unit(benchmark::kMillisecond);

template <unsigned long N> void TimesPlusThreads(benchmark::State& state) {
    unsigned long before = services::threading::getNumComputationalThreads();
    services::threading::setNumComputationalThreads(N);
    for (auto _ : state) {
        benchmark::DoNotOptimize(timesPlus().get());
    }
    services::threading::setNumComputationalThreads(before);
}
void TimesPlusThreads1(benchmark::State& s) { TimesPlusThreads<1>(s); }
void TimesPlusThreads2(benchmark::State& s) { TimesPlusThreads<2>(s); }
BENCHMARK(TimesPlusThreads1)->Unit(benchmark::kMillisecond);
BENCHMARK(TimesPlusThreads2)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    // A host's start: the computational threads, with the kernels following them.
    services::threading::ComputationalThreadsInit threads(true);
    qzlang::kernels::attachToComputationalThreads();
    return qzbench::runWithRatios(argc, argv,
                                  {{"KernelsTimesPlus", "NumpyTimesPlus"},
                                   {"LanguageTimesPlus", "NumpyTimesPlus"},
                                   {"FreshTimesPlus", "NumpyTimesPlus"},
                                   {"KernelsSum", "NumpySum"},
                                   {"KernelsMTimes", "DirectDgemm"},
                                   {"MTimesThreads1", "MTimesThreads2"},
                                   {"TimesPlusThreads1", "TimesPlusThreads2"}});
}
