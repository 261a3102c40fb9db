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

#include <chrono>
#include <future>
#include <thread>

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

TEST(PostUserEvent, HostFunctionGetsBothArgumentsAndTheSignalIsRaisedWhateverItAnswers) {
    auto r = qztest::runInFreshProcess([] {
        QZ_CHILD_CHECK(!getUserEventQueueEvent()->signalled, 2);
        auto waiter = std::async(std::launch::async, [] { return waitForSignal(20.0); });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        QZ_CHILD_CHECK(svWS_PostUserEvent(3, 7), 3);  // the default function accepts
        QZ_CHILD_CHECK(waiter.get(), 4);
        QZ_CHILD_CHECK(!getUserEventQueueEvent()->signalled, 5);  // the waiter cleared it

        svSetWS_EventFcns(&refusingPost, nullptr, nullptr, nullptr);
        QZ_CHILD_CHECK(!svWS_PostUserEvent(11, -123456789L), 6);
        QZ_CHILD_CHECK(gPostedId == 11 && gPostedData == -123456789L, 7);
        QZ_CHILD_CHECK(waitForSignal(0.0), 8);  // nobody was waiting: the flag stayed up
        QZ_CHILD_CHECK(!waitForSignal(0.05), 9);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
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
    svWS_HideSplashScreen();
    EXPECT_EQ(delivered, 2);
    EXPECT_EQ(typeName, "HideSplashScreenEvent");
}
