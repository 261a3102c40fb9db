// What the interpreter computes: operator precedence and the sign rules,
// every kind of statement, the rules of ans and of showing results, command
// syntax, and blocks over several lines. Expected values are written out by
// hand from the language's rules.
#include "language/LanguageFixture.hpp"

#include <chrono>

using qztest::Evaluation;

TEST_F(Evaluation, OperatorsFollowPrecedenceAndTheSignRules) {
    struct {
        char const *expression, *value;
    } const rows[] = {
        {"2^3^2", "double 1x1: 64"},
        {"-2^2", "double 1x1: -4"},
        {"2^-1", "double 1x1: 0.5"},
        {"-2^-2", "double 1x1: -0.25"},
        {"2^+2", "double 1x1: 4"},
        {"3 - -2^2", "double 1x1: 7"},
        {"1 - - 1", "double 1x1: 2"},
        {"[1 2; 3 4]^2'", "double 2x2: 7 10 15 22"},
        {"[1 2; 3 4]'^2", "double 2x2: 7 10 15 22"},
        {"1 + 2 * 3", "double 1x1: 7"},
        {"(1 + 2) * 3", "double 1x1: 9"},
        {"8 / 2 / 2", "double 1x1: 2"},
        {"2 \\ 8", "double 1x1: 4"},
        {"1:3 + 1", "double 1x4: 1 2 3 4"},
        {"2 * 1:3", "double 1x2: 2 3"},
        {"1:2:7 - 1", "double 1x3: 1 3 5"},
        {"1 < 2 == 1", "logical 1x1: 1"},
        {"~1 == 0", "logical 1x1: 1"},
        {"~[1 0 2]", "logical 1x3: 0 1 0"},
        {"-[1 2]'", "double 2x1: -1 -2"},
        {"1 | 0 & 0", "logical 1x1: 1"},
        {"0 & 0 | 1", "logical 1x1: 1"},
        {"1 || 0 && 0", "logical 1x1: 1"},
        {"0 && [1 2]", "logical 1x1: 0"},
        {"true + true", "double 1x1: 2"},
        {"3 ~= 3", "logical 1x1: 0"},
        {"[1 2] .* [3; 4]", "double 2x2: 3 4 6 8"},
        // Inside brackets a sign after a blank and before a non-blank starts an element.
        {"[1 -2]", "double 1x2: 1 -2"},
        {"[1 - 2]", "double 1x1: -1"},
        {"[1 -2 + 3]", "double 1x2: 1 1"},
        {"[1 , -2]", "double 1x2: 1 -2"},
        {"[(1 -2)]", "double 1x1: -1"},
        {"['a' 'b']", "char 1x2: 'ab'"},
        {"{1 -1}", "cell 1x2: {double 1x1: 1} {double 1x1: -1}"},
        {"1e3 + .5 + 2E-1", "double 1x1: 1000.7"},
        {"3 + 4i", "double 1x1: 3+4i"},
        {"'it''s'", "char 1x4: 'it's'"},
        {"\"say \"\"hi\"\"\"", "char 1x8: 'say \"hi\"'"},
    };
    for (auto const& row : rows) EXPECT_EQ(value(row.expression), row.value) << row.expression;
}

TEST_F(Evaluation, EachStatementKindDoesWhatItSays) {
    struct {
        char const *statements, *name, *value;
    } const rows[] = {
        {"s = 0; for k = 1:5, s = s + k; end", "s", "double 1x1: 15"},
        {"for k = 1:3, end", "k", "double 1x1: 3"},
        {"for k = 3:-1:1, end", "k", "double 1x1: 1"},
        {"for k = [], end", "k", "double 0x0:"},
        {"c = 0; for v = [1 2; 3 4], c = c + 10 * v(1) + v(2); end", "c", "double 1x1: 37"},
        {"n = 0; for v = {1, 'a'}, n = n + iscell(v); end", "n", "double 1x1: 2"},
        {"n = 0; for k = 1:3, k = 10; n = n + 1; end", "n", "double 1x1: 3"},
        {"for k = (1:3), q = k; end", "q", "double 1x1: 3"},
        {"k = 0; while k < 10, k = k + 1; if k == 4, break; end, end", "k", "double 1x1: 4"},
        {"s = 0; for k = 1:5, if k == 2 || k == 4, continue, end, s = s + k; end", "s", "double 1x1: 9"},
        {"s = 0; for i = 1:3, for j = 1:3, if j > i, break, end, s = s + 1; end, end", "s", "double 1x1: 6"},
        {"x = 5; if x < 3, y = 1; elseif x < 6, y = 2; else, y = 3; end", "y", "double 1x1: 2"},
        {"if [], y = 1; else, y = 0; end", "y", "double 1x1: 0"},
        {"if [1 1 0], y = 1; else, y = 0; end", "y", "double 1x1: 0"},
        {"if 'a', y = 1; end", "y", "double 1x1: 1"},
        {"switch 3, case 1, y = 1; case {2, 3}, y = 2; otherwise, y = 3; end", "y", "double 1x1: 2"},
        {"switch 'Ab', case 'ab', y = 1; otherwise, y = 2; end", "y", "double 1x1: 2"},
        {"switch 'ab', case {'x', 'ab'}, y = 1; case 'ab', y = 2; end", "y", "double 1x1: 1"},
        {"y = 0; switch 9, case 1, y = 1; end", "y", "double 1x1: 0"},
        {"try, error('plain %d'); catch e, m = e.message; end", "m", "char 1x8: 'plain %d'"},
        {"try, v = [1 2]; v(3); catch e, m = e.identifier; end", "m", "char 1x23: 'Calyx:index:outOfBounds'"},
        {"try, error('my:id', 'text'); catch e, m = e.identifier; end", "m", "char 1x5: 'my:id'"},
        {"try, undefinedThing; catch, y = 3; end", "y", "double 1x1: 3"},
        {"try, error('x'); catch e, s = size(e.stack); end", "s", "double 1x2: 0 1"},
        {"y = 1; % y = 2\n%{\ny = 3;\n  %{\n  y = 4;\n  %}\n%}\ny = y + 1;", "y", "double 1x1: 2"},
        {"y = 1 + ...\n 2;", "y", "double 1x1: 3"},
        {"y = [1, 2, ... a comment\n 3];", "y", "double 1x3: 1 2 3"},
        {"y = [1 2\n3 4];", "y", "double 2x2: 1 3 2 4"},
        {"a = 2; y = a -1;", "y", "double 1x1: 1"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.statements);
        session.clearAll();
        EXPECT_EQ(errorOf(row.statements), "");
        EXPECT_EQ(describe(row.name), row.value);
    }
}

TEST_F(Evaluation, BadStatementsAreRefusedWithTheirReason) {
    struct {
        char const *statements, *reason;
    } const rows[] = {
        {"if NaN, end", "NaN cannot be converted to a logical value in an if condition."},
        {"while [1 NaN], end", "NaN values cannot be converted to logical."},
        {"[1 2] && 1", "The operands of && must convert to one logical value; this one is double of size 1x2."},
        {"nothingHere + 1", "Undefined function or variable 'nothingHere'."},
        {"x = 1; x{1}", "{} reads the contents of cell arrays only, not of a value of class double."},
        {"x = 1; x.f", "A value of class double has no fields ('f' was asked for)."},
        {"s.a = 1; s.b", "There is no field named 'b'."},
        {"c = {1, 2}; y = c{:};", "A list of 2 values stands where one value is needed."},
        {"y = disp(1);", "'disp' gives no value to use here."},
        {"[a, b] = 5;", "Too many output arguments: 2 requested, 1 given."},
        {"end", "'end' is not expected here."},
        {"x = (1 + 2", "The statement ends too early."},
        {"x = (1 + 2]", "The ']' does not close an open bracket."},
        {"for = 3", "A for loop needs a variable name."},
        {"y = end", "'end' cannot be used in an expression."},
    };
    for (auto const& row : rows) EXPECT_EQ(errorOf(row.statements), row.reason) << row.statements;
}

TEST_F(Evaluation, ResultsShowUnderTheirNameOrAnsAndQuietOnesNot) {
    EXPECT_EQ(run(" ;;, \n"), "");
    EXPECT_EQ(run("a = 1, b = 2; c = 3\nd = 4;\n\n5"), "\na =\n\n     1\n\n\nc =\n\n     3\n\n\nans =\n\n     5\n\n");
    EXPECT_EQ(run("a;"), "");
    EXPECT_EQ(run("a"), "\na =\n\n     1\n\n") << "a bare variable shows under its own name";
    EXPECT_EQ(describe("ans"), "double 1x1: 5") << "and leaves ans alone";
    EXPECT_EQ(run("disp(7)"), "     7\n\n");
    EXPECT_EQ(describe("ans"), "double 1x1: 5") << "disp has no value, so ans stays";
    EXPECT_EQ(run("x = [1 2]; x(2) = 5"), "\nx =\n\n     1     5\n\n") << "an indexed assignment shows the whole";
    EXPECT_EQ(run("c = {1, 2}; [p, q] = c{:}"), "\np =\n\n     1\n\n\nq =\n\n     2\n\n");
    run("clear = 4;");
    EXPECT_EQ(run("clear"), "\nclear =\n\n     4\n\n") << "a variable hides a command of the same name";
}

TEST_F(Evaluation, AResultShowsAsTheLiteralOfTheSameValue) {
    struct {
        char const *computed, *literal;
    } const rows[] = {
        {"x = [1 2 3] * 2", "x = [2 4 6]"},
        {"x = -[1.5 2]", "x = [-1.5 -2]"},
        {"x = (1:3)'", "x = [1; 2; 3]"},
        {"x = 1 / 4", "x = 0.25"},
        {"x = 1:0", "x = zeros(1, 0)"},
        {"x = [1 2] > 1", "x = [false true]"},
        {"x = 'ab'; x(3) = 'c'", "x = 'abc'"},
        {"x = {1}; x{2} = 'b'", "x = {1, 'b'}"},
    };
    for (auto const& row : rows) EXPECT_EQ(run(row.computed), run(row.literal)) << row.computed;
}

TEST_F(Evaluation, CommandSyntaxPassesWordsUnlessTheWordIsAVariable) {
    std::string words;
    session.commands().add({"words-of", "", [&words](qzlang::Session&, std::vector<std::string> const& w) {
                                words += "[";
                                for (size_t k = 0; k < w.size(); ++k) words += (k ? "|" : "") + w[k];
                                words += "]";
                                return qzlang::CommandResult::Continue;
                            }});
    // A registered name that is not an identifier is still a command word.
    EXPECT_EQ(errorOf("words-of a; words-of"), "");
    EXPECT_EQ(words, "[a][]");
    EXPECT_EQ(errorOf("words - of"), "Undefined function or variable 'words'.");
    words.clear();
    session.commands().add({"wordsof", "", session.commands().find("words-of")->run});
    EXPECT_EQ(errorOf("wordsof long e; wordsof 5, wordsof 'a, b' 'it''s' -1\nwordsof"), "");
    EXPECT_EQ(words, "[long|e][5][a, b|it's|-1][]");
    EXPECT_EQ(run("disp -1"), "-1\n");
    EXPECT_EQ(run("disp hello"), "hello\n");
    run("wordsof = 10;");
    EXPECT_EQ(run("wordsof -1"), "\nans =\n\n     9\n\n") << "a variable is never a command";
    EXPECT_EQ(run("wordsof - 1"), "\nans =\n\n     9\n\n");
    EXPECT_EQ(errorOf("wordsof long"), "Statements must be separated by a comma, a semicolon or a line end.");
    EXPECT_EQ(run("format long"), "");
    EXPECT_EQ(GetPrtfmt(), PrtfmtLong);
}

TEST_F(Evaluation, AFailureOrACommandThatLeavesStopsTheRest) {
    EXPECT_EQ(errorOf("a = 1; b = nothing; c = 3;"), "Undefined function or variable 'nothing'.");
    EXPECT_NE(session.find("a"), nullptr);
    EXPECT_EQ(session.find("c"), nullptr);
    session.commands().add({"leave", "leave", [](qzlang::Session&, std::vector<std::string> const&) {
                                return qzlang::CommandResult::Exit;
                            }});
    Capture capture;
    EXPECT_EQ(session.execute("d = 1; for k = 1:3, leave; end, e = 2;"), qzlang::CommandResult::Exit);
    EXPECT_NE(session.find("d"), nullptr);
    EXPECT_EQ(session.find("e"), nullptr);
    EXPECT_EQ(describe("k"), "double 1x1: 1");
}

TEST_F(Evaluation, BlocksAtThePromptAreCompleteOnlyAtTheirEnd) {
    struct {
        char const* text;
        bool complete;
    } const rows[] = {
        {"x = 1", true},
        {"for k = 1:3", false},
        {"for k = 1:3, x = k;", false},
        {"for k = 1:3, x = k; end", true},
        {"if a\n  while b\n  end", false},
        {"if a\n  while b\n  end\nend", true},
        {"x = [1 2", false},
        {"x = 1 + ...", false},
        {"x = 'for'", true},
        {"x(end) = 1", true},
        {"s.end = 1", true},
        {"%{\nfor", false},
        {"%{\nfor\n%}", true},
        {"try\nx = 1;\ncatch e\n", false},
        {"switch x, case 1, y = 2; otherwise, y = 3; end", true},
    };
    for (auto const& row : rows) EXPECT_EQ(qzlang::Session::isComplete(row.text), row.complete) << row.text;
}

TEST_F(Evaluation, AStepLimitEndsAnEndlessLoop) {
    session.limits().maxSteps = 5000;
    EXPECT_EQ(errorOf("while true, end"), "The statements ran more than 5000 loop passes and calls.");
    // No try catches it, or the loop around the try would never end.
    EXPECT_EQ(errorOf("while 1, try, while 1, end, catch, end, end"),
              "The statements ran more than 5000 loop passes and calls.");
    EXPECT_EQ(errorOf("for k = 1:100, end"), "") << "the count starts again with each execute";
    EXPECT_EQ(errorOf("for k = 1:100, end"), "");
    auto const start = std::chrono::steady_clock::now();
    EXPECT_EQ(errorOf("pause(100)"), "");
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 1.0);
}

TEST_F(Evaluation, TheScalarFastPathAgreesWithTheArrayPath) {
    // Each operator on two scalars (computed unboxed) against the same
    // operator elementwise on two-element rows (computed by the kernels).
    struct {
        char const *op, *elementwise;
    } const ops[] = {{"+", "+"},   {"-", "-"},   {"*", ".*"},  {".*", ".*"}, {"/", "./"}, {"./", "./"},
                     {"\\", ".\\"}, {"^", ".^"},  {".^", ".^"}, {"<", "<"},   {"<=", "<="}, {">", ">"},
                     {">=", ">="}, {"==", "=="}, {"~=", "~="}, {"&", "&"},   {"|", "|"}};
    char const* const values[] = {"0", "-0", "1", "-2", "2.5", "-0.5", "3", "Inf", "-Inf", "NaN", "true"};
    for (auto const& op : ops) {
        for (char const* a : values) {
            for (char const* b : values) {
                std::string const scalar = value(std::string("(") + a + ") " + op.op + " (" + b + ")");
                std::string const rows = std::string("[") + a + " " + a + "] " + op.elementwise + " [" + b + " " + b + "]";
                std::string const viaArray = errorOf("r__ = " + rows + "; e__ = r__(1);").empty()
                                                 ? describe("e__")
                                                 : "error: " + errorOf("r__ = " + rows + ";");
                EXPECT_EQ(scalar, viaArray) << a << " " << op.op << " " << b;
            }
        }
    }
}

TEST_F(Evaluation, FusedAndInPlaceOperatorsGiveTheSameValuesAndLeaveOperandsAlone) {
    // x .* y + x runs in one pass; x .* y + abs(x) writes the second operator
    // over the temporary x .* y. Neither may touch x or y, which share data.
    struct {
        char const *statements, *name, *value;
    } const rows[] = {
        {"x = [1 2 3]; y = x; z = x .* y + x;", "z", "double 1x3: 2 6 12"},
        {"x = [1 2 3]; y = x; z = x .* y + x;", "x", "double 1x3: 1 2 3"},
        {"x = [1 2 3]; y = x; z = x .* y + x;", "y", "double 1x3: 1 2 3"},
        {"x = [1 -2 3]; y = x; z = x .* y + abs(x);", "z", "double 1x3: 2 6 12"},
        {"x = [1 -2 3]; y = x; z = x .* y + abs(x);", "x", "double 1x3: 1 -2 3"},
        {"x = [1 2 3]; w = 2*x - x/2 + 1 - 6\\x;", "w", "double 1x3: 2.33333333333333 3.66666666666667 5"},
        {"a = [1 2 3]; b = [10; 20]; c = a .* b + a;", "c", "double 2x3: 11 21 22 42 33 63"},
        {"a = int8([100 50]); b = a; c = a .* 2 + b;", "c", "int8 1x2: 127 127"},
        // Large enough for several blocks and threads; the same operations in
        // the same order give the same bits.
        {"rng(3); x = rand(1, 200001); y = rand(1, 200001); t = x .* y; t = t ./ 3; t = t - x;"
         "ok = isequal(x .* y ./ 3 - x, t);",
         "ok", "logical 1x1: 1"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.statements);
        ASSERT_EQ(errorOf(row.statements), "");
        EXPECT_EQ(describe(row.name), row.value);
    }
    EXPECT_EQ(errorOf("a = [1 2 3]; b = [1 2]; c = a .* b + a;"),
              "Arrays have incompatible sizes for this operation: 1x3 and 1x2.");
    run("x = ones(1, 10);");
    size_t const limit = qzlang::maxElements();
    qzlang::setMaxElements(5);
    std::string const tooLarge = errorOf("z = x .* x + x;");
    qzlang::setMaxElements(limit);
    EXPECT_EQ(tooLarge, "Requested array exceeds the maximum array size.");
}

TEST_F(Evaluation, NamesHaveAtMost63Characters) {
    std::string const longest(63, 'a'), tooLong = "b" + std::string(63, 'c');
    EXPECT_EQ(errorOf(longest + " = 1;"), "");
    EXPECT_EQ(describe(longest.c_str()), "double 1x1: 1");
    EXPECT_EQ(errorOf(tooLong + " = 1;"), "The name '" + tooLong + "' has 64 characters; a name has at most 63.");
    EXPECT_EQ(errorOf("y = " + tooLong + " + 1;"), "The name '" + tooLong + "' has 64 characters; a name has at most 63.");
}

TEST_F(Evaluation, AnonymousFunctionsKeepTheirCapturesThroughCopies) {
    run("a = 10; c = {@(x) x + a, 2}; s.f = @(x) x + a; clear a");
    // Indexing a cell, repeating it, concatenating structures and cells,
    // reshaping: each copies the handle.
    run("d = c(1); f = d{1}; r1 = f(1);");
    EXPECT_EQ(describe("r1"), "double 1x1: 11");
    run("e = repmat(c(1), 1, 2); g = e{2}; r2 = g(5);");
    EXPECT_EQ(describe("r2"), "double 1x1: 15");
    run("t = [s s]; h = t(2).f; r3 = h(2);");
    EXPECT_EQ(describe("r3"), "double 1x1: 12");
    run("r4 = cellfun(@(v) v(3), [c(1) c(1)]);");
    EXPECT_EQ(describe("r4"), "double 1x2: 13 13");
    run("k = reshape(c, 2, 1); m = k{1}; r5 = m(6);");
    EXPECT_EQ(describe("r5"), "double 1x1: 16");
}
