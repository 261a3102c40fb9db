// Times a CPython program as a baseline in the same run: the program times its
// own loop with perf_counter and prints the seconds, so that Python's start-up
// is not counted. Each benchmark iteration is one run of the program.
#pragma once
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

namespace qzbench {

// Seconds the Python program reported; negative when python3 cannot be run.
inline double runPython(char const* program) {
    std::string command = "python3 -c '";
    command += program;
    command += "'";
    FILE* p = popen(command.c_str(), "r");
    if (!p) return -1;
    double seconds = -1;
    if (std::fscanf(p, "%lf", &seconds) != 1) seconds = -1;
    pclose(p);
    return seconds;
}

// A manual-time benchmark body: the program's own figure for each iteration.
inline void runCPython(benchmark::State& state, char const* program) {
    for (auto _ : state) {
        double const s = runPython(program);
        if (s < 0) {
            state.SkipWithError("python3 could not be run");
            return;
        }
        state.SetIterationTime(s);
    }
}

} // namespace qzbench
