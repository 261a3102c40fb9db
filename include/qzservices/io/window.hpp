/// @file
/// The size of the command window as every display sees it, the eighty-column
/// mode, and the beep. Plain process-wide values without a lock: set on the
/// main thread by the front end, the terminal check or a user command.
#pragma once
#include "qzservices/export.hpp"
#include <cstddef>

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// Eighty-column mode makes ioGetNumWindowColumns answer 80 while the real
/// width is still tracked, so that the mode can be left again.
void ioUseEightyColumns(int on);
/// Stores the real width; returns the width displays saw before the call.
size_t ioSetNumWindowColumns(size_t columns);
///@{
/// Stores the height; returns the old height.
size_t ioSetNumWindowRows(size_t rows);
size_t ioGetNumWindowColumns();  ///< 80 in eighty-column mode, else the real width
size_t ioGetNumWindowRows();  ///< the window's height in lines
///@}
/// Asks the terminal on file descriptor 0; keeps the old size when that fails
/// or reports no columns.
void ioUpdateWindowSize();

///@{
/// Beeps through the front end (entry 1 of the session callback table) unless
/// the beep is switched off or the top sink of CXOut cannot beep.
void ioBuzz();
void ioSetBuzz(int on);  ///< switches the beep on (nonzero) or off
int ioGetBuzz();  ///< whether the beep is on
///@}

// Built-ins: the window width and height as a double scalar. No inputs, at
// most one output. The result goes to outArgs[0], a slot the caller provides
// even when outCount is 0, and belongs to the caller.
void numWindowColsFcn(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag const** inArgs);  ///< the width
void numWindowRowsFcn(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag const** inArgs);  ///< the height

///@{
/// The real width, whatever eighty-column mode says, and whether that mode is on.
size_t ioGetRealNumWindowColumns();
bool ioGetUseEightyColumns();
///@}

QZSERVICES_API_END
