// The proxy between the streams and the command window: kept text, taps,
// paging under the more rule, the quit key, and the default-sink scope.
#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkGuards.hpp"
#include "qzservices/io/UnicodeStreams.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"
#include "qzservices/orrery/InterruptException.hpp"
#include "qzservices/prompt/prompt.hpp"
#include "qzservices/state/session_modes.hpp"
#include "support/keys.hpp"
#include "support/io_proxy_streams.hpp"

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <cxutil/io/SinkTextEventBuffer.hpp>
#include <gtest/gtest.h>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <functional>
#include <future>
#include <optional>
#include <sstream>
#include <thread>

using namespace services::io;
using qztest::TestFactory;

namespace {

// Fresh command-window proxies on both streams for each test, below the
// desktop so that "--more--" shows, with no keys scripted.
class ProxyTest : public ::testing::Test {
protected:
    void SetUp() override { restart(); }
    void TearDown() override {
        streams_.reset();
        setStopPrintingFlag(false);
        uvSetInterruptPending(0);
        services::state::detail::storeJavaSupportLevel(svJavaDesktop);
    }
    void restart() {
        streams_.reset();
        streams_.emplace();
        services::state::detail::storeJavaSupportLevel(svJavaNone);
        qztest::keys().clear();
    }
    // Installs the window `f` with pages of `page` lines and the keys to press.
    void paged(size_t page, std::deque<int> keys = {}) {
        CmdWinSinkHandle::setFactory(&f);
        setTotalMoreCount(page);
        qztest::keys().script = std::move(keys);
    }
    TestFactory f;
    std::optional<qztest::ProxyStreams> streams_;
};

} // namespace

TEST_F(ProxyTest, WithNoFactoryTextIsKeptAndCopiedToTheDiaryThenSentFirstWhenOneArrives) {
    auto diary = boost::make_shared<std::ostringstream>();
    CXStream::diaryStreamPtr_ = diary;
    CXStream::CXOut << "caf\xC3\xA9\n";
    EXPECT_EQ(diary->str(), "caf\xC3\xA9\n");
    auto proxy = ActiveCmdWinSinkProxy::getInstance(cxutil::io::OUTPUT_STREAM);
    auto& buffer = dynamic_cast<ActiveCmdWinSinkBufferProxy&>(*proxy->getUnicodeOutStreamBuffer());
    EXPECT_EQ(buffer.pending().size(), 5u);
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_TRUE(proxy->useDiary() && proxy->useLogging() && proxy->isDirty());
    EXPECT_FALSE(proxy->supportsMore() || proxy->supportsBuzz() || proxy->useEcho());
    CmdWinSinkHandle::setFactory(&f);
    CXStream::CXOut << "new";
    EXPECT_EQ(f.out->text(), "caf\xC3\xA9\nnew");
    EXPECT_TRUE(f.out->isDirty());
}

TEST_F(ProxyTest, SyncSendsKeptTextWithoutPagingAndASpaceStartsTheCountAgain) {
    CXStream::CXOut << "1\n2\n3\n4\n";
    paged(2);
    CXStream::CXOut.flush();
    EXPECT_EQ(f.out->text(), "1\n2\n3\n4\n");
    EXPECT_EQ(getMoreCount(), 0u);
    EXPECT_EQ(qztest::keys().reads, 0);
    paged(3, {' '});
    CXStream::CXOut << "1\n2\n3\n4\n5\n";
    EXPECT_EQ(getMoreCount(), 2u);
    EXPECT_EQ(qztest::keys().deletes, 1);  // the prompt is taken off the line
}

TEST_F(ProxyTest, PagingShowsTheMorePromptAndWaitsForAKey) {
    struct Row {
        size_t page;
        std::deque<int> keys;
        char const* text;
        char const* shown;
        int reads;
        bool defaultReader, desktop, sinkPages;
    } const rows[] = {
        // A space shows the next page; the count starts again after it.
        {3, {' '}, "1\n2\n3\n4\n5\n", "1\n2\n3\n--more--4\n5\n", 1, false, false, true},
        // Any other key shows one more line.
        {3, {'x', ' '}, "1\n2\n3\n4\n5\n", "1\n2\n3\n--more--4\n--more--5\n", 2, false, false, true},
        // The table's default reader gives -1, which acts as any other key.
        {2, {}, "1\n2\n3\n", "1\n2\n--more--3\n--more--", 2, true, false, true},
        // On the desktop the prompt text is not shown, but the wait is.
        {1, {' '}, "a\nb", "a\nb", 1, false, true, true},
        // A sink without paging is never paged.
        {1, {}, "1\n2\n3\n", "1\n2\n3\n", 0, false, false, false},
        // Text without a line feed never waits, however long it is.
        {2, {' '}, "no line feed, however long it is", "no line feed, however long it is", 0, false, false, true},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.shown);
        restart();
        f.out->clear();
        f.out->more = row.sinkPages;
        if (row.desktop) services::state::detail::storeJavaSupportLevel(svJavaDesktop);
        paged(row.page, row.keys);
        qztest::keys().useDefaultReader = row.defaultReader;
        CXStream::CXOut << row.text;
        EXPECT_EQ(f.out->text(), row.shown);
        EXPECT_EQ(qztest::keys().reads, row.reads);
    }
    setMoreCount(2);
    CXStream::CXOut << "x";  // the page is already full: the wait comes after it
    EXPECT_EQ(qztest::keys().reads, 1);
}

TEST_F(ProxyTest, QuitKeyOrAFailingReaderThrowsSetsTheStopFlagAndResetsTheCount) {
    paged(2, {'q'});
    EXPECT_THROW(uvPrintf("1\n2\n3\n"), Orrery::System::InterruptException);
    EXPECT_EQ(getMoreCount(), 0u);
    EXPECT_TRUE(uvIsInterruptPending());
    EXPECT_EQ(ioStopPrinting(), 1);
    EXPECT_EQ(ioStopPrinting(), 0);
    EXPECT_EQ(f.out->text(), "1\n2\n--more--");
    // Through an ostream: it catches what its buffer throws and goes bad.
    uvSetInterruptPending(0);
    f.out->clear();
    paged(1, {'q'});
    std::cout << "1\n2\n" << std::flush;
    EXPECT_TRUE(uvIsInterruptPending());
    EXPECT_TRUE(getStopPrintingFlag());
    EXPECT_EQ(f.out->text(), "1\n--more--");
    std::cout.clear();
    CXStream::CXOut.clear();
    // An exception from the key reader quits too.
    setStopPrintingFlag(false);
    qztest::keys().clear();
    paged(1);
    qztest::keys().throwOnRead = true;
    EXPECT_THROW(uvPuts("a\n"), Orrery::System::InterruptException);
    EXPECT_TRUE(getStopPrintingFlag());
    EXPECT_EQ(qztest::keys().deletes, 1);
}

TEST_F(ProxyTest, DuringTheWaitTheRequesterIsTheMoreKeyAndInterruptsAreOn) {
    paged(1, {' '});
    services::prompt::setInputRequester(services::prompt::DEBUGGER);
    uvSetInterruptEnabled(0);
    CXStream::CXOut << "a\n";
    EXPECT_EQ(qztest::keys().requestersSeen, (std::vector<int>{8}));
    EXPECT_EQ(qztest::keys().interruptsEnabledSeen, (std::vector<int>{1}));
    EXPECT_EQ(services::prompt::getInputRequester(), services::prompt::DEBUGGER);
    EXPECT_EQ(uvSetInterruptEnabled(1), 0);
    services::prompt::setInputRequester(services::prompt::COMMAND_LINE);
}

TEST_F(ProxyTest, EvalCKeepsTextOutOfLogAndDiaryAndErrorsGoToTheErrorSink) {
    CmdWinSinkHandle::setFactory(&f);
    auto diary = boost::make_shared<std::ostringstream>();
    auto log = boost::make_shared<std::ostringstream>();
    CXStream::diaryStreamPtr_ = diary;
    CXStream::logStreamPtr_ = log;
    CXStream::CXOut << "seen ";
    EXPECT_FALSE(CmdWinSink::setIsInEvalC(true));  // answers the previous setting
    CXStream::CXOut << "hidden ";
    CXStream::CXErr << "err-hidden ";
    EXPECT_TRUE(CmdWinSink::setIsInEvalC(false));
    CXStream::CXErr << "err" << std::flush;
    EXPECT_EQ(f.out->text(), "seen hidden ");
    EXPECT_EQ(f.err->text(), "err-hidden err");
    EXPECT_EQ(diary->str(), "seen err");
    EXPECT_EQ(log->str(), "seen err");
}

TEST_F(ProxyTest, SinkTextEventsChangeOverOnlyAtAnIdleSync) {
    CmdWinSinkHandle::setFactory(&f);
    std::string seen;
    auto conn = cxutil::eventmgr::EventMgr::instance()->subscribeByName(
        "SinkTextEvent", [&](cxutil::eventmgr::BaseEvent const& e) {
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

namespace {

// A host capture buffer that ends its own alternate-buffer guard from inside
// its write, once it has seen text: the sink's buffer (an adaptor over this
// one) is replaced while the pipeline is still writing through it.
template <class Recording>
class GuardEndingBuffer : public Recording {
public:
    std::optional<CmdWinSinkUseAlternateBuffer> guard;

protected:
    std::streamsize xsputn(typename Recording::char_type const* s, std::streamsize n) override {
        std::streamsize const written = Recording::xsputn(s, n);
        guard.reset();
        return written;
    }
};

} // namespace

TEST_F(ProxyTest, AGuardEndedInsideTheHostBufferLeavesTheWriteRunningOnTheBufferItStarted) {
    CmdWinSinkHandle::setFactory(&f);
    ASSERT_FALSE(isMoreOn());
    {
        SCOPED_TRACE("1500 units through uout, paging off: the UTF-16 adaptor goes away after 512");
        auto capture = boost::make_shared<GuardEndingBuffer<qztest::RecordingBuffer>>();
        capture->guard.emplace(f.out, boost::shared_ptr<std::streambuf>(capture));
        uout out;
        std::basic_string<unsigned short> const text(1500, 'x');
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
        EXPECT_EQ(capture->text, std::string(1500, 'x'));
        EXPECT_EQ(f.out->text(), "");
        capture->guard.reset();
    }
    {
        SCOPED_TRACE("the line feed after a ctrl-C: the narrow adaptor goes away before its sync");
        auto capture = boost::make_shared<GuardEndingBuffer<qztest::RecordingUBuffer>>();
        capture->guard.emplace(f.out, boost::shared_ptr<ustreambuf>(capture));
        f.out->ctrlCProcessed();
        EXPECT_EQ(capture->text, qztest::u16(u"\n"));
        EXPECT_EQ(capture->syncs, 1);
        EXPECT_EQ(f.out->text(), "");
        capture->guard.reset();
    }
}

TEST_F(ProxyTest, EveryChangeOfSinkOrBufferReachesTheVeryNextWrite) {
    // A write reuses the sink the last write of its thread found; each change
    // below, made on this thread or another, must still send the next write
    // elsewhere, on the narrow road and on the UTF-16 one.
    TestFactory g;
    uout wide;
    CmdWinSinkHandle::setFactory(&f);
    CXStream::CXOut << "a";
    std::thread([&] { CmdWinSinkHandle::setFactory(&g); }).join();
    CXStream::CXOut << "b";
    wide.write(qztest::u16(u"B").data(), 1);
    CmdWinSinkHandle::restorePreviousFactory();
    CXStream::CXOut << "c";
    auto capture = boost::make_shared<qztest::RecordingBuffer>();
    {
        CmdWinSinkUseAlternateBuffer guard(f.out, boost::shared_ptr<std::streambuf>(capture));
        CXStream::CXOut << "d";
    }
    CXStream::CXOut << "e";
    // Another thread's remembered sink goes stale the same way.
    std::thread([] { CXStream::CXOut << "f"; }).join();
    CmdWinSinkHandle::setFactory(&g);
    std::thread([] { CXStream::CXOut << "g"; }).join();
    CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
    CXStream::CXOut << "h";  // kept until a sink exists
    CmdWinSinkHandle::setFactory(&f);
    CXStream::CXOut << "i";
    CXStream::CXOut.flush();
    EXPECT_EQ(f.out->text(), "acefhi");
    EXPECT_EQ(g.out->text(), "bBg");
    EXPECT_EQ(capture->text, "d");
}

TEST_F(ProxyTest, AReplacedSinkIsLetGoAtTheChangeOrAtTheWritersNextWriteOrExit) {
    TestFactory g;
    auto writeOnThread = [](std::promise<void>& wrote, std::promise<void>& changed, bool writeAgain,
                            boost::weak_ptr<CmdWinSink> const& old, bool& goneAfterWrite) {
        return std::thread([&wrote, &changed, writeAgain, &old, &goneAfterWrite] {
            CXStream::CXOut << "y";
            wrote.set_value();
            changed.get_future().wait();
            if (writeAgain) {
                CXStream::CXOut << "z";
                goneAfterWrite = old.expired();
            }
        });
    };
    for (int thread = 0; thread < 3; ++thread) {
        SCOPED_TRACE(thread == 0 ? "the changing thread's own write" : thread == 1 ? "next write" : "exit");
        auto host = std::make_unique<TestFactory>();
        boost::weak_ptr<CmdWinSink> old = host->out;
        CmdWinSinkHandle::setFactory(host.get());
        std::promise<void> wrote, changed;
        bool goneAfterWrite = false;
        std::thread writer;
        if (thread == 0) {
            CXStream::CXOut << "y";
            uout().write(qztest::u16(u"y").data(), 1);
        } else {
            writer = writeOnThread(wrote, changed, thread == 1, old, goneAfterWrite);
            wrote.get_future().wait();
        }
        EXPECT_EQ(host->out->text(), thread == 0 ? "yy" : "y");
        CmdWinSinkHandle::setFactory(&g);
        host.reset();
        if (thread == 0) {
            EXPECT_TRUE(old.expired());
        }
        if (thread > 0) {
            changed.set_value();
            writer.join();
        }
        if (thread == 1) {
            EXPECT_TRUE(goneAfterWrite);
        }
        EXPECT_TRUE(old.expired());
    }
    CXStream::CXOut.flush();
    EXPECT_EQ(g.out->text(), "z");
}

TEST_F(ProxyTest, TextReadsTheSameWhicheverRoadItTakes) {
    // ASCII goes straight to the sink's narrow buffer and anything else through
    // UTF-16; a character cut between writes, or a high surrogate waiting for
    // its pair, must come out as if all text had gone through UTF-16.
    CmdWinSinkHandle::setFactory(&f);
    std::string const replacement = "\xEF\xBF\xBD";  // U+FFFD
    struct Row {
        char const* name;
        std::function<void()> write;
        std::string expected;
    };
    Row const rows[] = {
        {"a character in two writes between ASCII",
         [] { CXStream::CXOut << "a" << "\xC3" << "\xA9" << "b"; }, "a\xC3\xA9" "b"},
        {"a lead byte cut short by the next write's ASCII",
         [] { CXStream::CXOut << "\xC3" << "x" << "y"; }, replacement + "xy"},
        {"a high surrogate through uout, then ASCII through CXOut",
         [] {
             unsigned short const high = 0xD83D;
             uout().write(&high, 1);
             CXStream::CXOut << "x" << "y";
         },
         replacement + "xy"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        f.out->clear();
        row.write();
        CXStream::CXOut.flush();
        EXPECT_EQ(f.out->text(), row.expected);
    }
}

TEST(PushDefaultSink, OutToErrorAndInitialBuffersForTheScope) {
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
    {
        CXPushDefaultSink scope(true);
        CXStream::CXOut << "to-err " << std::flush;
        CXStream::CXErr << "err" << std::flush;
    }
    EXPECT_EQ(f.err->text(), "to-err err");
    EXPECT_EQ(f.out->text(), "shown");
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

namespace {

// The page length, paging state and window rows of the built-in `more`.
class MoreState : public ::testing::Test {
protected:
    void SetUp() override {
        oldRows_ = ioSetNumWindowRows(25);
        MoreControl(false);
    }
    void TearDown() override {
        MoreControl(false);
        ioSetNumWindowRows(oldRows_);
    }
    size_t oldRows_ = 0;
};

// Runs the built-in with one argument (or none), which it takes over, and
// returns its result (-1 for none).
double callMore(vxArray_tag* argument, bool wantResult = true) {
    vxArray_tag* out = nullptr;
    struct Free {
        vxArray_tag*& a;
        ~Free() { vxDestroyArray(a); }
    } freeIn{argument}, freeOut{out};
    ioFullMoreFcn(wantResult ? 1 : 0, &out, argument ? 1 : 0, &argument);
    return out ? vxGetScalar(out) : -1;
}

} // namespace

TEST_F(MoreState, WindowSizeLeavesTwoRowsForThePrompt) {
    for (auto [rows, page] : {std::pair<size_t, size_t>{25, 23}, {4, 2}, {3, 1}, {2, 1}, {0, 1}}) {
        ioSetNumWindowRows(rows);
        EXPECT_EQ(getWindowSize(), page) << rows;
    }
}

TEST_F(MoreState, NumberSetsTheLimitAndOnGoesBackToTheWindow) {
    EXPECT_EQ(callMore(vxCreateDoubleScalar(10)), 23.0);  // the page length before
    EXPECT_TRUE(isMoreOn());
    EXPECT_EQ(getTotalMoreCount(), 10u);
    EXPECT_EQ(callMore(vxCreateString("on")), 10.0);
    EXPECT_EQ(getTotalMoreCount(), 23u);
    EXPECT_EQ(callMore(nullptr), 23.0);
    callMore(vxCreateString("Off"), false);
    EXPECT_FALSE(isMoreOn());
    callMore(vxCreateString("ON"), false);
    EXPECT_TRUE(isMoreOn());
}

TEST_F(MoreState, BadWordsCountsAndArgumentCountsAreRefusedWithoutChange) {
    setTotalMoreCount(7);
    for (vxArray_tag* arg : {vxCreateString("o"), vxCreateString(""), vxCreateString("ont"), vxCreateString("of"),
                             vxCreateDoubleScalar(0), vxCreateDoubleScalar(-1), vxCreateDoubleMatrix(1, 2, vxREAL)}) {
        EXPECT_THROW(callMore(arg, false), vx::Error);
        EXPECT_EQ(getTotalMoreCount(), 7u);
        EXPECT_TRUE(isMoreOn());
    }
    try {
        callMore(vxCreateDoubleScalar(-3), false);
        ADD_FAILURE() << "-3 accepted";
    } catch (vx::Error const& e) {
        EXPECT_STREQ(e.what(), "Invalid input argument.");
    }
    vxArray_tag* out[2] = {nullptr, nullptr};
    vxArray_tag* in[2] = {nullptr, nullptr};
    EXPECT_THROW(ioFullMoreFcn(2, out, 0, in), vx::Error);
    EXPECT_THROW(ioFullMoreFcn(0, out, 2, in), vx::Error);
    EXPECT_THROW(ioFullMoreFcn(0, out, -1, in), vx::Error);
}

TEST_F(MoreState, SuspensionsNestAndSetTotalReturnsTheOldLength) {
    EXPECT_EQ(setTotalMoreCount(7), 23u);
    EXPECT_TRUE(isMoreOn());
    EXPECT_EQ(setTotalMoreCount(4), 7u);
    incrementMoreCount();
    incrementMoreCount();
    EXPECT_EQ(getMoreCount(), 2u);
    MoreControl(true);
    EXPECT_EQ(getMoreCount(), 0u);
    EXPECT_EQ(getTotalMoreCount(), 23u);
    suspendMore();
    suspendMore();
    resumeMore();
    EXPECT_FALSE(isMoreOn());
    resumeMore();
    EXPECT_TRUE(isMoreOn());
}
