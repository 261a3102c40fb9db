// The interrupt exception's out-of-line parts: its text and its destructor,
// which anchors its type information in this library.
#include "orrery/InterruptException.hpp"

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
