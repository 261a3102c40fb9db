// Tests of an array's kind that built-ins make on their arguments.
#pragma once
#include "vx/vx_export.hpp"
#include "vx/array.hpp"

VX_API_BEGIN

// A full, non-complex numeric array of exactly one element; false for null,
// logical, character, sparse and every other class.
bool vxIsRealScalar(vxArray const* array);

VX_API_END
