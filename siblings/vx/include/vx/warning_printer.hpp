// Where warnings are printed. By default a warning goes out as one line,
// "Warning: <text>", on the error stream; a host that formats its messages
// (wrapping them to its window, say) installs a printer of its own, which is
// handed the whole line without its line end. The warning is remembered for
// lastWarningMessage either way.
#pragma once
#include "vx/vx_export.hpp"

VX_API_BEGIN

typedef void (*vxWarningPrinter)(char const* line);

// Installs `printer` (null restores the default) and returns the one before.
vxWarningPrinter vxSetWarningPrinter(vxWarningPrinter printer);
vxWarningPrinter vxGetWarningPrinter();

VX_API_END
