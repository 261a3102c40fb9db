// Where warnings are printed, and the last warning.
#include "vx/warning_printer.hpp"

#include <atomic>

namespace {
std::atomic<vxWarningPrinter> gPrinter{nullptr};
}

vxWarningPrinter vxSetWarningPrinter(vxWarningPrinter printer) { return gPrinter.exchange(printer); }

vxWarningPrinter vxGetWarningPrinter() { return gPrinter.load(); }
