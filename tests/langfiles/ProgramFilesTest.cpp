// Programs in files run by a session: functions and scripts found through the
// search path (folders and CAT archives), their arguments and outputs, the
// recursion limit, errors and warnings with their frames, input, and hostile
// files. Every file is real, in a scratch folder.
#include "language/LanguageFixture.hpp"
#include "scratch.hpp"

#include <qzlang/Session.hpp>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using langfiles_test::Scratch;

namespace {

class ProgramFiles : public qztest::Evaluation {
protected:
    void SetUp() override {
        Evaluation::SetUp();
        work = scratch.folder("work");
        session.sourcePath().cd(work);
        session.sourcePath().setPath({});
        session.diagnostics().setPrinter([this](std::string const& report, bool) { reports.push_back(report); });
    }
    void TearDown() override {
        session.sourcePath().setPath({});
        Evaluation::TearDown();
    }
    // Runs statements as the prompt does; false after an uncaught error.
    bool prompt(std::string const& text) {
        Capture capture;
        return session.executeReported(text);
    }

    Scratch scratch;
    std::string work;
    std::vector<std::string> reports;
};

TEST_F(ProgramFiles, PathOrderShadowingArchivesAndChangedOrDeletedFiles) {
    std::string const a = scratch.write("a/f.cx", "function y = f(x)\ny = x + 1;\n");
    scratch.write("b/f.cx", "function y = f(x)\ny = x + 2;\n");
    scratch.write("b/g.cx", "function y = g(x)\ny = f(x) * 10;\n");
    ASSERT_EQ("", errorOf("addpath('" + scratch.root + "/a', '" + scratch.root + "/b')"));
    EXPECT_EQ("double 1x1: 2", value("f(1)"));
    EXPECT_EQ("double 1x1: 20", value("g(1)"));

    // A file in the current folder hides the path's, and stops hiding it once deleted.
    std::string const here = scratch.write("work/f.cx", "function y = f(x)\ny = x + 100;\n");
    EXPECT_EQ("double 1x1: 101", value("f(1)"));
    ASSERT_EQ(0, std::remove(here.c_str()));
    EXPECT_EQ("double 1x1: 2", value("f(1)"));

    // A changed file is read again at its next call.
    scratch.write("a/f.cx", "function y = f(x)\ny = x + 50;\n");
    Scratch::touch(a, 1000000);
    EXPECT_EQ("double 1x1: 51", value("f(1)"));
    // A deleted one is no longer found; the next folder's is.
    ASSERT_EQ(0, std::remove(a.c_str()));
    EXPECT_EQ("double 1x1: 3", value("f(1)"));
    ASSERT_EQ(0, std::remove((scratch.root + "/b/f.cx").c_str()));
    EXPECT_EQ("error: Undefined function or variable 'f'.", value("f(1)"));

    // The help of a function found only inside a CAT archive.
    scratch.write("tree/tb/stats/mymean.cx", "function m = mymean(v)\n% MYMEAN the mean\nm = sum(v) / numel(v);\n");
    std::string const archive = scratch.pack("tree", "tb.cat");
    ASSERT_EQ("", errorOf("addpath " + archive + "/tb/stats"));
    EXPECT_EQ(" MYMEAN the mean\n", run("help mymean"));
}

TEST_F(ProgramFiles, ScriptsShareTheCallersWorkspaceAndLocalFunctionsStayInTheirFile) {
    scratch.write("work/twice.cx", "% doubles w\nz = w * 2;\n");
    scratch.write("work/outer2.cx", "function r = outer2(w)\ntwice\nr = z + helper(1);\nend\n\n"
                                    "function h = helper(k)\nh = k * 1000;\nend\n");
    EXPECT_EQ("", errorOf("w = 4; twice"));
    EXPECT_EQ("double 1x1: 8", describe("z"));
    EXPECT_EQ("", errorOf("w = 5; run('" + work + "/twice.cx')"));
    EXPECT_EQ("double 1x1: 10", describe("z"));
    // Inside a function the script sees the function's variables, not the prompt's.
    EXPECT_EQ("double 1x1: 1006", value("outer2(3)"));
    EXPECT_EQ("double 1x1: 10", describe("z"));
    EXPECT_EQ("error: Undefined function or variable 'helper'.", value("helper(1)"));
}

TEST_F(ProgramFiles, ArgumentsOutputsAndReturn) {
    scratch.write("work/args.cx", "function varargout = args(a, b, varargin)\n"
                                  "varargout = {nargin, nargout, numel(varargin)};\n");
    scratch.write("work/sd.cx", "function [s, d] = sd(x, y)\nif nargin < 2, y = 1; end\ns = x + y;\n"
                                "if nargout > 1, d = x - y; end\n");
    scratch.write("work/early.cx", "function y = early(x)\ny = 1;\nif x > 0\n  return\nend\ny = 2;\n");
    struct Row {
        char const* statements;
        char const* p;
        char const* q;
    } const rows[] = {
        {"[p, q, r] = args(1); ", "double 1x1: 1", "double 1x1: 3"},
        {"[p, q, r] = args(1, 2, 3, 4); p = p + r * 100;", "double 1x1: 204", "double 1x1: 3"},
        {"p = sd(5); q = 0;", "double 1x1: 6", "double 1x1: 0"},
        {"[p, q] = sd(5, 2);", "double 1x1: 7", "double 1x1: 3"},
        {"p = early(1); q = early(-1);", "double 1x1: 1", "double 1x1: 2"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.statements);
        ASSERT_EQ("", errorOf(row.statements));
        EXPECT_EQ(row.p, describe("p"));
        EXPECT_EQ(row.q, describe("q"));
    }
    EXPECT_EQ("error: Too many input arguments for sd.", value("sd(1, 2, 3)"));
    scratch.write("work/half.cx", "function [a, b] = half(x)\na = x;\n");
    EXPECT_EQ("Output argument 'b' of half was not set.", errorOf("[p, q] = half(1);"));
}

TEST_F(ProgramFiles, RecursionStopsAtItsLimitAndTheSessionGoesOn) {
    scratch.write("work/down.cx", "function r = down(n)\nr = down(n + 1);\n");
    scratch.write("work/fact.cx", "function r = fact(n)\nif n <= 1\n  r = 1;\nelse\n  r = n * fact(n - 1);\nend\n");
    EXPECT_EQ("double 1x1: 3628800", value("fact(10)"));
    EXPECT_EQ("error: Maximum recursion limit of 500 reached.", value("down(1)"));
    EXPECT_EQ("double 1x1: 2", value("1 + 1"));

    // The report shows the first and the last five frames; err.stack keeps all 500.
    EXPECT_FALSE(prompt("down(1)"));
    ASSERT_EQ(1u, reports.size());
    std::string five;
    for (int k = 0; k < 5; ++k) five += "\nError in down (line 2)";
    EXPECT_EQ("Error using down\nMaximum recursion limit of 500 reached." + five + "\n... 490 frames left out ..." + five,
              reports[0]);
    ASSERT_EQ("", errorOf("try\n  down(1);\ncatch err\nend"));
    EXPECT_EQ("double 1x1: 500", value("numel(err.stack)"));
    // Recursion that catches its own errors makes 2^20 calls here without a
    // loop: each call counts against the step limit, and no try catches it.
    scratch.write("work/both.cx", "function both(n)\nif n > 20, return, end\n"
                                  "try, both(n + 1); catch, end\ntry, both(n + 1); catch, end\n");
    session.limits().maxSteps = 5000;
    EXPECT_EQ("The statements ran more than 5000 loop passes and calls.", errorOf("both(1)"));
    // A script that calls itself inside an expression nested 150 deep: the
    // machine stack runs out before 500 calls unless it is measured too.
    scratch.write("work/deep.cx", std::string(150, '+') + "deep\n");
    session.limits().maxSteps = 0;
    EXPECT_NE("", errorOf("deep"));
    EXPECT_EQ("double 1x1: 2", value("1 + 1"));
}

TEST_F(ProgramFiles, ACallSiteFollowsWhatItsNameResolvesToNow) {
    // g's site of pi resolved to the built-in; a file pi.cx, once there, wins.
    scratch.write("work/g.cx", "function y = g()\ny = round(pi * 2);\n");
    EXPECT_EQ("double 1x1: 6", value("g()"));
    std::string const pi = scratch.write("work/pi.cx", "function y = pi()\ny = 3.5;\n");
    EXPECT_EQ("double 1x1: 7", value("g()"));
    ASSERT_EQ(0, std::remove(pi.c_str()));
    EXPECT_EQ("double 1x1: 6", value("g()"));
    // A variable of a function hides a function of its name in command form too.
    scratch.write("work/cmd.cx", "function y = cmd()\na = 5;\na -1\ny = ans;\n");
    EXPECT_EQ("double 1x1: 4", value("cmd()"));
}

TEST_F(ProgramFiles, HandlesMadeInAFileCallThatFilesLocalFunctions) {
    scratch.write("work/mk.cx", "function [h, a] = mk()\nh = @helper;\na = @(x) helper(x) + 1;\nend\n"
                                "function y = helper(x)\ny = x * 7;\nend\n");
    scratch.write("work/other.cx", "function y = other(h)\ny = h(1);\nend\n"
                                   "function y = helper(x)\ny = -1;\nend\n");
    ASSERT_EQ("", errorOf("[h, a] = mk();"));
    struct Row {
        char const* expression;
        char const* value;
    } const rows[] = {
        {"h(2)", "double 1x1: 14"},
        {"a(2)", "double 1x1: 15"},
        {"other(h)", "double 1x1: 7"},
        {"other(a)", "double 1x1: 8"},
        {"cellfun(h, {1, 2})", "double 1x2: 7 14"},
        {"func2str(h)", "char 1x6: 'helper'"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.expression);
        EXPECT_EQ(row.value, value(row.expression));
    }
    EXPECT_EQ("error: Undefined function or variable 'helper'.", value("helper(1)"));
}

TEST_F(ProgramFiles, ErrorsNameTheirFramesAndLines) {
    scratch.write("work/outer.cx", "function outer(x)\n% calls inner\ninner(x);\n");
    scratch.write("work/inner.cx", "function inner(x)\nif x > 1\n    error('my:id', 'bad value %d', x);\nend\n");
    EXPECT_FALSE(prompt("outer(7)"));
    ASSERT_EQ(1u, reports.size());
    EXPECT_EQ("Error using inner\nbad value 7\nError in inner (line 3)\nError in outer (line 3)", reports[0]);
    EXPECT_EQ("char 1x11: 'bad value 7'", value("lasterr"));

    ASSERT_EQ("", errorOf("try\n  outer(9);\ncatch err\nend"));
    EXPECT_EQ("char 1x5: 'my:id'", value("err.identifier"));
    EXPECT_EQ("char 1x11: 'bad value 9'", value("err.message"));
    EXPECT_EQ("double 2x1: 3 3", value("[err.stack.line]'"));
    EXPECT_EQ("char 1x5: 'inner'", value("err.stack(1).name"));
    EXPECT_EQ("char 1x5: 'outer'", value("err.stack(2).name"));
    EXPECT_EQ("char 1x" + std::to_string(work.size() + 9) + ": '" + work + "/inner.cx'", value("err.stack(1).file"));
    // rethrow keeps the identifier and the message.
    EXPECT_EQ("error: bad value 9", value("rethrow(err)"));
    // An error at the prompt has no frames: one line.
    reports.clear();
    EXPECT_FALSE(prompt("error('plain')"));
    EXPECT_TRUE(reports.empty());
}

// Switching warnings off and on is checked at the prompt (BuiltinsTest) and in
// the diagnostics themselves (DiagnosticsTest); here, the place in the file.
TEST_F(ProgramFiles, WarningsNameTheirPlaceInTheFile) {
    scratch.write("work/warn.cx", "function warn(x)\n\nwarning('my:w', 'careful %d', x);\n");
    EXPECT_TRUE(prompt("warn(2)"));
    ASSERT_EQ(1u, reports.size());
    EXPECT_EQ("Warning: careful 2\n> In warn (line 3)", reports[0]);
    EXPECT_EQ("char 1x9: 'careful 2'", value("lastwarn"));
}

TEST_F(ProgramFiles, HostileFilesGiveClearErrorsAndTheSessionGoesOn) {
    std::string const bad = scratch.write("work/bad.cx", "function y = bad(x)\ny = 1;\ny = (x +\n");
    // The last line without its line end.
    std::string const bad2 = scratch.write("work/bad2.cx", "function y = bad2(x)\ny = [1 2");
    scratch.write("work/big.cx", "function big\n" + std::string(10u << 20, '%') + "\n");
    scratch.write("work/bin.cx", std::string("\x7f" "ELF\0\0\x01\x02", 8));
    scratch.write("work/caf\xc3\xa9.cx", "x = 1;\n");
    scratch.write("junk.cat", "this is no archive at all");
    struct Row {
        std::string statements;
        std::string error;  // the start of the message
    } const rows[] = {
        {"bad(1)", "File: " + bad + " Line: 3 Column: "},
        {"bad2(1)", "File: " + bad2 + " Line: 2 Column: 9\n"},
        {"big", "The file '" + work + "/big.cx' has "},
        {"bin", "The file '" + work + "/bin.cx' is not a text file"},
        {"run('" + work + "/caf\xc3\xa9.cx')", ""},
        {"addpath('" + scratch.root + "/junk.cat/x')", ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.statements);
        std::string const e = errorOf(row.statements);
        EXPECT_NE("", e);
        EXPECT_EQ(row.error, e.substr(0, row.error.size()));
        EXPECT_EQ("double 1x1: 2", value("1 + 1"));
    }
}

} // namespace
