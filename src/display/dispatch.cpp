// ioPrintArray: the front door of array display, handing each array to the
// printer of its class.
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/settings.hpp"
#include "display/array_access.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>

#include <clocale>
#include <cstring>
#include <memory>

namespace {

using display_access::Destroyer;

void printCharacterArray(char const* name, vxArray const* array) {
    if (*name) uvPrintf("%s%s =%s\n", newline, name, newline);
    if (vxIsEmpty(array)) {
        if (vxGetM(array) == 0 && vxGetN(array) == 0)
            uvPrintf("     ''\n%s", newline);
        else
            uvPrintf("   Empty string: %zu-by-%zu\n%s", vxGetM(array), vxGetN(array), newline);
    } else {
        ioSupressName();  // the heading above stands for dispf_string's
        dispf_string(array, name, nullptr);
    }
    if (*name) uvPrintf("%s", newline);
}

} // namespace

void ioPrintArray(char const* name, vxArray const* array) {
    bool const nameWasNull = name == nullptr;
    if (nameWasNull) name = "";
    std::setlocale(LC_NUMERIC, "C");  // not restored

    if (array == nullptr) {
        std::unique_ptr<vxArray, Destroyer> empty(vxCreateDoubleMatrix(0, 0, vxREAL));
        ioPrintMatrix(name, empty.get());
        return;
    }
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);

    vxClassID const cls = vxGetClassID(array);
    switch (cls) {
    case vxSTRUCT_CLASS:
    case vxOBJECT_CLASS:
        // The whole name decides: a class "structx" is an object.
        if (std::strcmp(vxGetClassName(array), "struct") == 0)
            ioPrintStructure(name, array);
        else
            ioPrintObject(name, array);
        return;
    case vxCELL_CLASS: ioPrintCellArray(name, array); return;
    case vxFUNCTION_CLASS: ioPrintFunObjArray(name, array); return;
    case vxOPAQUE_CLASS: ioPrintOpaqueArray(name, array); return;
    default: break;
    }

    if (vxGetNumberOfDimensions(array) > 2) {
        ioPrintNDMatrix(name, array);
        if (cls == vxCHAR_CLASS && !vxIsEmpty(array) && *name) uvPrintf("%s", newline);
        return;
    }
    if (cls == vxCHAR_CLASS) {
        printCharacterArray(name, array);
        return;
    }
    // A null name gives the bare values; the empty name shows "ans".
    if (nameWasNull) ioSupressName();
    ioPrintMatrix(name, array);
}

void ioPrintArray(vxArray const* array) { ioPrintArray(ioGetArrayName(array), array); }

void ioPrintMatrixCompact(vxArray const* array) { ioPrintArray(nullptr, array); }
