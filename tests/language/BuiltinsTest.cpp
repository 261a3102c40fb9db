// The built-ins that need the interpreter, by their exact output: fprintf to
// either stream, error's forms, who and whos, exist, tic and toc.
#include "language/LanguageFixture.hpp"

using qztest::Evaluation;

TEST_F(Evaluation, FprintfWritesFormattedTextToEitherStream) {
    struct {
        char const *statement, *out;
    } const rows[] = {
        {"fprintf('%d squared is %d\\n', 3, 9)", "3 squared is 9\n"},
        {"for k = 1:2, fprintf('%d,', k); end", "1,2,"},
        {"fprintf(1, 'x\\n')", "x\n"},
        {"n = fprintf('abc');", "abc"},
    };
    for (auto const& row : rows) EXPECT_EQ(run(row.statement), row.out) << row.statement;
    EXPECT_EQ(describe("n"), "double 1x1: 3");
    Capture capture;
    session.execute("fprintf(2, 'to errors %d\\n', 1)");
    services::io::CXStream::CXErr.flush();
    EXPECT_EQ(capture.outText(), "");
    EXPECT_EQ(capture.err->getString(), "to errors 1\n");
    EXPECT_EQ(errorOf("fprintf(3, 'x')"), "fprintf writes to 1 (the output) or 2 (the errors) only, or takes a format first.");
}

TEST_F(Evaluation, ErrorTakesAnIdentifierOnlyBeforeMoreArguments) {
    struct {
        char const *statement, *identifier, *message;
    } const rows[] = {
        {"error('a:b', 'v=%d', 7)", "a:b", "v=7"},
        {"error('only text %d')", "", "only text %d"},
        {"error('a:b')", "", "a:b"},
        {"e.message = 'from a struct'; e.identifier = 'x:y'; error(e)", "x:y", "from a struct"},
    };
    for (auto const& row : rows) {
        try {
            Capture capture;
            session.execute(row.statement);
            ADD_FAILURE() << row.statement << " raised nothing";
        } catch (vx::Error const& e) {
            EXPECT_EQ(e.identifier(), row.identifier) << row.statement;
            EXPECT_EQ(std::string(e.what()), row.message) << row.statement;
        }
    }
    EXPECT_EQ(errorOf("error('')"), "") << "an empty message raises nothing";
    EXPECT_EQ(errorOf("try, error('p:q', 'm'); catch err, end; rethrow(err)"), "m");
    EXPECT_EQ(errorOf("try, error('first'); catch, end; t = lasterr;"), "");
    EXPECT_EQ(describe("t"), "char 1x5: 'first'");
}

TEST_F(Evaluation, WhoWhosAndExistDescribeTheWorkspace) {
    run("a = [1 2 3]; bb = true(2); s.f = 1;");
    EXPECT_EQ(run("who"), "Your variables are:\n\na  bb  s  \n\n");
    EXPECT_EQ(run("whos a bb"),
              "  Name  Size                 Bytes  Class\n\n"
              "  a     1x3                     24  double\n"
              "  bb    2x2                      4  logical\n\n");
    EXPECT_EQ(run("w = who;"), "");
    EXPECT_EQ(describe("w"), "cell 3x1: {char 1x1: 'a'} {char 1x2: 'bb'} {char 1x1: 's'}");
    run("e = [exist('a') exist('class') exist('zeros') exist('nothing') exist('a', 'var') exist('class', 'var')];");
    EXPECT_EQ(describe("e"), "double 1x6: 1 5 5 0 1 0");
    run("clear all");
    EXPECT_EQ(run("who"), "");
}

TEST_F(Evaluation, TocMeasuresFromTic) {
    EXPECT_EQ(errorOf("t0 = tic; pause(0.05); d = toc(t0); tic; e = toc;"), "");
    double const d = qzlang::realAt(session.find("d"), 0);
    EXPECT_GE(d, 0.05);
    EXPECT_LT(d, 5.0);
    EXPECT_GE(qzlang::realAt(session.find("e"), 0), 0.0);
    std::string const shown = run("toc");
    EXPECT_EQ(shown.rfind("Elapsed time is ", 0), 0u) << shown;
    EXPECT_EQ(shown.substr(shown.size() - 10), " seconds.\n") << shown;
}

TEST_F(Evaluation, WarningsPrintOnTheErrorStreamUnlessTurnedOff) {
    Capture capture;
    session.execute("warning('careful %d', 3); warning('my:id', 'with id'); warning('off', 'my:id');"
                    "warning('my:id', 'hidden'); warning('other:id', 'shown'); warning off all; warning('gone');"
                    "warning on all; warning('plain %d'); x = 1;");
    services::io::CXStream::CXErr.flush();
    EXPECT_EQ(capture.err->getString(),
              "Warning: careful 3\nWarning: with id\nWarning: shown\nWarning: plain %d\n");
    EXPECT_NE(session.find("x"), nullptr) << "a warning never stops the statements";
    session.execute("w = lastwarn;");
    EXPECT_EQ(describe("w"), "char 1x8: 'plain %d'");
}
