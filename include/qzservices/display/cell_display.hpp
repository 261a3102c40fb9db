/// @file
/// The page writers of cell arrays and function-handle arrays. A cell page
/// shows one line per row: short values inline ("'abc'", "[5]", "@sin") and
/// everything else as a summary such as "[3x4 double]" whose separator, class
/// name and closing bracket line up down the column. Columns differ in width,
/// so a page of columns is measured cell by cell. All scratch space stands on
/// the stack: an interrupt may leave at any row start.
#pragma once
#include "qzservices/export.hpp"
#include <vx/array.hpp>

#include <cstddef>

QZSERVICES_API_BEGIN

/// The bytes ioFormatCellItem may write, its NUL included. A text that would
/// not fit (a string or handle of thousands of characters in a window of no
/// width) is not shown inline; padding past it is cut.
enum { IO_CELL_ITEM_SIZE = 4096 };

/// The most columns one page of cells or handles holds: the per-column widths
/// are kept in arrays of this size.
enum { IO_CELL_PAGE_COLUMNS = 360 };

/// True when `cell` can be shown inline, with its text, padded to `width`, in
/// dst (IO_CELL_ITEM_SIZE bytes): a one-row string of 1 to limit - 6
/// characters without line breaks, a numeric or logical scalar, or a function
/// handle. With measureOnly a string counts as "''". A null cell is false.
bool ioFormatCellItem(vxArray const* cell, char* dst, size_t width, size_t limit, bool measureOnly);

/// The width of one column of `rows` cells, and the widths of its summaries:
/// the longest part of a size string before its first "x" (or "-"), the
/// longest part from there on, and the longest class name.
size_t ioGetColumnWidth(vxArray const** cells, size_t rows, size_t* leftWidth, size_t* rightWidth,
                        size_t* classWidth, size_t limit, bool oneColumn);

/// One two-dimensional page of cells (column-major, null for an empty cell),
/// split into pages of columns that fit the window.
void ioPrintCellPage(vxArray const** cells, size_t rows, size_t columns);

/// One two-dimensional page of function handles (column-major records).
void ioPrintFunObjPage(function_handle_tag* handles, size_t rows, size_t columns);

QZSERVICES_API_END
