// Whether warnings and errors are formatted for the command window.
#include "uv/warning_utilities.hpp"

namespace {
uvWarningUtilities::NeedsFormattingFcn needsFormattingFcn = nullptr;
}

void uvWarningUtilities::registerNeedsFormattingForDisplay(NeedsFormattingFcn fcn) {
    if (fcn != nullptr) needsFormattingFcn = fcn;
}

bool uvWarningUtilities::needsFormattingForDisplay() { return needsFormattingFcn != nullptr && needsFormattingFcn(); }
