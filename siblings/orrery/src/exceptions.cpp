// The runtime core's exceptions: the interrupt's text and the older error
// form. The interrupt's destructor, defined here, anchors its type
// information in this library.
#include "orrery/exceptions.hpp"

namespace Orrery { namespace System {

InterruptException::~InterruptException() = default;

char const* InterruptException::what() const noexcept {
    return fromCtrlC_ ? "InterruptException(ctrl-c)" : "InterruptException";
}

std::basic_string<unsigned short> InterruptException::ToUstringImpl() const {
    char const* text = what();
    return std::basic_string<unsigned short>(text, text + std::char_traits<char>::length(text));
}

uvErrorException_DEPRECATED::uvErrorException_DEPRECATED(std::string message) : message_(std::move(message)) {}
char const* uvErrorException_DEPRECATED::what() const noexcept { return message_.c_str(); }
void uvErrorException_DEPRECATED::prepareForRethrow() { prepared_ = true; }

}} // namespace Orrery::System
