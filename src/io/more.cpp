// More paging: its flag, its line counters, suspension and its stop flag.
#include "qzservices/io/more.hpp"

#include <cstdint>

namespace services { namespace io {

namespace {

bool moreEnabled = false;
std::int32_t moreSuspended = 0;
std::uint64_t moreCount = 0;
std::uint64_t moreLimit = 0;  // 0: the window decides
bool stopPrintingFlag = false;

} // namespace

size_t getMoreCount() { return static_cast<size_t>(moreCount); }
void setMoreCount(size_t count) { moreCount = count; }
void resetMoreCount() { setMoreCount(0); }
void incrementMoreCount() { ++moreCount; }

bool isMoreOn() { return moreEnabled && moreSuspended == 0; }
void suspendMore() { ++moreSuspended; }
void resumeMore() { --moreSuspended; }

void MoreControl(bool on) {
    moreEnabled = on;
    resetMoreCount();
    moreLimit = 0;
}

size_t getTotalMoreCount() { return moreLimit != 0 ? static_cast<size_t>(moreLimit) : getWindowSize(); }

size_t setTotalMoreCount(size_t count) {
    size_t old = getTotalMoreCount();
    moreLimit = count;
    moreEnabled = true;
    return old;
}

bool getStopPrintingFlag() { return stopPrintingFlag; }
void setStopPrintingFlag(bool flag) { stopPrintingFlag = flag; }

bool stopPrinting() {
    bool flag = stopPrintingFlag;
    stopPrintingFlag = false;
    return flag;
}

}} // namespace services::io

int ioStopPrinting() { return services::io::stopPrinting() ? 1 : 0; }
