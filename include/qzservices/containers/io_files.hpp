/// @file
/// The io* file helpers: opening with tilde expansion and a search of the
/// path, directory listings as packed name lists, and questions about paths.
/// The ErrorChk forms raise a catalogue error for a failed open; the others
/// return null or a status code and leave errno as the failure left it.
#pragma once
#include "qzservices/export.hpp"
#include <cstdio>
#include <list>
#include <string>

QZSERVICES_API_BEGIN

/// Longest file name; path buffers are one byte longer.
enum { IO_MAX_FILENAME = 4352, IO_PATH_BUFFER = 4353 };

/// What ioGetFileStatus reports of a path.
struct QZFstat {
    long time;  ///< modification time, 0x7fffffff on failure
    int isDir;  ///< 1 for a directory
    long size;  ///< 0 for a directory and on failure
};

/// One entry of a directory listing, ordered by name in byte order.
struct FileItem {
    std::string name;  ///< the entry's name, without its folder
    unsigned int mode;  ///< the entry's type bits, as st_mode
    bool operator<(FileItem const& other) const { return name < other.name; }  ///< byte order of the names
};

/// fopen of `name` with "~" expanded; errno as the open left it.
FILE* ioFopen(char const* name, char const* mode);
/// Opens `name` as given, or, for reading, as the session's file search finds
/// it. `outPath` (IO_PATH_BUFFER bytes) receives the name opened; `outErrno`
/// the errno of the last open. Raises CALYX:fileio:filenameTooLong.
FILE* ioFopenPathName(char const* name, char const* mode, char* outPath, int* outErrno);
/// The same without the name opened and the errno.
FILE* ioFopenPath(char const* name, char const* mode);
/// As ioFopen; a failure raises, except a missing file, which returns null.
FILE* ioFopenErrorChk(char const* name, char const* mode);
///@{
/// As ioFopenPath and ioFopenPathName; every failure raises.
FILE* ioFopenErrorChkPath(char const* name, char const* mode);
FILE* ioFopenErrorChkPathName(char const* name, char const* mode, char* outPath);
///@}
/// fclose, for files opened by the functions above.
int ioFclose(FILE* file);
/// `name` with "~" expanded, into `buffer` (IO_PATH_BUFFER bytes).
char const* ioExpandFileName(char const* name, char* buffer);
/// -1 for EMFILE, -2 for EACCES, 0 otherwise.
int ioErrnoChk();
/// Raises for the errno a failed open of `name` left; with `quietIfMissing`
/// a missing file returns quietly instead.
void ioReportOpenError(bool quietIfMissing, char const* name);

/// Adds `ext` to a name that has none. Returns `dst` when it did, a pointer to
/// the dot of the existing extension (inside `name`) when there is one, and
/// null for a name ending in "/". Raises CALYX:services:filenameTooLong.
char* ioAddFilenameExt(char* dst, char const* name, char const* ext);

/// Packed name lists: zero-terminated names and one more zero byte, from
/// uvMalloc, released by the caller with uvFree. Null when nothing matched.
char* ioGetDirList(char const* pattern, unsigned int flags);
/// The same; `*modes`, when asked for, gets the entries' type bits in list
/// order (an array from uvMallocWithCheck that the caller frees).
char* ioGetDirListWithModes(char const* pattern, unsigned int flags, unsigned int** modes);
/// Packs `names` in their order; an empty list gives two zero bytes. Null
/// when the memory cannot be had.
char* ioPackListIntoCharArray(std::list<std::string> names);

/// 7 readable, 3 permission denied, 4 not found, 5 anything else.
int ioIsFileReadable(char const* path);
/// 0, or -1 with `out` holding the failure values.
int ioGetFileStatus(char const* path, QZFstat* out);
/// 1 a usable directory, 2 usable but not a directory, 3, 4, 5 as above.
int ioIsDirAccessible(char const* path);
/// Always 0: no name here is a DOS device name.
int ioIs_DOS_name(char const* name);
/// The mount point of the n-th (from 1) ISO 9660 file system; 1 if found.
int ioGetCDroot(int n, char* root);

QZSERVICES_API_END
