// One event of the user event queue: two opaque data words and the handler
// that acts on them. The queue never looks inside the data; the handler does.
#pragma once
#include <cstdint>

namespace eventqueue {

// Two machine words, copied whole.
struct UserEventData {
    std::uint64_t word[2];
};

class UserEventRecord {
public:
    typedef void (*Handler)(void*);

    UserEventRecord();                                // all three words zero
    explicit UserEventRecord(UserEventData const& data);  // the data, no handler
    UserEventRecord(UserEventRecord const& other);
    UserEventRecord& operator=(UserEventRecord const& other);

    // The address of this record's own data words; never null.
    UserEventData const* getEvent() const { return &data_; }
    void setEventHandler(Handler handler) { handler_ = handler; }
    Handler getEventHandler() const { return handler_; }
    // Calls the handler, if any, with getEvent().
    void dispatchEvent() const;

    // Identity, not content: true only for the same record. Intended: two
    // distinct records never compare equal, even with equal contents.
    bool operator==(UserEventRecord const& other) const { return getEvent() == other.getEvent(); }
    bool operator!=(UserEventRecord const& other) const { return !(*this == other); }

private:
    UserEventData data_;
    Handler handler_;
};

} // namespace eventqueue
