// The processor count of the machine, for the computational thread pool.
#pragma once

extern "C" {

// The number of processor cores the operating system has online (at least 1).
unsigned long uvGetNumAllCores(void);

} // extern "C"
