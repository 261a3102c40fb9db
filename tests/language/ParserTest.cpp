// The refusal of statement text that is malformed, too deep or too long, and
// the continuation of a statement over lines while a bracket is open. (What
// well-formed text means is checked through its values, in EvaluationTest.)
#include <qzlang/Lexer.hpp>
#include <qzlang/Parser.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <string>

using namespace qzlang;

namespace {

bool commandWords(std::string const& w) { return w == "format" || w == "more" || w == "demo-events"; }

std::string syntaxError(std::string const& text, ParseLimits limits = ParseLimits()) {
    try {
        parse(text, &commandWords, limits);
    } catch (vx::Error const& e) {
        return e.identifier() + ": " + e.what();
    }
    return "";
}

} // namespace

TEST(StatementGrammar, MalformedTextIsRefusedWithAReason) {
    char const* const bad[] = {"x = ", "[1 2", "(1", "1)", "[1 2}", "'abc", "x = #", "@ sin", "@(x) x", "3(1)",
                               "s.(1) = 2", "a b", "= 3", "[1,,2]", "{,}", "x.1", "1 = 2", "1:2:3:4", "formatx long"};
    for (char const* text : bad) {
        std::string const e = syntaxError(text);
        EXPECT_EQ(e.rfind("qzconsole:syntax: ", 0), 0u) << "[" << text << "] gave [" << e << "]";
    }
    EXPECT_EQ(syntaxError(std::string("x = \x01")), "qzconsole:syntax: The character with code 1 is not allowed here.");
}

TEST(StatementGrammar, DeepOrOverlongTextIsRefusedBeforeTheStackRunsOut) {
    ParseLimits const limits{1000000, 200};
    EXPECT_EQ(syntaxError(std::string(100000, '(') + "1" + std::string(100000, ')'), limits),
              "qzconsole:tooDeep: The statement nests more than 200 levels deep.");
    EXPECT_EQ(syntaxError(std::string(50000, '-') + "1", limits).rfind("qzconsole:tooDeep", 0), 0u);
    EXPECT_EQ(syntaxError(std::string(300, '{'), limits).rfind("qzconsole:tooDeep", 0), 0u);
    EXPECT_EQ(syntaxError(std::string(50, '(') + "1" + std::string(50, ')')), "");
    EXPECT_EQ(syntaxError("x = 1234567", ParseLimits{10, 200}),
              "qzconsole:tooLong: The statement is longer than 10 characters.");
    EXPECT_EQ(syntaxError("x = 123456", ParseLimits{10, 200}), "");
}

TEST(StatementGrammar, AnOpenBracketAsksForMoreLines) {
    EXPECT_TRUE(needsMoreInput("A = [1 2"));
    EXPECT_TRUE(needsMoreInput("c = {1, [2"));
    EXPECT_TRUE(needsMoreInput("f(1,"));
    // Inside a text or a comment a bracket is a character; an unterminated
    // text or a stray closing bracket is an error now, not a continuation.
    for (char const* complete : {"A = [1 2]", "A = '[1 2'", "A = [1 'ab", "A = [1 2]]", "x = 1 % [ in a comment"})
        EXPECT_FALSE(needsMoreInput(complete)) << complete;
}
