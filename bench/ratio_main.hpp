// A main for benchmark programs: runs the registered benchmarks, then prints
// for each pair (ours, baseline) the ratio of their real time per iteration.
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
        for (auto const& r : runs)
            if (r.iterations > 0) nsPerIteration[r.benchmark_name()] = r.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }
};

inline int runWithRatios(int argc, char** argv, std::vector<std::pair<std::string, std::string>> const& pairs) {
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (auto const& p : pairs) {
        auto a = reporter.nsPerIteration.find(p.first);
        auto b = reporter.nsPerIteration.find(p.second);
        if (a == reporter.nsPerIteration.end() || b == reporter.nsPerIteration.end() || b->second <= 0) continue;
        std::printf("ratio %s / %s = %.2f\n", p.first.c_str(), p.second.c_str(), a->second / b->second);
    }
    benchmark::Shutdown();
    return 0;
}

} // namespace qzbench
