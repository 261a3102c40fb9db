#include <qzservices/eventqueue/UserEventRecord.hpp>

#include <gtest/gtest.h>

using eventqueue::UserEventData;
using eventqueue::UserEventRecord;

namespace {

void const* gHandlerArgument = nullptr;
int gHandlerCalls = 0;

void rememberArgument(void* data) {
    gHandlerArgument = data;
    ++gHandlerCalls;
}

} // namespace

TEST(UserEventRecordValue, DefaultIsZeroAndDataRecordsHaveNoHandler) {
    UserEventRecord empty;
    EXPECT_EQ(empty.getEvent()->word[0], 0u);
    EXPECT_EQ(empty.getEvent()->word[1], 0u);
    EXPECT_EQ(empty.getEventHandler(), nullptr);
    UserEventData data = {{0x1122334455667788ull, 0x99aabbccddeeff00ull}};
    UserEventRecord r(data);
    data.word[0] = 0;  // the record holds its own copy
    EXPECT_EQ(r.getEvent()->word[0], 0x1122334455667788ull);
    EXPECT_EQ(r.getEvent()->word[1], 0x99aabbccddeeff00ull);
    EXPECT_EQ(r.getEventHandler(), nullptr);
}

TEST(UserEventRecordEquality, IsIdentityNotContent) {
    UserEventData data = {{1, 2}};
    UserEventRecord a(data);
    UserEventRecord copy(a);
    UserEventRecord sameContents(data);
    EXPECT_TRUE(a == a);
    EXPECT_FALSE(a == copy);
    EXPECT_FALSE(a == sameContents);
    EXPECT_TRUE(a != copy);
    EXPECT_NE(a.getEvent(), copy.getEvent());
    UserEventRecord& alias = copy;
    copy = alias;  // assignment to itself leaves it as it was
    EXPECT_EQ(copy.getEvent()->word[1], 2u);
}

TEST(UserEventRecordDispatch, CallsTheHandlerWithTheRecordsOwnWords) {
    gHandlerCalls = 0;
    UserEventData data = {{5, 6}};
    UserEventRecord r(data);
    r.setEventHandler(&rememberArgument);
    r.dispatchEvent();
    EXPECT_EQ(gHandlerCalls, 1);
    EXPECT_EQ(gHandlerArgument, static_cast<void const*>(r.getEvent()));
    UserEventRecord none;
    none.dispatchEvent();  // a null handler: nothing happens
    EXPECT_EQ(gHandlerCalls, 1);
}
