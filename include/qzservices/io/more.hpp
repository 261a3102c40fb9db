/// @file
/// More paging: the on/off flag, the line counters, suspension, the stop
/// flag with which "q" ends a running display, and the built-in `more`.
/// Plain process-wide data: no locks, no atomics.
#pragma once
#include "qzservices/export.hpp"
// flushRead and deleteCurrentLine, the key wait of the prompt, stand with the callback table.
#include "qzservices/io/callbacks.hpp"

#include <cstddef>

QZSERVICES_API_BEGIN

struct vxArray_tag;

namespace services { namespace io {

size_t getMoreCount();  ///< lines written since the page began
void setMoreCount(size_t count);  ///< sets that count
void resetMoreCount();  ///< starts a new page
void incrementMoreCount();  ///< counts one more line

bool isMoreOn();  ///< enabled and not suspended
void suspendMore();  ///< pauses paging until the matching resumeMore
void resumeMore();  ///< suspensions nest
/// Stores the flag, resets the count, and lets the window decide the page length.
void MoreControl(bool on);

/// The window's rows less 2 when it has more than 2, else 1.
size_t getWindowSize();
/// Lines to a page: the limit if one is set, else the window's.
size_t getTotalMoreCount();
/// Sets the limit and turns paging on; returns the former page length.
size_t setTotalMoreCount(size_t count);

bool getStopPrintingFlag();  ///< whether a display was told to stop
void setStopPrintingFlag(bool flag);  ///< sets that flag
/// Returns the stop flag and clears it.
bool stopPrinting();

}} // namespace services::io

int ioStopPrinting();  ///< stopPrinting() as 1 or 0

/// The built-in `more`: more on, more off, more(N), n = more.
void ioFullMoreFcn(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

QZSERVICES_API_END
