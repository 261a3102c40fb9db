// The sink base, the capture sinks, the function sink and the property snapshot.
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

// Records each text handed to a function sink; answers `result`.
struct Calls {
    std::vector<std::string> texts;
    int result = 0;
    PutsFnStreamBuffer::PutsFn fn() {
        return [this](char const* s) { return texts.emplace_back(s), result; };
    }
};

} // namespace

TEST(SinkBuffers, ConvertBetweenNarrowAndUtf16BothWays) {
    auto narrow = boost::make_shared<RecordingBuffer>();
    CXSink narrowSink{boost::shared_ptr<std::streambuf>(narrow)};
    narrowSink.getUnicodeOutStreamBuffer()->sputn(kUtf16.data(), kUtf16.size());
    EXPECT_EQ(narrow->text, kUtf8);
    EXPECT_EQ(narrowSink.getOutStreamBuffer(), narrow);

    auto wide = boost::make_shared<RecordingUBuffer>();
    CXSink wideSink{boost::shared_ptr<ustreambuf>(wide)};
    wideSink.getOutStreamBuffer()->sputn(kUtf8, sizeof kUtf8 - 1);
    // One byte at a time, as a redirected std::cout delivers it.
    for (char const* p = kUtf8; *p; ++p) wideSink.getOutStreamBuffer()->sputc(*p);
    EXPECT_EQ(wide->text, kUtf16 + kUtf16);
}

TEST(SinkBuffers, SetOutStreamBufferOnBuiltSinkKeepsTheInitialBuffers) {
    auto initial = boost::make_shared<RecordingUBuffer>();
    auto replacement = boost::make_shared<RecordingBuffer>();
    CXSink sink{boost::shared_ptr<ustreambuf>(initial)};
    StreamBufferVariant first = sink.setOutStreamBuffer(replacement);
    EXPECT_EQ(first.which(), 1);
    EXPECT_TRUE(holds<ustreambuf>(first, initial));
    EXPECT_EQ(sink.getOutStreamBuffer(), replacement);
    // Deactivation syncs only the primary buffer, now the narrow one.
    sink.deactivate();
    EXPECT_EQ(replacement->syncs, 1);
    EXPECT_EQ(initial->syncs, 0);

    StreamBufferVariant second = sink.restoreInitialBuffers();
    EXPECT_EQ(second.which(), 0);
    EXPECT_TRUE(holds<std::streambuf>(second, replacement));
    EXPECT_EQ(sink.getUnicodeOutStreamBuffer(), initial);
    sink.getOutStreamBuffer()->sputn("ok", 2);
    EXPECT_EQ(initial->text, u16(u"ok"));
    sink.deactivate();
    EXPECT_EQ(initial->syncs, 1);
}

TEST(SinkBuffers, FirstInstallationOnADefaultSinkBecomesInitial) {
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

    CXSink usink;
    auto u = boost::make_shared<RecordingUBuffer>();
    usink.setUnicodeOutStreamBuffer(u);
    EXPECT_TRUE(holds<ustreambuf>(usink.setOutStreamBuffer(b), u));
    EXPECT_TRUE(holds<std::streambuf>(usink.restoreInitialBuffers(), b));
    EXPECT_EQ(usink.getUnicodeOutStreamBuffer(), u);
}

TEST(StringSink, GivesBothEncodingsWhicheverItHolds) {
    auto buf = boost::make_shared<std::stringbuf>();
    CXStringSink narrow(buf);
    narrow.getOutStreamBuffer()->sputn(kUtf8, sizeof kUtf8 - 1);
    EXPECT_EQ(narrow.getString(), kUtf8);
    EXPECT_EQ(narrow.getUnicodeString(), kUtf16);
    EXPECT_EQ(narrow.getString(), kUtf8);  // reading leaves the text in place

    auto ubuf = boost::make_shared<CXStringSink::ustringbuf>();
    CXStringSink wide(ubuf);
    wide.getUnicodeOutStreamBuffer()->sputn(kUtf16.data(), kUtf16.size());
    EXPECT_EQ(ubuf->str(), kUtf16);
    EXPECT_EQ(wide.getString(), kUtf8);
    EXPECT_EQ(wide.getUnicodeString(), kUtf16);
}

TEST(PutsFnBuffer, FunctionIsCalledWhenTheAreaOverflowsInPiecesOf8091) {
    Calls calls;
    PutsFnStreamBuffer buf(calls.fn());
    std::string area(8090, 'x');
    EXPECT_EQ(buf.sputn(area.data(), area.size()), 8090);
    EXPECT_TRUE(calls.texts.empty());
    buf.sputc('y');
    ASSERT_EQ(calls.texts.size(), 1u);
    EXPECT_EQ(calls.texts[0], area + 'y');
    EXPECT_EQ(buf.pubsync(), 0);  // the area is empty again: nothing called
    EXPECT_EQ(calls.texts.size(), 1u);
    std::string text(20000, 'a');
    buf.sputn(text.data(), text.size());
    buf.pubsync();
    ASSERT_EQ(calls.texts.size(), 4u);
    EXPECT_EQ(calls.texts[1].size(), 8091u);
    EXPECT_EQ(calls.texts[2].size(), 8091u);
    EXPECT_EQ(calls.texts[3].size(), 20000u - 2 * 8091u);
}

TEST(PutsFnBuffer, SyncReturnsTheCountOrZeroAndANulCutsTheText) {
    Calls calls;
    PutsFnStreamBuffer buf(calls.fn());
    EXPECT_EQ(buf.pubsync(), 0);  // empty: nothing called
    buf.sputn("hello", 5);
    EXPECT_EQ(buf.pubsync(), 5);
    buf.sputn("ab\0cd", 5);
    EXPECT_EQ(buf.pubsync(), 2);
    calls.result = -1;
    buf.sputn("abc", 3);
    EXPECT_EQ(buf.pubsync(), 0);
    EXPECT_EQ(calls.texts, (std::vector<std::string>{"hello", "ab", "abc"}));
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
    Calls calls;
    buf.set_function(calls.fn());
    buf.sputn("kept", 4);
    buf.pubsync();
    EXPECT_EQ(calls.texts, (std::vector<std::string>{"kept"}));
}

TEST(PutsFnSinkTest, SwallowsTextUntilGivenAFunctionThenSendsNativeText) {
    PutsFnSink sink;
    EXPECT_FALSE(sink.isInputRequestNecessary());
    std::ostream os(sink.getOutStreamBuffer().get());
    os << "swallowed" << std::flush;
    EXPECT_TRUE(os.good());
    Calls calls;
    sink.set_function(calls.fn());
    os << "seen" << std::flush;
    sink.getUnicodeOutStreamBuffer()->sputn(kUtf16.data(), kUtf16.size());
    sink.getUnicodeOutStreamBuffer()->pubsync();
    EXPECT_EQ(calls.texts, (std::vector<std::string>{"seen", kUtf8}));
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
    bool note(char c) const { return asked.push_back(c), c == 'l' || c == 'g'; }
};

} // namespace

TEST(SinkTraitsTest, SnapshotAsksEachPropertyOnceInFieldOrder) {
    SinkTraits w(boost::make_shared<PutsFnSink>());
    EXPECT_TRUE(w.buzz && w.more && !w.links && w.displayformatting && w.diary && w.echo && w.logging);
    SinkTraits none{boost::shared_ptr<CXSink>()};
    EXPECT_FALSE(none.buzz || none.more || none.links || none.displayformatting || none.diary || none.echo ||
                 none.logging);
    auto sink = boost::make_shared<AskingSink>();
    SinkTraits t(sink);
    EXPECT_EQ(sink->asked, "bmlfdeg");
    EXPECT_TRUE(t.links && t.logging && !t.buzz);
}
