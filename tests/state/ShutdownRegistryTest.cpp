// The shutdown registry: phases newest first, their stop rules, names, removal
// during a phase, and the barrier against a phase on another thread.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/PutsFnSink.hpp"
#include "qzservices/state/ShutdownRegistry.hpp"
#include "support/child_process.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace {

std::string gJournal;

// Notes each call as "<name>:<phase>" and answers as told.
class Recorder : public ShutdownObject {
public:
    explicit Recorder(char const* name, bool* destroyed = nullptr) : ShutdownObject(name), destroyed_(destroyed) {}
    ~Recorder() override {
        if (destroyed_) *destroyed_ = true;
    }
    bool isOkToExit() const override { return note("ok"), okToExit; }
    bool closeAllWindows() const override { return note("close"), windowsClosed; }
    void preTerminate() const override { note("pre"); }
    void terminate() const override {
        note("term");
        if (unregisterSelfOnTerminate) ShutdownRegistry::UnregisterObject(getName().c_str());
    }
    bool okToExit = true;
    bool windowsClosed = true;
    bool unregisterSelfOnTerminate = false;

private:
    void note(char const* phase) const { gJournal += getName() + ":" + phase + " "; }
    bool* destroyed_;
};

// Registers three objects with names unique to the test, removes them at the end.
struct ThreeObjects {
    std::string prefix;
    Recorder *a, *b, *c;
    explicit ThreeObjects(std::string p) : prefix(std::move(p)) {
        a = new Recorder((prefix + "A").c_str());
        b = new Recorder((prefix + "B").c_str());
        c = new Recorder((prefix + "C").c_str());
        ShutdownRegistry::RegisterObject(a);
        ShutdownRegistry::RegisterObject(b);
        ShutdownRegistry::RegisterObject(c);
        gJournal.clear();
    }
    ~ThreeObjects() {
        for (char const* s : {"A", "B", "C"}) ShutdownRegistry::UnregisterObject((prefix + s).c_str());
    }
};

} // namespace

TEST(ShutdownPhases, NewestFirstInEveryPhase) {
    ThreeObjects o("order");
    EXPECT_TRUE(ShutdownRegistry::IsOkToExit());
    EXPECT_TRUE(ShutdownRegistry::CloseAllAppWindows(false));
    ShutdownRegistry::PreTerminateApps();
    ShutdownRegistry::TerminateApps();
    EXPECT_EQ(gJournal,
              "orderC:ok orderB:ok orderA:ok orderC:close orderB:close orderA:close "
              "orderC:pre orderB:pre orderA:pre orderC:term orderB:term orderA:term ");
}

TEST(ShutdownPhases, ARefusalStopsTheQuestionAndIsRepeatable) {
    ThreeObjects o("refuse");
    o.b->okToExit = false;
    EXPECT_FALSE(ShutdownRegistry::IsOkToExit());
    EXPECT_EQ(gJournal, "refuseC:ok refuseB:ok ");
    gJournal.clear();
    EXPECT_FALSE(ShutdownRegistry::IsOkToExit());  // no phase state: asked again
    EXPECT_EQ(gJournal, "refuseC:ok refuseB:ok ");
}

TEST(ShutdownPhases, ForcedCloseAsksEveryoneAndSucceeds) {
    ThreeObjects o("force");
    o.b->windowsClosed = false;
    EXPECT_TRUE(ShutdownRegistry::CloseAllAppWindows(true));
    EXPECT_EQ(gJournal, "forceC:close forceB:close forceA:close ");
    gJournal.clear();
    EXPECT_FALSE(ShutdownRegistry::CloseAllAppWindows(false));
    EXPECT_EQ(gJournal, "forceC:close forceB:close ");
}

TEST(ShutdownNames, SecondObjectOfANameIsNotTaken) {
    bool firstGone = false, secondGone = false;
    auto* first = new Recorder("dup", &firstGone);
    auto* second = new Recorder("dup", &secondGone);
    ShutdownRegistry::RegisterObject(first);
    ShutdownRegistry::RegisterObject(second);
    gJournal.clear();
    ShutdownRegistry::PreTerminateApps();
    EXPECT_EQ(gJournal, "dup:pre ");
    delete second;  // still the caller's
    EXPECT_TRUE(secondGone);
    ShutdownRegistry::UnregisterObject("dup");
    EXPECT_TRUE(firstGone);
    gJournal.clear();
    ShutdownRegistry::UnregisterObject("dup");  // nothing left: nothing happens
    ShutdownRegistry::PreTerminateApps();
    EXPECT_EQ(gJournal, "");
}

TEST(ShutdownNames, NamesCompareByExactBytes) {
    bool gone = false;
    ShutdownRegistry::RegisterObject(new Recorder("Case", &gone));
    ShutdownRegistry::UnregisterObject("case");
    ShutdownRegistry::UnregisterObject("Cas");
    EXPECT_FALSE(gone);
    ShutdownRegistry::UnregisterObject("Case");
    EXPECT_TRUE(gone);
}

TEST(ShutdownNames, UnnamedObjectsAreAllKeptAndCannotBeRemoved) {
    auto r = qztest::runInFreshProcess([] {
        EXPECT_EQ(ShutdownObject(nullptr).getName(), "");
        bool gone1 = false, gone2 = false;
        ShutdownRegistry::RegisterObject(new Recorder(nullptr, &gone1));
        ShutdownRegistry::RegisterObject(new Recorder("", &gone2));
        ShutdownRegistry::UnregisterObject("");
        ShutdownRegistry::UnregisterObject(nullptr);
        QZ_CHILD_CHECK(!gone1 && !gone2, 2);
        gJournal.clear();
        ShutdownRegistry::TerminateApps();
        QZ_CHILD_CHECK(gJournal == ":term :term ", 3);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(ShutdownPhases, SelfRemovalDuringTerminateKeepsTheWalkWhole) {
    ThreeObjects o("self");
    bool gone = false;
    auto* d = new Recorder("selfD", &gone);
    d->unregisterSelfOnTerminate = true;
    ShutdownRegistry::RegisterObject(d);
    o.b->unregisterSelfOnTerminate = true;
    gJournal.clear();
    ShutdownRegistry::TerminateApps();
    EXPECT_EQ(gJournal, "selfD:term selfC:term selfB:term selfA:term ");
    EXPECT_TRUE(gone);
    gJournal.clear();
    ShutdownRegistry::TerminateApps();
    EXPECT_EQ(gJournal, "selfC:term selfA:term ");
}

TEST(ShutdownPhases, AnExceptionEndsThePhaseAndReachesTheCaller) {
    class Thrower : public ShutdownObject {
    public:
        Thrower() : ShutdownObject("thrower") {}
        void preTerminate() const override { throw std::runtime_error("no"); }
    };
    ThreeObjects o("ex");
    ShutdownRegistry::RegisterObject(new Thrower);
    gJournal.clear();
    EXPECT_THROW(ShutdownRegistry::PreTerminateApps(), std::runtime_error);
    EXPECT_EQ(gJournal, "");  // older objects were not called
    ShutdownRegistry::UnregisterObject("thrower");
    ShutdownRegistry::PreTerminateApps();  // the phase lock was released
    EXPECT_EQ(gJournal, "exC:pre exB:pre exA:pre ");
}

TEST(ShutdownPhases, FreshProcessSaysYesToBothQuestions) {
    auto r = qztest::runInFreshProcess([] {
        QZ_CHILD_CHECK(ShutdownRegistry::IsOkToExit(), 2);
        QZ_CHILD_CHECK(ShutdownRegistry::CloseAllAppWindows(false), 3);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(ShutdownCleanup, TheObjectRegisteredAtLoadFlushesBothStreams) {
    auto r = qztest::runInFreshProcess([] {
        std::string seen;
        auto sink = boost::make_shared<services::io::PutsFnSink>([&seen](char const* s) { seen += s; return 0; });
        services::io::CXStream::CXOut.push(sink);
        services::io::CXStream::CXErr.push(sink);
        services::io::CXStream::CXOut << "out ";
        services::io::CXStream::CXErr << "err";
        QZ_CHILD_CHECK(seen.empty(), 2);  // still in the function sink's store
        QZ_CHILD_CHECK(ShutdownRegistry::IsOkToExit(), 3);
        QZ_CHILD_CHECK(seen == "out err", 4);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(ShutdownConcurrency, RemovalWaitsForAPhaseOnAnotherThread) {
    std::atomic<bool> inPhase{false}, release{false};
    class Blocker : public ShutdownObject {
    public:
        Blocker(std::atomic<bool>& in, std::atomic<bool>& rel) : ShutdownObject("blocker"), in_(in), rel_(rel) {}
        void terminate() const override {
            in_ = true;
            while (!rel_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    private:
        std::atomic<bool>& in_;
        std::atomic<bool>& rel_;
    };
    std::atomic<bool> victimGone{false};
    class Victim : public ShutdownObject {
    public:
        explicit Victim(std::atomic<bool>& gone) : ShutdownObject("victim"), gone_(gone) {}
        ~Victim() override { gone_ = true; }
    private:
        std::atomic<bool>& gone_;
    };
    ShutdownRegistry::RegisterObject(new Victim(victimGone));
    ShutdownRegistry::RegisterObject(new Blocker(inPhase, release));
    std::thread phase([] { ShutdownRegistry::TerminateApps(); });
    while (!inPhase) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::thread remover([] { ShutdownRegistry::UnregisterObject("victim"); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(victimGone);  // held back by the barrier
    release = true;
    phase.join();
    remover.join();
    EXPECT_TRUE(victimGone);
    ShutdownRegistry::UnregisterObject("blocker");
}
