// The pending-event pump: starting, dispatching and ending hooks, the
// condition between passes, expired hooks, failures, and the log records.
#include "qzservices/system_events/ProcessPendingEvents.hpp"
#include "qzservices/system_events/update_hooks.hpp"

#include <fd/log/logger.hpp>
#include <gtest/gtest.h>
#include <uv/uv.hpp>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

using services::system_events::PpeCondition;
using services::system_events::PpeDispatchHook;
using services::system_events::PpeGuiDispatchHook;
using Trace = std::vector<std::string>;

namespace {

Trace gTrace;  // everything the hooks did, in order, as short words

// What a scripted hook does: its name in the trace, the passes until it is
// done, refusals to start, and what else happens when it is dispatched.
struct Script {
    Script(std::string n, int passes) : name(std::move(n)), left(passes) {}
    std::string name;
    int left, refusals = 0;
    bool throwOnEnd = false, throwOnDispatch = false;
    std::function<void()> onDispatch;
    bool pass(std::string const& word) {
        gTrace.push_back(name + word);
        if (onDispatch) onDispatch();
        if (throwOnDispatch) throw std::logic_error(name);
        return --left <= 0;
    }
};

struct ScriptedHook : PpeDispatchHook, Script {
    explicit ScriptedHook(std::string n, int passes = 1) : Script(std::move(n), passes) {}
    bool dispatch() override { return pass(".dispatch"); }
    void dispatchOne() override { gTrace.push_back(name + ".one"); }
};

struct ScriptedGuiHook : PpeGuiDispatchHook, Script {
    explicit ScriptedGuiHook(std::string n, int passes = 1) : Script(std::move(n), passes) {}
    bool startProcessing(int mask) override {
        gTrace.push_back(name + ".start" + std::to_string(mask));
        return refusals-- <= 0;
    }
    void endProcessing(int mask) override {
        gTrace.push_back(name + ".end" + std::to_string(mask));
        if (throwOnEnd) throw std::runtime_error(name);
    }
    bool dispatch(bool waitForWindows) override { return pass(waitForWindows ? ".dispatchW" : ".dispatch"); }
};

boost::shared_ptr<void> add(PpeDispatchHook* hook) {
    boost::unique_ptr<PpeDispatchHook> owner(hook);
    return sysq::addProcessPendingEventsHook(owner);
}

boost::shared_ptr<void> add(PpeGuiDispatchHook* hook) {
    boost::unique_ptr<PpeGuiDispatchHook> owner(hook);
    return sysq::addProcessPendingEventsHook(owner);
}

void countCommit(svCommitDatabaseUpdatesType) { gTrace.push_back("commit"); }

// Records the log lines of the pump for a test.
struct LogRecords {
    std::vector<fd::log::basic_diagnostic_logger::record> records;
    LogRecords() {
        fd::log::basic_diagnostic_logger::set_observer(
            [this](fd::log::basic_diagnostic_logger::record const& r) { records.push_back(r); }, 256);
    }
    ~LogRecords() { fd::log::basic_diagnostic_logger::set_observer(nullptr, 0); }
    int count(int level, std::string const& text) const {
        int n = 0;
        for (auto const& r : records)
            n += r.level == level && r.text == text && r.logger == "services::system_events::ProcessPendingEvents";
        return n;
    }
};

// The names of the scopes this logger entered, in order.
std::vector<std::string> scopeNames(LogRecords const& log) {
    std::vector<std::string> names;
    for (auto const& r : log.records)
        if (r.level == 32 && r.logger == "services::system_events::ProcessPendingEvents") names.push_back(r.text);
    return names;
}

class Pump : public ::testing::Test {
protected:
    void SetUp() override {
        gTrace.clear();
        boost::shared_ptr<void> none;
        sysq::removeProcessPendingEventsHook(none);  // purges what earlier tests released
    }
    void TearDown() override { uvSetInterruptPending(0); }
};

TEST_F(Pump, WithNoHooksCommitsTwiceAndReturns) {
    sysq::CommitHookProxy* commit = sysq::addCommitDatabaseUpdateHook(&countCommit);
    svWS_ProcessPendingEvents();
    sysq::removeCommitDatabaseUpdatesHook(commit);
    delete commit;  // removal leaves the proxy to its holder
    EXPECT_EQ((Trace{"commit", "commit"}), gTrace);
}

TEST_F(Pump, EventCountOneCallsDispatchOneOnceOthersDispatchEveryHookUntilAllAreDone) {
    LogRecords log;
    auto h = add(new ScriptedHook("h", 3));
    auto g = add(new ScriptedGuiHook("g"));
    svWS_ProcessPendingEvents(5, 1, true);
    EXPECT_EQ((Trace{"g.start5", "h.one", "g.dispatchW", "g.end5"}), gTrace);
    EXPECT_EQ(1, log.count(2, " event_mask=5 event_count=1 wait_for_windows=1"));
    EXPECT_EQ(1, log.count(4, "numHooks=2"));
    g.reset();
    gTrace.clear();
    svWS_ProcessPendingEvents(0, 3);
    EXPECT_EQ((Trace{"h.dispatch", "h.dispatch", "h.dispatch"}), gTrace);
    gTrace.clear();
    auto k = add(new ScriptedHook("k", 2));
    svWS_ProcessPendingEvents(0, -1);
    EXPECT_EQ((Trace{"h.dispatch", "k.dispatch", "h.dispatch", "k.dispatch"}), gTrace);  // no early exit
}

TEST_F(Pump, UnfinishedHookRunsUntilAnInterruptIsPendingWhichDoesNotThrowInside) {
    auto* hook = new ScriptedHook("h", 1 << 30);
    int calls = 0;
    bool threw = false;
    hook->onDispatch = [&] {
        if (++calls < 4) return;
        uvSetInterruptPending(1);
        try {
            uvLongjmpIfInterruptPending();
        } catch (...) {
            threw = true;
        }
    };
    auto token = add(hook);
    svWS_ProcessPendingEvents();
    EXPECT_EQ(4, calls);
    EXPECT_FALSE(threw);
    EXPECT_EQ(1, uvIsInterruptPending());  // and it stays
}

TEST_F(Pump, FirstRefusalToStartVetoesTheDispatchAndEndsOnlyTheStarted) {
    auto* b = new ScriptedGuiHook("b");
    b->refusals = 1;
    auto ta = add(new ScriptedGuiHook("a"));
    auto tb = add(b);
    svWS_ProcessPendingEvents(7);
    EXPECT_EQ((Trace{"a.start7", "b.start7", "a.end7"}), gTrace);
}

TEST_F(Pump, HookAddedDuringADispatchStartsInTheSamePumpAndALaterRefusalOnlyDelaysIt) {
    auto* a = new ScriptedGuiHook("a", 3);
    boost::shared_ptr<void> tb;
    a->onDispatch = [&] {
        if (tb) return;
        auto* b = new ScriptedGuiHook("b");
        b->refusals = 1;
        tb = add(b);
    };
    auto ta = add(a);
    svWS_ProcessPendingEvents(2, -1, true);
    EXPECT_EQ((Trace{"a.start2", "a.dispatchW", "b.start2", "a.dispatchW", "b.start2", "a.dispatchW", "b.dispatchW",
                     "a.end2", "b.end2"}),
              gTrace);
}

TEST_F(Pump, HookReleasedBetweenPassesIsSkippedAsDoneWithRecords) {
    LogRecords log;
    auto* a = new ScriptedGuiHook("a", 2);
    auto ta = add(a);
    boost::shared_ptr<void> tb = add(new ScriptedGuiHook("b", 100));
    a->onDispatch = [&] { tb.reset(); };  // b goes away during the first pass, before its dispatch
    svWS_ProcessPendingEvents();
    EXPECT_EQ((Trace{"a.start0", "b.start0", "a.dispatch", "a.dispatch", "a.end0"}), gTrace);
    EXPECT_EQ(3, log.count(4, "skipping expired services::system_events::PpeGuiDispatchHook"));  // two dispatches, the end
}

TEST_F(Pump, FirstExceptionFromEndingReachesTheCallerAndTheSecondIsLogged) {
    LogRecords log;
    auto* a = new ScriptedGuiHook("a");
    auto* b = new ScriptedGuiHook("b");
    a->throwOnEnd = b->throwOnEnd = true;
    auto ta = add(a);
    auto tb = add(b);
    auto tc = add(new ScriptedGuiHook("c"));
    try {
        svWS_ProcessPendingEvents();
        FAIL() << "no exception";
    } catch (std::runtime_error const& e) {
        EXPECT_STREQ("a", e.what());
    }
    EXPECT_EQ("c.end0", gTrace.back());  // every hook was ended
    EXPECT_EQ(1, log.count(256, "ignoring exception during endProcessing"));
}

TEST_F(Pump, ExceptionFromDispatchEndsTheStartedHooksAndRestoresTheInterruptMode) {
    auto* b = new ScriptedGuiHook("b");
    b->throwOnDispatch = true;
    auto ta = add(new ScriptedGuiHook("a"));
    auto tb = add(b);
    EXPECT_THROW(svWS_ProcessPendingEvents(), std::logic_error);
    EXPECT_EQ(1, uvInterruptMode::current());
    EXPECT_EQ((Trace{"a.start0", "b.start0", "a.dispatch", "b.dispatch", "a.end0", "b.end0"}), gTrace);
}

TEST_F(Pump, AddTakesTheHookAndRemovalReleasesTheToken) {
    boost::unique_ptr<PpeDispatchHook> hook(new ScriptedHook("h"));
    auto token = sysq::addProcessPendingEventsHook(hook);
    EXPECT_FALSE(hook);
    auto unitTestHook = sysq::addProcessPendingEventsUnitTestHook();  // always done
    boost::shared_ptr<void> copy = token;
    sysq::removeProcessPendingEventsHook(token);
    EXPECT_FALSE(token);
    svWS_ProcessPendingEvents();
    EXPECT_EQ((Trace{"h.dispatch"}), gTrace);  // the copy still holds it
    copy.reset();
    gTrace.clear();
    svWS_ProcessPendingEvents();
    EXPECT_TRUE(gTrace.empty());
}

// ---- the condition ----

class CountingCondition : public PpeCondition {
public:
    void notify() override { ++notifies; }
    bool timed_wait(boost::posix_time::time_duration d) override {
        waits.push_back(d);
        return wakeUp;
    }
    std::vector<boost::posix_time::time_duration> waits;
    int notifies = 0;
    bool wakeUp = false;
};

boost::shared_ptr<void> addCondition(PpeCondition* c, bool replace) {
    boost::unique_ptr<PpeCondition> owner(c);
    return sysq::addProcessPendingEventsHook(owner, replace);
}

TEST_F(Pump, ConditionIsWaitedOnBetweenPassesAndOnlyReplacedWhenAsked) {
    auto* first = new CountingCondition;
    auto firstToken = addCondition(first, false);
    ASSERT_TRUE(firstToken);
    boost::unique_ptr<PpeCondition> second(new CountingCondition);
    PpeCondition* secondRaw = second.get();
    EXPECT_FALSE(sysq::addProcessPendingEventsHook(second, false));
    EXPECT_EQ(secondRaw, second.get());  // a refused condition stays with the caller
    auto secondToken = sysq::addProcessPendingEventsHook(second, true);
    EXPECT_FALSE(second);
    EXPECT_EQ(secondRaw, sysq::getCondition().get());

    auto token = add(new ScriptedHook("h", 3));
    svWS_ProcessPendingEvents();
    EXPECT_TRUE(first->waits.empty());  // the first lives on, no longer waited on
    auto const& waits = static_cast<CountingCondition*>(secondRaw)->waits;
    EXPECT_EQ((std::vector<boost::posix_time::time_duration>(2, boost::posix_time::microseconds(1000))), waits);
    secondToken.reset();
    EXPECT_FALSE(sysq::getCondition());
}

TEST_F(Pump, ConditionWaitReturnsWhenWokenOrOnAnInterruptAfterATimeout) {
    CountingCondition c;
    c.wakeUp = true;
    EXPECT_TRUE(c.wait());
    c.wakeUp = false;
    uvSetInterruptPending(1);
    EXPECT_TRUE(c.wait());
    EXPECT_EQ((std::vector<boost::posix_time::time_duration>(2, boost::posix_time::hours(24))), c.waits);

    auto const deadline = boost::posix_time::microsec_clock::universal_time() + boost::posix_time::seconds(10);
    c.timed_wait_until(deadline);
    EXPECT_LE(c.waits.back(), boost::posix_time::seconds(10));
    EXPECT_GT(c.waits.back(), boost::posix_time::seconds(9));
    c.timed_wait_until(boost::posix_time::ptime(boost::posix_time::pos_infin));
    EXPECT_TRUE(c.waits.back().is_pos_infinity());
}

TEST_F(Pump, NotifyAllPassesTheWakeUpToTheRegisteredConditionOnly) {
    auto* registered = new CountingCondition;
    auto token = addCondition(registered, true);
    CountingCondition other;
    other.notify_all();
    EXPECT_EQ(1, registered->notifies);
    EXPECT_EQ(0, other.notifies);
    registered->notify_all();  // itself: no recursion, no call
    EXPECT_EQ(1, registered->notifies);
}

TEST(PumpCondition, ConvertToSecondsLimitsAndHandlesSpecialValues) {
    using namespace boost::posix_time;
    EXPECT_EQ(60.0, PpeCondition::convertToSeconds(minutes(90), 60.0));
    EXPECT_EQ(5400.0, PpeCondition::convertToSeconds(minutes(90), 1e9));
    EXPECT_EQ(1.5, PpeCondition::convertToSeconds(milliseconds(1500), 10.0));
    EXPECT_EQ(0.000001, PpeCondition::convertToSeconds(microseconds(1), 10.0));
    EXPECT_EQ(7.0, PpeCondition::convertToSeconds(time_duration(pos_infin), 7.0));
    EXPECT_EQ(0.0, PpeCondition::convertToSeconds(time_duration(neg_infin), 7.0));
    EXPECT_EQ(0.0, PpeCondition::convertToSeconds(time_duration(not_a_date_time), 7.0));
    EXPECT_EQ(0.0, PpeCondition::convertToSeconds(seconds(-3), 7.0));
}

} // namespace

TEST_F(Pump, ScopesCarryTheSignaturesOfThePumpAndTheAddOperations) {
    LogRecords log;
    boost::shared_ptr<void> h = add(new ScriptedHook("h", 1));
    boost::shared_ptr<void> g = add(new ScriptedGuiHook("g"));
    std::vector<std::string> names = scopeNames(log);
    ASSERT_EQ(names.size(), 2u);
    for (std::string const& name : names) {
        SCOPED_TRACE(name);
        EXPECT_EQ(name.rfind("boost::shared_ptr<void> sysq::addProcessPendingEventsHook(", 0), 0u);
    }
    EXPECT_NE(names[0].find("PpeDispatchHook"), std::string::npos);
    EXPECT_NE(names[1].find("PpeGuiDispatchHook"), std::string::npos);
    log.records.clear();
    for (int form = 0; form < 4; ++form) {
        SCOPED_TRACE(form);
        log.records.clear();
        if (form == 0) svWS_ProcessPendingEvents();
        if (form == 1) svWS_ProcessPendingEvents(1);
        if (form == 2) svWS_ProcessPendingEvents(1, 2);
        if (form == 3) svWS_ProcessPendingEvents(1, 2, true);
        names = scopeNames(log);
        ASSERT_FALSE(names.empty());
        EXPECT_EQ(names.front(), "void svWS_ProcessPendingEvents(int, int, bool)");
    }
}
