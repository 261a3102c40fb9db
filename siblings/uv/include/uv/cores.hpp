// The processor count of the machine, for the computational thread pool.
#pragma once
#include "uv/uv_export.hpp"

UV_API_BEGIN

extern "C" {

// The number of processor cores the operating system has online (at least 1).
unsigned long uvGetNumAllCores(void);

} // extern "C"

UV_API_END
