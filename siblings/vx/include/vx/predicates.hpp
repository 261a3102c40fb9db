// Tests of an array's kind that built-ins make on their arguments.
#pragma once
#include "vx/array.hpp"

// A full, non-complex numeric array of exactly one element; false for null,
// logical, character, sparse and every other class.
bool vxIsRealScalar(vxArray const* array);
