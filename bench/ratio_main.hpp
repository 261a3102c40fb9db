// A main for benchmark programs: runs the registered benchmarks five times
// each (unless told otherwise), then prints for each pair (ours, baseline) the
// ratio of their best real times per iteration. The best of several runs is
// the figure least disturbed by other work on the machine.
#pragma once
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace qzbench {

class RecordingReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> nsPerIteration;
    void ReportRuns(std::vector<Run> const& runs) override {
        for (auto const& r : runs) {
            if (r.iterations <= 0 || r.run_type != Run::RT_Iteration) continue;
            double const ns = r.GetAdjustedRealTime();
            auto it = nsPerIteration.find(r.run_name.function_name);
            if (it == nsPerIteration.end() || ns < it->second) nsPerIteration[r.run_name.function_name] = ns;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

inline int runWithRatios(int argc, char** argv, std::vector<std::pair<std::string, std::string>> const& pairs) {
    std::vector<char*> args(argv, argv + argc);
    std::string repetitions = "--benchmark_repetitions=5";
    bool given = false;
    for (int i = 1; i < argc; ++i) given = given || std::string(argv[i]).rfind("--benchmark_repetitions", 0) == 0;
    if (!given) args.push_back(&repetitions[0]);
    argc = static_cast<int>(args.size());
    argv = args.data();
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (auto const& p : pairs) {
        auto a = reporter.nsPerIteration.find(p.first);
        auto b = reporter.nsPerIteration.find(p.second);
        if (a == reporter.nsPerIteration.end() || b == reporter.nsPerIteration.end() || b->second <= 0) continue;
        std::printf("ratio %s / %s = %.2f (best of runs)\n", p.first.c_str(), p.second.c_str(), a->second / b->second);
    }
    benchmark::Shutdown();
    return 0;
}

} // namespace qzbench
