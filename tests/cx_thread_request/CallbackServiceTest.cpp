// The main-thread callback service through its mt* functions. Tests that need
// the state of a freshly loaded library run in a new process; the others put
// the flags back and drain the queue around themselves.
#include "support/child_process.hpp"

#include <qzservices/cx_thread_request/mt_callback.hpp>
#include <qzservices/state/features.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

// What the callbacks did, in order. Callbacks run on the thread that serves.
std::vector<std::string> gLog;

int logArgument(void* argument) {
    gLog.push_back(static_cast<char const*>(argument));
    return 0;
}

services::cx_thread_request::CallbackQueue& queue() { return *services_cx_thread_request_callback_queue; }

void drain() {
    queue().serviceCallbackRequests(0);
}

// A stand-in event loop: its one kind of user event runs the registered handler.
void (*gLoopHandler)(int) = nullptr;
std::atomic<int> gPosts{0};
int gPostedId = 0;

int createEvent(void (*handler)(int)) {
    gLoopHandler = handler;
    return 42;
}

bool postEvent(int id, int argument) {
    gPostedId = id;
    if (argument == 0) ++gPosts;
    return true;
}

class CallbackService : public ::testing::Test {
protected:
    void SetUp() override {
        ThreadServiceRequestCb(3);
        drain();
        gLog.clear();
    }
    void TearDown() override {
        ThreadServiceRequestCb(3);
        drain();
        ThreadServiceRequestCb(0);
    }
};

} // namespace

// ---- at load ----

TEST(CallbackServiceAtLoad, FeatureIsRegisteredOffAndRequestsAreDropped) {
    auto r = qztest::runInFreshProcess([] {
        svFeature* f = svFindFeatureEntry("ThreadServiceRequest");
        QZ_CHILD_CHECK(f != nullptr, 2);
        QZ_CHILD_CHECK(f->value == 0, 3);
        QZ_CHILD_CHECK(f->oneArgCallback == &ThreadServiceRequestCb, 4);
        QZ_CHILD_CHECK(f->builtin == nullptr && f->noArgCallback == nullptr, 5);
        QZ_CHILD_CHECK(!threadServiceOnLineNo && !threadServiceOnIdle, 6);
        QZ_CHILD_CHECK(services_cx_thread_request_client_registry_def_inited == 1, 7);
        QZ_CHILD_CHECK(services_cx_thread_request_callback_queue_def_inited == 1, 8);
        QZ_CHILD_CHECK(static_ref_okay >= 2, 9);
        QZ_CHILD_CHECK(init_services_cx_thread_request_callback_queue(1) == 1, 10);

        unsigned int token = mtCallbackRegisterClient();
        QZ_CHILD_CHECK(token == 1, 11);
        mtCallbackAdd(token, &logArgument, const_cast<char*>("dropped"));
        QZ_CHILD_CHECK(queue().empty(), 12);
        ThreadServiceRequestCb(3);
        mtServiceCallbackRequestsInterlaced();
        mtServiceCallbackRequestsFromEventLoop(0);
        QZ_CHILD_CHECK(gLog.empty(), 13);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(CallbackServiceAtLoad, TokensCountFromOneAndAreNotReused) {
    auto r = qztest::runInFreshProcess([] {
        QZ_CHILD_CHECK(mtCallbackRegisterClient() == 1, 2);
        QZ_CHILD_CHECK(mtCallbackRegisterClient() == 2, 3);
        QZ_CHILD_CHECK(mtCallbackRemoveClient(1) == 1, 4);
        QZ_CHILD_CHECK(mtCallbackRegisterClient() == 3, 5);
        QZ_CHILD_CHECK(mtCallbackRemoveClient(1) == 0, 6);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(CallbackServiceAtLoad, BeforeAnEventLoopRequestsQueueWithoutPostsAndRunInterlaced) {
    auto r = qztest::runInFreshProcess([] {
        ThreadServiceRequestCb(1);
        unsigned int token = mtCallbackRegisterClient();
        mtCallbackAdd(token, &logArgument, const_cast<char*>("a"));
        mtCallbackAdd(token, &logArgument, const_cast<char*>("b"));
        QZ_CHILD_CHECK(!queue().empty(), 2);
        mtServiceCallbackRequestsInterlaced();
        QZ_CHILD_CHECK((gLog == std::vector<std::string>{"a", "b"}), 3);

        // Connected: every request posts one event of the loop's kind.
        mtInitializeCallbackServiceFromEventLoop(&createEvent, &postEvent);
        QZ_CHILD_CHECK(gLoopHandler == &mtServiceCallbackRequestsFromEventLoop, 4);
        QZ_CHILD_CHECK(gPosts == 0, 5);
        mtCallbackAdd(token, &logArgument, const_cast<char*>("c"));
        mtCallbackAdd(token, &logArgument, const_cast<char*>("d"));
        QZ_CHILD_CHECK(gPosts == 2 && gPostedId == 42, 6);

        // With only the interlaced place on, the loop's event runs nothing.
        gLoopHandler(0);
        QZ_CHILD_CHECK(gLog.size() == 2, 7);
        ThreadServiceRequestCb(2);
        gLoopHandler(0);
        QZ_CHILD_CHECK((gLog == std::vector<std::string>{"a", "b", "c", "d"}), 8);

        // Both places off: nothing queued, nothing posted.
        ThreadServiceRequestCb(0);
        mtCallbackAdd(token, &logArgument, const_cast<char*>("e"));
        QZ_CHILD_CHECK(gPosts == 2 && queue().empty(), 9);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

// ---- the two places ----

TEST_F(CallbackService, ValueOneServesOnlyBetweenStatements) {
    ThreadServiceRequestCb(1);
    EXPECT_TRUE(threadServiceOnLineNo);
    EXPECT_FALSE(threadServiceOnIdle);
    unsigned int token = mtCallbackRegisterClient();
    mtCallbackAdd(token, &logArgument, const_cast<char*>("x"));
    mtServiceCallbackRequestsFromEventLoop(0);
    EXPECT_TRUE(gLog.empty());
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (std::vector<std::string>{"x"}));
    mtCallbackRemoveClient(token);
}

TEST_F(CallbackService, ValueTwoServesOnlyFromTheEventLoop) {
    ThreadServiceRequestCb(2);
    EXPECT_FALSE(threadServiceOnLineNo);
    EXPECT_TRUE(threadServiceOnIdle);
    unsigned int token = mtCallbackRegisterClient();
    mtCallbackAdd(token, &logArgument, const_cast<char*>("y"));
    mtServiceCallbackRequestsInterlaced();
    EXPECT_TRUE(gLog.empty());
    mtServiceCallbackRequestsFromEventLoop(0);
    EXPECT_EQ(gLog, (std::vector<std::string>{"y"}));
    mtCallbackRemoveClient(token);
}

TEST_F(CallbackService, ValueZeroKeepsWhatIsQueuedUntilAPlaceIsOn) {
    unsigned int token = mtCallbackRegisterClient();
    mtCallbackAdd(token, &logArgument, const_cast<char*>("kept"));
    ThreadServiceRequestCb(0);
    mtCallbackAdd(token, &logArgument, const_cast<char*>("dropped"));
    mtServiceCallbackRequestsInterlaced();
    mtServiceCallbackRequestsFromEventLoop(0);
    EXPECT_TRUE(gLog.empty());
    EXPECT_FALSE(queue().empty());
    ThreadServiceRequestCb(1);
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (std::vector<std::string>{"kept"}));
    EXPECT_TRUE(queue().empty());
    mtCallbackRemoveClient(token);
}

// ---- clients ----

TEST_F(CallbackService, RequestsRunInPostingOrderAcrossClients) {
    unsigned int a = mtCallbackRegisterClient();
    unsigned int b = mtCallbackRegisterClient();
    mtCallbackAdd(a, &logArgument, const_cast<char*>("a1"));
    mtCallbackAdd(b, &logArgument, const_cast<char*>("b1"));
    mtCallbackAdd(a, &logArgument, const_cast<char*>("a2"));
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (std::vector<std::string>{"a1", "b1", "a2"}));
    EXPECT_TRUE(queue().empty());
    mtCallbackRemoveClient(a);
    mtCallbackRemoveClient(b);
}

TEST_F(CallbackService, RequestOfARemovedClientIsConsumedWithoutRunning) {
    unsigned int gone = mtCallbackRegisterClient();
    unsigned int live = mtCallbackRegisterClient();
    mtCallbackAdd(gone, &logArgument, const_cast<char*>("gone"));
    mtCallbackAdd(live, &logArgument, const_cast<char*>("live"));
    mtCallbackAdd(12345678, &logArgument, const_cast<char*>("never registered"));
    EXPECT_EQ(mtCallbackRemoveClient(gone), 1);
    mtServiceCallbackRequestsFromEventLoop(0);
    EXPECT_EQ(gLog, (std::vector<std::string>{"live"}));
    EXPECT_TRUE(queue().empty());
    mtCallbackRemoveClient(live);
}

namespace {

unsigned int gToken = 0;

int registerAndRemoveInside(void*) {
    // The registry's lock is held around this call; it is taken again here.
    unsigned int extra = mtCallbackRegisterClient();
    gLog.push_back(mtCallbackRemoveClient(extra) == 1 ? "inner client came and went" : "inner removal failed");
    mtCallbackAdd(gToken, &logArgument, const_cast<char*>("posted from a callback"));
    return 0;
}

} // namespace

TEST_F(CallbackService, CallbackMayRegisterRemoveAndPost) {
    gToken = mtCallbackRegisterClient();
    mtCallbackAdd(gToken, &registerAndRemoveInside, nullptr);
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (std::vector<std::string>{"inner client came and went", "posted from a callback"}));
    mtCallbackRemoveClient(gToken);
}

// ---- re-entry ----

namespace {

int nestedInterlaced(void*) {
    gLog.push_back("outer begins");
    mtServiceCallbackRequestsInterlaced();  // returns at once
    gLog.push_back("outer ends");
    return 0;
}

int nestedFromEventLoop(void*) {
    gLog.push_back("outer begins");
    mtServiceCallbackRequestsFromEventLoop(0);  // no guard: runs the rest now
    gLog.push_back("outer ends");
    return 0;
}

int throwingCallback(void*) { throw std::runtime_error("callback failed"); }

} // namespace

TEST_F(CallbackService, InterlacedServiceNestedInItselfReturnsAtOnce) {
    unsigned int token = mtCallbackRegisterClient();
    mtCallbackAdd(token, &nestedInterlaced, nullptr);
    mtCallbackAdd(token, &logArgument, const_cast<char*>("next"));
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (std::vector<std::string>{"outer begins", "outer ends", "next"}));
    mtCallbackRemoveClient(token);
}

TEST_F(CallbackService, EventLoopServiceNestedInAnotherRunsTheQueue) {
    unsigned int token = mtCallbackRegisterClient();
    mtCallbackAdd(token, &nestedFromEventLoop, nullptr);
    mtCallbackAdd(token, &logArgument, const_cast<char*>("next"));
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (std::vector<std::string>{"outer begins", "next", "outer ends"}));
    mtCallbackRemoveClient(token);
}

TEST_F(CallbackService, ThrowingCallbackLeavesTheInterlacedPathUsable) {
    unsigned int token = mtCallbackRegisterClient();
    mtCallbackAdd(token, &throwingCallback, nullptr);
    mtCallbackAdd(token, &logArgument, const_cast<char*>("after"));
    EXPECT_THROW(mtServiceCallbackRequestsInterlaced(), std::runtime_error);
    EXPECT_TRUE(gLog.empty());
    EXPECT_FALSE(queue().empty());  // the rest waits for the next service

    // The registry's lock was released: another thread can remove a client.
    unsigned int other = mtCallbackRegisterClient();
    auto removal = std::async(std::launch::async, [other] { return mtCallbackRemoveClient(other); });
    ASSERT_EQ(removal.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(removal.get(), 1);

    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (std::vector<std::string>{"after"}));
    mtCallbackRemoveClient(token);
}

// ---- the registry's lock around a running callback ----

namespace {

std::atomic<bool> gCallbackStarted{false};
std::atomic<bool> gCallbackFinished{false};

int slowCallback(void*) {
    gCallbackStarted = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    gCallbackFinished = true;
    return 0;
}

} // namespace

TEST_F(CallbackService, RemovalWaitsForTheClientsRunningCallback) {
    gCallbackStarted = false;
    gCallbackFinished = false;
    unsigned int token = mtCallbackRegisterClient();
    mtCallbackAdd(token, &slowCallback, nullptr);
    std::atomic<bool> finishedWhenRemoved{false};
    std::thread remover([&] {
        while (!gCallbackStarted) std::this_thread::yield();
        EXPECT_EQ(mtCallbackRemoveClient(token), 1);
        finishedWhenRemoved = gCallbackFinished.load();
    });
    mtServiceCallbackRequestsFromEventLoop(0);
    remover.join();
    EXPECT_TRUE(finishedWhenRemoved);
}
