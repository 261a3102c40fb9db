// The sink base, the capture sinks, the function sink and the property snapshot.
#include "qzservices/io/CXNoOutputSink.hpp"
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/PutsFnSink.hpp"
#include "qzservices/io/SinkTraits.hpp"
#include "support/recording_buffers.hpp"

#include <boost/function/function_base.hpp>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

using namespace services::io;
using qztest::RecordingBuffer;
using qztest::RecordingUBuffer;
using qztest::u16;

namespace {

// "é日本" in UTF-8 and in UTF-16.
char const kUtf8[] = "\xC3\xA9\xE6\x97\xA5\xE6\x9C\xAC";
std::basic_string<unsigned short> const kUtf16 = u16(u"\u00e9\u65e5\u672c");

template <class T>
bool holds(StreamBufferVariant const& v, boost::shared_ptr<T> const& expected) {
    boost::shared_ptr<T> const* got = boost::get<boost::shared_ptr<T>>(&v);
    return got != nullptr && *got == expected;
}

} // namespace

TEST(SinkBuffers, NarrowSinkConvertsUtf16WritesIntoItsNarrowBuffer) {
    auto narrow = boost::make_shared<RecordingBuffer>();
    CXSink sink{boost::shared_ptr<std::streambuf>(narrow)};
    ASSERT_TRUE(sink.getUnicodeOutStreamBuffer());
    sink.getUnicodeOutStreamBuffer()->sputn(kUtf16.data(), kUtf16.size());
    EXPECT_EQ(narrow->text, kUtf8);
    EXPECT_EQ(sink.getOutStreamBuffer(), narrow);
}

TEST(SinkBuffers, Utf16SinkConvertsNarrowWritesIntoItsUtf16Buffer) {
    auto wide = boost::make_shared<RecordingUBuffer>();
    CXSink sink{boost::shared_ptr<ustreambuf>(wide)};
    sink.getOutStreamBuffer()->sputn(kUtf8, sizeof kUtf8 - 1);
    EXPECT_EQ(wide->text, kUtf16);
}

TEST(SinkBuffers, NarrowCharacterSplitAcrossWritesStillConverts) {
    auto wide = boost::make_shared<RecordingUBuffer>();
    CXSink sink{boost::shared_ptr<ustreambuf>(wide)};
    // One byte at a time, as a redirected std::cout delivers it.
    for (char const* p = kUtf8; *p; ++p) sink.getOutStreamBuffer()->sputc(*p);
    EXPECT_EQ(wide->text, kUtf16);
}

TEST(SinkBuffers, SetOutStreamBufferOnBuiltSinkKeepsTheInitialBuffers) {
    auto initial = boost::make_shared<RecordingUBuffer>();
    auto replacement = boost::make_shared<RecordingBuffer>();
    CXSink sink{boost::shared_ptr<ustreambuf>(initial)};

    StreamBufferVariant first = sink.setOutStreamBuffer(replacement);
    EXPECT_EQ(first.which(), 1);
    EXPECT_TRUE(holds<ustreambuf>(first, initial));
    EXPECT_EQ(sink.getOutStreamBuffer(), replacement);

    StreamBufferVariant second = sink.restoreInitialBuffers();
    EXPECT_EQ(second.which(), 0);
    EXPECT_TRUE(holds<std::streambuf>(second, replacement));
    EXPECT_EQ(sink.getUnicodeOutStreamBuffer(), initial);

    // Back on the initial UTF-16 buffer, a narrow write converts into it again.
    sink.getOutStreamBuffer()->sputn("ok", 2);
    EXPECT_EQ(initial->text, u16(u"ok"));
}

TEST(SinkBuffers, FirstInstallationOnDefaultSinkBecomesInitial) {
    CXSink sink;
    EXPECT_FALSE(sink.getOutStreamBuffer());
    auto b = boost::make_shared<RecordingBuffer>();
    auto c = boost::make_shared<RecordingBuffer>();

    StreamBufferVariant none = sink.setOutStreamBuffer(b);
    EXPECT_EQ(none.which(), 0);
    EXPECT_TRUE(holds<std::streambuf>(none, boost::shared_ptr<std::streambuf>()));

    sink.setOutStreamBuffer(c);
    sink.restoreInitialBuffers();
    EXPECT_EQ(sink.getOutStreamBuffer(), b);
    sink.getUnicodeOutStreamBuffer()->sputn(kUtf16.data(), kUtf16.size());
    EXPECT_EQ(b->text, kUtf8);
    EXPECT_EQ(c->text, "");
}

TEST(SinkBuffers, UnicodeFirstInstallationOnDefaultSinkBecomesInitial) {
    CXSink sink;
    auto u = boost::make_shared<RecordingUBuffer>();
    auto n = boost::make_shared<RecordingBuffer>();
    sink.setUnicodeOutStreamBuffer(u);
    StreamBufferVariant was = sink.setOutStreamBuffer(n);
    EXPECT_TRUE(holds<ustreambuf>(was, u));
    StreamBufferVariant back = sink.restoreInitialBuffers();
    EXPECT_TRUE(holds<std::streambuf>(back, n));
    EXPECT_EQ(sink.getUnicodeOutStreamBuffer(), u);
}

TEST(SinkBuffers, DeactivateSyncsOnlyThePrimaryBuffer) {
    auto wide = boost::make_shared<RecordingUBuffer>();
    CXSink utf16Sink{boost::shared_ptr<ustreambuf>(wide)};
    utf16Sink.deactivate();
    EXPECT_EQ(wide->syncs, 1);

    auto narrow = boost::make_shared<RecordingBuffer>();
    auto other = boost::make_shared<RecordingUBuffer>();
    CXSink sink{boost::shared_ptr<ustreambuf>(other)};
    sink.setOutStreamBuffer(narrow);
    sink.deactivate();
    EXPECT_EQ(narrow->syncs, 1);
    EXPECT_EQ(other->syncs, 0);
}

TEST(SinkBuffers, BaseSinkAnswersFalseToEveryPropertyAndKeepsDirtyFlag) {
    CXSink sink;
    EXPECT_FALSE(sink.supportsBuzz() || sink.supportsMore() || sink.supportsHotlinks() ||
                 sink.needsFormattingForDisplay() || sink.useDiary() || sink.useEcho() || sink.useLogging());
    EXPECT_FALSE(sink.isDirty());
    sink.setDirty(true);
    EXPECT_TRUE(sink.isDirty());
}

TEST(StringSink, NarrowSinkGivesBytesAndConvertedUnicode) {
    auto buf = boost::make_shared<std::stringbuf>();
    CXStringSink sink(buf);
    sink.getOutStreamBuffer()->sputn(kUtf8, sizeof kUtf8 - 1);
    EXPECT_EQ(sink.getString(), kUtf8);
    EXPECT_EQ(sink.getUnicodeString(), kUtf16);
    // Reading leaves the text in place.
    EXPECT_EQ(sink.getString(), kUtf8);
}

TEST(StringSink, DefaultSinkIsUnicodeAndGivesConvertedNarrowText) {
    CXStringSink sink;
    sink.getUnicodeOutStreamBuffer()->sputn(kUtf16.data(), kUtf16.size());
    EXPECT_EQ(sink.getUnicodeString(), kUtf16);
    EXPECT_EQ(sink.getString(), kUtf8);
    EXPECT_EQ(sink.getUnicodeString(), kUtf16);
}

TEST(StringSink, SharedUnicodeBufferIsTheSinksBuffer) {
    auto buf = boost::make_shared<CXStringSink::ustringbuf>();
    CXStringSink sink(buf);
    sink.getOutStreamBuffer()->sputn("abc", 3);
    EXPECT_EQ(buf->str(), u16(u"abc"));
}

TEST(StringSink, FormattingPropertyFollowsItsSetter) {
    CXStringSink sink;
    EXPECT_FALSE(sink.needsFormattingForDisplay());
    sink.setNeedsFormattingForDisplay(true);
    EXPECT_TRUE(sink.needsFormattingForDisplay());
}

TEST(NoOutputSink, AcceptsAndDropsEverythingWithNoProperties) {
    auto sink = boost::make_shared<CXNoOutputSink>();
    std::ostream os(sink->getOutStreamBuffer().get());
    os << "gone" << std::flush;
    EXPECT_TRUE(os.good());
    SinkTraits traits(sink);
    EXPECT_EQ(traits, SinkTraits());
}

namespace {

struct Calls {
    std::vector<std::string> texts;
    int result = 0;
    int operator()(char const* s) {
        texts.emplace_back(s);
        return result;
    }
};

} // namespace

TEST(PutsFnBuffer, FunctionIsCalledOnlyWhenTheAreaOverflows) {
    auto calls = std::make_shared<Calls>();
    PutsFnStreamBuffer buf([calls](char const* s) { return (*calls)(s); });
    std::string area(8090, 'x');
    EXPECT_EQ(buf.sputn(area.data(), area.size()), 8090);
    EXPECT_TRUE(calls->texts.empty());
    buf.sputc('y');
    ASSERT_EQ(calls->texts.size(), 1u);
    EXPECT_EQ(calls->texts[0].size(), 8091u);
    EXPECT_EQ(calls->texts[0].back(), 'y');
    // The area is empty again: a sync now calls nothing.
    EXPECT_EQ(buf.pubsync(), 0);
    EXPECT_EQ(calls->texts.size(), 1u);
}

TEST(PutsFnBuffer, LongTextArrivesInPiecesOf8091) {
    auto calls = std::make_shared<Calls>();
    PutsFnStreamBuffer buf([calls](char const* s) { return (*calls)(s); });
    std::string text(20000, 'a');
    buf.sputn(text.data(), text.size());
    buf.pubsync();
    ASSERT_EQ(calls->texts.size(), 3u);
    EXPECT_EQ(calls->texts[0].size(), 8091u);
    EXPECT_EQ(calls->texts[1].size(), 8091u);
    EXPECT_EQ(calls->texts[2].size(), 20000u - 2 * 8091u);
}

TEST(PutsFnBuffer, SyncReturnsTheCountOrZeroWhenTheFunctionFails) {
    auto calls = std::make_shared<Calls>();
    PutsFnStreamBuffer buf([calls](char const* s) { return (*calls)(s); });
    EXPECT_EQ(buf.pubsync(), 0);  // empty: nothing called
    EXPECT_TRUE(calls->texts.empty());
    buf.sputn("hello", 5);
    EXPECT_EQ(buf.pubsync(), 5);
    calls->result = -1;
    buf.sputn("abc", 3);
    EXPECT_EQ(buf.pubsync(), 0);
    EXPECT_EQ(calls->texts, (std::vector<std::string>{"hello", "abc"}));
}

TEST(PutsFnBuffer, NulInsideTheTextCutsWhatTheFunctionSees) {
    auto calls = std::make_shared<Calls>();
    PutsFnStreamBuffer buf([calls](char const* s) { return (*calls)(s); });
    buf.sputn("ab\0cd", 5);
    EXPECT_EQ(buf.pubsync(), 2);
    EXPECT_EQ(calls->texts, (std::vector<std::string>{"ab"}));
}

TEST(PutsFnBuffer, EmptyFunctionThrowsAtFirstSyncWithTextAndLosesIt) {
    PutsFnStreamBuffer buf{PutsFnStreamBuffer::PutsFn()};
    EXPECT_EQ(buf.pubsync(), 0);  // nothing stored: not noticed yet
    buf.sputn("lost", 4);
    try {
        buf.pubsync();
        FAIL() << "expected boost::bad_function_call";
    } catch (boost::bad_function_call const& e) {
        EXPECT_STREQ(e.what(), "call to empty boost::function");
    }
    auto calls = std::make_shared<Calls>();
    buf.set_function([calls](char const* s) { return (*calls)(s); });
    buf.sputn("kept", 4);
    buf.pubsync();
    EXPECT_EQ(calls->texts, (std::vector<std::string>{"kept"}));
}

TEST(PutsFnSinkTest, DefaultSinkSwallowsTextUntilGivenAFunction) {
    PutsFnSink sink;
    std::ostream os(sink.getOutStreamBuffer().get());
    os << "swallowed" << std::flush;
    EXPECT_TRUE(os.good());
    auto calls = std::make_shared<Calls>();
    sink.set_function([calls](char const* s) { return (*calls)(s); });
    os << "seen" << std::flush;
    EXPECT_EQ(calls->texts, (std::vector<std::string>{"seen"}));
    EXPECT_FALSE(sink.isInputRequestNecessary());
}

TEST(PutsFnSinkTest, UnicodeTextReachesTheFunctionInTheNativeEncoding) {
    auto calls = std::make_shared<Calls>();
    PutsFnSink sink([calls](char const* s) { return (*calls)(s); });
    sink.getUnicodeOutStreamBuffer()->sputn(kUtf16.data(), kUtf16.size());
    sink.getUnicodeOutStreamBuffer()->pubsync();
    EXPECT_EQ(calls->texts, (std::vector<std::string>{kUtf8}));
}

TEST(CommandWindowSink, CtrlCWritesExactlyOneLineFeedAndMarksDirty) {
    auto calls = std::make_shared<Calls>();
    PutsFnSink sink([calls](char const* s) { return (*calls)(s); });
    std::ostream os(sink.getOutStreamBuffer().get());
    os << "half a line";  // not flushed: stays in the store until the line feed's sync
    EXPECT_FALSE(sink.isDirty());
    sink.ctrlCProcessed();
    EXPECT_EQ(calls->texts, (std::vector<std::string>{"half a line\n"}));
    EXPECT_TRUE(sink.isDirty());
}

TEST(CommandWindowSink, EvalCSwitchTurnsOffDiaryAndLoggingForAllSinks) {
    PutsFnSink a, b;
    EXPECT_TRUE(a.useDiary() && a.useLogging());
    EXPECT_FALSE(CmdWinSink::setIsInEvalC(true));
    EXPECT_FALSE(a.useDiary() || a.useLogging() || b.useDiary() || b.useLogging());
    EXPECT_TRUE(a.useEcho());
    EXPECT_TRUE(CmdWinSink::setIsInEvalC(false));
    EXPECT_TRUE(b.useDiary() && b.useLogging());
}

TEST(SinkTraitsTest, SnapshotOfACommandWindowSink) {
    SinkTraits t(boost::make_shared<PutsFnSink>());
    EXPECT_TRUE(t.buzz);
    EXPECT_TRUE(t.more);
    EXPECT_FALSE(t.links);
    EXPECT_TRUE(t.displayformatting);
    EXPECT_TRUE(t.diary);
    EXPECT_TRUE(t.echo);
    EXPECT_TRUE(t.logging);
}

TEST(SinkTraitsTest, NullSinkGivesAllFalse) {
    SinkTraits t{boost::shared_ptr<CXSink>()};
    EXPECT_FALSE(t.buzz || t.more || t.links || t.displayformatting || t.diary || t.echo || t.logging);
}

namespace {

// Records the order in which its properties are asked.
class AskingSink : public CXSink {
public:
    mutable std::string asked;
    bool supportsBuzz() const override { return note('b'); }
    bool supportsMore() const override { return note('m'); }
    bool supportsHotlinks() const override { return note('l'); }
    bool needsFormattingForDisplay() const override { return note('f'); }
    bool useDiary() const override { return note('d'); }
    bool useEcho() const override { return note('e'); }
    bool useLogging() const override { return note('g'); }
private:
    bool note(char c) const {
        asked.push_back(c);
        return c == 'l' || c == 'g';
    }
};

} // namespace

TEST(SinkTraitsTest, AsksEachPropertyOnceInFieldOrder) {
    auto sink = boost::make_shared<AskingSink>();
    SinkTraits t(sink);
    EXPECT_EQ(sink->asked, "bmlfdeg");
    EXPECT_TRUE(t.links);
    EXPECT_TRUE(t.logging);
    EXPECT_FALSE(t.buzz);
}
