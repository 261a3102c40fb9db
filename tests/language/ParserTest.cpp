// The statement grammar: how text splits into statements, commands and
// assignments; how blanks and quotes read inside brackets; and the refusal of
// text that is malformed, too deep or too long.
#include <qzlang/Lexer.hpp>
#include <qzlang/Parser.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <string>

using namespace qzlang;

namespace {

bool commandWords(std::string const& w) { return w == "format" || w == "more" || w == "demo-events"; }

std::vector<Statement> parseText(std::string const& text) { return parse(text, &commandWords); }

std::string syntaxError(std::string const& text, ParseLimits limits = ParseLimits()) {
    try {
        parse(text, &commandWords, limits);
    } catch (vx::Error const& e) {
        return e.identifier() + ": " + e.what();
    }
    return "";
}

} // namespace

TEST(StatementSplitting, LineEndsCommasAndSemicolonsSeparateAndSemicolonsQuieten) {
    auto s = parseText("a = 1, b = 2; c = 3\nd = 4;\n\n5");
    ASSERT_EQ(s.size(), 5u);
    EXPECT_EQ(s[0].name, "a");
    EXPECT_FALSE(s[0].quiet);
    EXPECT_TRUE(s[1].quiet);
    EXPECT_FALSE(s[2].quiet);
    EXPECT_TRUE(s[3].quiet);
    EXPECT_EQ(s[4].kind, StatementKind::Expression);
    EXPECT_EQ(s[4].value->kind, ExprKind::Number);
    EXPECT_TRUE(parseText(" ;;, \n").empty());
}

TEST(StatementSplitting, CommentsRunToTheLineEndButNotInsideText) {
    auto s = parseText("x = 'a%b' % a comment, y = 2\nz = 1");
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0].value->text, "a%b");
    EXPECT_EQ(s[1].name, "z");
}

TEST(CommandSyntax, ARegisteredWordTakesTheRestAsWords) {
    auto s = parseText("format long e; more 5, demo-events 10");
    ASSERT_EQ(s.size(), 3u);
    EXPECT_EQ(s[0].kind, StatementKind::Command);
    EXPECT_EQ(s[0].name, "format");
    EXPECT_EQ(s[0].words, (std::vector<std::string>{"long", "e"}));
    EXPECT_TRUE(s[0].quiet);
    EXPECT_EQ(s[1].words, (std::vector<std::string>{"5"}));
    EXPECT_EQ(s[2].name, "demo-events");
    EXPECT_EQ(s[2].words, (std::vector<std::string>{"10"}));
}

TEST(CommandSyntax, QuotesKeepBlanksAndSeparatorsAndAnyCharacter) {
    auto s = parseText("more 'a, b' 'it''s' \"x\"");
    ASSERT_EQ(s.size(), 1u);
    EXPECT_EQ(s[0].words, (std::vector<std::string>{"a, b", "it's", "\"x\""}));
}

TEST(CommandSyntax, AnAssignmentOrACallIsNotACommand) {
    auto s = parseText("format = 3\nmore(5)");
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0].kind, StatementKind::Assign);
    EXPECT_EQ(s[0].name, "format");
    EXPECT_EQ(s[1].kind, StatementKind::Expression);
    EXPECT_EQ(s[1].value->kind, ExprKind::Call);
}

TEST(CommandSyntax, AWordThatIsNoCommandIsAnExpression) {
    EXPECT_NE(syntaxError("formatx long"), "");
    auto s = parseText("more");
    ASSERT_EQ(s.size(), 1u);
    EXPECT_EQ(s[0].kind, StatementKind::Command);
    EXPECT_TRUE(s[0].words.empty());
}

TEST(AssignmentTargets, FieldsNestAndAnIndexNamesAStructureElement) {
    auto s = parseText("s.a.b = 1; s(2, 3).c = 'x'; t = s");
    ASSERT_EQ(s.size(), 3u);
    ASSERT_EQ(s[0].target.size(), 2u);
    EXPECT_TRUE(s[0].target[0].isField);
    EXPECT_EQ(s[0].target[1].field, "b");
    ASSERT_EQ(s[1].target.size(), 2u);
    EXPECT_FALSE(s[1].target[0].isField);
    EXPECT_EQ(s[1].target[0].indices.size(), 2u);
    EXPECT_EQ(s[2].value->kind, ExprKind::Name);
}

TEST(MatrixLayout, BlanksSeparateElementsUnlessAnOperatorStandsBetweenBlanks) {
    auto one = parseText("[1 - 2]");
    ASSERT_EQ(one[0].value->rows.size(), 1u);
    EXPECT_EQ(one[0].value->rows[0].size(), 1u);
    EXPECT_EQ(one[0].value->rows[0][0]->kind, ExprKind::Subtract);

    auto two = parseText("[1 -2 +3]");
    ASSERT_EQ(two[0].value->rows[0].size(), 3u);
    EXPECT_EQ(two[0].value->rows[0][1]->kind, ExprKind::Negate);

    auto tight = parseText("[1-2]");
    EXPECT_EQ(tight[0].value->rows[0].size(), 1u);

    // Inside parentheses blanks mean nothing again.
    auto call = parseText("[zeros(1, 2) 3]");
    ASSERT_EQ(call[0].value->rows[0].size(), 2u);
    EXPECT_EQ(call[0].value->rows[0][0]->kind, ExprKind::Call);
    EXPECT_EQ(call[0].value->rows[0][0]->args.size(), 2u);
}

TEST(MatrixLayout, SemicolonsAndLineEndsStartRowsAndEmptyRowsVanish) {
    auto s = parseText("[1 2\n3 4;\n;5 6;]");
    ASSERT_EQ(s.size(), 1u);
    ASSERT_EQ(s[0].value->rows.size(), 3u);
    for (auto const& row : s[0].value->rows) EXPECT_EQ(row.size(), 2u);
    EXPECT_TRUE(parseText("[]")[0].value->rows.empty());
    EXPECT_TRUE(parseText("{ }")[0].value->rows.empty());
}

TEST(Quotes, AfterAValueATransposeElsewhereAText) {
    auto s = parseText("[a' 'b' c.']");
    auto const& row = s[0].value->rows[0];
    ASSERT_EQ(row.size(), 3u);
    EXPECT_EQ(row[0]->kind, ExprKind::Transpose);
    EXPECT_EQ(row[1]->kind, ExprKind::String);
    EXPECT_EQ(row[1]->text, "b");
    EXPECT_EQ(row[2]->kind, ExprKind::DotTranspose);
    auto t = parseText("x = [1 2]''");
    EXPECT_EQ(t[0].value->kind, ExprKind::Transpose);
    EXPECT_EQ(t[0].value->args[0]->kind, ExprKind::Transpose);
}

TEST(Literals, NumbersExponentsAndImaginaryUnits) {
    auto s = parseText("1.5e3, .25, 4i, 2.5j, 1e-2, 3+4i");
    ASSERT_EQ(s.size(), 6u);
    EXPECT_DOUBLE_EQ(s[0].value->value, 1500);
    EXPECT_DOUBLE_EQ(s[1].value->value, 0.25);
    EXPECT_EQ(s[2].value->kind, ExprKind::Imaginary);
    EXPECT_DOUBLE_EQ(s[2].value->value, 4);
    EXPECT_EQ(s[3].value->kind, ExprKind::Imaginary);
    EXPECT_DOUBLE_EQ(s[4].value->value, 0.01);
    EXPECT_EQ(s[5].value->kind, ExprKind::Add);
    EXPECT_EQ(s[5].value->args[1]->kind, ExprKind::Imaginary);
}

TEST(Literals, RangesTakeTwoOrThreeParts) {
    EXPECT_EQ(parseText("1:3")[0].value->args.size(), 2u);
    EXPECT_EQ(parseText("1:2:9")[0].value->args.size(), 3u);
    EXPECT_NE(syntaxError("1:2:3:4"), "");
}

TEST(MalformedText, EachIsRefusedWithAReason) {
    char const* const bad[] = {"x = ", "[1 2", "(1", "1)", "[1 2}", "'abc", "x = #", "@ sin", "@(x) x",
                               "3(1)", "s.(1) = 2", "a b", "= 3", "[1,,2]", "{,}", "x.1", "1 = 2"};
    for (char const* text : bad) {
        std::string const e = syntaxError(text);
        EXPECT_EQ(e.rfind("qzconsole:syntax: ", 0), 0u) << "[" << text << "] gave [" << e << "]";
    }
}

TEST(MalformedText, NonPrintableCharactersAreNamedByCode) {
    EXPECT_EQ(syntaxError(std::string("x = \x01")), "qzconsole:syntax: The character with code 1 is not allowed here.");
}

TEST(Limits, DeepNestingIsRefusedBeforeTheStackRunsOut) {
    std::string deep(100000, '(');
    EXPECT_EQ(syntaxError(deep + "1" + std::string(100000, ')'), ParseLimits{1000000, 200}),
              "qzconsole:tooDeep: The statement nests more than 200 levels deep.");
    std::string minus(50000, '-');
    EXPECT_EQ(syntaxError(minus + "1", ParseLimits{1000000, 200}).rfind("qzconsole:tooDeep", 0), 0u);
    std::string cells;
    for (int i = 0; i < 300; ++i) cells += "{";
    EXPECT_EQ(syntaxError(cells, ParseLimits{1000000, 200}).rfind("qzconsole:tooDeep", 0), 0u);
    // Within the limit it parses.
    EXPECT_EQ(syntaxError(std::string(50, '(') + "1" + std::string(50, ')')), "");
}

TEST(Limits, OverlongTextIsRefusedWhole) {
    ParseLimits limits;
    limits.maxLength = 10;
    EXPECT_EQ(syntaxError("x = 1234567", limits), "qzconsole:tooLong: The statement is longer than 10 characters.");
    EXPECT_EQ(syntaxError("x = 123456", limits), "");
}

TEST(Continuation, AnOpenBracketAsksForMoreLines) {
    EXPECT_TRUE(needsMoreInput("A = [1 2"));
    EXPECT_TRUE(needsMoreInput("c = {1, [2"));
    EXPECT_TRUE(needsMoreInput("f(1,"));
    EXPECT_FALSE(needsMoreInput("A = [1 2]"));
    EXPECT_FALSE(needsMoreInput("A = '[1 2'"));   // inside a text a bracket is a character
    EXPECT_FALSE(needsMoreInput("A = [1 'ab"));   // an unterminated text is an error now
    EXPECT_FALSE(needsMoreInput("A = [1 2]]"));   // so is a stray closing bracket
    EXPECT_FALSE(needsMoreInput("x = 1 % [ in a comment"));
}
