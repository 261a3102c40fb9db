// What statements make: the class, shape and values of the results of
// literals, concatenation, ranges, transposes, sums and the constructors;
// structures built field by field; how statements, commands and brackets read;
// and the errors of each.
#include "support/capture.hpp"

#include <qzlang/Session.hpp>
#include <qzservices/display/settings.hpp>
#include <qzservices/io/window.hpp>
#include <qzservices/orrery/InterruptException.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <boost/algorithm/string/join.hpp>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

using qztest::Capture;

namespace {

// "<class> <dims>: <elements>" with elements in column-major order: numbers
// as %.15g ("re+imi" when complex), a char array as its text in quotes, a
// function handle as its text, cells and structure elements in { } (fields
// as name=(value)). Sparse arrays start with "sparse" and end with their
// count of stored elements; a missing value is "".
std::string describe(vxArray const* a) {
    if (!a) return "";
    std::string out = vxIsSparse(a) ? "sparse " : "";
    out += vxGetClassName(a);
    char const* sep = " ";
    for (size_t d : qzlang::dimsOf(a)) out += sep + std::to_string(d), sep = "x";
    out += ":";
    size_t const n = vxGetNumberOfElements(a);
    switch (vxGetClassID(a)) {
    case vxCHAR_CLASS: return out + " '" + vxArrayToStdString(a) + "'";
    case vxFUNCTION_CLASS:
        return out + " " + vxFunctionHandleToString(static_cast<function_handle_tag const*>(vxGetData(a)));
    case vxCELL_CLASS:
        for (size_t k = 0; k < n; ++k) out += " {" + describe(vxGetCell(a, k)) + "}";
        return out;
    case vxSTRUCT_CLASS:
        for (size_t k = 0; k < n; ++k) {
            out += " {";
            for (int f = 0; f < vxGetNumberOfFields(a); ++f)
                out += (f ? " " : "") + std::string(vxGetFieldNameByNumber(a, f)) + "=(" +
                       describe(vxGetFieldByNumber(a, k, f)) + ")";
            out += "}";
        }
        return out;
    default: break;
    }
    qzlang::ArrayPtr const full = qzlang::toFull(a);
    for (size_t k = 0; k < n; ++k) {
        char text[64];
        if (vxIsComplex(a))
            std::snprintf(text, sizeof text, " %.15g%+.15gi", qzlang::realAt(full.get(), k),
                          qzlang::imagAt(full.get(), k) + 0.0);
        else
            std::snprintf(text, sizeof text, " %.15g", qzlang::realAt(full.get(), k));
        out += text;
    }
    if (vxIsSparse(a)) out += " (" + std::to_string(vxGetJc(a)[vxGetN(a)]) + " stored)";
    return out;
}

class Evaluation : public ::testing::Test {
protected:
    void SetUp() override { oldColumns_ = ioSetNumWindowColumns(80); }
    void TearDown() override {
        SetPrtfmt(PrtfmtShort);
        GetNewline()[0] = '\n';
        ioSetNumWindowColumns(oldColumns_);
    }

    // Runs statements; returns what they showed.
    std::string run(std::string const& text) {
        Capture capture;
        session.execute(text);
        return capture.outText();
    }
    // The reason of the error that the statements raise, or "" if none.
    std::string errorOf(std::string const& text) try {
        Capture capture;
        session.execute(text);
        return "";
    } catch (vx::Error const& e) {
        return e.what();
    }
    std::string describe(char const* name) { return ::describe(session.find(name)); }

    qzlang::Session session;
    size_t oldColumns_ = 80;
};

} // namespace

TEST_F(Evaluation, StatementsMakeTheseValues) {
    // A command that keeps the words it was given, as "[w1|w2]", in the variable w.
    std::string words;
    session.commands().add({"words-of", "", [&words](qzlang::Session& s, std::vector<std::string> const& w) {
                                words += "[" + boost::algorithm::join(w, "|") + "]";
                                s.assign("w", qzlang::ArrayPtr(vxCreateString(words.c_str())));
                                return qzlang::CommandResult::Continue;
                            }});
    struct {
        char const *statements, *name, *value;
    } const rows[] = {
        // A comment runs to the line end, but not inside a text.
        {"x = 'a%b' % a comment, y = 2\nz = [x 'c'];", "z", "char 1x4: 'a%bc'"},
        {"", "y", ""},
        // A registered word takes the rest of the statement as words; quotes keep blanks and separators.
        {"words-of long e; words-of 5, words-of 'a, b' 'it''s' \"x\"\nwords-of", "w",
         "char 1x28: '[long|e][5][a, b|it's|\"x\"][]'"},
        {"more = 3;", "more", "double 1x1: 3"},
        // In brackets a blank separates elements unless an operator stands between blanks; not inside ( ).
        {"v = [1 - 2];", "v", "double 1x1: -1"},
        {"v = [1 -2 +3];", "v", "double 1x3: 1 -2 3"},
        {"v = [zeros(1, 2) 3];", "v", "double 1x3: 0 0 3"},
        {"v = [1 2\n3 4;\n;5 6;];", "v", "double 3x2: 1 3 5 2 4 6"},
        {"v = [1.5e3, .25, 1e-2, 2.5j];", "v", "double 1x4: 1500+0i 0.25+0i 0.01+0i 0+2.5i"},
        // A quote after a value is a transpose, elsewhere it opens a text.
        {"q = 'a'; v = [q' 'b' q.'];", "v", "char 1x3: 'aba'"},
        {"v = [1 2]'';", "v", "double 1x2: 1 2"},
        // Concatenation: left to right, then top to bottom; an empty bracket vanishes.
        {"A = [1 2; 3 4]; B = [A, [5; 6]];", "B", "double 2x3: 1 3 2 4 5 6"},
        {"C = [A; 7 8];", "C", "double 3x2: 1 3 7 2 4 8"},
        {"a = [[] 1 [] 2];", "a", "double 1x2: 1 2"},
        {"b = [[]; [3 4]];", "b", "double 1x2: 3 4"},
        {"e = [[], []];", "e", "double 0x0:"},
        // The class follows char, then integer, then single; integers saturate and round halves away from zero.
        {"c = ['a' 66];", "c", "char 1x2: 'aB'"},
        {"i = [int8(1) 300.6 -2.5];", "i", "int8 1x3: 1 127 -3"},
        {"s = [single(1) 2];", "s", "single 1x2: 1 2"},
        {"l = [true false];", "l", "logical 1x2: 1 0"},
        {"d = [true 2];", "d", "double 1x2: 1 2"},
        {"z = [1, 2i; 3, 4];", "z", "double 2x2: 1+0i 3+0i 0+2i 4+0i"},
        {"a = cat(3, [1 2], [3 4]);", "a", "double 1x2x2: 1 2 3 4"},
        {"b = cat(1, {1}, {'x'});", "b", "cell 2x1: {double 1x1: 1} {char 1x1: 'x'}"},
        {"c = cat(2, sparse([1 0]), [0 2]);", "c", "sparse double 1x4: 1 0 0 2 (2 stored)"},
        // Ranges count steps from the start and reach the end despite rounding.
        {"a = 10:-3:1;", "a", "double 1x4: 10 7 4 1"},
        {"a = 0:0.1:0.3;", "a", "double 1x4: 0 0.1 0.2 0.3"},
        {"a = 5:1;", "a", "double 1x0:"},
        {"a = 1:0:5;", "a", "double 1x0:"},
        {"a = 95:'a';", "a", "double 1x3: 95 96 97"},
        // Sums of real and imaginary parts; cancelled imaginary parts leave a real value; negation saturates.
        {"a = 3+4i;", "a", "double 1x1: 3+4i"},
        {"b = 3-4i;", "b", "double 1x1: 3-4i"},
        {"c = -a;", "c", "double 1x1: -3-4i"},
        {"d = a - 4i;", "d", "double 1x1: 3"},
        {"e = [1 2] + 1;", "e", "double 1x2: 2 3"},
        {"f = -int8(-128);", "f", "int8 1x1: 127"},
        // ' conjugates, .' does not.
        {"a = [1+2i 3]';", "a", "double 2x1: 1-2i 3+0i"},
        {"b = [1+2i 3].';", "b", "double 2x1: 1+2i 3+0i"},
        {"c = ['ab'; 'cd']';", "c", "char 2x2: 'abcd'"},
        {"d = {1, 'x'}';", "d", "cell 2x1: {double 1x1: 1} {char 1x1: 'x'}"},
        // Sizes as counts, as a row, or with a class; trailing singletons dropped; negative counts empty.
        {"a = zeros(2);", "a", "double 2x2: 0 0 0 0"},
        {"b = ones(2, 3);", "b", "double 2x3: 1 1 1 1 1 1"},
        {"c = eye(2, 3);", "c", "double 2x3: 1 0 0 1 0 0"},
        {"d = zeros([1 4]);", "d", "double 1x4: 0 0 0 0"},
        {"e = ones(2, 'uint8');", "e", "uint8 2x2: 1 1 1 1"},
        {"f = zeros(2, 1, 1);", "f", "double 2x1: 0 0"},
        {"g = zeros(-3);", "g", "double 0x0:"},
        {"a = reshape(1:6, 3, 2);", "a", "double 3x2: 1 2 3 4 5 6"},
        {"b = reshape(1:8, [2 2 2]);", "b", "double 2x2x2: 1 2 3 4 5 6 7 8"},
        // Conversions round, saturate and take NaN to 0; char pads rows with blanks.
        {"a = int8([-200 2.5 -2.5 NaN]);", "a", "int8 1x4: -128 3 -3 0"},
        {"b = uint8(-1);", "b", "uint8 1x1: 0"},
        {"d = logical([0 3]);", "d", "logical 1x2: 0 1"},
        {"e = char([72 105]);", "e", "char 1x2: 'Hi'"},
        {"g = double('A');", "g", "double 1x1: 65"},
        {"c = char('a', 'bcd');", "c", "char 2x3: 'ab c d'"},
        // sparse from a full array, from places (values at one place add up), empty.
        {"a = sparse([0 2; 3 0]);", "a", "sparse double 2x2: 0 3 2 0 (2 stored)"},
        {"b = sparse([1 1 2], [1 1 3], [5 6 7]);", "b", "sparse double 2x3: 11 0 0 0 0 7 (2 stored)"},
        {"c = sparse(2, 3);", "c", "sparse double 2x3: 0 0 0 0 0 0 (0 stored)"},
        {"d = sparse([1 2], [1 2], 1, 3, 3);", "d", "sparse double 3x3: 1 0 0 0 1 0 0 0 0 (2 stored)"},
        {"e = sparse(int8(1));", "e", "sparse double 1x1: 1 (1 stored)"},
        {"z = complex(3, 0);", "z", "double 1x1: 3+0i"},
        {"w = complex([1 2], 5);", "w", "double 1x2: 1+5i 2+5i"},
        // Cells and handles; cell() holds no values yet.
        {"c = {1, 'abc'; [1 2 3], @sin};", "c",
         "cell 2x2: {double 1x1: 1} {double 1x3: 1 2 3} {char 1x3: 'abc'} {function_handle 1x1: @sin}"},
        {"e = { };", "e", "cell 0x0:"},
        {"n = cell(2, 1);", "n", "cell 2x1: {} {}"},
        // Fields are added in order and nest; an indexed element grows the array with empty members.
        {"clear s; s.a = 1; s.name = 'x'; s.a = 2; s.inner.deep = 3;", "s",
         "struct 1x1: {a=(double 1x1: 2) name=(char 1x1: 'x') inner=(struct 1x1: {deep=(double 1x1: 3)})}"},
        {"t = s.inner.deep;", "t", "double 1x1: 3"},
        {"r(2).a = 1; r(3).b = 'x';", "r",
         "struct 1x3: {a=(double 0x0:) b=(double 0x0:)} {a=(double 1x1: 1) b=(double 0x0:)} {a=(double 0x0:) b=(char 1x1: 'x')}"},
        {"m(2, 2).v = 5;", "m", "struct 2x2: {v=(double 0x0:)} {v=(double 0x0:)} {v=(double 0x0:)} {v=(double 1x1: 5)}"},
        {"s = struct('a', {1, 2}, 'b', 'same');", "s",
         "struct 1x2: {a=(double 1x1: 1) b=(char 1x4: 'same')} {a=(double 1x1: 2) b=(char 1x4: 'same')}"},
        {"t = struct('c', {{1, 2}});", "t", "struct 1x1: {c=(cell 1x2: {double 1x1: 1} {double 1x1: 2})}"},
        {"u = struct();", "u", "struct 1x1: {}"},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.statements);
        EXPECT_EQ(errorOf(row.statements), "");
        EXPECT_EQ(describe(row.name), row.value);
    }
}

TEST_F(Evaluation, BadStatementsAreRefusedWithTheirReason) {
    run("x = 5; s(2).a = 1;");
    struct {
        char const *statement, *reason;
    } const rows[] = {
        {"more(5)", "'more' is not a variable or a function."},
        {"[1 2; 3]", "The sizes 1x2 and 1x1 do not agree for concatenation along dimension 1."},
        {"[[1; 2] 3]", "The sizes 2x1 and 1x1 do not agree for concatenation along dimension 2."},
        {"[{1} 2]", "A cell array can only be concatenated with cell arrays."},
        {"[@sin @cos]", "Values of class function_handle cannot be concatenated."},
        {"cat(0, 1, 2)", "cat needs a dimension from 1 to 64."},
        {"1:1e12", "The array would have more than 10000000 elements."},
        {"0:Inf", "The array would have more than 10000000 elements."},
        {"1:{2}", "A range needs real numbers at its ends."},
        {"[1 2] + [1 2 3]", "The sizes 1x2 and 1x3 do not agree for '+'."},
        {"int8(1) + int16(1)", "Integers of classes int8 and int16 cannot be combined."},
        {"{1} - 1", "The operator '-' is not defined for values of class cell."},
        {"-@sin", "The operator '-' is not defined for values of class function_handle."},
        {"zeros(2, 2, 2)'", "Transpose is defined for arrays of two dimensions only."},
        {"zeros(1.5)", "zeros needs whole numbers as sizes."},
        {"zeros(NaN)", "zeros needs whole numbers as sizes."},
        {"ones(2, 'text')", "ones cannot make values of class 'text'."},
        {"zeros(1e5, 1e5)", "The array would have more than 10000000 elements."},
        {"reshape(1:6, 4, 2)", "reshape cannot change the number of elements (6 to 8)."},
        {"reshape(1:6)", "reshape needs at least 2 arguments."},
        {"logical(NaN)", "NaN cannot be converted to logical."},
        {"logical(1i)", "Complex values cannot be converted to logical."},
        {"double({1})", "Values of class cell cannot be converted to a number."},
        {"sparse(0, 1, 1)", "sparse needs positive whole numbers as rows and columns."},
        {"sparse({1})", "Values of class cell cannot be converted to a number."},
        {"sparse(3, 1, 1, 2, 2)", "sparse: a place lies outside the 2-by-2 size."},
        {"{1, 2; 3}", "The rows of a cell array differ in length (2 and 1)."},
        {"struct('a')", "struct takes pairs of a field name and a value."},
        {"struct('a', {1, 2}, 'b', {1, 2, 3})", "The cells given to struct differ in size."},
        {"x = disp(1)", "'disp' has no value to use."},
        {"[disp(1) 2]", "'disp' has no value to use."},
        {"1 + disp(1)", "'disp' has no value to use."},
        {"-disp(1)'", "'disp' has no value to use."},
        {"format long wide", "Unknown format 'wide'."},
        // A bad target leaves the variable as it was.
        {"x.a = 1", "Fields can only be set on a structure, not on a value of class double."},
        {"s.b = 1", "Name the element of the structure array, as in s(2).b."},
        {"s(0).a = 1", "An index must be a positive whole number, not 0."},
        {"x(2) = 1", "Indexed assignment is supported for structure elements only, as in s(2).a = 1."},
        {"s(1).a = undefinedName", "'undefinedName' is not a variable or a function."},
        {"y = x.a", "A value of class double has no fields."},
    };
    for (auto const& row : rows) EXPECT_EQ(errorOf(row.statement), row.reason) << row.statement;
    EXPECT_EQ(describe("x"), "double 1x1: 5");
    EXPECT_EQ(describe("s"), "struct 1x2: {a=(double 0x0:)} {a=(double 1x1: 1)}");
    EXPECT_EQ(GetPrtfmt(), PrtfmtShort) << "a refused format changes nothing";
}

TEST_F(Evaluation, RandIsRepeatableAndStaysInsideTheOpenInterval) {
    run("r = rand(1, 1000); s = rand(1, 1000);");
    qzlang::Session other;
    other.execute("r = rand(1, 1000);");
    EXPECT_NE(describe("s"), describe("r")) << "the generator goes on within a session";
    for (size_t k = 0; k < 1000; ++k) {
        double const v = qzlang::realAt(session.find("r"), k);
        EXPECT_TRUE(v > 0.0 && v < 1.0) << v;
        EXPECT_EQ(v, qzlang::realAt(other.find("r"), k)) << k;
    }
}

TEST_F(Evaluation, ResultsShowUnderTheirNameOrAnsAndQuietOnesNot) {
    EXPECT_EQ(run(" ;;, \n"), "");
    EXPECT_EQ(run("a = 1, b = 2; c = 3\nd = 4;\n\n5"), "\na =\n\n     1\n\n\nc =\n\n     3\n\n\nans =\n\n     5\n\n");
    EXPECT_EQ(run("a;"), "");
    EXPECT_EQ(run("a"), "\na =\n\n     1\n\n") << "a bare variable shows under its own name";
    EXPECT_EQ(run("disp(7)"), "     7\n\n");
    EXPECT_EQ(describe("ans"), "double 1x1: 5") << "disp has no value, so ans stays";
    run("clear = 4;");
    EXPECT_EQ(run("clear"), "\nclear =\n\n     4\n\n") << "a variable hides a command of the same name";
}

TEST_F(Evaluation, AFailureOrACommandThatLeavesStopsTheRest) {
    EXPECT_EQ(errorOf("a = 1; b = nothing; c = 3;"), "'nothing' is not a variable or a function.");
    EXPECT_NE(session.find("a"), nullptr);
    EXPECT_EQ(session.find("c"), nullptr);
    session.commands().add({"leave", "leave", [](qzlang::Session&, std::vector<std::string> const&) {
                                return qzlang::CommandResult::Exit;
                            }});
    Capture capture;
    EXPECT_EQ(session.execute("d = 1; leave; e = 2;"), qzlang::CommandResult::Exit);
    EXPECT_NE(session.find("d"), nullptr);
    EXPECT_EQ(session.find("e"), nullptr);
}

TEST_F(Evaluation, FormatWordsSetThePrintFormatAndSpacingAndClearRemovesVariables) {
    struct {
        char const* statement;
        int format;
        char newline;
    } const rows[] = {{"format long", PrtfmtLong, '\n'},        {"format short e", PrtfmtShortE, '\n'},
                      {"format compact", PrtfmtShortE, '\0'},   {"format RAT loose", PrtfmtRational, '\n'},
                      {"format compact; format", PrtfmtShort, '\n'}};
    for (auto const& row : rows) {
        run(row.statement);
        EXPECT_EQ(GetPrtfmt(), row.format) << row.statement;
        EXPECT_EQ(GetNewline()[0], row.newline) << row.statement;
    }
    run("a = 1; b = 2; c = 3; clear a b");
    EXPECT_EQ(session.names(), (std::vector<std::string>{"c"}));
    run("clear");
    EXPECT_TRUE(session.names().empty());
}

TEST(ErrorReport, AFailureIsOneLineOnTheErrorStream) {
    qzlang::Session session;
    Capture capture;
    EXPECT_FALSE(qzlang::executeAndReport(session, "x = [1 2; 3]"));
    EXPECT_TRUE(qzlang::executeAndReport(session, "y = 1;"));
    services::io::CXStream::CXErr.flush();
    EXPECT_EQ(capture.err->getString(),
              "Error: The sizes 1x2 and 1x1 do not agree for concatenation along dimension 1.\n");
}

TEST_F(Evaluation, APendingInterruptStopsALongStatementBeforeItAssigns) {
    for (char const* text : {"x = 1:200000;", "x = ones(1, 200000);", "x = rand(500);", "x = zeros(1, 200000) + 1;",
                             "x = int8(zeros(1, 200000));", "x = (1:200000)';"}) {
        uvSetInterruptPending(1);
        Capture capture;
        EXPECT_THROW(session.execute(text), Orrery::System::InterruptException) << text;
        EXPECT_EQ(uvIsInterruptPending(), 0) << "the interrupt is taken: " << text;
        EXPECT_EQ(session.find("x"), nullptr) << text;
    }
    // Short work never looks, so a pending interrupt is left for the display.
    uvSetInterruptPending(1);
    EXPECT_EQ(errorOf("y = 1:10;"), "");
    uvSetInterruptPending(0);
    EXPECT_NE(session.find("y"), nullptr);
}
