// The exception of a user interrupt: a ctrl-C, or "q" at the more prompt.
#pragma once
#include <exception>
#include <string>

namespace Orrery { namespace System {

class InterruptException : public std::exception {
public:
    explicit InterruptException(bool fromCtrlC = false) : fromCtrlC_(fromCtrlC) {}
    ~InterruptException() override;

    virtual InterruptException* clone() const { return new InterruptException(*this); }
    [[noreturn]] virtual void rethrow() const { throw *this; }

    bool isFromCtrlC() const { return fromCtrlC_; }
    // "InterruptException(ctrl-c)" when it came from a ctrl-C, else "InterruptException".
    std::basic_string<unsigned short> ToUstringImpl() const;
    char const* what() const noexcept override;

private:
    bool fromCtrlC_;
};

}} // namespace Orrery::System
