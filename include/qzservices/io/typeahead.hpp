/// @file
/// Characters typed ahead of their reader, the reading of one character, and
/// character tests that do not depend on the locale.
/// The queue is a ring of 4096 characters, plain data without a lock: it is
/// used on the main thread only.
#pragma once
#include "qzservices/export.hpp"
#include <cstddef>

QZSERVICES_API_BEGIN

///@{
/// Adds at the back and then calls the post-add hook; false when full, and then
/// nothing changes and the hook is not called.
bool ioAddTypeAheadChar(char c);
size_t ioGetTypeAheadCount();  ///< characters waiting in the queue
///@}
/// Takes the front. Unchecked: the caller asks ioGetTypeAheadCount first.
char ioGetTypeAheadChar();
/// Puts a character back at the front; false when full.
bool ioPutBackTypeAheadChar(char c);

/// The front end's reader of one key, called as fcn(arg, false, flag).
void ioSetGetCharFcn(int (*fcn)(int arg, bool useStdin, bool flag));
/// Called after each character that ioAddTypeAheadChar added.
void ioSetPostAddCharFcn(void (*fcn)());

/// Flushes stdout, then answers a queued character first (sign-extended from
/// char); otherwise reads stdin when asked to or when no reader is set, and
/// asks the front end's reader in all other cases.
int ioGetChar(int arg, bool useStdin, bool flag);

// ASCII only, whatever the locale says.
int isqzdigit(int c);  ///< '0' to '9'
int isqzalnum(int c);  ///< digits and the letters A-Z, a-z
int isqzspace(int c);  ///< tab, line feed, vertical tab, form feed, carriage return, blank

QZSERVICES_API_END
