// Word wrapping of warnings and errors, by exact text: each expected output is
// worked out by hand from the breaking rules (limit = window width - 1).
#include "qzservices/io/wrapping.hpp"
#include "qzservices/io/window.hpp"
#include "qzservices/state/features.hpp"
#include "io/tab_width.hpp"
#include "qzservices/state/preferences.hpp"
#include "support/capture.hpp"

#include <gtest/gtest.h>
#include <uv/uv.hpp>
#include <uv/warning_utilities.hpp>
#include <vx/errors.hpp>

#include <boost/numeric/conversion/converter_policies.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <string>

namespace {

class Wrapping : public ::testing::Test {
protected:
    void SetUp() override {
        savedColumns_ = ioGetRealNumWindowColumns();
        savedEighty_ = ioGetUseEightyColumns();
        savedHot_ = uvGetHotLinks();
        ioUseEightyColumns(0);
        uvSetHotLinks(true);
    }
    void TearDown() override {
        ioSetNumWindowColumns(savedColumns_);
        ioUseEightyColumns(savedEighty_);
        uvSetHotLinks(savedHot_);
        WrappingFeatureRegistration::setFeatured(1);
    }

    // What a warning (or, with braces, an error) prints at the given width.
    static std::string wrap(std::string const& text, size_t width, bool braces = false) {
        ioSetNumWindowColumns(width);
        qztest::Capture capture;
        capture.out->setNeedsFormattingForDisplay(true);
        ioPrintWrapped(text.c_str(), braces);
        return capture.outText();
    }
    // The body between the warning markers.
    static std::string body(std::string const& text, size_t width) {
        std::string const all = wrap(text, width);
        EXPECT_EQ(0u, all.rfind("[\b", 0)) << all;
        EXPECT_GE(all.size(), 6u);
        EXPECT_EQ("]\b \n", all.substr(all.size() - 4)) << all;
        return all.substr(2, all.size() - 6);
    }

    // A link whose markup is 40 units: 35 of opening tag, 5 of closing.
    static std::string link(std::string const& visible) {
        return "<a href=\"" + std::string(24, 'x') + "\" >" + visible + "</a>";
    }

private:
    size_t savedColumns_ = 80;
    bool savedEighty_ = false;
    bool savedHot_ = false;
};

TEST_F(Wrapping, EmptyTextGivesTheMarkersAlone) {
    EXPECT_EQ("[\b]\b \n", wrap("", 20));
    EXPECT_EQ("{\b}\b \n", wrap("", 20, true));
}

TEST_F(Wrapping, ExactlyTheLimitFitsAndOneMoreBreaksAtTheLastBlank) {
    EXPECT_EQ("[\babcd efgh]\b \n", wrap("abcd efgh", 10));
    EXPECT_EQ("abcd\nefghi", body("abcd efghi", 10));
    EXPECT_EQ("ab cd\nefghi", body("ab cd efghi", 10));
    EXPECT_EQ("{\bab cd\nefghi}\b \n", wrap("ab cd efghi", 10, true));
}

TEST_F(Wrapping, LongWordStaysWholeOnItsOwnLine) {
    EXPECT_EQ("abcdefghijkl\nmn op", body("abcdefghijkl mn op", 10));
    EXPECT_EQ("ab\ncdefghijklmn\nop", body("ab cdefghijklmn op", 10));
    EXPECT_EQ("abcdefghijkl", body("abcdefghijkl", 10));
}

TEST_F(Wrapping, IndentedParagraphKeepsItsIndentAndLosesBlanksAtBreaks) {
    EXPECT_EQ("   one two\n   three four\n   five", body("   one two three four five", 16));
    // The run of blanks at a break goes, whether the break comes inside the
    // run or at the word after it.
    EXPECT_EQ("abcd\nefgh", body("abcd     efgh", 10));
    EXPECT_EQ("abcdefgh\nij", body("abcdefgh   ij", 10));
}

TEST_F(Wrapping, LineEndsAndBlankRuns) {
    EXPECT_EQ("a\n\nb", body("a\n\nb", 20));
    EXPECT_EQ("[\bab\n]\b \n", wrap("ab\n", 20));
    // Blanks before a line end are not part of the line.
    EXPECT_EQ("ab\ncd", body("ab   \ncd", 20));
    // A line of blanks too long for the window becomes an empty line, and the
    // line end after it gives no further one.
    EXPECT_EQ("\nx", body("      \nx", 5));
}

TEST_F(Wrapping, HotLinksCountOnlyTheirVisibleText) {
    std::string const text = "see " + link("hello") + " now";
    ASSERT_EQ(40u, text.size() - std::strlen("see hello now"));
    // Visible: "see hello now", 13 columns; it breaks only after "hello".
    EXPECT_EQ(text, body(text, 16));
    EXPECT_EQ("see " + link("hello") + "\nnow", body(text, 12));
}

TEST_F(Wrapping, WithHotLinksOffTheMarkupCountsInFull) {
    uvSetHotLinks(false);
    std::string const text = "see " + link("hello") + " now";
    // The blank inside the opening tag is a break point like any other.
    std::string const rest = "href=\"" + std::string(24, 'x') + "\"";
    EXPECT_EQ("see <a\n" + rest + "\n>hello</a> now", body(text, 16));
}

TEST_F(Wrapping, TabsWidenOnlyTheMeasure) {
    // "abc" ends at column 3; the tab takes it to 8.
    EXPECT_EQ("abc\tde", body("abc\tde", 12));
    EXPECT_EQ("abc\ndefg", body("abc\tdefg", 12));
}

TEST(WrappingTabWidth, PreferenceValueIsTheTypeLetterThenTheNumber) {
    using services::io::detail::tabWidthFromPreference;
    EXPECT_EQ(4, tabWidthFromPreference("I4"));
    EXPECT_EQ(12, tabWidthFromPreference("I12"));
    EXPECT_EQ(8, tabWidthFromPreference("I0"));
    EXPECT_EQ(8, tabWidthFromPreference("I-3"));
    EXPECT_EQ(8, tabWidthFromPreference("I"));
    EXPECT_EQ(8, tabWidthFromPreference("S4"));
    EXPECT_EQ(8, tabWidthFromPreference(""));
    EXPECT_EQ(8, tabWidthFromPreference(nullptr));
}

// The tab width comes from the preferences file of a directory of its own.
TEST_F(Wrapping, TabWidthComesFromThePreference) {
    char folder[] = "/tmp/qz_wrap_prefs_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder));
    char const* old = std::getenv("CALYX_PREFDIR");
    std::string const saved = old ? old : "";
    setenv("CALYX_PREFDIR", folder, 1);
    svSetPreferencesDirectory("");
    auto writePrefs = [&folder](char const* text) {
        FILE* f = std::fopen((std::string(folder) + "/calyx.prf").c_str(), "w");
        ASSERT_NE(nullptr, f);
        std::fputs(text, f);
        std::fclose(f);
    };
    writePrefs("CommandWindowSpacesPerTab=I4\n");
    // "abc" ends at column 3; a tab of 4 takes it to 4, so "defgh" fits at 12.
    EXPECT_EQ("abc\tdefgh", body("abc\tdefgh", 10));
    writePrefs("CommandWindowSpacesPerTab=I0\n");
    EXPECT_EQ("abc\ndefgh", body("abc\tdefgh", 10));
    // A width of 2 takes "abc" to column 4, where 8 would pass the limit of 7.
    writePrefs("CommandWindowSpacesPerTab=I2\n");
    EXPECT_EQ("abc\tde", body("abc\tde", 8));
    std::remove((std::string(folder) + "/calyx.prf").c_str());
    EXPECT_EQ("abc\ndefgh", body("abc\tdefgh", 10));
    if (old) setenv("CALYX_PREFDIR", saved.c_str(), 1);
    else unsetenv("CALYX_PREFDIR");
    svSetPreferencesDirectory("");
    rmdir(folder);
}

TEST_F(Wrapping, BackspacesDeleteTheUnitBeforeThem) {
    EXPECT_EQ("[\bac]\b \n", wrap("ab\bc", 20));
    EXPECT_EQ("a", body("abc\b\b", 20));
    EXPECT_EQ("\b\bz", body("ab\b\b\b\bz", 20));
    EXPECT_EQ("xz", body("xa\bb\bc\bz", 20));
    // A leading backspace stays and takes no column: "\bab cd" is 5 wide.
    EXPECT_EQ("\bab cd", body("\bab cd", 6));
    EXPECT_EQ("\bab\ncd", body("\bab cd", 5));
}

TEST_F(Wrapping, EightyColumnModeCapsTheLimitAtEighty) {
    std::string const words = std::string(78, 'a') + " bb";  // 81 columns
    ioUseEightyColumns(1);
    EXPECT_EQ(std::string(78, 'a') + "\nbb", body(words, 200));
    std::string const shorter = std::string(78, 'a') + " b";  // 80 columns
    EXPECT_EQ(shorter, body(shorter, 200));
    // A real width of 80 or less still gives that width less one.
    EXPECT_EQ(std::string(78, 'a') + "\nb", body(shorter, 80));
}

TEST_F(Wrapping, DisablorAndFeatureLeaveTextUnchangedBetweenMarkers) {
    std::string const text = "one two three four";
    {
        ioWarningWrappingDisablor off;
        EXPECT_FALSE(WrappingFeatureRegistration::enabled);
        EXPECT_EQ("[\b" + text + "]\b \n", wrap(text, 8));
        {
            ioWarningWrappingDisablor nested;
        }
        EXPECT_FALSE(WrappingFeatureRegistration::enabled);
    }
    EXPECT_TRUE(WrappingFeatureRegistration::enabled);
    EXPECT_EQ("one two\nthree\nfour", body(text, 8));

    svFeature* feature = svFindFeatureEntry("WrapWarningsAndErrors");
    ASSERT_NE(nullptr, feature);
    ASSERT_NE(nullptr, feature->oneArgCallback);
    feature->oneArgCallback(0);
    EXPECT_EQ("{\b" + text + "}\b \n", wrap(text, 8, true));
    feature->oneArgCallback(5);
    EXPECT_TRUE(WrappingFeatureRegistration::featured);
}

TEST_F(Wrapping, PlainSinkGetsTheTextAndALineFeedOnly) {
    qztest::Capture capture;  // no formatting for display
    ioSetNumWindowColumns(8);
    EXPECT_FALSE(needsFormattingForDisplay());
    EXPECT_FALSE(uvWarningUtilities::needsFormattingForDisplay());
    ioPrintWrapped("one two three four", false);
    ioPrintWrapped(static_cast<char const*>(nullptr), false);
    EXPECT_EQ("one two three four\n", capture.outText());
    capture.out->setNeedsFormattingForDisplay(true);
    EXPECT_TRUE(uvWarningUtilities::needsFormattingForDisplay());
}

TEST_F(Wrapping, Utf16EntryAndLengthLimits) {
    ioSetNumWindowColumns(6);
    qztest::Capture capture;
    capture.out->setNeedsFormattingForDisplay(true);
    // U+00E9 is one unit and one column; the output is in the native encoding.
    unsigned short const text[] = {0xE9, 't', 0xE9, ' ', 'a', 'b', 'c', 'd'};
    ioPrintWrapped(text, 8, false);
    EXPECT_EQ("[\b\xC3\xA9t\xC3\xA9\nabcd]\b \n", capture.outText());
    EXPECT_THROW(ioPrintWrapped(text, size_t(0x80000000u), false), boost::numeric::positive_overflow);
}

TEST_F(Wrapping, LongTextConvertsAsOneWholeEvenWhereAPairCrossesAChunk) {
    // No break is needed at this width, so the output is the text itself in
    // the native encoding, however it was cut into chunks on the way.
    std::basic_string<unsigned short> text;
    while (text.size() < 20000) {
        text.push_back('w');
        text.push_back(0xD83D);
        text.push_back(0xDE00);
        text.push_back(text.size() % 7 == 0 ? ' ' : 0xE9);
    }
    ioSetNumWindowColumns(100000);
    qztest::Capture capture;
    capture.out->setNeedsFormattingForDisplay(true);
    ioPrintWrapped(text.data(), text.size(), false);
    std::string narrow;
    for (unsigned short u : text) {
        if (u == 'w') narrow += "w";
        else if (u == 0xD83D) narrow += "\xF0\x9F\x98\x80";
        else if (u == ' ') narrow += " ";
        else if (u == 0xE9) narrow += "\xC3\xA9";
    }
    EXPECT_EQ("[\b" + narrow + "]\b \n", capture.outText());
}

TEST_F(Wrapping, BackspaceTakesAWholeSurrogatePair) {
    ioSetNumWindowColumns(20);
    qztest::Capture capture;
    capture.out->setNeedsFormattingForDisplay(true);
    unsigned short const text[] = {'a', 0xD83D, 0xDE00, '\b', 'b', 0xD83D, 0xDE00};
    ioPrintWrapped(text, 7, false);
    EXPECT_EQ("[\bab\xF0\x9F\x98\x80]\b \n", capture.outText());
}

TEST(HotLinks, StripLeavesTheVisibleText) {
    char text[] = "a <a href=\"doc x\" class=\"k\">link</a>, <strong>bold</strong> and <a>not</a> <strong>open";
    ioStripHotLinks(text);
    EXPECT_STREQ("a link, bold and <a>not</a> <strong>open", text);
    ioStripHotLinks(nullptr);
    std::basic_string<unsigned short> const pattern = hyperlinkPattern();
    EXPECT_FALSE(pattern.empty());
    EXPECT_EQ(pattern, hyperlinkPattern());
}

TEST(ColumnPrint, FillsDownFirst) {
    qztest::Capture capture;
    char a[] = "a", b[] = "b", c[] = "c", d[] = "d", e[] = "e";
    char* items[] = {a, b, c, d, e};
    EXPECT_EQ(3u, ioColumnPrint("%s(%d) ", 5, items, 2));
    EXPECT_EQ("\na(0) d(1) \nb(0) e(1) \nc(0) ", capture.outText());
}

TEST(ColumnPrint, EmptyListAndBadArguments) {
    qztest::Capture capture;
    EXPECT_EQ(1u, ioColumnPrint("%s%d", 0, nullptr, 3));
    EXPECT_EQ("\n", capture.outText());
    char a[] = "a";
    char* items[] = {a};
    EXPECT_THROW(ioColumnPrint("%s%d", 1, items, 0), vx::Error);
    EXPECT_THROW(ioColumnPrint("%s%d", 1, nullptr, 1), vx::Error);
}

} // namespace
