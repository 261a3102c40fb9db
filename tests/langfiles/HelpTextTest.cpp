// Help text out of source files, and its See-also links, by exact text.
#include <qzlang/files/HelpText.hpp>

#include "support/capture.hpp"

#include <uv/uv.hpp>

#include <gtest/gtest.h>

namespace {

char const kSq[] =
    "function y = sq(x)\n"
    "% SQ  Square of each element.\n"
    "%   y = sq(x) squares x.\n"
    "%\n"
    "%   See also POWER, times.\n"
    "y = x.^2;\n"
    "% not help\n";

// A command window that shows hot links, as the desktop's does.
class HotSink : public services::io::CXStringSink {
public:
    bool supportsHotlinks() const override { return true; }
};

} // namespace

TEST(HelpText, FirstBlockOfCommentLines) {
    struct Row {
        char const* what;
        char const* source;
        char const* help;
    } const rows[] = {
        {"function file", kSq, " SQ  Square of each element.\n   y = sq(x) squares x.\n\n   See also POWER, times.\n"},
        {"script", "\n% RUNME  A script.\n  % Second line.\n\nx = 1;\n% later\n", " RUNME  A script.\n Second line.\n"},
        {"no comment after the declaration", "function f\nx = 1;\n% late\n", ""},
        {"comments above the declaration", "% top help\nfunction f\n% below\n", " top help\n"},
        {"blank line between", "function f(x)\n\n% help\n", " help\n"},
        {"block comment", "function f\n%{\nBlock help\n  indented\n%}\n% after\n", "Block help\n  indented\n"},
        {"continued declaration", "function [a, ...\n   b] = f(x)\n% help\n", " help\n"},
        {"line ends of another system", "function f\r\n% help\r\n%  more\r\n", " help\n  more\n"},
        {"a carriage return that is text", "% a\r\r\n", " a\r\n"},
        {"a name that starts with function", "functional = 1;\n% no help\n", ""},
        {"empty file", "", ""},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(row.help, qzlang::files::helpText(row.source));
        EXPECT_EQ(row.help, qzlang::files::helpTextWithLinks(row.source));  // no links shown here
    }
}

TEST(HelpText, SeeAlsoNamesBecomeHelpLinksWhereLinksShow) {
    char const source[] =
        "function f\n"
        "% F  Does things.\n"
        "%   see also: sum,\n"
        "%             prod, cumsum.\n"
        "%   Other text, here.\n"
        "%   See also the <b>manual</b>.\n";
    bool const savedHot = uvGetHotLinks();
    uvSetHotLinks(true);
    {
        auto sink = boost::make_shared<HotSink>();
        services::io::CXStream::CXOut.push(sink);
        std::string const linked = qzlang::files::helpTextWithLinks(source);
        std::string const sq = qzlang::files::helpTextWithLinks(kSq);
        services::io::CXStream::CXOut.pop();
        EXPECT_EQ(" F  Does things.\n"
                  "   see also: <a href=\"calyx:helpPopup sum\">sum</a>,\n"
                  "             <a href=\"calyx:helpPopup prod\">prod</a>, "
                  "<a href=\"calyx:helpPopup cumsum\">cumsum</a>.\n"
                  "   Other text, here.\n"
                  "   See also the <b>manual</b>.\n",  // not a list of names: left alone
                  linked);
        EXPECT_EQ(" SQ  Square of each element.\n   y = sq(x) squares x.\n\n"
                  "   See also <a href=\"calyx:helpPopup POWER\">POWER</a>, "
                  "<a href=\"calyx:helpPopup times\">times</a>.\n",
                  sq);
    }
    {
        // A terminal's window shows no links: the text stays plain.
        qztest::Capture plain;
        EXPECT_EQ(qzlang::files::helpText(source), qzlang::files::helpTextWithLinks(source));
    }
    uvSetHotLinks(savedHot);
}
