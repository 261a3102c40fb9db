// State shared by the printers inside the library.
#pragma once
#include <cstddef>

namespace display_state {

// When 0, the next numeric or sparse display writes no heading; every
// printer that consumes it sets it back to 1.
extern int showNameFlag;

// prtfmt is stored unchecked; a display refuses a value outside 1 to 13
// here, before it writes anything, instead of indexing past the tables.
void checkPrintFormat();

// "   Empty string: 0-by-3-by-2" (what "Empty string") and the blank line
// after it: the size of an empty array of any number of dimensions.
void printEmptySize(char const* what, size_t ndim, size_t const* dims);

} // namespace display_state
