// What a poster meets when the queue's wake byte cannot be written.
#include "qzservices/eventqueue/UserEventQueueBlockedException.hpp"

namespace eventqueue {

UserEventQueueBlockedException::UserEventQueueBlockedException() = default;
UserEventQueueBlockedException::~UserEventQueueBlockedException() = default;

std::string const* UserEventQueueBlockedException::GetID() const { return &id_; }
std::string const* UserEventQueueBlockedException::GetMessageTxt() const { return &messageTxt_; }

} // namespace eventqueue
