// The refusal of malformed statement text, the continuation of a statement
// over lines, and the text an anonymous function's parse gives back. (What
// well-formed text means is checked through its values, in the other suites;
// text too deep or too long is refused end to end by the console's pipe test.)
#include <qzlang/Lexer.hpp>
#include <qzlang/Parser.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <map>
#include <string>

using namespace qzlang;

namespace {

struct Names : SlotTable {
    std::map<std::string, int> slots;
    int slot(std::string const& name) override {
        auto it = slots.find(name);
        if (it != slots.end()) return it->second;
        int const s = static_cast<int>(slots.size());
        slots[name] = s;
        return s;
    }
};

std::string syntaxError(std::string const& text, ParseLimits limits = ParseLimits()) {
    Names names;
    try {
        parse(text, names, limits);
    } catch (vx::Error const& e) {
        return e.identifier() + ": " + e.what();
    }
    return "";
}

} // namespace

TEST(StatementGrammar, MalformedTextIsRefusedWithAReason) {
    char const* const bad[] = {"x = ",  "[1 2",     "(1",     "1)",       "[1 2}",   "'abc",  "x = #",
                               "@ sin", "3(1)",     "= 3",    "[1,,2]",   "{,}",     "x.1",   "1 = 2",
                               "1:2:3:4", "if 1",   "for k 1:3, end", "end", "else",  "x = 1 2",
                               "switch 1, x = 2, end", "try, x = 1 end", "function f", "f(1) = ",
                               "[a, 1] = f", "x = 1e", "x = 3abc", "a.(1 = 2"};
    for (char const* text : bad) {
        std::string const e = syntaxError(text);
        EXPECT_EQ(e.rfind("Calyx:syntax: ", 0), 0u) << "[" << text << "] gave [" << e << "]";
    }
    EXPECT_EQ(syntaxError(std::string("x = \x01")), "Calyx:syntax: The character with code 1 is not allowed here.");
    EXPECT_EQ(syntaxError("x = 1;\ny = [1 2;\n3 4)"), "Calyx:syntax: The ')' does not close an open bracket. (line 3, column 4)");
    for (char const* good : {"x = 1", "x(2).a{3} = 4", "[a, ~, c] = f(1)", "if a, elseif b, else, end",
                             "for k = 1:3\nend", "switch x\ncase 1\notherwise\nend", "try\ncatch err\nend",
                             "f = @(x, y) x + y", "disp hello world", "a.(n) = 1", "x = [1 -2 'a' \"b\"]",
                             "while true, break, end", "x = a';", "y = a.' * b'", "z = {}", "w = [1;;2]"})
        EXPECT_EQ(syntaxError(good), "") << good;
}

TEST(StatementGrammar, AnOpenBracketOrAContinuationAsksForMoreLines) {
    EXPECT_TRUE(needsMoreInput("A = [1 2"));
    EXPECT_TRUE(needsMoreInput("c = {1, [2"));
    EXPECT_TRUE(needsMoreInput("f(1,"));
    EXPECT_TRUE(needsMoreInput("x = 1 + ..."));
    EXPECT_TRUE(needsMoreInput("x = 1 + ... a comment"));
    // Inside a text or a comment a bracket is a character; an unterminated
    // text or a stray closing bracket is an error now, not a continuation.
    for (char const* complete : {"A = [1 2]", "A = '[1 2'", "A = [1 'ab", "A = [1 2]]", "x = 1 % [ in a comment",
                                 "x = '...'", "x = 1 % ..."})
        EXPECT_FALSE(needsMoreInput(complete)) << complete;
}

TEST(StatementGrammar, AnAnonymousFunctionsTextIsRegeneratedWithoutBlanks) {
    struct {
        char const *source, *text;
    } const rows[] = {
        {"@(t) t.^2 + 1", "@(t)t.^2+1"},
        {"@(x, y) x*y - [1 2; 3 4]'", "@(x,y)x*y-[1,2;3,4]'"},
        {"@() disp( 'a b' )", "@()disp('a b')"},
        {"@(s) s.a(end).b{1}", "@(s)s.a(end).b{1}"},
        {"@(x) ~x && (x | 1)", "@(x)~x&&(x|1)"},
        {"@(x) x(:, 1:2:end)", "@(x)x(:,1:2:end)"},
        {"@(x) -x.' .* 2e3", "@(x)-x.'.*2e3"},
        {"@(f) @(x) f(x) + 1", "@(f)@(x)f(x)+1"},
    };
    for (auto const& row : rows) {
        Names names;
        Block b = parse(row.source, names);
        ASSERT_EQ(b.size(), 1u) << row.source;
        EXPECT_EQ(expressionText(*b[0]->expr), row.text) << row.source;
    }
}
