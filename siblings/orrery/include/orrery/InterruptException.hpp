/// @file
/// The exception of a user interrupt: a ctrl-C, or "q" at the more prompt.
/// The services library throws it where a pending interrupt stops the work in
/// progress (uvLongjmpIfInterruptPending reaches it through the library's
/// hooks), and hosts catch it to end a statement and go on.
#pragma once
#include "orrery/orrery_export.hpp"
#include <exception>
#include <string>

ORRERY_API_BEGIN

namespace Orrery { namespace System {

/// Thrown where a pending interrupt stops the work in progress.
class InterruptException : public std::exception {
public:
    explicit InterruptException(bool fromCtrlC = false) : fromCtrlC_(fromCtrlC) {}  ///< whether a ctrl-C raised it
    ~InterruptException() override;  ///< nothing to release

    /// A heap copy, for carrying across a boundary.
    virtual InterruptException* clone() const { return new InterruptException(*this); }
    [[noreturn]] virtual void rethrow() const { throw *this; }  ///< throws a copy of this exception

    bool isFromCtrlC() const { return fromCtrlC_; }  ///< whether a ctrl-C raised it
    ///@{
    /// "InterruptException(ctrl-c)" when it came from a ctrl-C, else "InterruptException".
    std::basic_string<unsigned short> ToUstringImpl() const;
    char const* what() const noexcept override;  ///< the same text as ToUstringImpl, narrow
    ///@}

private:
    bool fromCtrlC_;
};

}} // namespace Orrery::System

ORRERY_API_END
