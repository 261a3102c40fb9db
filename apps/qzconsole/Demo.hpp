// The fixed tour of array display that `qzconsole --demo` (and the `demo`
// command) prints: representative arrays of every numeric class in several
// print formats, in a window of 80 columns.
#pragma once

namespace qzconsole {

void runDemo();

} // namespace qzconsole
