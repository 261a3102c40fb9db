// The proxy between the streams and the command window: kept text, taps,
// paging under the more rule, the quit key, and the default-sink scope.
#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/orrery/InterruptException.hpp"
#include "qzservices/prompt/prompt.hpp"
#include "qzservices/state/session_modes.hpp"
#include "support/child_process.hpp"
#include "support/keys.hpp"
#include "support/test_sinks.hpp"

#include <boost/make_shared.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <cxutil/io/SinkTextEventBuffer.hpp>
#include <gtest/gtest.h>
#include <uv/uv.hpp>

#include <sstream>
#include <thread>

using namespace services::io;
using qztest::TestFactory;

namespace {

// Puts the output proxy on CXOut and the error proxy on CXErr, with paging off,
// no taps and no factory; restores all of it at the end.
class ProxyTest : public ::testing::Test {
protected:
    void SetUp() override {
        CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
        CXStream::CXOut.push(CmdWinSinkHandle::getInstance(false));
        CXStream::CXErr.push(CmdWinSinkHandle::getInstance(true));
        MoreControl(false);
        services::state::detail::storeJavaSupportLevel(svJavaNone);  // below the desktop: "--more--" shows
        qztest::keys().clear();
    }
    void TearDown() override {
        CXStream::diaryStreamPtr_.reset();
        CXStream::logStreamPtr_.reset();
        CmdWinSinkHandle::setFactory(&flusher_);  // lets the proxies hand on what they kept
        CXStream::CXOut.flush();
        CXStream::CXErr.flush();
        CXStream::CXErr.pop();
        CXStream::CXOut.pop();
        CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
        MoreControl(false);
        setStopPrintingFlag(false);
        uvSetInterruptPending(0);
        services::state::detail::storeJavaSupportLevel(svJavaDesktop);
    }
    TestFactory flusher_;
};

} // namespace

TEST_F(ProxyTest, WithNoFactoryTextIsKeptAndCopiedToTheDiaryAtOnce) {
    auto diary = boost::make_shared<std::ostringstream>();
    CXStream::diaryStreamPtr_ = diary;
    CXStream::CXOut << "caf\xC3\xA9\n";
    EXPECT_EQ(diary->str(), "caf\xC3\xA9\n");
    auto proxy = ActiveCmdWinSinkProxy::getInstance(cxutil::io::OUTPUT_STREAM);
    auto& buffer = dynamic_cast<ActiveCmdWinSinkBufferProxy&>(*proxy->getUnicodeOutStreamBuffer());
    EXPECT_EQ(buffer.pending().size(), 5u);
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_TRUE(proxy->useDiary());
    EXPECT_TRUE(proxy->useLogging());
    EXPECT_FALSE(proxy->supportsMore() || proxy->supportsBuzz() || proxy->useEcho());
    EXPECT_TRUE(proxy->isDirty());
}

TEST_F(ProxyTest, NextWriteAfterAFactorySendsTheKeptTextFirst) {
    CXStream::CXOut << "kept ";
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    CXStream::CXOut << "new";
    EXPECT_EQ(f.out->text(), "kept new");
    EXPECT_TRUE(f.out->isDirty());
}

TEST_F(ProxyTest, SyncSendsKeptTextWithoutPaging) {
    CXStream::CXOut << "1\n2\n3\n4\n";
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(2);
    CXStream::CXOut.flush();
    EXPECT_EQ(f.out->text(), "1\n2\n3\n4\n");
    EXPECT_EQ(getMoreCount(), 0u);
    EXPECT_EQ(qztest::keys().reads, 0);
}

TEST_F(ProxyTest, PageOfThreeStopsAfterTheThirdLineAndSpaceShowsTheRest) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(3);
    qztest::keys().script = {' '};
    CXStream::CXOut << "1\n2\n3\n4\n5\n";
    EXPECT_EQ(f.out->text(), "1\n2\n3\n--more--4\n5\n");
    EXPECT_EQ(qztest::keys().reads, 1);
    EXPECT_EQ(qztest::keys().deletes, 1);
    EXPECT_EQ(getMoreCount(), 2u);
}

TEST_F(ProxyTest, AnyOtherKeyShowsOneMoreLine) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(3);
    qztest::keys().script = {'x', ' '};
    CXStream::CXOut << "1\n2\n3\n4\n5\n";
    EXPECT_EQ(f.out->text(), "1\n2\n3\n--more--4\n--more--5\n");
}

TEST_F(ProxyTest, NoKeyReaderActsAsAnyOtherKey) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(2);
    qztest::keys().useDefaultReader = true;  // the table's default returns -1
    CXStream::CXOut << "1\n2\n3\n";
    EXPECT_EQ(f.out->text(), "1\n2\n--more--3\n--more--");
}

TEST_F(ProxyTest, QuitKeyThrowsSetsTheStopFlagAndResetsTheCount) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(2);
    qztest::keys().script = {'q'};
    EXPECT_THROW(uvPrintf("1\n2\n3\n"), Orrery::System::InterruptException);
    EXPECT_EQ(getMoreCount(), 0u);
    EXPECT_TRUE(uvIsInterruptPending());
    EXPECT_EQ(ioStopPrinting(), 1);
    EXPECT_EQ(ioStopPrinting(), 0);
    EXPECT_EQ(f.out->text(), "1\n2\n--more--");
}

TEST_F(ProxyTest, QuitThroughAnOstreamLeavesItBadWithTheInterruptPending) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(1);
    qztest::keys().script = {'q'};
    std::cout << "1\n2\n" << std::flush;  // the standard stream catches what its buffer throws
    EXPECT_TRUE(uvIsInterruptPending());
    EXPECT_TRUE(getStopPrintingFlag());
    EXPECT_EQ(f.out->text(), "1\n--more--");
    std::cout.clear();
    CXStream::CXOut.clear();
}

TEST_F(ProxyTest, TextWithoutLineFeedNeverWaitsUnlessThePageIsFull) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(2);
    qztest::keys().script = {' '};
    CXStream::CXOut << "no line feed, however long it is";
    EXPECT_EQ(qztest::keys().reads, 0);
    setMoreCount(2);
    CXStream::CXOut << "x";  // the page is already full: the wait comes after it
    EXPECT_EQ(qztest::keys().reads, 1);
}

TEST_F(ProxyTest, DesktopShowsNoPromptTextButStillWaits) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    services::state::detail::storeJavaSupportLevel(svJavaDesktop);
    setTotalMoreCount(1);
    qztest::keys().script = {' '};
    CXStream::CXOut << "a\nb";
    EXPECT_EQ(f.out->text(), "a\nb");
    EXPECT_EQ(qztest::keys().reads, 1);
}

TEST_F(ProxyTest, TheMoreKeyIsTheRequesterDuringTheWait) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(1);
    services::prompt::setInputRequester(services::prompt::DEBUGGER);
    qztest::keys().script = {' '};
    CXStream::CXOut << "a\n";
    EXPECT_EQ(qztest::keys().requestersSeen, (std::vector<int>{8}));
    EXPECT_EQ(services::prompt::getInputRequester(), services::prompt::DEBUGGER);
    services::prompt::setInputRequester(services::prompt::COMMAND_LINE);
}

TEST_F(ProxyTest, InterruptsAreEnabledDuringTheWaitAndRestoredAfter) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(1);
    uvSetInterruptEnabled(0);
    qztest::keys().script = {' '};
    CXStream::CXOut << "a\n";
    EXPECT_EQ(qztest::keys().interruptsEnabledSeen, (std::vector<int>{1}));
    EXPECT_EQ(uvSetInterruptEnabled(1), 0);
}

TEST_F(ProxyTest, AnExceptionFromTheKeyReaderQuits) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(1);
    qztest::keys().throwOnRead = true;
    EXPECT_THROW(uvPuts("a\n"), Orrery::System::InterruptException);
    EXPECT_TRUE(getStopPrintingFlag());
    EXPECT_EQ(qztest::keys().deletes, 1);
}

TEST_F(ProxyTest, ASinkWithoutPagingIsNeverPaged) {
    TestFactory f;
    f.out->more = false;
    CmdWinSinkHandle::setFactory(&f);
    setTotalMoreCount(1);
    CXStream::CXOut << "1\n2\n3\n";
    EXPECT_EQ(f.out->text(), "1\n2\n3\n");
    EXPECT_EQ(qztest::keys().reads, 0);
}

TEST_F(ProxyTest, EvalCKeepsTextOutOfLogAndDiary) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    auto diary = boost::make_shared<std::ostringstream>();
    auto log = boost::make_shared<std::ostringstream>();
    CXStream::diaryStreamPtr_ = diary;
    CXStream::logStreamPtr_ = log;
    CXStream::CXOut << "seen ";
    CmdWinSink::setIsInEvalC(true);
    CXStream::CXOut << "hidden ";
    CXStream::CXErr << "err-hidden ";
    CmdWinSink::setIsInEvalC(false);
    CXStream::CXErr << "err";
    EXPECT_EQ(f.out->text(), "seen hidden ");
    EXPECT_EQ(diary->str(), "seen err");
    EXPECT_EQ(log->str(), "seen err");
}

TEST_F(ProxyTest, SinkTextEventsChangeOverOnlyAtAnIdleSync) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    auto mgr = cxutil::eventmgr::EventMgr::instance();
    std::string seen;
    auto conn = mgr->subscribeByName("SinkTextEvent", [&](cxutil::eventmgr::BaseEvent const& e) {
        for (unsigned short u : static_cast<cxutil::io::SinkTextEvent const&>(e).getText()) seen += char(u);
    });
    CXStream::CXOut.flush();  // nothing to do: latches the switch (still off)
    enableSinkTextEventPublishing();
    CXStream::CXOut << "a" << std::flush;  // real text: the latch stays off
    EXPECT_EQ(seen, "");
    CXStream::CXOut.flush();  // idle: now latched on
    CXStream::CXOut << "b";
    EXPECT_EQ(seen, "b");
    disableSinkTextEventPublishing();
    CXStream::CXOut << "c" << std::flush;  // still on until an idle sync
    CXStream::CXOut.flush();
    CXStream::CXOut << "d";
    EXPECT_EQ(seen, "bc");
    conn->disconnect();
}

TEST_F(ProxyTest, ErrorStreamTextGoesToTheErrorSink) {
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    CXStream::CXErr << "oops" << std::flush;
    CXStream::CXOut << "fine" << std::flush;
    EXPECT_EQ(f.err->text(), "oops");
    EXPECT_EQ(f.out->text(), "fine");
}

TEST(PushDefaultSink, OutToErrorSendsOutputToTheErrorSink) {
    qztest::NoFactoryAtExit reset;
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    {
        CXPushDefaultSink scope(true);
        CXStream::CXOut << "to-err " << std::flush;
        CXStream::CXErr << "err" << std::flush;
    }
    EXPECT_EQ(f.err->text(), "to-err err");
    EXPECT_EQ(f.out->text(), "");
}

TEST(PushDefaultSink, OnAnotherThreadPushesNothing) {
    qztest::NoFactoryAtExit reset;
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    auto before = CXStream::CXOut.getStack()->size();
    size_t during = 0;
    std::thread([&] {
        CXPushDefaultSink scope;
        during = CXStream::CXOut.getStack()->size();
    }).join();
    EXPECT_EQ(during, before);
    EXPECT_EQ(CXStream::CXOut.getStack()->size(), before);
}

TEST(PushDefaultSink, PutsTheSinksOnTheirInitialBuffersForTheScope) {
    qztest::NoFactoryAtExit reset;
    TestFactory f;
    CmdWinSinkHandle::setFactory(&f);
    auto initial = f.out->getOutStreamBuffer();
    auto elsewhere = boost::make_shared<qztest::RecordingBuffer>();
    f.out->setOutStreamBuffer(elsewhere);
    {
        CXPushDefaultSink scope;
        EXPECT_EQ(f.out->getOutStreamBuffer(), initial);
        CXStream::CXOut << "shown" << std::flush;
    }
    EXPECT_EQ(f.out->getOutStreamBuffer(), elsewhere);
    EXPECT_EQ(f.out->text(), "shown");
}
