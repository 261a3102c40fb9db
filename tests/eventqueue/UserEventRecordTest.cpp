// A record and the ring that holds them.
#include <qzservices/eventqueue/UserEventRecordQueue.hpp>

#include <gtest/gtest.h>

using eventqueue::UserEventData;
using eventqueue::UserEventRecord;
using eventqueue::UserEventRecordQueue;

namespace {

UserEventRecord tagged(std::uint64_t tag) { return UserEventRecord(UserEventData{{tag, ~tag}}); }

} // namespace

TEST(UserEventRecord, EqualityIsIdentityNotContent) {
    UserEventData data = {{1, 2}};
    UserEventRecord a(data);
    UserEventRecord copy(a);
    UserEventRecord sameContents(data);
    EXPECT_TRUE(a == a);
    EXPECT_FALSE(a == copy);
    EXPECT_FALSE(a == sameContents);
    EXPECT_TRUE(a != copy);
    EXPECT_EQ(copy.getEvent()->word[1], 2u);
}

TEST(UserEventRecordQueue, OnlyALargeEmptyRingIsGivenBack) {
    UserEventRecordQueue q;
    for (std::uint64_t i = 0; i < 1000; ++i) q.push_back(tagged(i));
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
