// Where the utility layer asks whether warnings and errors should be formatted
// for the command window. The services library registers its answer at load;
// until then the answer is no.
#pragma once

class uvWarningUtilities {
public:
    typedef bool (*NeedsFormattingFcn)();
    // A null function is ignored.
    static void registerNeedsFormattingForDisplay(NeedsFormattingFcn fcn);
    static bool needsFormattingForDisplay();
};
