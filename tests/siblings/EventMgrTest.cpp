// Publish and subscribe by type name, one-shot connections, and many
// publishers at once.
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

} // namespace

TEST(EventDelivery, SubscribersOfTheNameOrOfTheBaseGetTheEventUntilDisconnected) {
    EventMgr mgr;
    int sum = 0;
    std::vector<std::string> seen;
    auto conn = mgr.subscribe<PingEvent>([&](PingEvent const& e) { sum += e.value; }, "PingEvent");
    auto all = mgr.subscribeByName("BaseEvent", [&](BaseEvent const& e) { seen.push_back(e.getTypeName()); });
    mgr.publish(boost::make_shared<PingEvent>(3));
    mgr.publish(boost::make_shared<CVMShutdownEvent>());  // another name
    mgr.publish(boost::shared_ptr<BaseEvent>());  // null: nothing delivered
    conn->disconnect();
    mgr.publish(boost::make_shared<PingEvent>(4));
    EXPECT_EQ(sum, 3);
    EXPECT_FALSE(mgr.hasSubscribers("PingEvent"));
    EXPECT_EQ(seen, (std::vector<std::string>{"PingEvent", "CVMShutdownEvent", "PingEvent"}));
    PingEvent five(5);
    EXPECT_EQ(BaseEvent::safeDownCast<PingEvent>(static_cast<BaseEvent const&>(five)).value, 5);
    EXPECT_THROW(BaseEvent::safeDownCast<CVMShutdownEvent>(static_cast<BaseEvent const&>(five)), std::bad_cast);
}

TEST(EventDelivery, OnceConnectionRunsOnceOrNeverIfDestroyedFirst) {
    auto mgr = boost::make_shared<EventMgr>();
    int runs = 0, unfired = 0;
    OnceConnection<CVMShutdownEvent> once([&] { ++runs; }, mgr);
    { OnceConnection<CVMShutdownEvent> gone([&] { ++unfired; }, mgr); }
    mgr->publish(boost::make_shared<CVMShutdownEvent>());
    mgr->publish(boost::make_shared<CVMShutdownEvent>());
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(unfired, 0);
    EXPECT_EQ(mgr->subscriberCount("CVMShutdownEvent"), 0u);
}

TEST(EventDeliveryStress, ConcurrentPublishersAndSubscribersLoseNothing) {
    EventMgr mgr;
    std::atomic<long> received{0};
    auto keeper = mgr.subscribeByName("PingEvent", [&](BaseEvent const& e) {
        received += static_cast<PingEvent const&>(e).value;
    });
    constexpr int kThreads = 4, kEach = 2000;
    std::atomic<bool> stop{false};
    std::thread churn([&] {  // adds and removes a second subscriber meanwhile
        while (!stop) mgr.subscribeByName("PingEvent", [](BaseEvent const&) {})->disconnect();
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
