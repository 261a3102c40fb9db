// The foundation's stream adaptors: the block copy of ASCII runs gives the
// same text as the general conversion at every position, and a surrogate
// pair split across writes converts whole.
#include "support/recording_buffers.hpp"

#include <boost/make_shared.hpp>
#include <fd/i18n/codecvt.hpp>
#include <fd/i18n/convert.hpp>
#include <fd/io/streambuf_adaptor.hpp>
#include <gtest/gtest.h>

using qztest::RecordingBuffer;
using qztest::RecordingUBuffer;

TEST(Adaptors, AsciiRunsOfEveryLengthAroundOtherCharactersConvertExactlyBothWays) {
    // Runs of 0 to 40 ASCII bytes around a two-byte and a four-byte character,
    // so that the block copy stops at every position inside its blocks.
    for (int before = 0; before <= 40; ++before) {
        for (int after : {0, 1, 15, 16, 17, 33}) {
            std::string const narrow = std::string(static_cast<size_t>(before), 'a') + "\xC3\xA9" +
                                       std::string(static_cast<size_t>(after), 'z') + "\xF0\x9F\x98\x80!";
            auto wideSink = boost::make_shared<RecordingUBuffer>();
            fd::io::make_streambuf_adaptor(wideSink, "")->sputn(narrow.data(), static_cast<std::streamsize>(narrow.size()));
            ASSERT_EQ(wideSink->text, fd::i18n::to_ustring(narrow)) << before << " " << after;
            auto narrowSink = boost::make_shared<RecordingBuffer>();
            fd::io::make_ustreambuf_adaptor(narrowSink, "")
                ->sputn(wideSink->text.data(), static_cast<std::streamsize>(wideSink->text.size()));
            ASSERT_EQ(narrowSink->text, narrow) << before << " " << after;
        }
    }
    auto narrow = boost::make_shared<RecordingBuffer>();
    auto adaptor = fd::io::make_ustreambuf_adaptor(narrow, "");
    std::basic_string<unsigned short> const smiley = qztest::u16(u"\U0001F600");
    adaptor->sputc(smiley[0]);
    EXPECT_EQ(narrow->text, "");  // waits for the low surrogate
    adaptor->sputc(smiley[1]);
    EXPECT_EQ(narrow->text, "\xF0\x9F\x98\x80");
}

TEST(StreamCodecvt, AsciiAfterAWaitingLeadSurrogateGoesThroughTheConverter) {
    // Converts each piece in turn, as the log and the diary do.
    auto convert = [](std::vector<std::basic_string<unsigned short>> const& pieces) {
        fd::i18n::stream_codecvt_ustring_to_string cvt(std::string(), false);
        std::string out;
        for (auto const& piece : pieces) {
            unsigned short const* from = piece.data();
            int more = 1;
            while (more != 0) {
                char buffer[64];
                char* to = buffer;
                more = cvt(from, piece.data() + piece.size(), to, buffer + sizeof buffer);
                out.append(buffer, to);
            }
        }
        return out;
    };
    std::basic_string<unsigned short> const smiley = qztest::u16(u"\U0001F600");
    std::basic_string<unsigned short> const ab = qztest::u16(u"ab");
    // A pair split between pieces converts whole.
    EXPECT_EQ("x\xF0\x9F\x98\x80" "ab", convert({qztest::u16(u"x") + smiley.substr(0, 1), smiley.substr(1) + ab}));
    // A lead that ASCII follows is replaced, and stays in front of the ASCII.
    std::string const lone = convert({smiley.substr(0, 1), ab});
    ASSERT_GT(lone.size(), 2u);
    EXPECT_EQ("ab", lone.substr(lone.size() - 2));
    // A long ASCII run fills the target exactly and goes on in the next call.
    std::basic_string<unsigned short> const long_(100, 'q');
    EXPECT_EQ(std::string(100, 'q'), convert({long_}));
}
