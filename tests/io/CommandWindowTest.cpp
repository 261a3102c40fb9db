// The command-window handle, its factories and events, and the buffer guards.
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
using qztest::TestFactory;
using qztest::runInFreshProcess;

TEST(CmdWinHandle, NoFactoryMeansNoSinkButStillAProxy) {
    qztest::NoFactoryAtExit reset;
    CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
    EXPECT_FALSE(CmdWinSinkHandle::getInstanceAsCmdWin(false));
    EXPECT_FALSE(CmdWinSinkHandle::getInstanceAsCmdWin(true));
    EXPECT_TRUE(CmdWinSinkHandle::getInstance(false));
    EXPECT_NE(CmdWinSinkHandle::getInstance(false), CmdWinSinkHandle::getInstance(true));
    EXPECT_FALSE(CmdWinSinkHandle::isDirty());
}

TEST(CmdWinHandle, OneLevelOfUndo) {
    qztest::NoFactoryAtExit reset;
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
    auto r = runInFreshProcess([] {
        auto mgr = cxutil::eventmgr::EventMgr::instance();
        TestFactory a, b;
        auto old = CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(&a, &b));
        QZ_CHILD_CHECK(old.first == nullptr && old.second == nullptr, 2);
        QZ_CHILD_CHECK(mgr->subscriberCount("CLCEvent") == 0, 3);
        old = CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(&b, nullptr));
        QZ_CHILD_CHECK(old.first == &a && old.second == &b, 4);
        // A host that only ever used the pair gets no events.
        mgr->publish(boost::make_shared<CLCEvent>());
        QZ_CHILD_CHECK(b.out->clcs == 0, 5);
        // setFactory subscribes, once however often it is called.
        CmdWinSinkHandle::setFactory(&a);
        CmdWinSinkHandle::setFactory(&b);
        QZ_CHILD_CHECK(mgr->subscriberCount("CLCEvent") == 1, 6);
        QZ_CHILD_CHECK(mgr->subscriberCount("HomeEvent") == 1, 7);
        QZ_CHILD_CHECK(mgr->subscriberCount("InputRequestEvent") == 1, 8);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(CmdWinHandle, EventsReachTheCurrentOutputSink) {
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
    mgr->publish(boost::make_shared<services::prompt::InputRequestEvent>(services::prompt::COMMAND_LINE));
    EXPECT_EQ(f.out->inputRequests, 1);
    f.out->inputNecessary = false;
    mgr->publish(boost::make_shared<services::prompt::InputRequestEvent>());
    EXPECT_EQ(f.out->inputRequests, 1);
}

TEST(CmdWinHandle, DirtyFlagAndKeyStrokesGoToTheSink) {
    qztest::NoFactoryAtExit reset;
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    EXPECT_FALSE(CmdWinSinkHandle::isDirty());
    CmdWinSinkHandle::keyStrokeRequested(services::prompt::KEYBOARD_FUNCTION);
    EXPECT_TRUE(f.out->isDirty());
    CmdWinSinkHandle::setDirty(false);
    EXPECT_FALSE(CmdWinSinkHandle::isDirty());
    CmdWinSinkHandle::ctrlCProcessed();
    EXPECT_EQ(f.out->text(), "\n");
    EXPECT_TRUE(CmdWinSinkHandle::isDirty());
}

TEST(DefaultFactory, SameTwoSinksThatSwallowUntilGivenAFunction) {
    auto* f = DefaultPrintHandlerSinkFactory::instance();
    ASSERT_EQ(f, DefaultPrintHandlerSinkFactory::instance());
    auto out = f->getCmdWinSink(false);
    EXPECT_EQ(out, f->getCmdWinSink(false));
    EXPECT_EQ(f->getCmdWinSink(true), f->getCmdWinSink(true));
    EXPECT_NE(out, f->getCmdWinSink(true));
    std::ostream os(out->getOutStreamBuffer().get());
    os << "vanishes" << std::flush;
    std::string seen;
    f->outputSink()->set_function([&seen](char const* s) { seen += s; return 0; });
    os << "arrives" << std::flush;
    f->outputSink()->set_function([](char const*) { return 0; });
    EXPECT_EQ(seen, "arrives");
}

TEST(BufferGuards, NullSinkDoesNothingAtEitherEnd) {
    auto b = boost::make_shared<qztest::RecordingBuffer>();
    EXPECT_NO_THROW({ CmdWinSinkUseAlternateBuffer g(boost::shared_ptr<CmdWinSink>(), b); });
    EXPECT_NO_THROW({ CmdWinSinkUseInitialBuffer g(boost::shared_ptr<CmdWinSink>()); });
}

namespace {

class Utf16Sink : public CmdWinSink {
public:
    explicit Utf16Sink(boost::shared_ptr<qztest::RecordingUBuffer> const& b) : CmdWinSink(boost::shared_ptr<ustreambuf>(b)) {}
    bool isInputRequestNecessary() override { return false; }
    void requestInput() override {}
};

} // namespace

TEST(BufferGuards, AlternateNarrowBufferOnUtf16SinkPutsTheUtf16BufferBack) {
    auto original = boost::make_shared<qztest::RecordingUBuffer>();
    auto sink = boost::make_shared<Utf16Sink>(original);
    auto alternate = boost::make_shared<qztest::RecordingBuffer>();
    {
        CmdWinSinkUseAlternateBuffer g(sink, alternate);
        EXPECT_EQ(sink->getOutStreamBuffer(), alternate);
        sink->getOutStreamBuffer()->sputn("during", 6);
    }
    EXPECT_EQ(alternate->text, "during");
    EXPECT_EQ(sink->getUnicodeOutStreamBuffer(), original);
    // The UTF-16 buffer is primary again: deactivate syncs it, not a narrow one.
    sink->deactivate();
    EXPECT_EQ(original->syncs, 1);
    EXPECT_EQ(alternate->syncs, 0);
}

TEST(BufferGuards, InitialBufferForAScopeThenTheReplacementAgain) {
    auto original = boost::make_shared<qztest::RecordingUBuffer>();
    auto sink = boost::make_shared<Utf16Sink>(original);
    auto replacement = boost::make_shared<qztest::RecordingBuffer>();
    sink->setOutStreamBuffer(replacement);
    {
        CmdWinSinkUseInitialBuffer g(sink);
        EXPECT_EQ(sink->getUnicodeOutStreamBuffer(), original);
        sink->getOutStreamBuffer()->sputn("x", 1);
    }
    EXPECT_EQ(sink->getOutStreamBuffer(), replacement);
    EXPECT_EQ(original->text, qztest::u16(u"x"));
}
