/// @file
/// The five functions through which the path manager asks about the file
/// system, in two sets: the plain set sees only the operating system, the
/// container-aware set sees into CAT files. The "container" feature chooses.
#pragma once
#include "qzservices/export.hpp"
#include <px/px.hpp>

QZSERVICES_API_BEGIN

/// Hands the path manager the set that the "container" feature selects.
void svSetPathManagerDefaultIOFcns();
/// Hands it the plain set.
void svSetPathManagerDefaultIOFcnsOrig();

///@{
/// The plain set: a listing (a packed name list, `*modes` the entries' type
/// bits), a directory's accessibility, whether a path is a readable file or a
/// directory, and a file's modification time.
char* svPlainListDirectory(pxPath path, char const* dir, unsigned int** modes);
pxDirAccessibility svPlainDirAccessibility(pxPath path, char const* dir);
bool svPlainIsReadableFile(char const* file);
bool svPlainIsDirectory(pxPath path, char const* dir);
long svPlainModificationTime(pxPath path, char const* file);
///@}

///@{
/// The container-aware set: the same questions, answered inside CAT files too.
char* svContainerListDirectory(pxPath path, char const* dir, unsigned int** modes);
pxDirAccessibility svContainerDirAccessibility(pxPath path, char const* dir);
bool svContainerIsReadableFile(char const* file);
bool svContainerIsDirectory(pxPath path, char const* dir);
long svContainerModificationTime(pxPath path, char const* file);
///@}

/// The names in `dir` as a packed list (".", ".." and the entries), and in
/// `*streamAccess` how the listing ended: 0 when it is whole, otherwise the
/// container's stream-access code (3 for a damaged CAT file), with the names
/// read before the damage still returned. Null when nothing could be listed.
char* svContainerListDirectoryAccess(char const* dir, int* streamAccess);

QZSERVICES_API_END
