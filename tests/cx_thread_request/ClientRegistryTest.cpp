// The registry of client tokens on instances of the test's own, so that
// tokens and capacities start from nothing.
#include <qzservices/cx_thread_request/ClientRegistry.hpp>

#include <gtest/gtest.h>

#include <vector>

using services::cx_thread_request::ClientRegistry;
using Orrery::System::CriticalSectionGuard;

TEST(ClientRegistryTokens, CountUpFromOneAndAreNotReused) {
    ClientRegistry r;
    EXPECT_EQ(r.registerClient(), 1u);
    EXPECT_EQ(r.registerClient(), 2u);
    EXPECT_EQ(r.removeClient(1), 1);
    EXPECT_EQ(r.registerClient(), 3u);
    CriticalSectionGuard guard(r.getLock());
    EXPECT_FALSE(r.query_token(1));
    EXPECT_TRUE(r.query_token(2));
    EXPECT_TRUE(r.query_token(3));
    EXPECT_FALSE(r.query_token(0));
}

TEST(ClientRegistryTokens, RemovingAnUnknownTokenAnswersZero) {
    ClientRegistry r;
    EXPECT_EQ(r.removeClient(1), 0);
    unsigned int const t = r.registerClient();
    EXPECT_EQ(r.removeClient(t + 1), 0);
    EXPECT_EQ(r.removeClient(0), 0);
    EXPECT_EQ(r.removeClient(t), 1);
    EXPECT_EQ(r.removeClient(t), 0);
    EXPECT_EQ(r.getCount(), 0u);
}

TEST(ClientRegistryTokens, DeletingFromTheMiddleKeepsTheOthers) {
    ClientRegistry r;
    for (int i = 0; i < 6; ++i) r.registerClient();
    CriticalSectionGuard guard(r.getLock());
    EXPECT_EQ(r.delete_token(3), 1);
    EXPECT_EQ(r.delete_token(1), 1);
    EXPECT_EQ(r.delete_token(6), 1);
    EXPECT_EQ(r.delete_token(6), 0);
    for (unsigned int t : {2u, 4u, 5u}) EXPECT_TRUE(r.query_token(t)) << t;
    for (unsigned int t : {1u, 3u, 6u}) EXPECT_FALSE(r.query_token(t)) << t;
    EXPECT_EQ(r.getCount(), 3u);  // the lock is recursive
}

TEST(ClientRegistryTokens, InsertWithoutRoomIsRefused) {
    ClientRegistry r;
    CriticalSectionGuard guard(r.getLock());
    EXPECT_FALSE(r.insert_token(7));
    EXPECT_FALSE(r.query_token(7));
    EXPECT_EQ(r.getCount(), 0u);
    EXPECT_TRUE(r.grow_client_tokens_if_necessary());
    EXPECT_TRUE(r.insert_token(7));
    EXPECT_TRUE(r.query_token(7));
}

TEST(ClientRegistryCapacity, StartsEmptyAndTakesSixteenAtTheFirstClient) {
    ClientRegistry r;
    EXPECT_EQ(r.getCapacity(), 0u);
    EXPECT_EQ(r.getCount(), 0u);
    r.registerClient();
    EXPECT_EQ(r.getCapacity(), 16u);
    EXPECT_EQ(r.getCount(), 1u);
}

TEST(ClientRegistryCapacity, SeventeenClientsGiveThirtyTwoAndSevenLeftGiveSixteen) {
    ClientRegistry r;
    std::vector<unsigned int> tokens;
    for (int i = 0; i < 16; ++i) tokens.push_back(r.registerClient());
    EXPECT_EQ(r.getCapacity(), 16u);
    tokens.push_back(r.registerClient());
    EXPECT_EQ(r.getCapacity(), 32u);
    EXPECT_EQ(r.getCount(), 17u);

    // 32 stays while it is at most four times the count, down to 8 clients.
    while (tokens.size() > 8) {
        EXPECT_EQ(r.removeClient(tokens.back()), 1);
        tokens.pop_back();
        EXPECT_EQ(r.getCapacity(), 32u) << tokens.size() << " left";
    }
    EXPECT_EQ(r.removeClient(tokens.back()), 1);
    tokens.pop_back();
    EXPECT_EQ(r.getCount(), 7u);
    EXPECT_EQ(r.getCapacity(), 16u);

    // Never below 16.
    for (unsigned int t : tokens) r.removeClient(t);
    EXPECT_EQ(r.getCount(), 0u);
    EXPECT_EQ(r.getCapacity(), 16u);
    EXPECT_EQ(r.registerClient(), 18u);
}

TEST(ClientRegistryCapacity, EachRemovalHalvesOnceFoundOrNot) {
    ClientRegistry r;
    for (int i = 0; i < 33; ++i) r.registerClient();
    ASSERT_EQ(r.getCapacity(), 64u);
    {
        // Down to 7 clients without the shrinking step.
        CriticalSectionGuard guard(r.getLock());
        for (unsigned int t = 8; t <= 33; ++t) ASSERT_EQ(r.delete_token(t), 1);
    }
    ASSERT_EQ(r.getCount(), 7u);
    ASSERT_EQ(r.getCapacity(), 64u);

    EXPECT_EQ(r.removeClient(1000), 0);  // not found, and yet it shrinks
    EXPECT_EQ(r.getCapacity(), 32u);     // once, though 32 is still over four times 7
    EXPECT_EQ(r.removeClient(1000), 0);
    EXPECT_EQ(r.getCapacity(), 16u);
    EXPECT_EQ(r.removeClient(7), 1);
    EXPECT_EQ(r.getCapacity(), 16u);
    EXPECT_EQ(r.getCount(), 6u);
}

