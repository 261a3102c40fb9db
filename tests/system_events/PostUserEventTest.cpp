// Posting user events: the host's function is called and the QZEvent signal
// is raised whatever it answers; the splash-screen request goes through the
// event manager.
#include "support/child_process.hpp"

#include <qzservices/io/callbacks.hpp>
#include <qzservices/system_events/PostUserEvent.hpp>
#include <qzservices/system_events/QZEvent.hpp>

#include <cxutil/eventmgr/EventMgr.hpp>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/thread/lock_types.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace {

// Waits on the signal for up to `seconds`, as a waiter outside the library
// does: with the mutex, clearing the flag itself. True if it was signalled.
bool waitForSignal(double seconds) {
    boost::shared_ptr<services::QZEvent> e = getUserEventQueueEvent();
    boost::unique_lock<boost::mutex> lock(e->mutex);
    bool const signalled = e->condition.timed_wait(
        lock, boost::posix_time::microseconds(static_cast<long>(seconds * 1e6)), [&] { return e->signalled; });
    e->signalled = false;
    return signalled;
}

int gPostedId = 0;
long gPostedData = 0;

bool refusingPost(int id, long data) {
    gPostedId = id;
    gPostedData = data;
    return false;
}

} // namespace

TEST(PostUserEvent, DefaultPostingFunctionAcceptsAndStillSignals) {
    auto r = qztest::runInFreshProcess([] {
        QZ_CHILD_CHECK(!getUserEventQueueEvent()->signalled, 2);
        auto waiter = std::async(std::launch::async, [] { return waitForSignal(20.0); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        QZ_CHILD_CHECK(svWS_PostUserEvent(3, 7), 3);
        QZ_CHILD_CHECK(waiter.get(), 4);
        QZ_CHILD_CHECK(!getUserEventQueueEvent()->signalled, 5);  // the waiter cleared it
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(PostUserEvent, HostFunctionGetsBothArgumentsAndARefusalStillSignals) {
    auto r = qztest::runInFreshProcess([] {
        svSetWS_EventFcns(&refusingPost, nullptr, nullptr, nullptr);
        QZ_CHILD_CHECK(!svWS_PostUserEvent(11, -123456789L), 2);
        QZ_CHILD_CHECK(gPostedId == 11 && gPostedData == -123456789L, 3);
        // Nobody was waiting: the flag stays up for the next waiter.
        QZ_CHILD_CHECK(getUserEventQueueEvent()->signalled, 4);
        QZ_CHILD_CHECK(waitForSignal(0.0), 5);
        QZ_CHILD_CHECK(!waitForSignal(0.05), 6);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(QZEventInstance, ConcurrentFirstCallsGetTheSameInstance) {
    auto r = qztest::runInFreshProcess([] {
        std::atomic<bool> go{false};
        std::vector<std::future<services::QZEvent*>> callers;
        for (int t = 0; t < 8; ++t)
            callers.push_back(std::async(std::launch::async, [&go] {
                while (!go) std::this_thread::yield();
                return getUserEventQueueEvent().get();
            }));
        go = true;
        services::QZEvent* first = nullptr;
        for (auto& c : callers) {
            services::QZEvent* e = c.get();
            QZ_CHILD_CHECK(e != nullptr, 2);
            if (first == nullptr) first = e;
            QZ_CHILD_CHECK(e == first, 3);
        }
        QZ_CHILD_CHECK(getUserEventQueueEvent().get() == first, 4);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(HideSplashScreen, EventAndItsCopiesAnswerToTheirOwnType) {
    services::ui::HideSplashScreenEvent e;
    std::vector<std::string> const expected = {"BaseEvent", "HideSplashScreenEvent"};
    EXPECT_EQ(e.getTypes(), expected);
    services::ui::HideSplashScreenEvent copy(e);
    EXPECT_EQ(copy.getTypes(), e.getTypes());
    std::unique_ptr<cxutil::eventmgr::BaseEvent> clone(e.clone());
    EXPECT_EQ(clone->getTypes(), expected);
    EXPECT_NE(dynamic_cast<services::ui::HideSplashScreenEvent*>(clone.get()), nullptr);
}

TEST(HideSplashScreen, PostingReachesTheSubscribersOfTheType) {
    int delivered = 0;
    std::string typeName;
    auto mgr = cxutil::eventmgr::EventMgr::instance();
    cxutil::eventmgr::ScopedConnection connection;
    connection.assign(mgr->subscribeByName("HideSplashScreenEvent", [&](cxutil::eventmgr::BaseEvent const& e) {
        ++delivered;
        typeName = e.getTypeName();
    }));
    svWS_HideSplashScreen();
    EXPECT_EQ(delivered, 1);
    EXPECT_EQ(typeName, "HideSplashScreenEvent");
    svWS_HideSplashScreen();
    EXPECT_EQ(delivered, 2);
}
