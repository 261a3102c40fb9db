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
    // The same for UTF-16 text, whose output is in the native encoding.
    static std::string wrap16(std::basic_string<unsigned short> const& text, size_t width) {
        ioSetNumWindowColumns(width);
        qztest::Capture capture;
        capture.out->setNeedsFormattingForDisplay(true);
        ioPrintWrapped(text.data(), text.size(), false);
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
    size_t savedColumns_ = ioGetRealNumWindowColumns();
    bool savedEighty_ = ioGetUseEightyColumns(), savedHot_ = uvGetHotLinks();
};

// A link whose markup is 40 units: 35 of opening tag, 5 of closing.
std::string link(std::string const& visible) { return "<a href=\"" + std::string(24, 'x') + "\" >" + visible + "</a>"; }

TEST_F(Wrapping, BreaksIndentsBlanksLineEndsTabsBackspacesAndLinks) {
    std::string const linked = "see " + link("hello") + " now";
    ASSERT_EQ(40u, linked.size() - std::strlen("see hello now"));
    struct Row {
        std::string text;
        size_t width;
        std::string shown;
        bool hotLinks = true;
    } const rows[] = {
        {"", 20, ""},
        // Exactly the limit fits; one more breaks at the last blank.
        {"abcd efgh", 10, "abcd efgh"},
        {"abcd efghi", 10, "abcd\nefghi"},
        // A long word stays whole on its own line.
        {"abcdefghijkl mn op", 10, "abcdefghijkl\nmn op"},
        {"ab cdefghijklmn op", 10, "ab\ncdefghijklmn\nop"},
        // An indent is kept; the run of blanks at a break goes, whether the
        // break comes inside the run or at the word after it.
        {"   one two three four five", 16, "   one two\n   three four\n   five"},
        {"abcd     efgh", 10, "abcd\nefgh"},
        {"abcdefgh   ij", 10, "abcdefgh\nij"},
        // Line ends; blanks before one are not part of the line; a line of
        // blanks too long for the window becomes an empty line.
        {"a\n\nb", 20, "a\n\nb"},
        {"ab\n", 20, "ab\n"},
        {"ab   \ncd", 20, "ab\ncd"},
        {"      \nx", 5, "\nx"},
        // A tab widens only the measure: "abc" ends at column 3, the tab takes it to 8.
        {"abc\tde", 12, "abc\tde"},
        {"abc\tdefg", 12, "abc\ndefg"},
        // A backspace deletes the unit before it; a leading one stays and takes no column.
        {"ab\bc", 20, "ac"},
        {"abc\b\b", 20, "a"},
        {"ab\b\b\b\bz", 20, "\b\bz"},
        {"xa\bb\bc\bz", 20, "xz"},
        {"\bab cd", 6, "\bab cd"},
        {"\bab cd", 5, "\bab\ncd"},
        // A hot link counts only its visible text: "see hello now" is 13 columns.
        {linked, 16, linked},
        {linked, 12, "see " + link("hello") + "\nnow"},
        // <strong> is markup too; "<a>" without an address is not a link. A
        // vertical tab is white space inside a tag; a tag never closed is text,
        // and a link after it still is one.
        {"x <strong>bold</strong> yz", 9, "x <strong>bold</strong>\nyz"},
        {"<a>no</a> b", 11, "<a>no</a>\nb"},
        {"see <a\vhref=\"x\">hi</a> now", 10, "see <a\vhref=\"x\">hi</a>\nnow"},
        {"<a href=\"x\">b <strong>c</strong>", 14, "<a href=\"x\">b\n<strong>c</strong>"},
        // Long words cross the blocks in which a word's units are counted at
        // once: they still fill the line exactly up to the limit, indent included.
        {"abcdefghijklmnopqrst uv", 24, "abcdefghijklmnopqrst uv"},
        {"abcdefghijklmnopqrst uv", 23, "abcdefghijklmnopqrst\nuv"},
        {"  abcdefghij klmnopqrst", 14, "  abcdefghij\n  klmnopqrst"},
        {"see " + link("abcdefghijkl") + " xyz", 21, "see " + link("abcdefghijkl") + " xyz"},
        {"see " + link("abcdefghijkl") + " xyz", 17, "see " + link("abcdefghijkl") + "\nxyz"},
        {"see " + link("abcdefghijkl") + " xyz", 16, "see\n" + link("abcdefghijkl") + "\nxyz"},
        // A control character and a figure space (U+2007) are no break points
        // and take a column; an en space (U+2002) breaks and takes none.
        {"ab\x01" "cd ef", 8, "ab\x01" "cd\nef"},
        {"ab\xE2\x80\x87" "cd ef", 8, "ab\xE2\x80\x87" "cd\nef"},
        {"ab\xE2\x80\x82" "cd", 4, "ab\ncd"},
        // With hot links off the markup counts in full, its blank a break point.
        {linked, 16, "see <a\nhref=\"" + std::string(24, 'x') + "\"\n>hello</a> now", false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.text);
        uvSetHotLinks(row.hotLinks);
        EXPECT_EQ(row.shown, body(row.text, row.width));
    }
    EXPECT_EQ("{\b}\b \n", wrap("", 20, true));
    EXPECT_EQ("{\bab cd\nefghi}\b \n", wrap("ab cd efghi", 10, true));
}

TEST(WrappingTabWidth, PreferenceValueIsTheTypeLetterThenTheNumber) {
    for (auto [value, width] : {std::pair<char const*, int>{"I4", 4}, {"I12", 12}, {"I0", 8}, {"I-3", 8}, {"I", 8},
                                {"S4", 8}, {"", 8}, {nullptr, 8}})
        EXPECT_EQ(width, services::io::detail::tabWidthFromPreference(value)) << (value ? value : "null");
}

// The tab width comes from the preferences file of a directory of its own.
TEST_F(Wrapping, TabWidthComesFromThePreference) {
    char folder[] = "/tmp/qz_wrap_prefs_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder));
    char const* old = std::getenv("CALYX_PREFDIR");
    std::string const saved = old ? old : "";
    setenv("CALYX_PREFDIR", folder, 1);
    svSetPreferencesDirectory("");
    std::string const prefs = std::string(folder) + "/calyx.prf";
    for (auto [value, text, width, shown] :
         {std::tuple<char const*, char const*, size_t, char const*>{"I4", "abc\tdefgh", 10, "abc\tdefgh"},
          {"I2", "abc\tde", 8, "abc\tde"},  // "abc" to column 4, where 8 would pass the limit of 7
          {nullptr, "abc\tdefgh", 10, "abc\ndefgh"}}) {
        std::remove(prefs.c_str());
        if (FILE* f = value ? std::fopen(prefs.c_str(), "w") : nullptr) {
            std::fprintf(f, "CommandWindowSpacesPerTab=%s\n", value);
            std::fclose(f);
        }
        EXPECT_EQ(shown, body(text, width)) << (value ? value : "no file");
    }
    if (old) setenv("CALYX_PREFDIR", saved.c_str(), 1);
    else unsetenv("CALYX_PREFDIR");
    svSetPreferencesDirectory("");
    rmdir(folder);
}

TEST_F(Wrapping, EightyColumnModeCapsTheLimitAtEighty) {
    std::string const words = std::string(78, 'a') + " bb";  // 81 columns
    std::string const shorter = std::string(78, 'a') + " b";  // 80 columns
    ioUseEightyColumns(1);
    EXPECT_EQ(std::string(78, 'a') + "\nbb", body(words, 200));
    EXPECT_EQ(shorter, body(shorter, 200));
    // A real width of 80 or less still gives that width less one.
    EXPECT_EQ(std::string(78, 'a') + "\nb", body(shorter, 80));
}

TEST_F(Wrapping, DisablorAndFeatureLeaveTextUnchangedBetweenMarkers) {
    std::string const text = "one two three four";
    {
        ioWarningWrappingDisablor off;
        EXPECT_EQ("[\b" + text + "]\b \n", wrap(text, 8));
        { ioWarningWrappingDisablor nested; }
        EXPECT_FALSE(WrappingFeatureRegistration::enabled);
    }
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
    EXPECT_FALSE(needsFormattingForDisplay() || uvWarningUtilities::needsFormattingForDisplay());
    ioPrintWrapped("one two three four", false);
    ioPrintWrapped(static_cast<char const*>(nullptr), false);
    EXPECT_EQ("one two three four\n", capture.outText());
    capture.out->setNeedsFormattingForDisplay(true);
    EXPECT_TRUE(uvWarningUtilities::needsFormattingForDisplay());
}

TEST_F(Wrapping, Utf16TextSurrogatePairsAndLengthLimits) {
    using U16 = std::basic_string<unsigned short>;
    // U+00E9 is one unit and one column.
    EXPECT_EQ("[\b\xC3\xA9t\xC3\xA9\nabcd]\b \n", wrap16(U16{0xE9, 't', 0xE9, ' ', 'a', 'b', 'c', 'd'}, 6));
    // A backspace takes a whole surrogate pair.
    EXPECT_EQ("[\bab\xF0\x9F\x98\x80]\b \n", wrap16(U16{'a', 0xD83D, 0xDE00, '\b', 'b', 0xD83D, 0xDE00}, 20));
    {
        qztest::Capture capture;
        capture.out->setNeedsFormattingForDisplay(true);
        unsigned short const one[] = {'a'};
        EXPECT_THROW(ioPrintWrapped(one, size_t(0x80000000u), false), boost::numeric::positive_overflow);
    }
    // A long text converts as one whole, even where a pair crosses a chunk.
    U16 text;
    std::string narrow;
    while (text.size() < 20000) {
        bool blank = (text.size() + 3) % 7 == 0;
        text += U16{'w', 0xD83D, 0xDE00, static_cast<unsigned short>(blank ? ' ' : 0xE9)};
        narrow += blank ? "w\xF0\x9F\x98\x80 " : "w\xF0\x9F\x98\x80\xC3\xA9";
    }
    EXPECT_EQ("[\b" + narrow + "]\b \n", wrap16(text, 100000));
}

TEST(HotLinks, StripLeavesTheVisibleText) {
    char text[] = "a <a href=\"doc x\" class=\"k\">link</a>, <strong>bold</strong> and <a>not</a> <strong>open";
    ioStripHotLinks(text);
    EXPECT_STREQ("a link, bold and <a>not</a> <strong>open", text);
    ioStripHotLinks(nullptr);
    EXPECT_FALSE(hyperlinkPattern().empty());
}

TEST(ColumnPrint, FillsDownFirstAndRefusesBadArguments) {
    qztest::Capture capture;
    char a[] = "a", b[] = "b", c[] = "c", d[] = "d", e[] = "e";
    char* items[] = {a, b, c, d, e};
    EXPECT_EQ(3u, ioColumnPrint("%s(%d) ", 5, items, 2));
    EXPECT_EQ(1u, ioColumnPrint("%s%d", 0, nullptr, 3));
    EXPECT_EQ("\na(0) d(1) \nb(0) e(1) \nc(0) \n", capture.outText());
    EXPECT_THROW(ioColumnPrint("%s%d", 1, items, 0), vx::Error);
    EXPECT_THROW(ioColumnPrint("%s%d", 1, nullptr, 1), vx::Error);
}

} // namespace
