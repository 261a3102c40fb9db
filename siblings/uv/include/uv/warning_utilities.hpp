// Where the utility layer asks whether warnings and errors should be formatted
// for the command window. The services library registers its answer at load;
// until then the answer is no.
#pragma once
#include "uv/uv_export.hpp"

UV_API_BEGIN

class uvWarningUtilities {
public:
    typedef bool (*NeedsFormattingFcn)();
    // A null function is ignored.
    static void registerNeedsFormattingForDisplay(NeedsFormattingFcn fcn);
    static bool needsFormattingForDisplay();
};

UV_API_END
