#include <qzservices/eventqueue/UserEventRecordQueue.hpp>

#include <gtest/gtest.h>

#include <deque>

using eventqueue::UserEventData;
using eventqueue::UserEventRecord;
using eventqueue::UserEventRecordQueue;

namespace {

UserEventRecord tagged(std::uint64_t tag) {
    UserEventData data = {{tag, ~tag}};
    return UserEventRecord(data);
}

} // namespace

TEST(UserEventRecordQueueOrder, StaysFirstInFirstOutWhileGrowingAcrossTheWrap) {
    UserEventRecordQueue q;
    std::deque<std::uint64_t> expected;
    std::uint64_t next = 0;
    // Uneven pushes and pops, so that the ring wraps before each growth.
    for (int round = 0; round < 200; ++round) {
        for (int i = 0; i < 7 + round % 5; ++i) {
            q.push_back(tagged(next));
            expected.push_back(next++);
        }
        for (int i = 0; i < 5 && !expected.empty(); ++i) {
            ASSERT_EQ(q.front().getEvent()->word[0], expected.front());
            ASSERT_EQ(q.front().getEvent()->word[1], ~expected.front());
            q.pop_front();
            expected.pop_front();
        }
        ASSERT_EQ(q.size(), expected.size());
    }
    std::size_t i = 0;
    for (UserEventRecord const& r : q) EXPECT_EQ(r.getEvent()->word[0], expected[i++]);
    EXPECT_EQ(i, expected.size());
}

TEST(UserEventRecordQueueOrder, SwapExchangesContentsAndRoom) {
    UserEventRecordQueue a, b;
    for (std::uint64_t i = 0; i < 100; ++i) a.push_back(tagged(i));
    std::size_t const room = a.capacity();
    a.swap(b);
    EXPECT_TRUE(a.empty());
    EXPECT_EQ(a.capacity(), 0u);
    EXPECT_EQ(b.size(), 100u);
    EXPECT_EQ(b.capacity(), room);
    EXPECT_EQ(b.front().getEvent()->word[0], 0u);
}

TEST(UserEventRecordQueueMemory, OnlyALargeEmptyRingIsGivenBack) {
    UserEventRecordQueue q;
    for (std::uint64_t i = 0; i < 1000; ++i) q.push_back(tagged(i));
    ASSERT_GE(q.capacity(), 1000u);
    q.releaseIfLargerThan(10);
    EXPECT_EQ(q.size(), 1000u);  // not empty: kept
    q.clear();
    q.releaseIfLargerThan(q.capacity());
    EXPECT_GE(q.capacity(), 1000u);  // not larger than allowed: kept
    q.releaseIfLargerThan(10);
    EXPECT_EQ(q.capacity(), 0u);
    q.push_back(tagged(5));
    EXPECT_EQ(q.front().getEvent()->word[0], 5u);
}
