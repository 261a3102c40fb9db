/// @file
/// Short texts that several displays share: the size of an array, its
/// bracketed summary, and help links.
#pragma once
#include "qzservices/export.hpp"
#include <cstddef>
#include <string>

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// The number of bytes ioSizeString may write, its NUL included.
enum { IO_SIZE_STRING_SIZE = 128 };

/// "      2x3x4", "      4-D" (four or more dimensions): the first dimension
/// in seven places, for alignment. Objects and opaque values ask the session's
/// size callback first. Fills dst (IO_SIZE_STRING_SIZE bytes) and returns it.
char* ioSizeString(vxArray_tag const* array, char* dst);
/// "[3x4 double]", "{1x2 cell}".
std::string ioSizeDisplay(vxArray_tag const* array);
/// The literal of an empty value ("''", "{}", "[]") when every dimension is
/// zero, else ioSizeDisplay. Structures and objects always get ioSizeDisplay.
std::string ioSizeOrEmptyDisplay(vxArray_tag const* array);
/// True when all n values are zero, and when n is 0.
bool ioIsAllZero(size_t n, size_t const* values);

///@{
/// A help link around text when output is hot (uvPrintfIsHot), else the text.
/// Neither argument is escaped.
std::string ioCreateHelpHotlink(std::string const& text, std::string const& topic);
std::string ioCreateBoldHelpHotlink(std::string const& text, std::string const& topic);  ///< the same, in bold
///@}

QZSERVICES_API_END
