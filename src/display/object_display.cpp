// Objects and opaque values show their class and their size only. The size
// of an object is the one the session's size callback reports, when it
// reports one, since an object may present itself with another shape than
// its storage.
#include "qzservices/display/ioPrintArray.hpp"
#include "qzservices/display/settings.hpp"
#include "qzservices/io/callbacks.hpp"
#include "qzservices/io/more.hpp"
#include "display/array_access.hpp"

#include <uv/uv.hpp>
#include <vx/array.hpp>

#include <clocale>
#include <cmath>
#include <memory>

namespace {

using display_access::Destroyer;

void printReportedDimension(double v) {
    if (std::isnan(v))
        uvPrintf("NaN");
    else if (std::isinf(v))
        uvPrintf("Inf");
    else
        uvPrintf("%.0f", v);
}


// The array's own shape as "M-by-N", "M-by-N-by-P" or "K-D", then the spacing.
void printOwnDimensions(vxArray const* array) {
    size_t const ndim = vxGetNumberOfDimensions(array);
    size_t const* dims = vxGetDimensions(array);
    if (ndim == 2)
        uvPrintf("%zu-by-%zu\n%s", dims[0], dims[1], newline);
    else if (ndim == 3)
        uvPrintf("%zu-by-%zu-by-%zu\n%s", dims[0], dims[1], dims[2], newline);
    else
        uvPrintf("%zu-D\n%s", ndim, newline);
}

// The start of both displays: the "name = " heading (none for a null or
// empty name), then the dimensions of an opaque value completed.
void beginDisplay(char const* name, vxArray const* array) {
    ioStopPrinting();  // clears a stale stop request
    if (name != nullptr && *name) uvPrintf("%s%s = \n%s", newline, name, newline);
    if (vxDimensionsIncomplete(array)) _complete_opaque_dimensions(array);
}

} // namespace

void ioPrintObject(char const* name, vxArray const* array) {
    std::setlocale(LC_NUMERIC, "C");  // not restored
    if (array == nullptr) return;
    beginDisplay(name, array);

    std::unique_ptr<vxArray, Destroyer> reported;
    if (_sv_iocb.sizeCallback != nullptr) reported.reset(_sv_iocb.sizeCallback(array));
    char const* className = vxGetClassName(array);
    if (reported && vxGetClassID(reported.get()) == vxDOUBLE_CLASS && !vxIsEmpty(reported.get()) &&
        vxGetNumberOfElements(reported.get()) >= 2) {
        uvPrintf("\t%s object: ", className);
        size_t const n = vxGetNumberOfElements(reported.get());
        double const* values = vxGetPr(reported.get());
        if (n <= 3) {
            for (size_t i = 0; i < n; ++i) {
                if (i > 0) uvPrintf("-by-");
                printReportedDimension(values[i]);
            }
        } else {
            uvPrintf("%zu-D", n);
        }
        uvPrintf("\n%s", newline);
        return;
    }

    uvPrintf("\t%s object: ", className);
    printOwnDimensions(array);
}

void ioPrintObject(vxArray const* array) { ioPrintObject(ioGetArrayName(array), array); }

void ioPrintOpaqueArray(char const* name, vxArray const* array) {
    std::setlocale(LC_NUMERIC, "C");  // not restored
    if (array == nullptr) return;
    beginDisplay(name, array);

    char const* className = vxGetClassName(array);
    if (vxGetNumberOfElements(array) == 1) {
        uvPrintf("\t%s\n%s", className, newline);
        return;
    }
    uvPrintf("\t%s: ", className);
    printOwnDimensions(array);
}
