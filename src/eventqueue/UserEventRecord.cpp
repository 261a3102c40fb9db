#include "qzservices/eventqueue/UserEventRecord.hpp"

namespace eventqueue {

UserEventRecord::UserEventRecord() : data_{{0, 0}}, handler_(nullptr) {}

UserEventRecord::UserEventRecord(UserEventData const& data) : data_(data), handler_(nullptr) {}

UserEventRecord::UserEventRecord(UserEventRecord const& other) : data_(other.data_), handler_(other.handler_) {}

UserEventRecord& UserEventRecord::operator=(UserEventRecord const& other) {
    if (this == &other) return *this;
    data_ = other.data_;
    handler_ = other.handler_;
    return *this;
}

void UserEventRecord::dispatchEvent() const {
    // The handler receives the words of this record, not a copy.
    if (handler_ != nullptr) handler_(const_cast<UserEventData*>(&data_));
}

} // namespace eventqueue
