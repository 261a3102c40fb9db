// Errors and warnings of the array library: vx::Error and vxErrMsgId.
#include "vx/errors.hpp"
#include "vx/warning_printer.hpp"
#include "msg/calyx_messages.hpp"
#include "uv/uv.hpp"

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <vector>

namespace vx {

namespace {

std::mutex gWarningMutex;
std::string gWarningId;
std::string gWarningText;

std::string vformat(char const* format, va_list args) {
    if (format == nullptr) return std::string();
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (n <= 0) return std::string();
    std::vector<char> buf(static_cast<size_t>(n) + 1);
    std::vsnprintf(buf.data(), buf.size(), format, args);
    return std::string(buf.data(), static_cast<size_t>(n));
}

void warn(std::string const& id, std::string const& text) {
    {
        std::lock_guard<std::mutex> lock(gWarningMutex);
        gWarningId = id;
        gWarningText = text;
    }
    if (vxWarningPrinter printer = vxGetWarningPrinter()) {
        printer(("Warning: " + text).c_str());
        return;
    }
    std::string line = "Warning: " + text + "\n";
    uvPutsn(1, line.data(), line.size());
}

} // namespace

std::string lastWarningIdentifier() {
    std::lock_guard<std::mutex> lock(gWarningMutex);
    return gWarningId;
}

std::string lastWarningMessage() {
    std::lock_guard<std::mutex> lock(gWarningMutex);
    return gWarningText;
}

} // namespace vx

void vxErrMsgId(char const* identifier, char const* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = vx::vformat(format, args);
    va_end(args);
    throw vx::Error(identifier ? identifier : "", text);
}

void vxErrMsgId(msg_core::Message const& message) { throw vx::Error(message.identifier(), message.text()); }

void vxErrMsgId(char const* identifier, msg_core::Message const& message) {
    throw vx::Error(identifier ? identifier : message.identifier(), message.text());
}

// The older numbered errors: a catalogue entry "CALYX:vx:error<N>" where the
// number has a text of its own, the generic numbered text otherwise.
void vxErrMsg(int errorNumber) {
    msg_core::Message own("CALYX:vx:error" + std::to_string(errorNumber));
    if (msg_core::lookupTemplate(own.identifier())) vxErrMsgId(own);
    vxErrMsgId(CALYX::vx::numberedError(std::to_string(errorNumber)));
}

void vxWarningMsgId(char const* identifier, char const* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = vx::vformat(format, args);
    va_end(args);
    vx::warn(identifier ? identifier : "", text);
}

void vxWarningMsgId(msg_core::Message const& message) { vx::warn(message.identifier(), message.text()); }

namespace vxm { namespace detail {
void error_maxlhs() { vxErrMsgId(CALYX::vx::maxlhs()); }
void error_maxrhs() { vxErrMsgId(CALYX::vx::maxrhs()); }
void error_minrhs() { vxErrMsgId(CALYX::vx::minrhs()); }
}} // namespace vxm::detail
