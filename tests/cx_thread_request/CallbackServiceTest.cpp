// The main-thread callback service through its mt* functions. Tests that need
// the state of a freshly loaded library run in a new process; the others put
// the flags back and drain the queue around themselves.
#include "support/child_process.hpp"

#include <qzservices/cx_thread_request/event_loop_adapter.hpp>
#include <qzservices/cx_thread_request/mt_callback.hpp>
#include <qzservices/eventqueue/UserEventQueue.hpp>
#include <qzservices/state/features.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using Log = std::vector<std::string>;

namespace {

Log gLog;  // what the callbacks did, in order; callbacks run on the thread that serves

int logArgument(void* argument) {
    gLog.push_back(static_cast<char const*>(argument));
    return 0;
}

// Queues `text` to be logged, or `action` to be run, under `token`.
void post(unsigned int token, char const* text) { mtCallbackAdd(token, &logArgument, const_cast<char*>(text)); }
void post(unsigned int token, std::function<void()>* action) {
    mtCallbackAdd(token, [](void* a) { return (*static_cast<std::function<void()>*>(a))(), 0; }, action);
}

bool queueEmpty() { return services_cx_thread_request_callback_queue->empty(); }

// A stand-in event loop: its one kind of user event runs the registered handler.
void (*gLoopHandler)(int) = nullptr;
int gPosts = 0;

int createEvent(void (*handler)(int)) {
    gLoopHandler = handler;
    return 42;
}

bool postEvent(int id, int argument) {
    gPosts += id == 42 && argument == 0;
    return true;
}

class CallbackService : public ::testing::Test {
protected:
    unsigned int token = 0;
    void SetUp() override {
        TearDown();
        gLog.clear();
        token = mtCallbackRegisterClient();
    }
    void TearDown() override {
        ThreadServiceRequestCb(3);
        services_cx_thread_request_callback_queue->serviceCallbackRequests(0);
        mtCallbackRemoveClient(token);
    }
};

} // namespace

TEST(CallbackServiceAtLoad, FeatureIsRegisteredOffSoRequestsAreDropped) {
    auto r = qztest::runInFreshProcess([] {
        svFeature* f = svFindFeatureEntry("ThreadServiceRequest");
        QZ_CHILD_CHECK(f != nullptr && f->value == 0 && f->oneArgCallback == &ThreadServiceRequestCb, 2);
        QZ_CHILD_CHECK(!threadServiceOnLineNo && !threadServiceOnIdle, 3);
        post(mtCallbackRegisterClient(), "dropped");
        QZ_CHILD_CHECK(queueEmpty(), 4);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(CallbackServiceAtLoad, BeforeAnEventLoopRequestsQueueWithoutPostsThenEachPostsOne) {
    auto r = qztest::runInFreshProcess([] {
        ThreadServiceRequestCb(1);
        unsigned int token = mtCallbackRegisterClient();
        post(token, "a");
        post(token, "b");
        mtServiceCallbackRequestsInterlaced();
        QZ_CHILD_CHECK((gLog == Log{"a", "b"}), 2);

        mtInitializeCallbackServiceFromEventLoop(&createEvent, &postEvent);
        QZ_CHILD_CHECK(gLoopHandler == &mtServiceCallbackRequestsFromEventLoop && gPosts == 0, 3);
        post(token, "c");
        post(token, "d");
        QZ_CHILD_CHECK(gPosts == 2, 4);
        gLoopHandler(0);  // only the interlaced place is on: the loop's event runs nothing
        QZ_CHILD_CHECK(gLog.size() == 2, 5);
        ThreadServiceRequestCb(2);
        gLoopHandler(0);
        QZ_CHILD_CHECK((gLog == Log{"a", "b", "c", "d"}), 6);
        ThreadServiceRequestCb(0);
        post(token, "e");  // both places off: nothing queued, nothing posted
        QZ_CHILD_CHECK(gPosts == 2 && queueEmpty(), 7);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST_F(CallbackService, EachValueServesInItsPlacesAndZeroKeepsWhatIsQueued) {
    struct Row {
        int value;
        bool fromEventLoop, interlaced;  // where a request runs
    } const rows[] = {{1, false, true}, {2, true, false}, {3, true, true}};
    for (Row const& row : rows) {
        SCOPED_TRACE(row.value);
        ThreadServiceRequestCb(row.value);
        for (bool loop : {true, false}) {
            gLog.clear();
            post(token, "x");
            loop ? mtServiceCallbackRequestsFromEventLoop(0) : mtServiceCallbackRequestsInterlaced();
            EXPECT_EQ(gLog.size(), (loop ? row.fromEventLoop : row.interlaced) ? 1u : 0u) << loop;
            services_cx_thread_request_callback_queue->serviceCallbackRequests(0);
        }
    }
    gLog.clear();
    post(token, "kept");
    ThreadServiceRequestCb(0);
    post(token, "dropped");
    mtServiceCallbackRequestsInterlaced();
    mtServiceCallbackRequestsFromEventLoop(0);
    EXPECT_TRUE(gLog.empty());
    ThreadServiceRequestCb(1);
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (Log{"kept"}));
}

TEST_F(CallbackService, RequestsRunInPostingOrderAndThoseOfRemovedClientsAreConsumedUnrun) {
    unsigned int other = mtCallbackRegisterClient();
    unsigned int gone = mtCallbackRegisterClient();
    post(token, "a1");
    post(gone, "gone");
    post(other, "b1");
    post(12345678, "never registered");
    post(token, "a2");
    EXPECT_EQ(mtCallbackRemoveClient(gone), 1);
    mtServiceCallbackRequestsFromEventLoop(0);
    EXPECT_EQ(gLog, (Log{"a1", "b1", "a2"}));
    EXPECT_TRUE(queueEmpty());
    mtCallbackRemoveClient(other);
}

TEST_F(CallbackService, CallbackMayRegisterRemoveAndPost) {
    std::function<void()> inside = [this] {  // the registry's lock is held around this; taken again here
        gLog.push_back(mtCallbackRemoveClient(mtCallbackRegisterClient()) == 1 ? "came and went" : "removal failed");
        post(token, "posted from a callback");
    };
    post(token, &inside);
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (Log{"came and went", "posted from a callback"}));
}

TEST_F(CallbackService, NestedInterlacedServiceReturnsAtOnceNestedEventLoopServiceRunsTheRest) {
    std::function<void()> interlaced = [] {
        gLog.push_back("<");
        mtServiceCallbackRequestsInterlaced();
        gLog.push_back(">");
    };
    std::function<void()> fromEventLoop = [] {
        gLog.push_back("(");
        mtServiceCallbackRequestsFromEventLoop(0);
        gLog.push_back(")");
    };
    post(token, &interlaced);
    post(token, "a");
    post(token, &fromEventLoop);
    post(token, "b");
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (Log{"<", ">", "a", "(", "b", ")"}));
}

TEST_F(CallbackService, ThrowingCallbackLeavesTheInterlacedPathUsableAndTheRegistryUnlocked) {
    std::function<void()> throwing = [] { throw std::runtime_error("callback failed"); };
    post(token, &throwing);
    post(token, "after");
    EXPECT_THROW(mtServiceCallbackRequestsInterlaced(), std::runtime_error);
    EXPECT_FALSE(queueEmpty());  // the rest waits for the next service
    unsigned int other = mtCallbackRegisterClient();
    auto removal = std::async(std::launch::async, [other] { return mtCallbackRemoveClient(other); });
    ASSERT_EQ(removal.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(removal.get(), 1);
    mtServiceCallbackRequestsInterlaced();
    EXPECT_EQ(gLog, (Log{"after"}));
}

TEST_F(CallbackService, RemovalWaitsForTheClientsRunningCallback) {
    std::atomic<bool> started{false}, finished{false}, finishedWhenRemoved{false};
    std::function<void()> slow = [&] {
        started = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        finished = true;
    };
    post(token, &slow);
    std::thread remover([&] {
        while (!started) std::this_thread::yield();
        EXPECT_EQ(mtCallbackRemoveClient(token), 1);
        finishedWhenRemoved = finished.load();
    });
    mtServiceCallbackRequestsFromEventLoop(0);
    remover.join();
    EXPECT_TRUE(finishedWhenRemoved);
}

// The host's helpers: a feature set by name goes through its callback, and the
// ready-made adapter runs requests from another thread where the user event
// queue is waited on, on the waiting thread.
TEST(CallbackServiceHelpers, FeatureByNameAndTheUserEventQueueAdapterRunRequestsOnTheWaitingThread) {
    auto r = qztest::runInFreshProcess([] {
        QZ_CHILD_CHECK(!svSetFeatureValue("NoSuchFeature", 1), 2);
        QZ_CHILD_CHECK(!svSetFeatureValue(nullptr, 1), 3);
        QZ_CHILD_CHECK(svSetFeatureValue("threadservicerequest", 2), 4);  // names ignore case
        QZ_CHILD_CHECK(svFindFeatureEntry("ThreadServiceRequest")->value == 2 && threadServiceOnIdle &&
                           !threadServiceOnLineNo, 5);

        mtConnectCallbackServiceToUserEventQueue();
        mtConnectCallbackServiceToUserEventQueue();  // a second call changes nothing
        unsigned int const token = mtCallbackRegisterClient();
        std::thread::id const waiter = std::this_thread::get_id();
        static std::atomic<int> ranHere{0}, ranElsewhere{0};
        static std::thread::id sWaiter;
        sWaiter = waiter;
        int const count = 200;
        std::thread producer([token] {
            for (int i = 0; i < count; ++i)
                mtCallbackAdd(token, [](void*) { return (std::this_thread::get_id() == sWaiter ? ranHere : ranElsewhere)++, 0; },
                              nullptr);
        });
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (ranHere.load() + ranElsewhere.load() < count && std::chrono::steady_clock::now() < deadline)
            if (eventqueue::UserEventQueue::getInstance()->waitForEvent(0.1))
                eventqueue::UserEventQueue::getInstance()->flushEventsOrBlock();
        producer.join();
        QZ_CHILD_CHECK(ranHere.load() == count && ranElsewhere.load() == 0, 6);
        mtCallbackRemoveClient(token);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}
