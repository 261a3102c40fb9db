// The registry of client tokens on instances of the test's own, so that
// tokens and capacities start from nothing.
#include <qzservices/cx_thread_request/ClientRegistry.hpp>

#include <gtest/gtest.h>

#include <vector>

using services::cx_thread_request::ClientRegistry;
using Orrery::System::CriticalSectionGuard;

TEST(ClientRegistry, TokensCountUpFromOneAndAreNotReused) {
    ClientRegistry r;
    EXPECT_EQ(r.removeClient(1), 0);
    EXPECT_EQ(r.registerClient(), 1u);
    EXPECT_EQ(r.registerClient(), 2u);
    EXPECT_EQ(r.removeClient(1), 1);
    EXPECT_EQ(r.removeClient(1), 0);
    EXPECT_EQ(r.registerClient(), 3u);
    for (unsigned int t : {0u, 4u}) EXPECT_EQ(r.removeClient(t), 0) << t;
    EXPECT_EQ(r.getCount(), 2u);
}

TEST(ClientRegistry, DeletingFromTheMiddleKeepsTheOthersAndInsertNeedsRoom) {
    ClientRegistry r;
    for (int i = 0; i < 6; ++i) r.registerClient();
    CriticalSectionGuard guard(r.getLock());
    for (unsigned int t : {3u, 1u, 6u}) EXPECT_EQ(r.delete_token(t), 1) << t;
    EXPECT_EQ(r.delete_token(6), 0);
    for (unsigned int t : {2u, 4u, 5u}) EXPECT_TRUE(r.query_token(t)) << t;
    for (unsigned int t : {0u, 1u, 3u, 6u}) EXPECT_FALSE(r.query_token(t)) << t;
    EXPECT_EQ(r.getCount(), 3u);  // the lock is recursive

    ClientRegistry empty;
    CriticalSectionGuard emptyGuard(empty.getLock());
    EXPECT_FALSE(empty.insert_token(7));
    EXPECT_FALSE(empty.query_token(7));
    EXPECT_TRUE(empty.grow_client_tokens_if_necessary());
    EXPECT_TRUE(empty.insert_token(7));
    EXPECT_TRUE(empty.query_token(7));
}

TEST(ClientRegistry, SeventeenClientsGiveThirtyTwoAndSevenLeftGiveSixteen) {
    ClientRegistry r;
    EXPECT_EQ(r.getCapacity(), 0u);
    std::vector<unsigned int> tokens;
    for (int i = 0; i < 16; ++i) tokens.push_back(r.registerClient());
    EXPECT_EQ(r.getCapacity(), 16u);
    tokens.push_back(r.registerClient());
    EXPECT_EQ(r.getCapacity(), 32u);
    while (tokens.size() > 8) {  // 32 stays while it is at most four times the count
        EXPECT_EQ(r.removeClient(tokens.back()), 1);
        tokens.pop_back();
        EXPECT_EQ(r.getCapacity(), 32u) << tokens.size() << " left";
    }
    r.removeClient(tokens.back());
    tokens.pop_back();
    EXPECT_EQ(r.getCount(), 7u);
    EXPECT_EQ(r.getCapacity(), 16u);
    for (unsigned int t : tokens) r.removeClient(t);
    EXPECT_EQ(r.getCapacity(), 16u);  // never below
    EXPECT_EQ(r.registerClient(), 18u);
}

TEST(ClientRegistry, EachRemovalHalvesOnceFoundOrNot) {
    ClientRegistry r;
    for (int i = 0; i < 33; ++i) r.registerClient();
    ASSERT_EQ(r.getCapacity(), 64u);
    {
        CriticalSectionGuard guard(r.getLock());  // down to 7 clients without the shrinking step
        for (unsigned int t = 8; t <= 33; ++t) ASSERT_EQ(r.delete_token(t), 1);
    }
    EXPECT_EQ(r.removeClient(1000), 0);  // not found, and yet it shrinks
    EXPECT_EQ(r.getCapacity(), 32u);     // once, though 32 is still over four times 7
    EXPECT_EQ(r.removeClient(7), 1);
    EXPECT_EQ(r.getCapacity(), 16u);
}
