// The command-window handle, its factories and events, the buffer guards, and
// the input requester with its guard, events and prompt text.
#include "qzservices/io/CmdWinEvents.hpp"
#include "qzservices/io/CmdWinSinkGuards.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/prompt/prompt.hpp"
#include "support/child_process.hpp"
#include "support/test_sinks.hpp"

#include <boost/make_shared.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <gtest/gtest.h>

using namespace services::io;
using namespace services::prompt;
using qztest::TestFactory;
using qztest::runInFreshProcess;

TEST(CmdWinHandle, NoFactoryMeansNoSinkButAProxyAndSetFactoryHasOneLevelOfUndo) {
    qztest::NoFactoryAtExit reset;
    CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
    EXPECT_FALSE(CmdWinSinkHandle::getInstanceAsCmdWin(false) || CmdWinSinkHandle::getInstanceAsCmdWin(true));
    EXPECT_TRUE(CmdWinSinkHandle::getInstance(false));
    EXPECT_NE(CmdWinSinkHandle::getInstance(false), CmdWinSinkHandle::getInstance(true));
    EXPECT_FALSE(CmdWinSinkHandle::isDirty());
    TestFactory a, b;
    CmdWinSinkHandle::setFactory(&a);
    CmdWinSinkHandle::setFactory(&b);
    EXPECT_EQ(CmdWinSinkHandle::getInstanceAsCmdWin(false), b.out);
    CmdWinSinkHandle::restorePreviousFactory();
    EXPECT_EQ(CmdWinSinkHandle::getInstanceAsCmdWin(false), a.out);
    EXPECT_EQ(CmdWinSinkHandle::getInstanceAsCmdWin(true), a.err);
    CmdWinSinkHandle::restorePreviousFactory();
    EXPECT_FALSE(CmdWinSinkHandle::getInstanceAsCmdWin(false));
}

TEST(CmdWinHandle, SetFactoryPairReturnsTheOldPairAndSubscribesNothing) {
    EXPECT_EQ(0, runInFreshProcess([] {
        auto mgr = cxutil::eventmgr::EventMgr::instance();
        TestFactory a, b;
        auto old = CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(&a, &b));
        QZ_CHILD_CHECK(old.first == nullptr && old.second == nullptr, 2);
        old = CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(&b, nullptr));
        QZ_CHILD_CHECK(old.first == &a && old.second == &b, 3);
        // A host that only ever used the pair gets no events.
        mgr->publish(boost::make_shared<CLCEvent>());
        QZ_CHILD_CHECK(b.out->clcs == 0 && mgr->subscriberCount("CLCEvent") == 0, 4);
        // setFactory subscribes, once however often it is called.
        CmdWinSinkHandle::setFactory(&a);
        CmdWinSinkHandle::setFactory(&b);
        for (char const* type : {"CLCEvent", "HomeEvent", "InputRequestEvent"})
            QZ_CHILD_CHECK(mgr->subscriberCount(type) == 1, 5);
        return 0;
    }).exitCode);
}

TEST(CmdWinHandle, EventsDirtyFlagAndKeyStrokesReachTheCurrentOutputSink) {
    qztest::NoFactoryAtExit reset;
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    auto mgr = cxutil::eventmgr::EventMgr::instance();
    mgr->publish(boost::make_shared<CLCEvent>());
    mgr->publish(boost::make_shared<HomeEvent>());
    mgr->publish(boost::make_shared<HomeEvent>());
    EXPECT_EQ(f.out->clcs, 1);
    EXPECT_EQ(f.out->homes, 2);
    EXPECT_EQ(f.err->clcs + f.err->homes, 0);
    // An input request asks the host only when it says a request is necessary.
    mgr->publish(boost::make_shared<InputRequestEvent>(COMMAND_LINE));
    EXPECT_EQ(f.out->inputRequests, 1);
    f.out->inputNecessary = false;
    mgr->publish(boost::make_shared<InputRequestEvent>());
    EXPECT_EQ(f.out->inputRequests, 1);

    EXPECT_FALSE(CmdWinSinkHandle::isDirty());
    CmdWinSinkHandle::keyStrokeRequested(KEYBOARD_FUNCTION);
    EXPECT_TRUE(f.out->isDirty());
    CmdWinSinkHandle::setDirty(false);
    EXPECT_FALSE(CmdWinSinkHandle::isDirty());
    CmdWinSinkHandle::ctrlCProcessed();
    EXPECT_EQ(f.out->text(), "\n");
    EXPECT_TRUE(CmdWinSinkHandle::isDirty());
}

// The sinks swallow text until given a function, as every function sink does
// (SinkModelTest).
TEST(DefaultFactory, SameTwoSinksForEachStream) {
    auto* f = DefaultPrintHandlerSinkFactory::instance();
    ASSERT_EQ(f, DefaultPrintHandlerSinkFactory::instance());
    auto out = f->getCmdWinSink(false);
    EXPECT_EQ(out, f->getCmdWinSink(false));
    EXPECT_EQ(f->getCmdWinSink(true), f->getCmdWinSink(true));
    EXPECT_NE(out, f->getCmdWinSink(true));
}

namespace {

class Utf16Sink : public CmdWinSink {
public:
    explicit Utf16Sink(boost::shared_ptr<qztest::RecordingUBuffer> const& b) : CmdWinSink(boost::shared_ptr<ustreambuf>(b)) {}
    bool isInputRequestNecessary() override { return false; }
    void requestInput() override {}
};

} // namespace

TEST(BufferGuards, AlternateAndInitialBuffersForAScope) {
    auto b = boost::make_shared<qztest::RecordingBuffer>();
    EXPECT_NO_THROW({ CmdWinSinkUseAlternateBuffer g(boost::shared_ptr<CmdWinSink>(), b); });
    EXPECT_NO_THROW({ CmdWinSinkUseInitialBuffer g(boost::shared_ptr<CmdWinSink>()); });

    auto original = boost::make_shared<qztest::RecordingUBuffer>();
    auto sink = boost::make_shared<Utf16Sink>(original);
    {
        CmdWinSinkUseAlternateBuffer g(sink, b);
        EXPECT_EQ(sink->getOutStreamBuffer(), b);
        sink->getOutStreamBuffer()->sputn("during", 6);
    }
    EXPECT_EQ(b->text, "during");
    EXPECT_EQ(sink->getUnicodeOutStreamBuffer(), original);

    sink->setOutStreamBuffer(b);
    {
        CmdWinSinkUseInitialBuffer g(sink);
        EXPECT_EQ(sink->getUnicodeOutStreamBuffer(), original);
        sink->getOutStreamBuffer()->sputn("x", 1);
    }
    EXPECT_EQ(sink->getOutStreamBuffer(), b);
    EXPECT_EQ(original->text, qztest::u16(u"x"));
}

TEST(InputRequester, GuardsRestoreInOrderAndAPublishingOneAnnouncesBothValues) {
    std::vector<int> seen;
    auto conn = cxutil::eventmgr::EventMgr::instance()->subscribe<InputRequestEvent>(
        [&seen](InputRequestEvent const& e) { seen.push_back(e.getRequester()); }, "InputRequestEvent");
    InputRequester before = setInputRequester(PAUSE);
    {
        InputRequesterGuard outer(DEBUGGER, false);
        EXPECT_EQ(getInputRequester(), DEBUGGER);
        {
            InputRequesterGuard inner(MORE_PROMPT, false);
            EXPECT_EQ(getInputRequester(), MORE_PROMPT);
        }
        EXPECT_EQ(getInputRequester(), DEBUGGER);
    }
    EXPECT_EQ(getInputRequester(), PAUSE);
    EXPECT_TRUE(seen.empty());
    { InputRequesterGuard g(INPUT_FUNCTION, true); }
    EXPECT_EQ(seen, (std::vector<int>{INPUT_FUNCTION, PAUSE}));
    conn->disconnect();
    setInputRequester(before);
}

TEST(InputRequester, EventEqualityNeedsTheSameRequesterAndSubclassesListTheirName) {
    EXPECT_NE(InputRequestEvent(DEBUGGER), InputRequestEvent(PAUSE));
    EXPECT_EQ(InputRequestEvent(), InputRequestEvent(NO_REQUESTER));
    std::unique_ptr<InputRequestEvent> copy(InputRequestEvent(MORE_PROMPT).clone());
    EXPECT_EQ(*copy, InputRequestEvent(MORE_PROMPT));
    InputRequestEvent sub(std::vector<std::string>{"SubRequestEvent"}, DEBUGGER);
    EXPECT_EQ(sub.getTypes(), (std::vector<std::string>{"BaseEvent", "InputRequestEvent", "SubRequestEvent"}));
    EXPECT_NE(sub, InputRequestEvent(DEBUGGER));
}

TEST(PromptText, ThreeStatesNoWayBackThroughTheGuardAndTheKeyboardFlag) {
    using services::PromptHolder;
    EXPECT_EQ(0, runInFreshProcess([] {
        QZ_CHILD_CHECK(std::string(PromptHolder::getString()) == ">>", 2);
        QZ_CHILD_CHECK(!PromptHolder::isEmergency() && !PromptHolder::isQuestion(), 3);
        {
            services::PromptGuard g;
            QZ_CHILD_CHECK(std::string(PromptHolder::getString()) == "Attempt to restart CALYX? [y or n]>>", 4);
            QZ_CHILD_CHECK(PromptHolder::isQuestion() && PromptHolder::isEmergency(), 5);
        }
        QZ_CHILD_CHECK(std::string(PromptHolder::getString()) == "[Please exit and restart CALYX]>>", 6);
        QZ_CHILD_CHECK(PromptHolder::isEmergency() && !PromptHolder::isQuestion(), 7);
        PromptHolder::setState(static_cast<PromptHolder::State>(3));  // unknown states read as normal
        QZ_CHILD_CHECK(std::string(PromptHolder::getString()) == ">>", 8);
        QZ_CHILD_CHECK(getInputRequester() == COMMAND_LINE, 9);
        QZ_CHILD_CHECK(!svIsReadingKeyboardInput() && svSetReadingKeyboardInput(true) == false, 10);
        QZ_CHILD_CHECK(svSetReadingKeyboardInput(true) == true && svIsReadingKeyboardInput(), 11);
        return 0;
    }).exitCode);
}
