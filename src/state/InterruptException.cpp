#include "qzservices/orrery/InterruptException.hpp"

namespace Orrery { namespace System {

InterruptException::~InterruptException() = default;

char const* InterruptException::what() const noexcept {
    return fromCtrlC_ ? "InterruptException(ctrl-c)" : "InterruptException";
}

std::basic_string<unsigned short> InterruptException::ToUstringImpl() const {
    char const* text = what();
    return std::basic_string<unsigned short>(text, text + std::char_traits<char>::length(text));
}

}} // namespace Orrery::System
