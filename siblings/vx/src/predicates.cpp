// Tests of an array's kind that built-ins make on their arguments.
#include "vx/predicates.hpp"

bool vxIsRealScalar(vxArray const* array) {
    return array != nullptr && vxIsNumeric(array) && !vxIsComplex(array) && !vxIsSparse(array) &&
           vxGetNumberOfElements(array) == 1;
}
