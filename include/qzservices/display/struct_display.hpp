/// @file
/// The pieces of structure display: the aligned field list of a scalar
/// structure, and the one-line forms of field values ("[1 2 3]", "'text'",
/// "{[1]  'a'}") that fall back to a size summary when they do not fit.
#pragma once
#include "qzservices/export.hpp"
#include <vx/array.hpp>

#include <cstddef>
#include <string>

QZSERVICES_API_BEGIN

/// Text in 16-bit units, as the character arrays hold it.
typedef std::basic_string<unsigned short> ioUnitString;

/// The field list of a scalar structure or object: each name right-aligned in
/// the width of the longest name plus four, ": ", and the value on one line
/// or its summary. Nothing for other classes or without fields.
void ioPrintScalarStructureFieldsGroup(vxArray const* array);

/// Writes `value` and a line feed when its one-line form fits in `width`
/// characters; false, with nothing written, when it does not.
bool ioPrintStructMember(vxArray const* value, size_t width);

/// The word "struct", as a bold help link when output is hot.
std::string getStructNameWithHotlinks();

/// The units of a character array between single quotes, NUL units as blanks:
/// 1 with the text in `text` when it is at most `limit` units long, else 0
/// with `text` cleared.
int ioQuoteCharRow(vxArray const* value, ioUnitString& text, size_t limit);

/// The elements of a numeric, logical or function-handle array on one line,
/// one blank apart, in brackets when there are several: 1 with the text when
/// it fits in `limit` - 2 characters, else 0 with `text` cleared. A sparse
/// array of more than 99 elements gives 0.
int ioFormatNumberList(vxArray const* value, std::string& text, size_t limit);

QZSERVICES_API_END
