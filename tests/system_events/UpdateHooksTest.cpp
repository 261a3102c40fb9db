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
using Seen = std::vector<int>;

namespace {

Seen gSeen;
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

// Adds commit hooks and removes them all at the end, so that later tests see none.
class CommitHooks : public ::testing::Test {
protected:
    std::vector<sysq::CommitHookProxy*> commits;
    void SetUp() override { gSeen.clear(); }
    void TearDown() override {
        for (auto* p : commits) {
            sysq::removeCommitDatabaseUpdatesHook(p);
            delete p;  // removal leaves the proxy to its holder
        }
    }
    sysq::CommitHookProxy* add(void (*f)(svCommitDatabaseUpdatesType)) {
        commits.push_back(sysq::addCommitDatabaseUpdateHook(f));
        return commits.back();
    }
};

TEST_F(CommitHooks, RunInOrderWithTheTypeGivenSkippingDisabledAndNullOnes) {
    EXPECT_EQ(nullptr, sysq::addCommitDatabaseUpdateHook(nullptr));
    EXPECT_EQ(nullptr, sysq::addProcessExposeEventsHook(nullptr));
    add(&recordA)->enabled = false;
    add(&recordA);
    add(&recordB);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_2);
    EXPECT_EQ((Seen{103, 203, 102, 202}), gSeen);
}

TEST_F(CommitHooks, GateDowngradesTypeThreeToOneWhileItsTokenLives) {
    add(&recordA);
    bool complete = false;
    boost::shared_ptr<void> token = sysq::addPreviousUpdatesCompleteFcn([&] { return complete; });
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    complete = true;
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    complete = false;
    sysq::removePreviousUpdatesCompleteFcn(token);
    EXPECT_FALSE(token);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    EXPECT_EQ((Seen{101, 103, 103}), gSeen);

    // An empty function clears a gate whose token is still held.
    boost::shared_ptr<void> held = sysq::addPreviousUpdatesCompleteFcn([] { return false; });
    EXPECT_FALSE(sysq::addPreviousUpdatesCompleteFcn(boost::function<bool()>()));
    EXPECT_TRUE(services::system_events::invokePreviousUpdatesCompleteFunction());
}

TEST_F(CommitHooks, HookRemovedOrAddedDuringACommitCountsFromTheNext) {
    gSelf = add(&removesItself);
    add(&addsAnother);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_0);
    commits.push_back(gLate);
    EXPECT_EQ((Seen{303, 403, 400, 200}), gSeen);
}

TEST(ExposeHooks, RunWithoutTheGate) {
    boost::shared_ptr<void> gate = sysq::addPreviousUpdatesCompleteFcn([] { return false; });
    sysq::ExposeHookProxy* proxy = sysq::addProcessExposeEventsHook(&exposeHook);
    svWS_ProcessExposeEvents();
    sysq::removeProcessExposeEventsHook(proxy);
    delete proxy;
    svWS_ProcessExposeEvents();
    EXPECT_EQ(1, gExposes);
}

// ---- the profiler, through its features ----

void callFeature(char const* name, int value) {
    svFeature* f = svFindFeatureEntry(name);
    ASSERT_TRUE(f != nullptr && f->oneArgCallback != nullptr) << name;
    f->oneArgCallback(value);
}

class Profiler : public ::testing::Test {
protected:
    WSPPEInstrumentation& p = WSPPEInstrumentation::getInstance();
    void SetUp() override {
        TearDown();
        p.setDebug(false);
    }
    void TearDown() override {
        callFeature("WSPPEProfileEnable", 0);
        callFeature("WSPPEProfileClear", 0);
    }
};

TEST_F(Profiler, OffByDefaultCountsNothingAndReportsNothing) {
    { WSPPEIScopeGuard g(WSPPEInstrumentation::CDU_ALL); }
    svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);
    EXPECT_EQ(0, p.count(WSPPEInstrumentation::CDU_ALL));
    qztest::Capture capture;
    callFeature("WSPPEProfileReport", 0);
    EXPECT_EQ("", capture.outText());
}

TEST_F(Profiler, NestedGuardOfTheSameTimerCountsOnceAndAStretchOutlivesTheSwitch) {
    callFeature("WSPPEProfileEnable", 1);
    {
        WSPPEIScopeGuard outer(WSPPEInstrumentation::CDU_ALL);
        WSPPEIScopeGuard inner(WSPPEInstrumentation::CDU_ALL);
        svWS_CommitDatabaseUpdates(svCommitDatabaseUpdatesType_3);  // a third stretch of the same timer
        callFeature("WSPPEProfileEnable", 0);
        EXPECT_TRUE(p.isRunning(WSPPEInstrumentation::CDU_ALL));
    }
    EXPECT_EQ(1, p.count(WSPPEInstrumentation::CDU_ALL));
    EXPECT_FALSE(p.isRunning(WSPPEInstrumentation::CDU_ALL));
}

TEST_F(Profiler, ClearDuringAStretchMakesItsEndAddNothing) {
    callFeature("WSPPEProfileEnable", 1);
    {
        WSPPEIScopeGuard g(WSPPEInstrumentation::WSPPE_START_FCN);
        callFeature("WSPPEProfileClear", 0);
        EXPECT_FALSE(p.isRunning(WSPPEInstrumentation::WSPPE_START_FCN));
    }
    EXPECT_EQ(0, p.count(WSPPEInstrumentation::WSPPE_START_FCN));
    EXPECT_EQ(0.0, p.totalTime(WSPPEInstrumentation::WSPPE_START_FCN));
}

TEST_F(Profiler, EnableWithMinusOneSetsDebugWhichOnlyTheReportClears) {
    callFeature("WSPPEProfileEnable", -1);
    EXPECT_TRUE(p.isEnabled() && p.isDebug());
    callFeature("WSPPEProfileEnable", 0);
    EXPECT_FALSE(p.isEnabled());
    EXPECT_TRUE(p.isDebug());
    qztest::Capture capture;
    callFeature("WSPPEProfileReport", 0);
    EXPECT_FALSE(p.isDebug());
}

TEST_F(Profiler, ReportHasTheHeadingAndOneLinePerTimerThatRan) {
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
    for (auto const& row : {std::make_pair("2", " ws_PPE - endFcn"), std::make_pair("1", " ProcessExposeEvents")}) {
        SCOPED_TRACE(row.second);
        ASSERT_TRUE(std::regex_search(rest, m, line, std::regex_constants::match_continuous)) << rest;
        EXPECT_EQ(row.first, m[1].str());
        EXPECT_GE(m[2].length() + (m[3].first - m[2].second), 8);
        EXPECT_EQ(row.second, m[3].str());
        rest = m.suffix().str();
    }
    EXPECT_EQ("", rest);
}

} // namespace
