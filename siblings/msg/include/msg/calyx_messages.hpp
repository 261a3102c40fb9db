// Message classes of the CALYX:: catalogue used by the services library and its
// stand-ins. Each is a Message whose identifier names the catalogue entry.
#pragma once
#include "msg/msg_export.hpp"
#include "msg/message.hpp"

MSG_API_BEGIN

#define QZ_MSG_CLASS0(ns_id, Name)                                                        \
    struct Name : ::msg_core::Message {                                                   \
        Name() : Message(ns_id ":" #Name) {}                                              \
    };
#define QZ_MSG_CLASS1(ns_id, Name)                                                        \
    struct Name : ::msg_core::Message {                                                   \
        explicit Name(std::string const& a1) : Message(ns_id ":" #Name, {a1}) {}          \
    };
#define QZ_MSG_CLASS2(ns_id, Name)                                                        \
    struct Name : ::msg_core::Message {                                                   \
        Name(std::string const& a1, std::string const& a2) : Message(ns_id ":" #Name, {a1, a2}) {} \
    };

namespace CALYX {

namespace vx {
QZ_MSG_CLASS0("CALYX", maxlhs)
QZ_MSG_CLASS0("CALYX", maxrhs)
QZ_MSG_CLASS0("CALYX", minrhs)
QZ_MSG_CLASS1("CALYX:vx", numberedError)
QZ_MSG_CLASS0("CALYX:vx", arrayTooLarge)
QZ_MSG_CLASS0("CALYX:vx", corruptSparse)
QZ_MSG_CLASS1("CALYX:vx", duplicateField)
QZ_MSG_CLASS0("CALYX:vx", indexOutOfRange)
QZ_MSG_CLASS0("CALYX:vx", invalidClass)
QZ_MSG_CLASS0("CALYX:vx", notCharArray)
QZ_MSG_CLASS0("CALYX:vx", notNumeric)
QZ_MSG_CLASS0("CALYX:vx", notScalar)
QZ_MSG_CLASS0("CALYX:vx", scalarOutOfIntRange)
} // namespace vx

namespace feature {
QZ_MSG_CLASS1("CALYX:feature", duplicateFeature)
QZ_MSG_CLASS1("CALYX:feature", failedToAddFeature)
QZ_MSG_CLASS0("CALYX:feature", FeatureCallCount)
QZ_MSG_CLASS1("CALYX:feature", unknownFeature)
} // namespace feature

namespace Java {
QZ_MSG_CLASS1("CALYX:Java", Conflicting)
QZ_MSG_CLASS0("CALYX:Java", Disabling)
QZ_MSG_CLASS1("CALYX:Java", NoWindowSystem)
} // namespace Java

namespace legacy_two_part {
QZ_MSG_CLASS2("CALYX:legacy_two_part", containerStreamError)
QZ_MSG_CLASS0("CALYX:legacy_two_part", wrongContainerFeatureInput)
QZ_MSG_CLASS0("CALYX:legacy_two_part", wrongContainerFeatureValue)
} // namespace legacy_two_part

namespace prefs {
QZ_MSG_CLASS0("CALYX:prefs", BadInput)
QZ_MSG_CLASS0("CALYX:prefs", InsufficientMemory)
QZ_MSG_CLASS1("CALYX:prefs", MkdirFailed)
} // namespace prefs

namespace settings { namespace core {
QZ_MSG_CLASS1("CALYX:settings:core", FileLoadingError)
}} // namespace settings::core

namespace services {
QZ_MSG_CLASS1("CALYX:services", cantOpenFile)
QZ_MSG_CLASS1("CALYX:services", cantOpenFileNoPermission)
QZ_MSG_CLASS1("CALYX:services", fileNotFound)
QZ_MSG_CLASS1("CALYX:services", noDiskSpace)
QZ_MSG_CLASS1("CALYX:services", tooManyFilesOpenUnix)
QZ_MSG_CLASS0("CALYX:services", filenameTooLong)
QZ_MSG_CLASS1("CALYX:services", UserEventQueueBadFileDescriptor)
QZ_MSG_CLASS1("CALYX:services", UserEventQueueFileDescriptorCloseFailed)
QZ_MSG_CLASS1("CALYX:services", UserEventQueuePipeCreationFailed)
QZ_MSG_CLASS1("CALYX:services", UserEventQueueReadFailed)
QZ_MSG_CLASS1("CALYX:services", invalidPrintFormat)
QZ_MSG_CLASS0("CALYX:services", noArrayNameCallback)
} // namespace services

namespace Multicore {
QZ_MSG_CLASS0("CALYX:Multicore", MultithreadingDisabled)
struct IllegalNumComputationalThreads : ::msg_core::Message {
    explicit IllegalNumComputationalThreads(long long n)
        : Message("CALYX:Multicore:IllegalNumComputationalThreads", {std::to_string(n)}) {}
};
} // namespace Multicore

namespace dumpcore {
QZ_MSG_CLASS0("CALYX:dumpcore", InvalidDumpCoreSetting)
} // namespace dumpcore

} // namespace CALYX

// The graphics component's catalogue, whose classes carry a "key_" prefix.
namespace component_CALYX { namespace catalog_pg {
struct key_InvalidPGVersion : ::msg_core::Message {
    explicit key_InvalidPGVersion(int version) : Message("CALYX:pg:InvalidPGVersion", {std::to_string(version)}) {}
};
struct key_ReadOnlyFeature : ::msg_core::Message {
    explicit key_ReadOnlyFeature(std::string const& name) : Message("CALYX:pg:ReadOnlyFeature", {name}) {}
};
}} // namespace component_CALYX::catalog_pg

MSG_API_END
