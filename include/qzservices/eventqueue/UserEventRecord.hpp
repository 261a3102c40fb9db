/// @file
/// One event of the user event queue: two opaque data words and the handler
/// that acts on them. The queue never looks inside the data; the handler does.
#pragma once
#include "qzservices/export.hpp"
#include <cstdint>

QZSERVICES_API_BEGIN

namespace eventqueue {

/// Two machine words, copied whole.
struct UserEventData {
    std::uint64_t word[2];  ///< the payload, opaque to the queue
};

/// A copyable event: its data words and the handler that runs it.
class UserEventRecord {
public:
    typedef void (*Handler)(void*);  ///< receives the address of the record's data words

    UserEventRecord() : data_{{0, 0}}, handler_(nullptr) {}  ///< all three words zero
    explicit UserEventRecord(UserEventData const& data) : data_(data), handler_(nullptr) {}  ///< no handler yet
    /// Inline: records are copied on every push and dispatch.
    UserEventRecord(UserEventRecord const& other) : data_(other.data_), handler_(other.handler_) {}
    /// Copies the data words and the handler.
    UserEventRecord& operator=(UserEventRecord const& other) {
        if (this == &other) return *this;
        data_ = other.data_;
        handler_ = other.handler_;
        return *this;
    }

    /// The address of this record's own data words; never null.
    UserEventData const* getEvent() const { return &data_; }
    void setEventHandler(Handler handler) { handler_ = handler; }  ///< sets the function dispatchEvent calls
    Handler getEventHandler() const { return handler_; }  ///< the handler, or null
    /// Calls the handler, if any, with getEvent(): the words of this record.
    void dispatchEvent() const {
        if (handler_ != nullptr) handler_(const_cast<UserEventData*>(&data_));
    }

    /// Identity, not content: true only for the same record. Intended: two
    /// distinct records never compare equal, even with equal contents.
    bool operator==(UserEventRecord const& other) const { return getEvent() == other.getEvent(); }
    bool operator!=(UserEventRecord const& other) const { return !(*this == other); }  ///< not the same record

private:
    UserEventData data_;
    Handler handler_;
};

} // namespace eventqueue

QZSERVICES_API_END
