// The two global streams, their sink stacks, the redirection of the standard
// streams at the first push, the UTF-16 streams and the flush registry.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/UnicodeStreams.hpp"
#include "qzservices/io/ioFlush.hpp"
#include "qzservices/state/session_modes.hpp"
#include "support/child_process.hpp"
#include "support/recording_buffers.hpp"

#include <boost/make_shared.hpp>
#include <cxutil/eventmgr/CVMShutdownEvent.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <gtest/gtest.h>
#include <iostream>

using namespace services::io;
using qztest::runInFreshProcess;
using qztest::u16;

namespace {

// Pushes a sink for the length of a scope.
struct PushGuard {
    CXStream& stream;
    PushGuard(CXStream& s, boost::shared_ptr<CXSink> const& sink) : stream(s) { stream.push(sink); }
    ~PushGuard() { stream.pop(); }
};

// Logs activate and deactivate calls with its name into a shared journal.
class JournalSink : public CXStringSink {
public:
    JournalSink(std::string name, std::string& journal) : name_(std::move(name)), journal_(journal) {}
    void activate() override { journal_ += name_ + "+ "; }
    void deactivate() override {
        journal_ += name_ + "- ";
        CXStringSink::deactivate();
    }
    bool useLogging() const override { return ++loggingAsked, false; }
    mutable int loggingAsked = 0;
private:
    std::string name_;
    std::string& journal_;
};

} // namespace

TEST(StreamsBeforeFirstPush, CXOutAndUoutAreSilentAndBadWhileCoutWritesDirectly) {
    auto r = runInFreshProcess([] {
        CXStream::CXOut << "lost";
        QZ_CHILD_CHECK(CXStream::CXOut.bad() && ioFlush() == 0, 2);
        QZ_CHILD_CHECK(dynamic_cast<ForwardingStreamBuffer*>(std::cout.rdbuf()) == nullptr, 3);
        services::io::uout u;
        u << "nowhere";
        QZ_CHILD_CHECK(!u.good(), 4);
        std::cout << "direct" << std::flush;
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.stdoutText, "direct");
}

TEST(StreamsAfterFirstPush, CoutSharesTheRoadUntilTheShutdownEventGivesItsBufferBack) {
    auto r = runInFreshProcess([] {
        auto sink = boost::make_shared<CXStringSink>();
        CXStream::CXOut.push(sink);
        QZ_CHILD_CHECK(dynamic_cast<ForwardingStreamBuffer*>(std::cout.rdbuf()) != nullptr, 2);
        QZ_CHILD_CHECK(ioFlush() == 0, 3);  // CXErr has had no push: still bad
        CXStream::CXErr.push(sink);
        QZ_CHILD_CHECK(CXStream::CXOut.good() && ioFlush() == 1, 4);
        std::cout << "a";
        CXStream::CXOut << "b";
        std::cout << "c\xC3\xA9" << std::flush;
        QZ_CHILD_CHECK(sink->getString() == "abc\xC3\xA9", 5);
        // A sink built on what std::cout now holds, the forwarding buffer, writes
        // to the real stream once and does not loop.
        boost::shared_ptr<std::streambuf> fwd(std::cout.rdbuf(), &CXSink::doNothingDeleter);
        CXStream::CXOut.push(boost::make_shared<CXSink>(fwd));
        CXStream::CXOut << "once" << std::flush;
        std::cout << "-twice" << std::flush;
        CXStream::CXOut.pop();
        std::streambuf* original = CXStream::CXOut.getDefaultStreamBuf();
        auto mgr = cxutil::eventmgr::EventMgr::instance();
        mgr->publish(boost::make_shared<cxutil::eventmgr::CVMShutdownEvent>());
        QZ_CHILD_CHECK(std::cout.rdbuf() == original, 6);
        QZ_CHILD_CHECK(mgr->subscriberCount("CVMShutdownEvent") == 0, 7);  // ran once and is gone
        std::cout << "|direct" << std::flush;
        CXStream::CXOut << "still-sink" << std::flush;
        QZ_CHILD_CHECK(sink->getString() == "abc\xC3\xA9still-sink", 8);
        CXStream::CXErr.setstate(std::ios_base::badbit);
        QZ_CHILD_CHECK(ioFlush() == 0, 9);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.stdoutText, "once-twice|direct");
}

TEST(SinkStack, PushAndPopActivateInTheirOrderAndPropertiesComeFromTheTop) {
    std::string journal;
    auto a = boost::make_shared<JournalSink>("A", journal);
    auto b = boost::make_shared<JournalSink>("B", journal);
    b->setNeedsFormattingForDisplay(true);
    CXStream::CXOut.push(a);
    CXStream::CXOut.push(b);
    CXStream::CXOut << "to-b" << std::flush;
    EXPECT_TRUE(CXStream::CXOut.needsFormattingForDisplay());
    EXPECT_FALSE(CXStream::CXOut.supportsMore());
    CXStream::CXOut.setDirty(true);
    EXPECT_TRUE(b->isDirty());
    CXStream::CXOut.pop();
    CXStream::CXOut << "to-a" << std::flush;
    EXPECT_FALSE(CXStream::CXOut.needsFormattingForDisplay());
    CXStream::CXOut.pop();
    EXPECT_EQ(journal, "A+ A- B+ B- A+ A- ");
    EXPECT_EQ(a->getString(), "to-a");
    EXPECT_EQ(b->getString(), "to-b");
}

TEST(SinkStack, PushOfAnotherStreamSharesItsTopSink) {
    auto sink = boost::make_shared<CXStringSink>();
    PushGuard out(CXStream::CXOut, sink);
    PushGuard err(CXStream::CXErr, boost::make_shared<CXStringSink>());
    CXStream::CXErr.push(CXStream::CXOut);
    EXPECT_EQ(CXStream::CXErr.getStack()->top().get(), sink.get());
    CXStream::CXErr << "from-err ";
    CXStream::CXOut << "from-out" << std::flush;
    CXStream::CXErr.pop();
    EXPECT_EQ(sink->getString(), "from-err from-out");
}

TEST(SinkStack, LogAllStreamsOverridesTheTopSinkWithoutAskingIt) {
    std::string journal;
    auto sink = boost::make_shared<JournalSink>("L", journal);
    PushGuard g(CXStream::CXErr, sink);
    EXPECT_FALSE(CXStream::CXErr.useLogging());
    EXPECT_EQ(sink->loggingAsked, 1);
    CXStream::setLogAllStreams(true);
    EXPECT_TRUE(CXStream::CXErr.useLogging() && CXStream::CXOut.useLogging());
    EXPECT_EQ(sink->loggingAsked, 1);
    CXStream::setLogAllStreams(false);
    EXPECT_FALSE(CXStream::CXErr.useLogging());
}

TEST(SinkStack, SetStackSwitchesWholeStacksOnlyInStandaloneMode) {
    auto current = boost::make_shared<CXStringSink>();
    PushGuard g(CXStream::CXOut, current);
    auto replacement = boost::make_shared<CXStream::SinkStack>();
    auto other = boost::make_shared<CXStringSink>();
    replacement->push(other);
    auto saved = CXStream::CXOut.getStack();

    int oldMode = svGetCXMode();
    svSetCXMode(1);
    CXStream::CXOut.setStack(replacement);
    EXPECT_EQ(CXStream::CXOut.getStack(), saved);
    CXStream::CXOut << "kept" << std::flush;
    svSetCXMode(oldMode);
    EXPECT_EQ(current->getString(), "kept");

    ASSERT_TRUE(svIsStandaloneMode());
    CXStream::CXOut.setStack(replacement);
    CXStream::CXOut << "elsewhere" << std::flush;
    services::io::uout() << "+u" << std::flush;
    CXStream::CXOut.setStack(saved);
    EXPECT_EQ(other->getString(), "elsewhere+u");
    EXPECT_EQ(current->getString(), "kept");
}

TEST(UnicodeStreams, ObjectsMadeBeforeAPushFollowTheNewTop) {
    services::io::uout u;
    services::io::uerr e;
    auto first = boost::make_shared<CXStringSink>();
    auto second = boost::make_shared<CXStringSink>();
    auto errSink = boost::make_shared<CXStringSink>();
    PushGuard ge(CXStream::CXErr, errSink);
    {
        PushGuard g1(CXStream::CXOut, first);
        u.clear();
        u << qztest::u16(u"\u65e5") << std::flush;
        {
            PushGuard g2(CXStream::CXOut, second);
            u << "two" << std::flush;
        }
        u << "one" << std::flush;
    }
    e << "err" << std::flush;
    EXPECT_EQ(first->getUnicodeString(), u16(u"\u65e5one"));
    EXPECT_EQ(second->getString(), "two");
    EXPECT_EQ(errSink->getString(), "err");
}

namespace {

std::string gFlushLog;
void flushA(long arg) { gFlushLog += "a" + std::to_string(arg) + " "; }
void flushB(long arg) { gFlushLog += "b" + std::to_string(arg) + " "; }
void flushC(long arg) { gFlushLog += "c" + std::to_string(arg) + " "; }

// What one round of the registry calls, with `arg`.
std::string flushRound(long arg) {
    gFlushLog.clear();
    ioFlushStreams(arg);
    return gFlushLog;
}

} // namespace

TEST(FlushRegistry, RunsOldestFirstAndTwiceWhenRegisteredTwice) {
    ioRegisterFlushStreamFcn(flushA);
    ioRegisterFlushStreamFcn(flushB);
    ioRegisterFlushStreamFcn(flushA);
    ioRegisterFlushStreamFcn(nullptr);  // ignored
    EXPECT_EQ(flushRound(7), "a7 b7 a7 ");
    ioUnregisterFlushStreamFcn(flushA);  // the first entry for A goes
    EXPECT_EQ(flushRound(1), "b1 a1 ");
    ioUnregisterFlushStreamFcn(flushC);  // not there: nothing happens
    ioUnregisterFlushStreamFcn(nullptr);
    ioRegisterFlushStreamFcn(flushC);
    ioUnregisterFlushStreamFcn(flushA);  // from the middle of the list
    EXPECT_EQ(flushRound(2), "b2 c2 ");
    ioUnregisterFlushStreamFcn(flushB);
    ioUnregisterFlushStreamFcn(flushC);
    EXPECT_EQ(flushRound(3), "");
}
