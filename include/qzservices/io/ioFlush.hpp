/// @file
/// C-level entry points of the streams: flushing, and a registry of functions
/// that a host runs with ioFlushStreams (which flushes nothing by itself).
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

extern "C" {

/// Flushes CXOut, then CXErr. 1 if neither is bad afterwards, else 0.
int ioFlush(void);
/// Calls each registered function with `arg`, oldest first. A function must not
/// unregister itself from within this walk.
void ioFlushStreams(long arg);
/// Appends at the tail; the same function may be registered several times.
void ioRegisterFlushStreamFcn(void (*fn)(long));
/// Removes the first entry with this pointer; unknown or null pointers do nothing.
void ioUnregisterFlushStreamFcn(void (*fn)(long));

/// Hands `length` bytes to the host's command-window writer (entry 4 of the
/// session callback table); by default the utility layer's uvPutsn on the
/// output stream. The text is not written to CXOut by this library itself.
void ioCmdTextOut(char* text, int length);

} // extern "C"

QZSERVICES_API_END
