// CPU cycle counters: named bins of elapsed time.
#include "uv/cycle_counter.hpp"
#include "uv/uv.hpp"

#include <cstdlib>
#include <map>
#include <memory>

namespace {
// Counters live for the whole process; the registry is never freed.
std::map<std::string, uvCpuCycleCounter*>& registry() {
    static auto* counters = new std::map<std::string, uvCpuCycleCounter*>;
    return *counters;
}
} // namespace

uvCpuCycleCounter::uvCpuCycleCounter(int bins, char const* const* names, char const* label)
    : label_(label ? label : ""), on_(std::getenv("CALYX_CYCLE_COUNTERS") != nullptr) {
    for (int i = 0; i < bins; ++i) names_.emplace_back(names && names[i] ? names[i] : "");
    totals_.assign(names_.size(), 0);
    counts_.assign(names_.size(), 0);
}

void uvCpuCycleCounter::add(int bin, unsigned long long nanoseconds) {
    if (bin < 0 || bin >= bins()) return;
    totals_[static_cast<size_t>(bin)] += nanoseconds;
    counts_[static_cast<size_t>(bin)] += 1;
}

unsigned long long uvCpuCycleCounter::total(int bin) const {
    return bin < 0 || bin >= bins() ? 0 : totals_[static_cast<size_t>(bin)];
}

unsigned long long uvCpuCycleCounter::count(int bin) const {
    return bin < 0 || bin >= bins() ? 0 : counts_[static_cast<size_t>(bin)];
}

uvCpuCycleCounter* uvCreateCpuCycleCounter(int bins, char const* const* names, char const* label) {
    auto* counter = new uvCpuCycleCounter(bins < 0 ? 0 : bins, names, label);
    registry()[counter->label()] = counter;  // an older counter of that label stays alive, unlisted
    return counter;
}

uvCpuCycleCounter* uvFindCpuCycleCounter(char const* label) {
    auto it = registry().find(label ? label : "");
    return it == registry().end() ? nullptr : it->second;
}

uvCycleTimer::uvCycleTimer(uvCpuCycleCounter* counter, int bin)
    : counter_(counter && counter->isOn() ? counter : nullptr), bin_(bin), start_(counter_ ? uvPERFtic() : 0) {}

uvCycleTimer::~uvCycleTimer() {
    if (counter_) counter_->add(bin_, uvPERFtic() - start_);
}
