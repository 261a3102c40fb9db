// State shared by the printers inside the library.
#pragma once

namespace display_state {

// When 0, the next numeric or sparse display writes no heading; every
// printer that consumes it sets it back to 1.
extern int showNameFlag;

// prtfmt is stored unchecked; a display refuses a value outside 1 to 13
// here, before it writes anything, instead of indexing past the tables.
void checkPrintFormat();

} // namespace display_state
