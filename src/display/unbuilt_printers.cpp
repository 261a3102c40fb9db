// The printers of cells, structures, objects, function handles, opaque values
// and many-dimensional arrays are not part of this build yet. Each raises
// "CALYX:services:printerUnavailable" before writing anything, so that a
// display of such an array fails plainly instead of printing something wrong.
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/settings.hpp"

#include <msg/calyx_messages.hpp>
#include <vx/errors.hpp>

namespace {
[[noreturn]] void unavailable(char const* what) { vxErrMsgId(CALYX::services::printerUnavailable(what)); }
} // namespace

void ioPrintCellArray(char const*, vxArray_tag const*) { unavailable("cell arrays"); }
void ioPrintCellArray(vxArray_tag const* array) { ioPrintCellArray(ioGetArrayName(array), array); }
void ioPrintStructure(char const*, vxArray_tag const*) { unavailable("structures"); }
void ioPrintStructure(vxArray_tag const* array) { ioPrintStructure(ioGetArrayName(array), array); }
void ioPrintObject(char const*, vxArray_tag const*) { unavailable("objects"); }
void ioPrintObject(vxArray_tag const* array) { ioPrintObject(ioGetArrayName(array), array); }
void ioPrintNDMatrix(char const*, vxArray_tag const*) { unavailable("arrays of more than two dimensions"); }
void ioPrintNDMatrix(vxArray_tag const* array) { ioPrintNDMatrix(ioGetArrayName(array), array); }
void ioPrintFunObjArray(char const*, vxArray_tag const*) { unavailable("function handles"); }
void ioPrintOpaqueArray(char const*, vxArray_tag const*) { unavailable("opaque values"); }
