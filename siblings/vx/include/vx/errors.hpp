/// @file
/// Errors and warnings of the array library. An error "does not return": it is
/// thrown as vx::Error, which carries the identifier and the English text.
#pragma once
#include "vx/vx_export.hpp"
#include "msg/message.hpp"

#include <stdexcept>
#include <string>

VX_API_BEGIN

namespace vx {

/// What vxErrMsgId and vxErrMsg throw: the message as what(), with its identifier.
class Error : public std::runtime_error {
public:
    /// An error with `identifier` (such as "CALYX:services:noArrayNameCallback") and its text.
    Error(std::string identifier, std::string const& message)
        : std::runtime_error(message), identifier_(std::move(identifier)) {}
    std::string const& identifier() const { return identifier_; }  ///< the identifier it was raised under
private:
    std::string identifier_;
};

///@{
/// The last warning issued, for callers that report or test it.
std::string lastWarningIdentifier();
std::string lastWarningMessage();
///@}

} // namespace vx

/// printf-style text under an explicit identifier.
[[noreturn]] void vxErrMsgId(char const* identifier, char const* format, ...)
    __attribute__((format(printf, 2, 3)));
///@{
/// A catalogue message, under its own identifier or under an explicit one.
[[noreturn]] void vxErrMsgId(msg_core::Message const& message);
[[noreturn]] void vxErrMsgId(char const* identifier, msg_core::Message const& message);
///@}
/// An error of the older numbered kind.
[[noreturn]] void vxErrMsg(int errorNumber);

///@{
/// Warnings print "Warning: <text>" on the error stream and are remembered.
void vxWarningMsgId(char const* identifier, char const* format, ...) __attribute__((format(printf, 2, 3)));
void vxWarningMsgId(msg_core::Message const& message);
///@}

namespace vxm { namespace detail {
[[noreturn]] void error_maxlhs();  ///< too many outputs asked of a built-in
[[noreturn]] void error_maxrhs();  ///< too many inputs given
[[noreturn]] void error_minrhs();  ///< too few inputs given
}} // namespace vxm::detail

VX_API_END
