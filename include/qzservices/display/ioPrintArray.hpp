/// @file
/// The text form of arrays as a user reads it in the command window: the
/// dispatch by class, the numeric matrix printer and the character printer.
/// Everything goes through uvPrintf (16-bit text through a uout stream) into
/// CXOut. Display never owns the arrays it is given. At each row start a
/// display may leave by Orrery::System::InterruptException (a pending
/// interrupt), or end early when the more prompt's stop flag is set.
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// Any array under a name. A null name gives the bare values with no heading;
/// the empty name shows a non-empty array as "ans". A null array shows as [].
void ioPrintArray(char const* name, vxArray_tag const* array);
/// Named by ioGetArrayName: a host must first name arrays with
/// ioSetArrayNameCallback (display/settings.hpp), else this raises
/// "CALYX:services:noArrayNameCallback" ("No array name callback has been set").
void ioPrintArray(vxArray_tag const* array);
/// The bare values: ioPrintArray(NULL, array).
void ioPrintMatrixCompact(vxArray_tag const* array);

///@{
/// A numeric, logical or sparse array of at most two dimensions, and every
/// empty-array message. A class without a number form (void, cell, ...) raises
/// error number 15 before anything is written.
void ioPrintMatrix(char const* name, vxArray_tag const* array);
void ioPrintMatrix(vxArray_tag const* array);  ///< named by ioGetArrayName
///@}

/// A character array as its rows, each page of a many-dimensional array as a
/// block. pageName, when given, is shown instead of name.
void dispf_string(vxArray_tag const* array, char const* name, char const* pageName);

// The printers of cells, structures, objects, function handles, opaque values
// and arrays of more than two dimensions, to which ioPrintArray dispatches.
void ioPrintCellArray(char const* name, vxArray_tag const* array);  ///< cells, by column, with their summaries
void ioPrintCellArray(vxArray_tag const* array);  ///< named by ioGetArrayName
void ioPrintStructure(char const* name, vxArray_tag const* array);  ///< a structure's fields, or its size and field names
void ioPrintStructure(vxArray_tag const* array);  ///< named by ioGetArrayName
void ioPrintObject(char const* name, vxArray_tag const* array);  ///< an object's class and size
void ioPrintObject(vxArray_tag const* array);  ///< named by ioGetArrayName
void ioPrintNDMatrix(char const* name, vxArray_tag const* array);  ///< each two-dimensional page under its own name
void ioPrintNDMatrix(vxArray_tag const* array);  ///< named by ioGetArrayName
void ioPrintFunObjArray(char const* name, vxArray_tag const* array);  ///< function handles, one or many
void ioPrintOpaqueArray(char const* name, vxArray_tag const* array);  ///< an opaque value's class and size

QZSERVICES_API_END
