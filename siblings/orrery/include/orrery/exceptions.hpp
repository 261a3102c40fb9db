// Exceptions of the runtime core that the services library raises or catches.
#pragma once
#include "orrery/orrery_export.hpp"
#include <exception>
#include <string>

ORRERY_API_BEGIN

namespace Orrery { namespace System {

// The older error form of the utility layer. Its third virtual operation,
// prepareForRethrow, must be called by a handler before the error travels on.
class uvErrorException_DEPRECATED : public std::exception {
public:
    explicit uvErrorException_DEPRECATED(std::string message);
    char const* what() const noexcept override;
    virtual void prepareForRethrow();
    bool preparedForRethrow() const { return prepared_; }
private:
    std::string message_;
    bool prepared_ = false;
};

}} // namespace Orrery::System

ORRERY_API_END
