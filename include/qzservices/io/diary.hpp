/// @file
/// The diary: a file that receives a copy of what passes through the command
/// window (the output proxy writes it through CXStream::diaryStreamPtr_, in
/// the native encoding, appended to what the file held), its name, the
/// switching on and off, and the date stamps of a session's history.
///
/// Process-wide state without a lock: the diary is switched on the
/// interpreter's thread; its buffer is written by the thread that runs the
/// output proxy.
#pragma once
#include "qzservices/export.hpp"
#include <cstdio>
#include <string>

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// On while a file is open.
bool nmIsDiaryEnabled();
/// The open file, null while the diary is off; the diary closes it.
FILE* ioGetDiaryFilePointer();
/// The file name, kept while the diary is off ("diary" at start).
char const* nmGetDiaryFile();
/// Sets the name (up to 4352 characters; longer raises
/// CALYX:fileio:filenameTooLong) and moves an open diary to it. Never
/// changes whether the diary is on. Returns the stored name.
char const* nmSetDiaryFile(char const* name);
/// A formatted text straight to the file (not through the diary's buffer),
/// when the diary is on and CXOut's sink keeps a diary.
void nmDiaryPrintf(char const* format, ...) __attribute__((format(printf, 1, 2)));
/// The diary command: "" toggles, "on" and "off" (in any case) switch, and
/// anything else is a file name, after which the diary is on. A file that
/// cannot be opened raises, and the diary stays off.
void nmDiaryFcn(char const* arg);
/// The built-in: no outputs, at most one argument (text).
void nmFullDiaryFcn(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

/// A time given in milliseconds since the epoch, as local date and time in
/// the locale's formats. Half a second or more rounds up.
std::string svGetDisplayDate(long milliseconds);
/// Now, as a history stamp: "%%-- " date " --%%".
std::string svHistoryDate();

QZSERVICES_API_END
