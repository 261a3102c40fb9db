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

TEST(UserEventRecordValue, DefaultHasAllThreeWordsZero) {
    UserEventRecord r;
    EXPECT_EQ(r.getEvent()->word[0], 0u);
    EXPECT_EQ(r.getEvent()->word[1], 0u);
    EXPECT_EQ(r.getEventHandler(), nullptr);
}

TEST(UserEventRecordValue, BuiltFromDataCopiesBothWordsAndHasNoHandler) {
    UserEventData data = {{0x1122334455667788ull, 0x99aabbccddeeff00ull}};
    UserEventRecord r(data);
    data.word[0] = 0;  // the record holds its own copy
    EXPECT_EQ(r.getEvent()->word[0], 0x1122334455667788ull);
    EXPECT_EQ(r.getEvent()->word[1], 0x99aabbccddeeff00ull);
    EXPECT_EQ(r.getEventHandler(), nullptr);
}

TEST(UserEventRecordValue, GetEventIsTheRecordsOwnWords) {
    UserEventRecord r;
    UserEventRecord copy(r);
    ASSERT_NE(r.getEvent(), nullptr);
    EXPECT_NE(r.getEvent(), copy.getEvent());
    char const* begin = reinterpret_cast<char const*>(&r);
    char const* words = reinterpret_cast<char const*>(r.getEvent());
    EXPECT_GE(words, begin);
    EXPECT_LT(words, begin + sizeof r);
}

TEST(UserEventRecordValue, CopyAndAssignmentTakeDataAndHandler) {
    UserEventData data = {{7, 8}};
    UserEventRecord a(data);
    a.setEventHandler(&rememberArgument);
    UserEventRecord b(a);
    UserEventRecord c;
    c = a;
    for (UserEventRecord const* r : {&b, &c}) {
        EXPECT_EQ(r->getEvent()->word[0], 7u);
        EXPECT_EQ(r->getEvent()->word[1], 8u);
        EXPECT_EQ(r->getEventHandler(), &rememberArgument);
    }
    UserEventRecord& alias = c;
    c = alias;  // assignment to itself leaves it as it was
    EXPECT_EQ(c.getEvent()->word[0], 7u);
    EXPECT_EQ(c.getEventHandler(), &rememberArgument);
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
    UserEventRecord const& ref = a;
    EXPECT_TRUE(ref == a);
}

TEST(UserEventRecordDispatch, CallsTheHandlerWithTheRecordsOwnWords) {
    gHandlerCalls = 0;
    UserEventData data = {{5, 6}};
    UserEventRecord r(data);
    r.setEventHandler(&rememberArgument);
    r.dispatchEvent();
    EXPECT_EQ(gHandlerCalls, 1);
    EXPECT_EQ(gHandlerArgument, static_cast<void const*>(r.getEvent()));
}

TEST(UserEventRecordDispatch, NullHandlerDoesNothing) {
    gHandlerCalls = 0;
    UserEventRecord r;
    r.dispatchEvent();
    EXPECT_EQ(gHandlerCalls, 0);
}
