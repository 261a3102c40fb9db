// Publish and subscribe by type name, one-shot and scoped connections.
#include <boost/make_shared.hpp>
#include <cxutil/eventmgr/CVMShutdownEvent.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using namespace cxutil::eventmgr;

namespace {

class PingEvent : public BaseEvent {
public:
    static char const* staticTypeName() { return "PingEvent"; }
    explicit PingEvent(int v = 0) : BaseEvent(appendType(staticTypeName())), value(v) {}
    BaseEvent* clone() const override { return new PingEvent(*this); }
    int value;
};

class LoudPingEvent : public PingEvent {
public:
    LoudPingEvent() { }
};

} // namespace

TEST(EventTypes, TypeListsRunFromBaseToMostDerived) {
    PingEvent p;
    EXPECT_EQ(p.getTypes(), (BaseEvent::TypeList{"BaseEvent", "PingEvent"}));
    EXPECT_EQ(p.getTypeName(), "PingEvent");
    EXPECT_TRUE(p.isOfType("BaseEvent"));
    EXPECT_EQ(BaseEvent::addStaticEventType({"Leaf"}, "Middle"),
              (BaseEvent::TypeList{"BaseEvent", "Middle", "Leaf"}));
    EXPECT_EQ(PingEvent(1), PingEvent(2));  // the base compares type lists only
    EXPECT_NE(static_cast<BaseEvent const&>(PingEvent()), BaseEvent());
}

TEST(EventTypes, SafeDownCastRefusesAnotherClass) {
    PingEvent p(5);
    BaseEvent const& b = p;
    EXPECT_EQ(BaseEvent::safeDownCast<PingEvent>(b).value, 5);
    EXPECT_THROW(BaseEvent::safeDownCast<CVMShutdownEvent>(b), std::bad_cast);
}

TEST(EventDelivery, SubscribersOfTheNameGetTheEventUntilDisconnected) {
    EventMgr mgr;
    int sum = 0;
    auto conn = mgr.subscribe<PingEvent>([&](PingEvent const& e) { sum += e.value; }, "PingEvent");
    mgr.publish(boost::make_shared<PingEvent>(3));
    mgr.publish(boost::make_shared<CVMShutdownEvent>());  // another name
    EXPECT_EQ(sum, 3);
    EXPECT_EQ(mgr.subscriberCount("PingEvent"), 1u);
    conn->disconnect();
    mgr.publish(boost::make_shared<PingEvent>(4));
    EXPECT_EQ(sum, 3);
    EXPECT_FALSE(mgr.hasSubscribers("PingEvent"));
}

TEST(EventDelivery, BaseNameSubscribersSeeEveryEvent) {
    EventMgr mgr;
    std::vector<std::string> seen;
    auto conn = mgr.subscribeByName("BaseEvent", [&](BaseEvent const& e) { seen.push_back(e.getTypeName()); });
    mgr.publish(boost::make_shared<PingEvent>());
    mgr.publish(boost::make_shared<CVMShutdownEvent>());
    mgr.publish(boost::shared_ptr<BaseEvent>());  // null: nothing delivered
    EXPECT_EQ(seen, (std::vector<std::string>{"PingEvent", "CVMShutdownEvent"}));
}

TEST(EventDelivery, ScopedConnectionEndsWithItsScopeAndOnReassignment) {
    EventMgr mgr;
    int a = 0, b = 0;
    {
        ScopedConnection sc;
        sc.assign(mgr.subscribeByName("PingEvent", [&](BaseEvent const&) { ++a; }));
        mgr.publish(boost::make_shared<PingEvent>());
        sc.assign(mgr.subscribeByName("PingEvent", [&](BaseEvent const&) { ++b; }));
        mgr.publish(boost::make_shared<PingEvent>());
        EXPECT_TRUE(sc.connected());
    }
    mgr.publish(boost::make_shared<PingEvent>());
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 1);
}

TEST(EventDelivery, OnceConnectionRunsOnceAndDisconnectsItself) {
    auto mgr = boost::make_shared<EventMgr>();
    int runs = 0;
    OnceConnection<CVMShutdownEvent> once([&] { ++runs; }, mgr);
    EXPECT_TRUE(once.connected());
    mgr->publish(boost::make_shared<CVMShutdownEvent>());
    mgr->publish(boost::make_shared<CVMShutdownEvent>());
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(once.fired());
    EXPECT_EQ(mgr->subscriberCount("CVMShutdownEvent"), 0u);
}

TEST(EventDelivery, OnceConnectionDestroyedUnfiredNeverRuns) {
    auto mgr = boost::make_shared<EventMgr>();
    int runs = 0;
    { OnceConnection<CVMShutdownEvent> once([&] { ++runs; }, mgr); }
    mgr->publish(boost::make_shared<CVMShutdownEvent>());
    EXPECT_EQ(runs, 0);
}

TEST(EventDeliveryStress, ConcurrentPublishersAndSubscribersLoseNothing) {
    EventMgr mgr;
    std::atomic<long> received{0};
    auto keeper = mgr.subscribeByName("PingEvent", [&](BaseEvent const& e) {
        received += static_cast<PingEvent const&>(e).value;
    });
    constexpr int kThreads = 4, kEach = 2000;
    std::atomic<bool> stop{false};
    // A thread that keeps adding and removing a second subscriber meanwhile.
    std::thread churn([&] {
        while (!stop) {
            auto c = mgr.subscribeByName("PingEvent", [](BaseEvent const&) {});
            c->disconnect();
        }
    });
    std::vector<std::thread> publishers;
    for (int t = 0; t < kThreads; ++t)
        publishers.emplace_back([&] {
            for (int i = 0; i < kEach; ++i) mgr.publish(boost::make_shared<PingEvent>(1));
        });
    for (auto& t : publishers) t.join();
    stop = true;
    churn.join();
    EXPECT_EQ(received.load(), long(kThreads) * kEach);
}
