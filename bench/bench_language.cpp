// The statement language's two loops against CPython running the same loops
// (timed inside Python with perf_counter, so that its start-up is not
// counted): a scalar sum over a range, and assignment into each element of a
// preallocated array. Figures are milliseconds a loop of 1e6 iterations.
#include "cpython_timing.hpp"
#include "ratio_main.hpp"

#include <qzlang/Session.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

char const* const kScalarLoop = "s = 0; for k = 1:1e6, s = s + k; end";
char const* const kElementLoop = "x = zeros(1,1e6); for k = 1:1e6, x(k) = k; end";

char const* const kPythonScalar =
    "import time\n"
    "t = time.perf_counter()\n"
    "s = 0\n"
    "for k in range(1, 1000001): s = s + k\n"
    "print(time.perf_counter() - t)\n";
char const* const kPythonElement =
    "import time\n"
    "t = time.perf_counter()\n"
    "x = [0] * 1000000\n"
    "for k in range(1, 1000001): x[k - 1] = k\n"
    "print(time.perf_counter() - t)\n";

void runLanguage(benchmark::State& state, char const* text) {
    qzlang::Session session;
    for (auto _ : state) session.execute(text);
    state.SetLabel(text);
}

void ScalarLoop(benchmark::State& state) { runLanguage(state, kScalarLoop); }
void ScalarLoopCPython(benchmark::State& state) { qzbench::runCPython(state, kPythonScalar); }
void ElementLoop(benchmark::State& state) { runLanguage(state, kElementLoop); }
void ElementLoopCPython(benchmark::State& state) { qzbench::runCPython(state, kPythonElement); }

BENCHMARK(ScalarLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(ScalarLoopCPython)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);
BENCHMARK(ElementLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(ElementLoopCPython)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

} // namespace

int main(int argc, char** argv) {
    return qzbench::runWithRatios(argc, argv,
                                  {{"ScalarLoop", "ScalarLoopCPython"}, {"ElementLoop", "ElementLoopCPython"}});
}
