// The path manager: joins, expands and looks up path names, and keeps named
// search paths (a list of directories with a cached listing of each, plus a
// current directory). It never touches the file system itself: every question
// about a directory or a file goes to the five I/O functions it was handed
// with pxSetDefaultIOFcns, so that a caller can make it see through archives.
//
// Path buffers are PX_MAX_PATH bytes; every function that writes one stops at
// PX_MAX_PATH - 1 characters and always terminates. No function here locks:
// paths belong to the interpreter's thread.
#pragma once
#include "px/px_export.hpp"
#include <cstddef>
#include <string>
#include <vector>

PX_API_BEGIN

enum { PX_MAX_PATH = 4353 };

typedef struct pxPathObject* pxPath;

// The answer to "can this directory be used": what pxDirAccessibility names.
enum pxDirAccessibility {
    pxDirAccessible = 1,
    pxDirNoPermission = 3,
    pxDirNotFound = 4,
    pxDirOther = 5
};

// The five I/O functions, in the order pxSetDefaultIOFcns takes them.
// A listing is a packed list: zero-terminated names and one more zero byte,
// allocated with uvMalloc/uvCalloc and released by the path manager with uvFree.
typedef char* (*pxListDirectoryFcn)(pxPath path, char const* dir, unsigned int** modes);
typedef pxDirAccessibility (*pxDirAccessibilityFcn)(pxPath path, char const* dir);
typedef bool (*pxIsReadableFileFcn)(char const* file);
typedef bool (*pxIsDirectoryFcn)(pxPath path, char const* dir);
typedef long (*pxModificationTimeFcn)(pxPath path, char const* file);

struct pxIOFcns {
    pxListDirectoryFcn listDirectory;
    pxDirAccessibilityFcn dirAccessibility;
    pxIsReadableFileFcn isReadableFile;
    pxIsDirectoryFcn isDirectory;
    pxModificationTimeFcn modificationTime;
};

// --- Path names (pure text, no I/O) ---------------------------------------

// True for a path that begins with "/".
bool pxIsAbsolutePath(char const* path);
// `path` made absolute against the process's current directory, into `out`
// of `size` bytes; returns `out`. A path that does not fit, or a current
// directory that cannot be read, gives the empty string.
char* pxFullPath(char* out, char const* path, size_t size);
// `dir` joined with `name` by one "/" into `out`; returns `out`.
char* pxCombinePathName(char* out, char const* dir, char const* name);
// Appends "/" and `dir` to `path` in place (no "/" doubled, none added to an
// empty path) and returns `path`.
char* pxConcatPathSubdir(char* path, char const* dir);
// Appends "/" and `name` to `path` in place; the same rule as above.
char* pxConcatPathName(char* path, char const* name);
// "~" and "~/rest" become the home directory, "~user/rest" that user's home;
// anything else (and an unknown user) is copied as it stands. Writes `out`
// (which may not overlap `name`) and returns it.
char* pxTildeExpansion(char* out, char const* name);
// Splits `path` at its last "/": `dir` gets the text before it ("/" for a
// name right below the root, "" when there is no "/"); returns a pointer to
// the name part inside `path`.
char const* pxSeparatePathName(char const* path, char* dir);

// --- The I/O functions ----------------------------------------------------

// The set that new paths take. A null function leaves the previous one.
void pxSetDefaultIOFcns(pxListDirectoryFcn listDirectory, pxDirAccessibilityFcn dirAccessibility,
                        pxIsReadableFileFcn isReadableFile, pxIsDirectoryFcn isDirectory,
                        pxModificationTimeFcn modificationTime);
pxIOFcns pxGetDefaultIOFcns();
// Every existing path takes the current default set.
void pxUpdatePathArrayDefaultIOFcns();
pxIOFcns pxGetIOFcns(pxPath path);

// --- Paths ------------------------------------------------------------------

// A new, empty path registered under `name` (replacing none: an existing
// name is returned as it is). Its current directory is the process's.
pxPath pxCreatePath(char const* name);
// The path registered under `name`, or null.
pxPath pxLookupPath(char const* name);
void pxDestroyPath(pxPath path);
// The name of the path the interpreter works with: "default" unless set.
// The path of that name exists from the first call on.
char const* pxGetCurrentPathname();
void pxSetCurrentPathname(char const* name);

// Replaces the directory list with the ":"-separated `text`. Directories that
// the accessibility function rejects are left out, with a warning. Returns
// false when `text` is the list the path holds already (nothing changed), or
// when a directory was rejected.
bool pxReplacePath(pxPath path, char const* text);
// Reads the listings again: level 1 only those whose modification time has
// changed, 2 (or more) all of them.
void pxRefreshAllDirectories(pxPath path, int level);
// Whether rejected directories print a warning; returns the previous value.
bool pxSetNotificationHandleWarnings(pxPath path, bool on);
// A directory may have changed behind the path manager's back (a file was
// written there): drop its listing, and that of the current directory.
void pxChangedUnknownDir(pxPath path);
void pxChangedUnknownDir(pxPath path, char const* dir);

// The current directory into `out` (`size` bytes); returns `out`.
char* pxGetCWDName(pxPath path, char* out, size_t size);
// Makes `dir` the current directory if the I/O functions call it a
// directory; returns whether it did.
bool pxSetCWDName(pxPath path, char const* dir);

size_t pxNumDirectories(pxPath path);
std::string pxGetDirectory(pxPath path, size_t index);
// The cached listing of a directory of the path (read on first use).
std::vector<std::string> pxGetDirectoryListing(pxPath path, size_t index);
// The warnings given so far (and whether notification was on for each).
std::vector<std::string> pxGetWarnings(pxPath path);

// Looks `name` up: the current directory first, then each directory of the
// path in order, by its cached listing; a candidate must pass the readable
// test. The full name goes to `out`. Returns whether it was found.
bool pxFindFile(pxPath path, char const* name, char* out);
// The modification time of a file, through the path's I/O function.
long pxModificationTime(pxPath path, char const* file);

PX_API_END
