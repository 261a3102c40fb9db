// First in, first out, in one ring of memory that grows by doubling. Taking
// from the front frees nothing and appending allocates nothing once the ring
// is big enough, and two queues swap in constant time: the event queue hands
// its whole content to the flush queue by a swap, and gets the drained ring
// back, so that a busy queue runs without touching the allocator.
#pragma once
#include "qzservices/eventqueue/UserEventRecord.hpp"

#include <boost/circular_buffer.hpp>

#include <cstddef>

namespace eventqueue {

class UserEventRecordQueue {
public:
    typedef boost::circular_buffer<UserEventRecord>::const_iterator const_iterator;

    bool empty() const { return ring_.empty(); }
    std::size_t size() const { return ring_.size(); }
    std::size_t capacity() const { return ring_.capacity(); }
    UserEventRecord const& front() const { return ring_.front(); }
    const_iterator begin() const { return ring_.begin(); }
    const_iterator end() const { return ring_.end(); }

    void push_back(UserEventRecord const& record) {
        if (ring_.full()) ring_.set_capacity(ring_.capacity() == 0 ? kFirstCapacity : 2 * ring_.capacity());
        ring_.push_back(record);
    }
    void pop_front() { ring_.pop_front(); }
    void clear() { ring_.clear(); }
    void swap(UserEventRecordQueue& other) { ring_.swap(other.ring_); }

    // An empty queue whose ring holds more than `records` places gives it back,
    // so that a burst does not keep its memory for the rest of the process.
    void releaseIfLargerThan(std::size_t records) {
        if (ring_.empty() && ring_.capacity() > records) boost::circular_buffer<UserEventRecord>().swap(ring_);
    }

private:
    static constexpr std::size_t kFirstCapacity = 64;
    boost::circular_buffer<UserEventRecord> ring_;
};

} // namespace eventqueue
