// The English texts of every identifier the services library raises.
#include "msg/message.hpp"

#include <cstring>

namespace msg_core {

namespace {

struct Entry {
    char const* id;
    char const* text;
};

// Sorted by identifier, for the binary search below.
Entry const kCatalog[] = {
    {"CALYX:Java:Conflicting", "You have specified multiple/conflicting Java options.  Using '{1}'"},
    {"CALYX:Java:Disabling", "Disabling Java support"},
    {"CALYX:Java:NoWindowSystem", "No window system found.  Java option '{1}' ignored"},
    {"CALYX:Multicore:IllegalNumComputationalThreads", "The number of computational threads must not be negative; {1} was given."},
    {"CALYX:Multicore:MultithreadingDisabled", "Computational multithreading is disabled in this session."},
    {"CALYX:dumpcore:InvalidDumpCoreSetting", "The dump-core setting must be a real scalar from 0 to 3."},
    {"CALYX:feature:FeatureCallCount", "The argument must be the name of a feature, as text."},
    {"CALYX:feature:duplicateFeature", "The feature '{1}' is already registered."},
    {"CALYX:feature:failedToAddFeature", "The feature '{1}' could not be added."},
    {"CALYX:feature:unknownFeature", "There is no feature named '{1}'."},
    {"CALYX:legacy_two_part:containerStreamError", "Error reading {1}: {2}"},
    {"CALYX:legacy_two_part:wrongContainerFeatureInput", "The value of the container feature must be given as text."},
    {"CALYX:legacy_two_part:wrongContainerFeatureValue", "The container feature takes the value 'on' or 'off'."},
    {"CALYX:maxlhs", "Too many output arguments."},
    {"CALYX:maxrhs", "Too many input arguments."},
    {"CALYX:minrhs", "Not enough input arguments."},
    {"CALYX:pg:InvalidPGVersion", "Graphics version {1} is not valid; the version stays as it was."},
    {"CALYX:pg:ReadOnlyFeature", "The feature '{1}' is read-only."},
    {"CALYX:prefs:BadInput", "The argument must be a logical or numeric scalar."},
    {"CALYX:prefs:InsufficientMemory", "The buffers for the work folder are too small."},
    {"CALYX:prefs:MkdirFailed", "Unable to create the preferences folder {1}."},
    {"CALYX:services:UserEventQueueBadFileDescriptor", "The user event queue cannot watch file descriptor {1}."},
    {"CALYX:services:UserEventQueueFileDescriptorCloseFailed", "The user event queue could not close its pipe (errno {1})."},
    {"CALYX:services:UserEventQueuePipeCreationFailed", "The user event queue could not create its pipe (errno {1})."},
    {"CALYX:services:UserEventQueueReadFailed", "The user event queue could not read its pipe (errno {1})."},
    {"CALYX:services:cantOpenFile", "Cannot open file '{1}'."},
    {"CALYX:services:cantOpenFileNoPermission", "Cannot open file '{1}': permission denied."},
    {"CALYX:services:fileNotFound", "File '{1}' not found."},
    {"CALYX:services:filenameTooLong", "The file name is too long."},
    {"CALYX:services:invalidPrintFormat", "The print format {1} is not one of 1 to 13."},
    {"CALYX:services:noArrayNameCallback", "No array name callback has been set."},
    {"CALYX:services:noDiskSpace", "Cannot open file '{1}': not enough space on disk."},
    {"CALYX:services:tooManyFilesOpenUnix", "Cannot open file '{1}': too many files are open. Close some files and try again."},
    {"CALYX:settings:core:FileLoadingError", "Error loading the settings: {1}"},
    {"CALYX:vx:arrayTooLarge", "Requested array exceeds the maximum array size."},
    {"CALYX:vx:corruptSparse", "The row indices or column starts of the sparse array are out of range."},
    {"CALYX:vx:duplicateField", "Duplicate field name '{1}'."},
    {"CALYX:vx:error15", "Invalid input argument."},
    {"CALYX:vx:error16", "The input argument could not be converted to text."},
    {"CALYX:vx:error17", "Out of memory."},
    {"CALYX:vx:indexOutOfRange", "Index exceeds the number of array elements or fields."},
    {"CALYX:vx:invalidClass", "The array is not of a class this operation accepts."},
    {"CALYX:vx:notCharArray", "The value must be a character array."},
    {"CALYX:vx:notNumeric", "The value must be numeric."},
    {"CALYX:vx:notScalar", "The value must be a scalar."},
    {"CALYX:vx:numberedError", "Internal array library error {1}."},
    {"CALYX:vx:scalarOutOfIntRange", "The value does not fit in an integer."},
};

} // namespace

char const* lookupTemplate(std::string const& identifier) {
    size_t lo = 0, hi = sizeof kCatalog / sizeof kCatalog[0];
    while (lo < hi) {
        size_t mid = (lo + hi) / 2;
        int c = std::strcmp(kCatalog[mid].id, identifier.c_str());
        if (c == 0) return kCatalog[mid].text;
        if (c < 0) lo = mid + 1; else hi = mid;
    }
    return nullptr;
}

} // namespace msg_core
