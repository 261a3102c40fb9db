/// @file
/// Exceptions of the runtime core that the services library raises or catches:
/// the user interrupt, which hosts catch to end a statement and go on, and the
/// utility layer's older error form.
#pragma once
#include "orrery/orrery_export.hpp"
#include <exception>
#include <string>

ORRERY_API_BEGIN

namespace Orrery { namespace System {

/// Thrown where a pending interrupt stops the work in progress: a ctrl-C, or
/// "q" at the more prompt. uvLongjmpIfInterruptPending reaches it through the
/// services library's hooks, so with no services library loaded an interrupt
/// stays pending.
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

/// The older error form of the utility layer. Its third virtual operation,
/// prepareForRethrow, must be called by a handler before the error travels on.
class uvErrorException_DEPRECATED : public std::exception {
public:
    explicit uvErrorException_DEPRECATED(std::string message);  ///< the error with its message
    char const* what() const noexcept override;                 ///< the message
    virtual void prepareForRethrow();                            ///< marks the error ready to travel on
    bool preparedForRethrow() const { return prepared_; }        ///< whether prepareForRethrow was called
private:
    std::string message_;
    bool prepared_ = false;
};

}} // namespace Orrery::System

ORRERY_API_END
