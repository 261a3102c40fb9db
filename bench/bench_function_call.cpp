// A call of a one-line function from a file, f.cx holding
// "function y = f(x), y = x + 1;", 1e5 times in a loop, against CPython 3
// calling a Python function the same number of times (timed inside Python
// with perf_counter, so that its start-up is not counted). The file is found
// on the search path once; the call site keeps what it resolved to for the
// statement, so the loop's calls look nothing up.
#include "cpython_timing.hpp"
#include "ratio_main.hpp"

#include <qzlang/Session.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <unistd.h>

namespace {

char const* const kLoop = "s = 0; for k = 1:1e5, s = f(s); end";

char const* const kPython =
    "import time\n"
    "def f(x):\n"
    "    return x + 1\n"
    "t = time.perf_counter()\n"
    "s = 0\n"
    "for k in range(1, 100001): s = f(s)\n"
    "print(time.perf_counter() - t)\n";

void FunctionCalls(benchmark::State& state) {
    char folder[] = "/tmp/bench_function_call.XXXXXX";
    if (!mkdtemp(folder)) {
        state.SkipWithError("no scratch folder");
        return;
    }
    std::ofstream(std::string(folder) + "/f.cx") << "function y = f(x), y = x + 1;\n";
    char before[4096];
    if (!getcwd(before, sizeof before)) {
        state.SkipWithError("no current folder");
        return;
    }
    {
        qzlang::Session session;
        session.sourcePath().cd(folder);
        session.execute(kLoop);  // reads and parses f.cx once
        for (auto _ : state) session.execute(kLoop);
        if (session.find("s") == nullptr) state.SkipWithError("the loop left no result");
    }
    // Back first: the next run starts in a folder that still exists.
    if (chdir(before) != 0) state.SkipWithError("cannot go back to the first folder");
    std::remove((std::string(folder) + "/f.cx").c_str());
    rmdir(folder);
    state.SetLabel(kLoop);
}

void FunctionCallsCPython(benchmark::State& state) { qzbench::runCPython(state, kPython); }

BENCHMARK(FunctionCalls)->Unit(benchmark::kMillisecond);
BENCHMARK(FunctionCallsCPython)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

} // namespace

int main(int argc, char** argv) { return qzbench::runWithRatios(argc, argv, {{"FunctionCalls", "FunctionCallsCPython"}}); }
