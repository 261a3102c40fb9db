// The runtime core's older error form, uvErrorException_DEPRECATED.
#include "orrery/exceptions.hpp"

namespace Orrery { namespace System {

uvErrorException_DEPRECATED::uvErrorException_DEPRECATED(std::string message) : message_(std::move(message)) {}
char const* uvErrorException_DEPRECATED::what() const noexcept { return message_.c_str(); }
void uvErrorException_DEPRECATED::prepareForRethrow() { prepared_ = true; }

}} // namespace Orrery::System
