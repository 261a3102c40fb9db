// The shutdown registry: phases newest first, their stop rules, names, removal
// during a phase, and the barrier against a phase on another thread.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/PutsFnSink.hpp"
#include "qzservices/state/ShutdownRegistry.hpp"
#include "state/state_test.hpp"

namespace {

std::atomic<bool> gFailNextAllocation{false};

} // namespace

// Global allocation that can be told to fail once, for the registration's own
// bookkeeping when memory runs out.
void* operator new(std::size_t size) {
    if (gFailNextAllocation.exchange(false)) throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

std::string gJournal;

// Notes each call as "<name>:<phase>", answers as told, and says when it is destroyed.
class Recorder : public ShutdownObject {
public:
    explicit Recorder(char const* name, std::atomic<bool>* destroyed = nullptr) : ShutdownObject(name), destroyed_(destroyed) {}
    ~Recorder() override {
        if (destroyed_) *destroyed_ = true;
    }
    bool isOkToExit() const override { return note("ok"), okToExit; }
    bool closeAllWindows() const override { return note("close"), windowsClosed; }
    void preTerminate() const override {
        note("pre");
        if (throwOnPreTerminate) throw std::runtime_error("no");
    }
    void terminate() const override {
        if (onTerminate) onTerminate();
        note("term");
        if (unregisterSelfOnTerminate) ShutdownRegistry::UnregisterObject(getName().c_str());
    }
    bool okToExit = true, windowsClosed = true, unregisterSelfOnTerminate = false, throwOnPreTerminate = false;
    std::function<void()> onTerminate;

private:
    void note(char const* phase) const { gJournal += getName() + ":" + phase + " "; }
    std::atomic<bool>* destroyed_;
};

// Registers three objects with names unique to the test, removes them at the end.
struct ThreeObjects {
    std::string prefix;
    Recorder *a, *b, *c;
    explicit ThreeObjects(std::string p) : prefix(std::move(p)) {
        a = new Recorder((prefix + "A").c_str());
        b = new Recorder((prefix + "B").c_str());
        c = new Recorder((prefix + "C").c_str());
        for (Recorder* r : {a, b, c}) ShutdownRegistry::RegisterObject(r);
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

TEST(ShutdownPhases, ARefusalStopsTheQuestionAgainEachTimeUnlessTheCloseIsForced) {
    ThreeObjects o("refuse");
    o.b->okToExit = false;
    o.b->windowsClosed = false;
    for (int i = 0; i < 2; ++i) {  // no phase state: asked again
        gJournal.clear();
        EXPECT_FALSE(ShutdownRegistry::IsOkToExit());
        EXPECT_EQ(gJournal, "refuseC:ok refuseB:ok ");
    }
    gJournal.clear();
    EXPECT_TRUE(ShutdownRegistry::CloseAllAppWindows(true));
    EXPECT_FALSE(ShutdownRegistry::CloseAllAppWindows(false));
    EXPECT_EQ(gJournal, "refuseC:close refuseB:close refuseA:close refuseC:close refuseB:close ");
}

TEST(ShutdownNames, TheSecondObjectOfANameIsNotTakenAndNamesCompareByExactBytes) {
    std::atomic<bool> firstGone{false}, secondGone{false};
    auto* second = new Recorder("dup", &secondGone);
    ShutdownRegistry::RegisterObject(new Recorder("dup", &firstGone));
    ShutdownRegistry::RegisterObject(second);
    gJournal.clear();
    ShutdownRegistry::PreTerminateApps();
    EXPECT_EQ(gJournal, "dup:pre ");
    delete second;  // still the caller's
    ShutdownRegistry::UnregisterObject("Dup");
    ShutdownRegistry::UnregisterObject("du");
    EXPECT_FALSE(firstGone);
    ShutdownRegistry::UnregisterObject("dup");
    EXPECT_TRUE(firstGone && secondGone);
    gJournal.clear();
    ShutdownRegistry::UnregisterObject("dup");  // nothing left: nothing happens
    ShutdownRegistry::PreTerminateApps();
    EXPECT_EQ(gJournal, "");
}

TEST(ShutdownNames, AnEmptyRegistrySaysYesAndUnnamedObjectsAreAllKeptForGood) {
    qztest::expectInFreshProcess([] {
        QZ_CHILD_CHECK(ShutdownRegistry::IsOkToExit() && ShutdownRegistry::CloseAllAppWindows(false), 2);
        QZ_CHILD_CHECK(ShutdownObject(nullptr).getName().empty(), 3);
        std::atomic<bool> gone1{false}, gone2{false};
        ShutdownRegistry::RegisterObject(new Recorder(nullptr, &gone1));
        ShutdownRegistry::RegisterObject(new Recorder("", &gone2));
        ShutdownRegistry::UnregisterObject("");
        ShutdownRegistry::UnregisterObject(nullptr);
        QZ_CHILD_CHECK(!gone1 && !gone2, 4);
        gJournal.clear();
        ShutdownRegistry::TerminateApps();
        QZ_CHILD_CHECK(gJournal == ":term :term ", 5);
        return 0;
    });
}

TEST(ShutdownPhases, SelfRemovalDuringTerminateKeepsTheWalkWhole) {
    ThreeObjects o("self");
    std::atomic<bool> gone{false};
    auto* d = new Recorder("selfD", &gone);
    d->unregisterSelfOnTerminate = o.b->unregisterSelfOnTerminate = true;
    ShutdownRegistry::RegisterObject(d);
    ShutdownRegistry::TerminateApps();
    EXPECT_EQ(gJournal, "selfD:term selfC:term selfB:term selfA:term ");
    EXPECT_TRUE(gone);
    gJournal.clear();
    ShutdownRegistry::TerminateApps();
    EXPECT_EQ(gJournal, "selfC:term selfA:term ");
}

TEST(ShutdownPhases, AnExceptionEndsThePhaseAndReachesTheCaller) {
    ThreeObjects o("ex");
    auto* thrower = new Recorder("thrower");
    thrower->throwOnPreTerminate = true;
    ShutdownRegistry::RegisterObject(thrower);
    EXPECT_THROW(ShutdownRegistry::PreTerminateApps(), std::runtime_error);
    EXPECT_EQ(gJournal, "thrower:pre ");  // older objects were not called
    ShutdownRegistry::UnregisterObject("thrower");
    gJournal.clear();
    ShutdownRegistry::PreTerminateApps();  // the phase lock was released
    EXPECT_EQ(gJournal, "exC:pre exB:pre exA:pre ");
}

TEST(ShutdownCleanup, TheObjectRegisteredAtLoadFlushesBothStreams) {
    qztest::expectInFreshProcess([] {
        using services::io::CXStream;
        std::string seen;
        auto sink = boost::make_shared<services::io::PutsFnSink>([&seen](char const* s) { seen += s; return 0; });
        CXStream::CXOut.push(sink);
        CXStream::CXErr.push(sink);
        CXStream::CXOut << "out ";
        CXStream::CXErr << "err";
        QZ_CHILD_CHECK(seen.empty(), 2);  // still in the function sink's store
        QZ_CHILD_CHECK(ShutdownRegistry::IsOkToExit() && seen == "out err", 3);
        return 0;
    });
}

TEST(ShutdownConcurrency, RemovalWaitsForAPhaseOnAnotherThread) {
    std::atomic<bool> inPhase{false}, release{false}, victimGone{false};
    ShutdownRegistry::RegisterObject(new Recorder("victim", &victimGone));
    auto* blocker = new Recorder("blocker");
    blocker->onTerminate = [&] {
        inPhase = true;
        while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    };
    ShutdownRegistry::RegisterObject(blocker);
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

TEST(ShutdownNames, WhenRegistrationRunsOutOfMemoryTheObjectIsDeletedOnce) {
    qztest::expectInFreshProcess([] {
        static int destructions = 0;
        struct Counted : ShutdownObject {
            Counted() : ShutdownObject("oom") {}
            ~Counted() override { ++destructions; }
        };
        auto* object = new Counted;
        gFailNextAllocation = true;
        try {
            ShutdownRegistry::RegisterObject(object);
            return 1;
        } catch (std::bad_alloc const&) {
        }
        QZ_CHILD_CHECK(destructions == 1, 2);
        // Nothing of it stayed in the list: the name is free again.
        auto* again = new Counted;
        ShutdownRegistry::RegisterObject(again);
        ShutdownRegistry::UnregisterObject("oom");
        QZ_CHILD_CHECK(destructions == 2, 3);
        return 0;
    });
}

TEST(ShutdownConcurrency, AnObjectUnregisteredByAnotherThreadDuringAPhaseIsNotAskedAndNoneTwice) {
    ThreeObjects o("race");
    std::atomic<bool> removing{false};
    // A fourth object, gone with the phase's end, whose turn comes first.
    auto* d = new Recorder("raceD");
    std::thread remover;
    d->onTerminate = [&] {
        if (remover.joinable()) return;  // asked a second time: the journal shows it
        remover = std::thread([&] {
            removing = true;
            ShutdownRegistry::UnregisterObject("raceA");  // waits at the barrier for the phase
        });
        while (!removing) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));  // the erase is done by now
    };
    ShutdownRegistry::RegisterObject(d);
    ShutdownRegistry::TerminateApps();
    remover.join();
    EXPECT_EQ(gJournal, "raceD:term raceC:term raceB:term ");
    ShutdownRegistry::UnregisterObject("raceD");
}
