// CPU cycle counters: named bins of elapsed time that code fills around the
// stages of an operation. A counter is off unless the environment variable
// "CALYX_CYCLE_COUNTERS" is set when it is made, or it is switched on; timing
// costs nothing while it is off. Counters are made once and never freed.
#pragma once
#include "uv/uv_export.hpp"
#include <string>
#include <vector>

UV_API_BEGIN

class uvCpuCycleCounter {
public:
    uvCpuCycleCounter(int bins, char const* const* names, char const* label);
    bool isOn() const { return on_; }
    void setOn(bool on) { on_ = on; }
    std::string const& label() const { return label_; }
    int bins() const { return static_cast<int>(names_.size()); }
    std::string const& binName(int bin) const { return names_.at(static_cast<size_t>(bin)); }
    // Adds elapsed nanoseconds to a bin and counts one entry; a bin out of range is ignored.
    void add(int bin, unsigned long long nanoseconds);
    unsigned long long total(int bin) const;
    unsigned long long count(int bin) const;

private:
    std::string label_;
    std::vector<std::string> names_;
    std::vector<unsigned long long> totals_;
    std::vector<unsigned long long> counts_;
    bool on_;
};

// Makes a counter with `bins` bins and registers it under `label`.
uvCpuCycleCounter* uvCreateCpuCycleCounter(int bins, char const* const* names, char const* label);
// The counter registered under `label` last, or null.
uvCpuCycleCounter* uvFindCpuCycleCounter(char const* label);

// Times one stage into one bin for the length of a scope, when the counter is on.
class uvCycleTimer {
public:
    uvCycleTimer(uvCpuCycleCounter* counter, int bin);
    ~uvCycleTimer();
    uvCycleTimer(uvCycleTimer const&) = delete;
    uvCycleTimer& operator=(uvCycleTimer const&) = delete;

private:
    uvCpuCycleCounter* counter_;
    int bin_;
    unsigned long long start_;
};

UV_API_END
