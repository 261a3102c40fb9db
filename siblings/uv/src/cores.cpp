// The processor count of the machine.
#include "uv/cores.hpp"

#include <unistd.h>

extern "C" {

unsigned long uvGetNumAllCores(void) {
    long const online = sysconf(_SC_NPROCESSORS_ONLN);
    // sysconf may fail (-1) in odd containers; one core is always there.
    return online > 0 ? static_cast<unsigned long>(online) : 1ul;
}

} // extern "C"
