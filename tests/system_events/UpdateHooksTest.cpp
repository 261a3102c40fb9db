// Commit and expose hooks, the gate that downgrades a commit, and the profiler
// that times them.
#include "qzservices/state/features.hpp"
#include "qzservices/system_events/WSPPEInstrumentation.hpp"
#include "qzservices/system_events/update_hooks.hpp"
#include "support/capture.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <vector>

using services::system_events::WSPPEInstrumentation;
using services::system_events::WSPPEIScopeGuard;

namespace {

std::vector<int> gSeen;
void recordA(svCommitDatabaseUpdatesType t) { gSeen.push_back(100 + t); }
void recordB(svCommitDatabaseUpdatesType t) { gSeen.push_back(200 + t); }

sysq::CommitHookProxy* gSelf = nullptr;
void removesItself(svCommitDatabaseUpdatesType t) {
    gSeen.push_back(300 + t);
    sysq::removeCommitDatabaseUpdatesHook(gSelf);
}

sysq::CommitHookProxy* gLate = nullptr;
void addsAnother(svCommitDatabaseUpdatesType t) {
    gSeen.push_back(400 + t);
    if (gLate == nullptr) gLate = sysq::addCommitDatabaseUpdateHook(&recordB);
}

int gExposes = 0;
void exposeHook() { ++gExposes; }

// Removes every proxy a test added, so that later tests in the process see none.
struct HookScope {
    std::vector<sysq::CommitHookProxy*> commits;
    ~HookScope() {
        // Removal leaves the proxy to its holder, who may free it.
        for (auto* p : commits) {
            sysq::removeCommitDatabaseUpdatesHook(p);
            delete p;
        }
        gSeen.clear();
    }
    void add(void (*f)(svCommitDatabaseUpdatesType)) { commits.push_back(sysq::addCommitDatabaseUpdateHook(f)); }
};

TEST(CommitHooks, RunInOrderWithTheTypeGiven) {
    HookScope scope;
    scope.add(&recordA);
    scope.add(&recordB);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_2);
    EXPECT_EQ((std::vector<int>{103, 203, 102, 202}), gSeen);
}

TEST(CommitHooks, GateDowngradesTypeThreeToOneWhileItsTokenLives) {
    HookScope scope;
    scope.add(&recordA);
    bool complete = false;
    boost::shared_ptr<void> token = sysq::addPreviousUpdatesCompleteFcn([&] { return complete; });
    ASSERT_TRUE(token);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    complete = true;
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    complete = false;
    sysq::removePreviousUpdatesCompleteFcn(token);
    EXPECT_FALSE(token);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    EXPECT_EQ((std::vector<int>{101, 103, 103}), gSeen);
}

TEST(CommitHooks, EmptyGateFunctionClearsTheGate) {
    HookScope scope;
    scope.add(&recordA);
    boost::shared_ptr<void> held = sysq::addPreviousUpdatesCompleteFcn([] { return false; });
    boost::shared_ptr<void> empty = sysq::addPreviousUpdatesCompleteFcn(boost::function<bool()>());
    EXPECT_FALSE(empty);
    EXPECT_TRUE(services::system_events::invokePreviousUpdatesCompleteFunction());
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    EXPECT_EQ((std::vector<int>{103}), gSeen);
}

TEST(CommitHooks, NullFunctionAddsNothing) {
    HookScope scope;
    EXPECT_EQ(nullptr, sysq::addCommitDatabaseUpdateHook(nullptr));
    EXPECT_EQ(nullptr, sysq::addProcessExposeEventsHook(nullptr));
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    EXPECT_TRUE(gSeen.empty());
    sysq::removeCommitDatabaseUpdatesHook(nullptr);  // does nothing
}

TEST(CommitHooks, HookRemovingItselfLetsTheOthersRunAndIsNotCalledAgain) {
    HookScope scope;
    gSelf = sysq::addCommitDatabaseUpdateHook(&removesItself);
    scope.commits.push_back(gSelf);
    scope.add(&recordA);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    EXPECT_EQ((std::vector<int>{303, 103, 103}), gSeen);
}

TEST(CommitHooks, HookAddedDuringACommitWaitsForTheNext) {
    HookScope scope;
    scope.add(&addsAnother);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_0);
    scope.commits.push_back(gLate);
    EXPECT_EQ((std::vector<int>{403, 400, 200}), gSeen);
}

TEST(CommitHooks, DisabledProxyIsSkippedAndRemovalKeepsTheSecondOfTwoEqualNeighbours) {
    HookScope scope;
    scope.add(&recordA);
    scope.commits.back()->enabled = false;
    scope.add(&recordB);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    EXPECT_EQ((std::vector<int>{203}), gSeen);
}

TEST(ExposeHooks, RunWithoutTheGate) {
    gExposes = 0;
    boost::shared_ptr<void> gate = sysq::addPreviousUpdatesCompleteFcn([] { return false; });
    sysq::ExposeHookProxy* proxy = sysq::addProcessExposeEventsHook(&exposeHook);
    svWS_ProcessExposeEvents();
    sysq::removeProcessExposeEventsHook(proxy);
    delete proxy;
    svWS_ProcessExposeEvents();
    EXPECT_EQ(1, gExposes);
}

// ---- the profiler ----

void callFeature(char const* name, int value) {
    svFeature* f = svFindFeatureEntry(name);
    ASSERT_NE(nullptr, f) << name;
    ASSERT_NE(nullptr, f->oneArgCallback);
    f->oneArgCallback(value);
}

struct ProfilerReset {
    ProfilerReset() {
        callFeature("WSPPEProfileEnable", 0);
        callFeature("WSPPEProfileClear", 0);
        WSPPEInstrumentation::getInstance().setDebug(false);
    }
    ~ProfilerReset() {
        callFeature("WSPPEProfileEnable", 0);
        callFeature("WSPPEProfileClear", 0);
    }
};

TEST(Profiler, FeaturesAreRegisteredAtLoadWithValueZero) {
    for (char const* name : {"WSPPEProfileClear", "WSPPEProfileEnable", "WSPPEProfileReport"}) {
        svFeature* f = svFindFeatureEntry(name);
        ASSERT_NE(nullptr, f) << name;
        EXPECT_EQ(0, f->value);
        EXPECT_NE(nullptr, f->oneArgCallback);
        EXPECT_EQ(nullptr, f->builtin);
    }
}

TEST(Profiler, OffByDefaultCountsNothingAndReportsNothing) {
    ProfilerReset reset;
    { WSPPEIScopeGuard g(WSPPEInstrumentation::CDU_ALL); }
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    EXPECT_EQ(0, WSPPEInstrumentation::getInstance().count(WSPPEInstrumentation::CDU_ALL));
    qztest::Capture capture;
    callFeature("WSPPEProfileReport", 0);
    EXPECT_EQ("", capture.outText());
}

TEST(Profiler, NestedGuardOfTheSameTimerCountsOnce) {
    ProfilerReset reset;
    callFeature("WSPPEProfileEnable", 1);
    {
        WSPPEIScopeGuard outer(WSPPEInstrumentation::CDU_ALL);
        WSPPEIScopeGuard inner(WSPPEInstrumentation::CDU_ALL);
        svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);  // a third stretch of the same timer
    }
    svWS_ProcessExposeEvents();
    WSPPEInstrumentation& p = WSPPEInstrumentation::getInstance();
    EXPECT_EQ(1, p.count(WSPPEInstrumentation::CDU_ALL));
    EXPECT_EQ(1, p.count(WSPPEInstrumentation::PROCESS_EXPOSE_EVENTS));
    EXPECT_FALSE(p.isRunning(WSPPEInstrumentation::CDU_ALL));
    EXPECT_GE(p.totalTime(WSPPEInstrumentation::CDU_ALL), 0.0);
}

TEST(Profiler, EnableWithMinusOneSetsDebugWhichTheReportClears) {
    ProfilerReset reset;
    WSPPEInstrumentation& p = WSPPEInstrumentation::getInstance();
    callFeature("WSPPEProfileEnable", -1);
    EXPECT_TRUE(p.isEnabled());
    EXPECT_TRUE(p.isDebug());
    callFeature("WSPPEProfileEnable", 0);
    EXPECT_FALSE(p.isEnabled());
    EXPECT_TRUE(p.isDebug());  // switching off leaves debug alone
    qztest::Capture capture;
    callFeature("WSPPEProfileReport", 0);
    EXPECT_FALSE(p.isDebug());
}

TEST(Profiler, StretchStartedWhileOnEndsAfterTheSwitchGoesOff) {
    ProfilerReset reset;
    WSPPEInstrumentation& p = WSPPEInstrumentation::getInstance();
    callFeature("WSPPEProfileEnable", 1);
    {
        WSPPEIScopeGuard g(WSPPEInstrumentation::WSPPE_TOTAL);
        callFeature("WSPPEProfileEnable", 0);
        EXPECT_TRUE(p.isRunning(WSPPEInstrumentation::WSPPE_TOTAL));
    }
    EXPECT_FALSE(p.isRunning(WSPPEInstrumentation::WSPPE_TOTAL));
    EXPECT_EQ(1, p.count(WSPPEInstrumentation::WSPPE_TOTAL));
}

TEST(Profiler, ClearDuringAStretchMakesItsEndAddNothing) {
    ProfilerReset reset;
    WSPPEInstrumentation& p = WSPPEInstrumentation::getInstance();
    callFeature("WSPPEProfileEnable", 1);
    {
        WSPPEIScopeGuard g(WSPPEInstrumentation::WSPPE_START_FCN);
        callFeature("WSPPEProfileClear", 0);
        EXPECT_FALSE(p.isRunning(WSPPEInstrumentation::WSPPE_START_FCN));
    }
    EXPECT_EQ(0, p.count(WSPPEInstrumentation::WSPPE_START_FCN));
    EXPECT_EQ(0.0, p.totalTime(WSPPEInstrumentation::WSPPE_START_FCN));
}

TEST(Profiler, ReportHasTheHeadingAndOneLinePerTimerThatRan) {
    ProfilerReset reset;
    callFeature("WSPPEProfileEnable", 1);
    { WSPPEIScopeGuard g(WSPPEInstrumentation::WSPPE_END_FCN); }
    { WSPPEIScopeGuard g(WSPPEInstrumentation::WSPPE_END_FCN); }
    svWS_ProcessExposeEvents();
    qztest::Capture capture;
    callFeature("WSPPEProfileReport", 0);
    std::string const text = capture.outText();
    std::string const heading = "\n      count time     name\n===================================\n";
    ASSERT_EQ(0u, text.find(heading)) << text;
    // " %10d %-8.4g %s\n": the count right-aligned in ten, the time left-aligned
    // in at least eight, one blank, the name.
    std::regex const line(R"(          (\d) ([0-9.e+-]+) *( .*)\n)");
    std::smatch m;
    std::string rest = text.substr(heading.size());
    ASSERT_TRUE(std::regex_search(rest, m, line, std::regex_constants::match_continuous)) << rest;
    EXPECT_EQ("2", m[1].str());
    EXPECT_GE(m[2].length() + (m[3].first - m[2].second), 8);
    EXPECT_EQ(" ws_PPE - endFcn", m[3].str());
    rest = m.suffix().str();
    ASSERT_TRUE(std::regex_search(rest, m, line, std::regex_constants::match_continuous)) << rest;
    EXPECT_EQ("1", m[1].str());
    EXPECT_EQ(" ProcessExposeEvents", m[3].str());
    EXPECT_EQ("", m.suffix().str());
}

} // namespace
