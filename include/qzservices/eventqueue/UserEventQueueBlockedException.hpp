/// @file
/// What a poster meets when the wake byte cannot be written: the pipe stayed
/// full for about a second, or the write failed otherwise. Thrown by pointer:
/// the catcher receives a UserEventQueueBlockedException* and deletes it.
#pragma once
#include "qzservices/export.hpp"
#include <string>

QZSERVICES_API_BEGIN

namespace eventqueue {

/// Thrown (by pointer) when an event was queued but its wake byte could not be written.
class UserEventQueueBlockedException {
public:
    UserEventQueueBlockedException();  ///< empty identifier and text
    virtual ~UserEventQueueBlockedException();  ///< released by the catcher with delete
    ///@{
    /// The addresses of the identifier and of the text; both are empty strings.
    virtual std::string const* GetID() const;
    virtual std::string const* GetMessageTxt() const;
    ///@}

private:
    std::string id_;
    std::string messageTxt_;
};

} // namespace eventqueue

QZSERVICES_API_END
