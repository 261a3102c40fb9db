// More paging: the on/off flag, the line counters, suspension, the stop
// flag with which "q" ends a running display, and the built-in `more`.
// Plain process-wide data: no locks, no atomics.
#pragma once
// flushRead and deleteCurrentLine, the key wait of the prompt, stand with the callback table.
#include "qzservices/io/callbacks.hpp"

#include <cstddef>

struct vxArray_tag;

namespace services { namespace io {

size_t getMoreCount();
void setMoreCount(size_t count);
void resetMoreCount();
void incrementMoreCount();

bool isMoreOn();  // enabled and not suspended
void suspendMore();
void resumeMore();  // suspensions nest
// Stores the flag, resets the count, and lets the window decide the page length.
void MoreControl(bool on);

// The window's rows less 2 when it has more than 2, else 1.
size_t getWindowSize();
// Lines to a page: the limit if one is set, else the window's.
size_t getTotalMoreCount();
// Sets the limit and turns paging on; returns the former page length.
size_t setTotalMoreCount(size_t count);

bool getStopPrintingFlag();
void setStopPrintingFlag(bool flag);
// Returns the stop flag and clears it.
bool stopPrinting();

}} // namespace services::io

int ioStopPrinting();

// The built-in `more`: more on, more off, more(N), n = more.
void ioFullMoreFcn(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
