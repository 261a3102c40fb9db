/// @file
/// First in, first out, in one ring of memory that grows by doubling. Taking
/// from the front frees nothing and appending allocates nothing once the ring
/// is big enough, and two queues swap in constant time: the event queue hands
/// its whole content to the flush queue by a swap, and gets the drained ring
/// back, so that a busy queue runs without touching the allocator.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/eventqueue/UserEventRecord.hpp"

#include <boost/circular_buffer.hpp>

#include <cstddef>

QZSERVICES_API_BEGIN

namespace eventqueue {

/// No lock of its own: its owner keeps each ring to one thread at a time.
class UserEventRecordQueue {
public:
    typedef boost::circular_buffer<UserEventRecord>::const_iterator const_iterator;  ///< walks the records front to back

    bool empty() const { return ring_.empty(); }  ///< no records
    std::size_t size() const { return ring_.size(); }  ///< records held
    std::size_t capacity() const { return ring_.capacity(); }  ///< places in the ring
    UserEventRecord const& front() const { return ring_.front(); }  ///< the oldest record; the queue must not be empty
    const_iterator begin() const { return ring_.begin(); }  ///< the oldest record
    const_iterator end() const { return ring_.end(); }  ///< past the newest record

    /// Appends a copy, doubling the ring when it is full.
    void push_back(UserEventRecord const& record) {
        if (ring_.full()) ring_.set_capacity(ring_.capacity() == 0 ? kFirstCapacity : 2 * ring_.capacity());
        ring_.push_back(record);
    }
    void pop_front() { ring_.pop_front(); }  ///< drops the oldest record, freeing nothing
    void clear() { ring_.clear(); }  ///< drops every record, keeping the ring
    /// Exchanges contents and rings in constant time.
    void swap(UserEventRecordQueue& other) { ring_.swap(other.ring_); }

    /// An empty queue whose ring holds more than `records` places gives it back,
    /// so that a burst does not keep its memory for the rest of the process.
    void releaseIfLargerThan(std::size_t records) {
        if (ring_.empty() && ring_.capacity() > records) boost::circular_buffer<UserEventRecord>().swap(ring_);
    }

private:
    static constexpr std::size_t kFirstCapacity = 64;
    boost::circular_buffer<UserEventRecord> ring_;
};

} // namespace eventqueue

QZSERVICES_API_END
