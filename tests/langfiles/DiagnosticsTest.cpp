// Error and warning texts, written out by hand from the rules.
#include <qzlang/files/Diagnostics.hpp>

#include "qzservices/io/window.hpp"
#include "support/capture.hpp"

#include <uv/uv.hpp>

#include <gtest/gtest.h>

using qzlang::files::Diagnostics;
using qzlang::files::Frame;

namespace {

class HotLinkSwitch {
public:
    explicit HotLinkSwitch(bool on) : saved_(uvGetHotLinks()) { uvSetHotLinks(on); }
    ~HotLinkSwitch() { uvSetHotLinks(saved_); }

private:
    bool saved_;
};

std::vector<Frame> const kNested = {{"inner", "/t/inner.cx", 4}, {"outer", "/t/outer.cx", 12}};

} // namespace

TEST(MessageArguments, IdentifierIsWordsJoinedByColons) {
    struct Row {
        char const* text;
        bool identifier;
    } const rows[] = {
        {"pkg:id", true},  {"a:b:c", true},  {"a_1:B2", true}, {"9:x", true},   {"abc", false},
        {"a:", false},     {":a", false},    {"a::b", false},  {"a b:c", false}, {"a-b:c", false},
        {"", false},       {"caf\xc3\xa9:x", false}, {"bad value %d", false},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(row.identifier, qzlang::files::isMessageIdentifier(row.text));
    }
}

TEST(MessageArguments, FirstArgumentIsAnIdentifierOnlyWhenMoreFollow) {
    auto format = [](size_t i) { return "formatted from " + std::to_string(i); };
    struct Row {
        size_t count;
        char const* first;
        char const* identifier;
        char const* message;
    } const rows[] = {
        {1, "my:id", "", "my:id"},             // alone: the message, literally
        {1, "100%% sure\\n", "", "100%% sure\\n"},
        {2, "my:id", "my:id", "formatted from 1"},
        {3, "my:id", "my:id", "formatted from 1"},
        {2, "value %d", "", "formatted from 0"},
        {2, "not an:id", "", "formatted from 0"},
        {0, "", "", ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.first);
        auto const parts = qzlang::files::splitMessageArguments(row.count, row.first, format);
        EXPECT_EQ(row.identifier, parts.identifier);
        EXPECT_EQ(row.message, parts.message);
    }
}

TEST(ErrorReport, NamesTheFunctionAndEveryFrameInAFile) {
    struct Row {
        char const* what;
        std::vector<Frame> frames;
        bool hot;
        std::string text;
    } const rows[] = {
        {"at the prompt", {}, false, "Error: bad value 7"},
        {"a built-in called at the prompt", {{"zeros", "", 0}}, false, "Error using zeros\nbad value 7"},
        {"nested functions", kNested, false,
         "Error using inner\nbad value 7\nError in inner (line 4)\nError in outer (line 12)"},
        {"a script run from a function", {{"setup", "/t/setup.cx", 5, true}, {"outer", "/t/outer.cx", 3}}, false,
         "Error: bad value 7\nError in setup (line 5)\nError in outer (line 3)"},
        {"a built-in inside a function", {{"zeros", "", 0}, {"outer", "/t/outer.cx", 3}}, false,
         "Error using zeros\nbad value 7\nError in outer (line 3)"},
        {"hot links", {{"f", "/t/my dir/f.cx", 2}}, true,
         "Error using <a href=\"calyx:openAtLine /t/my%20dir/f.cx 2\">f</a>\nbad value 7\n"
         "Error in <a href=\"calyx:openAtLine /t/my%20dir/f.cx 2\">f</a> (line 2)"},
        {"hot links, built-in innermost", {{"zeros", "", 0}, {"g", "/t/g.cx", 9}}, true,
         "Error using zeros\nbad value 7\nError in <a href=\"calyx:openAtLine /t/g.cx 9\">g</a> (line 9)"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.text, qzlang::files::errorReport("bad value 7", row.frames, row.hot));
    }
    EXPECT_EQ("Error: File: /t/f.cx Line: 3 Column: 14\nUnbalanced parentheses.",
              qzlang::files::syntaxErrorReport("Unbalanced parentheses.", "/t/f.cx", 3, 14, false));
}

TEST(WarningReport, NamesTheInnermostPlaceInAFile) {
    EXPECT_EQ("Warning: careful", qzlang::files::warningReport("careful", {}, false));
    EXPECT_EQ("Warning: careful\n> In inner (line 4)", qzlang::files::warningReport("careful", kNested, false));
    EXPECT_EQ("Warning: careful\n> In outer (line 3)",
              qzlang::files::warningReport("careful", {{"zeros", "", 0}, {"outer", "/t/outer.cx", 3}}, false));
    EXPECT_EQ("Warning: careful\n> In <a href=\"calyx:openAtLine /t/inner.cx 4\">inner</a> (line 4)",
              qzlang::files::warningReport("careful", kNested, true));
}

TEST(FileLink, EncodesThePathAndReadsBack) {
    std::string const path = "/t/a \"b\"<c>%d\xc3\xa9.cx";
    std::string const target = qzlang::files::fileLinkTarget(path, 17);
    EXPECT_EQ("calyx:openAtLine /t/a%20%22b%22%3Cc%3E%25d%C3%A9.cx 17", target);
    std::string file;
    int line = 0;
    ASSERT_TRUE(qzlang::files::parseFileLinkTarget(target, file, line));
    EXPECT_EQ(path, file);
    EXPECT_EQ(17, line);
    for (char const* bad : {"calyx:helpPopup sum", "calyx:openAtLine /a", "calyx:openAtLine /a x",
                            "calyx:openAtLine /a%2 3", "calyx:openAtLine /a%zz 3"}) {
        SCOPED_TRACE(bad);
        EXPECT_FALSE(qzlang::files::parseFileLinkTarget(bad, file, line));
    }
}

TEST(WarningSwitches, OffByIdentifierAllAndBackOn) {
    Diagnostics d;
    std::vector<std::string> shown;
    d.setPrinter([&](std::string const& report, bool braces) {
        EXPECT_FALSE(braces);
        shown.push_back(report);
    });
    EXPECT_TRUE(d.warn("a:one", "first", {}));
    EXPECT_TRUE(d.applyWarningCommand({"off", "a:one"}));
    EXPECT_FALSE(d.warn("a:one", "hidden", {}));
    EXPECT_EQ("first", d.lastWarning());  // a warning that is off leaves lastwarn alone
    EXPECT_TRUE(d.warn("a:two", "second", {}));
    EXPECT_TRUE(d.warn("", "no identifier", {}));
    EXPECT_EQ("", d.lastWarningIdentifier());

    EXPECT_TRUE(d.applyWarningCommand({"off", "all"}));
    EXPECT_FALSE(d.warn("a:two", "hidden", {}));
    EXPECT_FALSE(d.warn("", "hidden", {}));
    d.setWarningState("a:two", true);  // one back on while all are off
    EXPECT_TRUE(d.warn("a:two", "third", {}));
    EXPECT_FALSE(d.warn("a:three", "hidden", {}));
    EXPECT_TRUE(d.applyWarningCommand({"on"}));  // on all forgets every single switch
    EXPECT_TRUE(d.warn("a:one", "fourth", {}));
    EXPECT_EQ("fourth", d.lastWarning());
    EXPECT_EQ("a:one", d.lastWarningIdentifier());

    // Not a switch: a warning whose message happens to be a word.
    EXPECT_FALSE(d.applyWarningCommand({"careful"}));
    EXPECT_FALSE(d.applyWarningCommand({"off", "a:b", "c"}));
    EXPECT_EQ((std::vector<std::string>{"Warning: first", "Warning: second", "Warning: no identifier",
                                        "Warning: third", "Warning: fourth"}),
              shown);
}

// Through the library's wrapper: between the error markers, broken at the
// window's width (limit 29 for 30 columns), links measured by what shows.
TEST(ErrorPrinting, WrapsToTheWindowBetweenTheMarkers) {
    size_t const savedColumns = ioGetRealNumWindowColumns();
    ioSetNumWindowColumns(30);
    {
        HotLinkSwitch off(false);
        qztest::Capture capture;
        capture.out->setNeedsFormattingForDisplay(true);
        Diagnostics d;
        d.reportUncaught("my:id", "The value 7 is out of range for this argument.", {{"f", "/t/f.cx", 2}});
        EXPECT_EQ("{\bError using f\nThe value 7 is out of range\nfor this argument.\nError in f (line 2)}\b \n",
                  capture.outText());
        EXPECT_EQ("The value 7 is out of range for this argument.", d.lastError());
        EXPECT_EQ("my:id", d.lastErrorIdentifier());
    }
    {
        HotLinkSwitch on(true);
        qztest::Capture capture;
        capture.out->setNeedsFormattingForDisplay(true);
        Diagnostics d;
        d.warn("", "Reading 12 values from the file now.", {{"g", "/t/g.cx", 5}});
        EXPECT_EQ("[\bWarning: Reading 12 values\nfrom the file now.\n"
                  "> In <a href=\"calyx:openAtLine /t/g.cx 5\">g</a> (line 5)]\b \n",
                  capture.outText());
    }
    ioSetNumWindowColumns(savedColumns);
}

TEST(ErrorPrinting, NamesAreLinksWhereTheWindowShowsThemOrTheSwitchIsOn) {
    class LinkSink : public services::io::CXStringSink {
    public:
        bool supportsHotlinks() const override { return true; }
    };
    HotLinkSwitch off(false);
    std::string const linked = "Error using <a href=\"calyx:openAtLine /t/f.cx 2\">f</a>\nbad\n"
                               "Error in <a href=\"calyx:openAtLine /t/f.cx 2\">f</a> (line 2)\n";
    std::string const plain = "Error using f\nbad\nError in f (line 2)\n";
    {
        qztest::Capture terminal;  // no links, switch off: plain
        Diagnostics().reportUncaught("", "bad", {{"f", "/t/f.cx", 2}});
        EXPECT_EQ(plain, terminal.outText());
    }
    {
        auto desktop = boost::make_shared<LinkSink>();
        services::io::CXStream::CXOut.push(desktop);
        Diagnostics().reportUncaught("", "bad", {{"f", "/t/f.cx", 2}});
        services::io::CXStream::CXOut.flush();
        services::io::CXStream::CXOut.pop();
        EXPECT_EQ(linked, desktop->getString());
    }
    {
        HotLinkSwitch emacs(true);  // EMACS=t in a terminal
        qztest::Capture terminal;
        Diagnostics().reportUncaught("", "bad", {{"f", "/t/f.cx", 2}});
        EXPECT_EQ(linked, terminal.outText());
    }
}
