// The foundation layer: conversions, adaptors, the UTF-16 stream, scope guards, the logger.
#include "support/recording_buffers.hpp"

#include <boost/make_shared.hpp>
#include <fd/i18n/convert.hpp>
#include <fd/io/streambuf_adaptor.hpp>
#include <fd/io/uostream.hpp>
#include <fd/log/logger.hpp>
#include <fd/mem/manager.hpp>
#include <fd/util/scope_guard.hpp>
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

using qztest::RecordingBuffer;
using qztest::RecordingUBuffer;
using qztest::u16;

TEST(NativeEncoding, PlainCLocaleStandsAsUtf8) {
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ(fd::i18n::native_encoding(), "UTF-8");
    EXPECT_EQ(fd::i18n::resolve_encoding(""), "UTF-8");
    EXPECT_EQ(fd::i18n::resolve_encoding("ISO-8859-1"), "ISO-8859-1");
}

TEST(Conversions, RoundTripTextOutsideAscii) {
    std::string narrow = "caf\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80";  // café 日本 😀
    auto wide = fd::i18n::to_ustring(narrow);
    EXPECT_EQ(wide, u16(u"caf\u00e9 \u65e5\u672c \U0001F600"));
    EXPECT_EQ(fd::i18n::to_string(wide), narrow);
}

TEST(Conversions, MalformedUtf8BecomesReplacementCharacters) {
    auto wide = fd::i18n::to_ustring(std::string("a\xFF" "b\xC3", 4));
    EXPECT_EQ(wide, u16(u"a\uFFFDb\uFFFD"));
}

TEST(Conversions, ExplicitLatin1Encoding) {
    EXPECT_EQ(fd::i18n::to_string(u16(u"\u00e9"), "ISO-8859-1"), "\xE9");
    EXPECT_EQ(fd::i18n::to_ustring("\xE9", "ISO-8859-1"), u16(u"\u00e9"));
    EXPECT_THROW(fd::i18n::to_string(u16(u"x"), "no-such-encoding"), std::invalid_argument);
}

TEST(Adaptors, SurrogatePairSplitAcrossWritesConvertsWhole) {
    auto narrow = boost::make_shared<RecordingBuffer>();
    auto adaptor = fd::io::make_ustreambuf_adaptor(narrow, "");
    std::basic_string<unsigned short> smiley = u16(u"\U0001F600");
    ASSERT_EQ(smiley.size(), 2u);
    adaptor->sputc(smiley[0]);
    EXPECT_EQ(narrow->text, "");  // waits for the low surrogate
    adaptor->sputc(smiley[1]);
    EXPECT_EQ(narrow->text, "\xF0\x9F\x98\x80");
}

TEST(Adaptors, BrokenSequenceBeforeAsciiStillEmitsTheAscii) {
    auto wide = boost::make_shared<RecordingUBuffer>();
    auto adaptor = fd::io::make_streambuf_adaptor(wide, "");
    adaptor->sputc('\xC3');  // lead byte with no trail
    adaptor->sputn("ok", 2);
    EXPECT_EQ(wide->text, u16(u"\uFFFDok"));
}

TEST(Adaptors, SyncIsPassedOnInBothDirections) {
    auto wide = boost::make_shared<RecordingUBuffer>();
    auto narrow = boost::make_shared<RecordingBuffer>();
    fd::io::make_streambuf_adaptor(wide, "")->pubsync();
    fd::io::make_ustreambuf_adaptor(narrow, "")->pubsync();
    EXPECT_EQ(wide->syncs, 1);
    EXPECT_EQ(narrow->syncs, 1);
}

TEST(Adaptors, AsciiRunsOfEveryLengthAroundOtherCharactersConvertExactly) {
    // Runs of 0 to 40 ASCII bytes around a two-byte and a four-byte character,
    // so that the block copy stops at every position inside its blocks.
    for (int before = 0; before <= 40; ++before) {
        for (int after : {0, 1, 15, 16, 17, 33}) {
            std::string narrow(static_cast<size_t>(before), 'a');
            narrow += "\xC3\xA9";
            narrow += std::string(static_cast<size_t>(after), 'z');
            narrow += "\xF0\x9F\x98\x80!";
            auto wideSink = boost::make_shared<RecordingUBuffer>();
            fd::io::make_streambuf_adaptor(wideSink, "")->sputn(narrow.data(), static_cast<std::streamsize>(narrow.size()));
            ASSERT_EQ(wideSink->text, fd::i18n::to_ustring(narrow)) << before << " " << after;
            auto narrowSink = boost::make_shared<RecordingBuffer>();
            fd::io::make_ustreambuf_adaptor(narrowSink, "")
                ->sputn(wideSink->text.data(), static_cast<std::streamsize>(wideSink->text.size()));
            ASSERT_EQ(narrowSink->text, narrow) << before << " " << after;
        }
    }
}

TEST(Adaptors, Latin1AdaptorConvertsEachByte) {
    auto wide = boost::make_shared<RecordingUBuffer>();
    auto adaptor = fd::io::make_streambuf_adaptor(wide, "ISO-8859-1");
    adaptor->sputn("\xE9t\xE9", 3);
    EXPECT_EQ(wide->text, u16(u"\u00e9t\u00e9"));
}

TEST(UnicodeOstream, NarrowLiteralsAndLineEndsNeedNoLocale) {
    RecordingUBuffer buf;
    fd::io::uostream os(&buf);
    os << "x=" << u16(u"\u00e9") << fd::io::uendl;
    EXPECT_TRUE(os.good());
    EXPECT_EQ(buf.text, u16(u"x=\u00e9\n"));
    EXPECT_EQ(buf.syncs, 1);
}

TEST(ScopeGuard, RunsOnceUnlessDismissedAndSwallowsExceptions) {
    int runs = 0;
    {
        fd::util::scope_guard g([&] { ++runs; });
        g.run();
    }
    EXPECT_EQ(runs, 1);
    {
        fd::util::scope_guard g([&] { ++runs; });
        g.dismiss();
    }
    EXPECT_EQ(runs, 1);
    EXPECT_NO_THROW({ fd::util::scope_guard g([] { throw std::runtime_error("x"); }); });
}

TEST(DiagnosticLogger, OffUnlessTheEnvironmentTurnsItOn) {
    fd::log::basic_diagnostic_logger log("test");
    unsetenv("FD_LOG_LEVEL");
    fd::log::basic_diagnostic_logger::reload_environment();
    EXPECT_FALSE(log.enabled(1));
    setenv("FD_LOG_LEVEL", "32", 1);
    fd::log::basic_diagnostic_logger::reload_environment();
    EXPECT_TRUE(log.enabled(32));
    EXPECT_FALSE(log.enabled(64));
    {
        fd::log::basic_diagnostic_logger::named_scope outer(log, "void outer()", "f.cpp", 1);
        fd::log::basic_diagnostic_logger::named_scope inner(log, "void inner()", "f.cpp", 2);
        EXPECT_EQ(fd::log::basic_diagnostic_logger::current_scopes(),
                  "void outer() (f.cpp:1)/void inner() (f.cpp:2)");
    }
    EXPECT_EQ(fd::log::basic_diagnostic_logger::current_scopes(), "");
    unsetenv("FD_LOG_LEVEL");
    fd::log::basic_diagnostic_logger::reload_environment();
}

TEST(MemoryManagers, RegistryReportsTheHeapsAndTheAlignedHeapAligns) {
    fd::mem::manager& m = fd::mem::manager::instance();
    std::vector<std::int32_t> const ids = m.registered_ids();
    ASSERT_GE(ids.size(), 2u);
    EXPECT_EQ("system", m.get(ids[0])->name());
    EXPECT_EQ("aligned", m.get(ids[1])->name());
    EXPECT_TRUE(m.get(ids[0])->enabled());
    EXPECT_EQ(nullptr, m.get(-12345));
    std::size_t const alignment = fd::mem::aligned_heap::alignment();
    ASSERT_GT(alignment, 0u);
    EXPECT_EQ(0u, alignment & (alignment - 1));  // a power of two
    for (std::size_t size : {0, 1, 63, 64, 4097}) {
        void* p = m.get(ids[1])->allocate(size);
        ASSERT_NE(nullptr, p);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(p) % alignment) << size;
        m.get(ids[1])->deallocate(p);
    }
}

TEST(MemoryManagers, AddingAnExistingIdentifierIsRefused) {
    struct Plain : fd::mem::memory_manager {
        explicit Plain(std::int32_t id) : memory_manager(id, "plain", false) {}
        void* allocate(std::size_t) override { return nullptr; }
        void deallocate(void*) override {}
    };
    fd::mem::manager& m = fd::mem::manager::instance();
    std::size_t const before = m.registered_ids().size();
    EXPECT_FALSE(m.add(std::unique_ptr<fd::mem::memory_manager>(new Plain(0))));
    EXPECT_FALSE(m.add(nullptr));
    EXPECT_EQ(before, m.registered_ids().size());
    EXPECT_TRUE(m.add(std::unique_ptr<fd::mem::memory_manager>(new Plain(4242))));
    EXPECT_EQ(before + 1, m.registered_ids().size());
    EXPECT_FALSE(m.get(4242)->enabled());
}
