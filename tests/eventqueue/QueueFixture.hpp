// Shared helpers of the user event queue tests: a fixture that leaves the
// process-wide queue as it found it (empty, no timer, the read end watched by
// ReadPipe), a recording handler, and a look at how many bytes the pipe holds.
#pragma once
#include <qzservices/eventqueue/UserEventQueue.hpp>
#include <uv/uv.hpp>

#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <cstdint>
#include <vector>

namespace qztest {

// The bytes waiting in a pipe's read end.
inline int bytesInPipe(int readFd) {
    int n = -1;
    if (ioctl(readFd, FIONREAD, &n) != 0) return -1;
    return n;
}

// Tags seen by recordTag, in dispatch order. Handlers run on the thread that waits.
inline std::vector<std::uint64_t>& seenTags() {
    static std::vector<std::uint64_t> tags;
    return tags;
}

inline void recordTag(void* data) {
    seenTags().push_back(static_cast<eventqueue::UserEventData*>(data)->word[0]);
}

inline eventqueue::UserEventRecord taggedRecord(std::uint64_t tag, eventqueue::UserEventRecord::Handler handler = &recordTag) {
    eventqueue::UserEventData data = {{tag, 0}};
    eventqueue::UserEventRecord record(data);
    record.setEventHandler(handler);
    return record;
}

class QueueTest : public ::testing::Test {
protected:
    eventqueue::UserEventQueue* q = eventqueue::UserEventQueue::getInstance();

    void SetUp() override { reset(); }
    void TearDown() override { reset(); }

    void reset() {
        uvSetInterruptPending(0);
        q->setTimer(-1.0);
        q->addInput(q->getReadFd(), &eventqueue::ReadPipe);
        while (q->eventPending()) q->flush();
        seenTags().clear();
    }
};

} // namespace qztest
