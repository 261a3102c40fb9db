// Type-ahead, ioGetChar, the locale-free character tests, the window size
// (from setters and from a pseudo-terminal), the beep and the size built-ins.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/callbacks.hpp"
#include "qzservices/io/typeahead.hpp"
#include "qzservices/io/window.hpp"
#include "support/child_process.hpp"

#include "vx/array.hpp"
#include "vx/errors.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

using services::io::CXStream;
using services::io::CXStringSink;
using qztest::runInFreshProcess;

namespace {

int gHookCalls = 0;
int gGetCharArg = 0;
bool gGetCharUseStdin = true;
bool gGetCharFlag = false;

void countAdd() { ++gHookCalls; }

int frontEndKey(int arg, bool useStdin, bool flag) {
    ++gHookCalls;
    gGetCharArg = arg;
    gGetCharUseStdin = useStdin;
    gGetCharFlag = flag;
    return 'k';
}

void drainTypeAhead() {
    while (ioGetTypeAheadCount() > 0) ioGetTypeAheadChar();
}

// Starts each type-ahead test from an empty queue with no hooks.
class TypeAhead : public ::testing::Test {
protected:
    void SetUp() override {
        drainTypeAhead();
        gHookCalls = 0;
    }
    void TearDown() override {
        drainTypeAhead();
        ioSetPostAddCharFcn(nullptr);
        ioSetGetCharFcn(nullptr);
    }
};

// Makes `text` the whole of standard input (file descriptor 0 and stdin).
void feedStdin(char const* text) {
    int fds[2];
    if (pipe(fds) != 0) return;
    ssize_t written = write(fds[1], text, std::strlen(text));
    (void)written;
    close(fds[1]);
    dup2(fds[0], 0);
    close(fds[0]);
    clearerr(stdin);
}

} // namespace

TEST_F(TypeAhead, HoldsFourThousandNinetySixAndRefusesTheNext) {
    ioSetPostAddCharFcn(&countAdd);
    for (int i = 0; i < 4096; ++i) ASSERT_TRUE(ioAddTypeAheadChar(static_cast<char>('a' + i % 26)));
    EXPECT_EQ(ioGetTypeAheadCount(), 4096u);
    EXPECT_EQ(gHookCalls, 4096);
    EXPECT_FALSE(ioAddTypeAheadChar('!'));
    EXPECT_FALSE(ioPutBackTypeAheadChar('!'));
    EXPECT_EQ(gHookCalls, 4096);  // not called for the refused character
    EXPECT_EQ(ioGetTypeAheadCount(), 4096u);
    EXPECT_EQ(ioGetTypeAheadChar(), 'a');
    EXPECT_EQ(ioGetTypeAheadChar(), 'b');
}

TEST_F(TypeAhead, CharacterTakenAndPutBackIsTheNextTaken) {
    ASSERT_TRUE(ioAddTypeAheadChar('x'));
    ASSERT_TRUE(ioAddTypeAheadChar('y'));
    char c = ioGetTypeAheadChar();
    EXPECT_EQ(c, 'x');
    ASSERT_TRUE(ioPutBackTypeAheadChar(c));
    EXPECT_EQ(ioGetTypeAheadCount(), 2u);
    EXPECT_EQ(ioGetTypeAheadChar(), 'x');
    EXPECT_EQ(ioGetTypeAheadChar(), 'y');
    EXPECT_EQ(ioGetTypeAheadCount(), 0u);
}

TEST_F(TypeAhead, GetCharTakesQueuedInputFirstSignExtended) {
    ASSERT_TRUE(ioAddTypeAheadChar('\xE9'));
    ASSERT_TRUE(ioAddTypeAheadChar('m'));
    ioSetGetCharFcn(&frontEndKey);
    EXPECT_EQ(ioGetChar(0, false, false), -23);
    EXPECT_EQ(ioGetChar(0, true, false), 'm');
    EXPECT_EQ(gHookCalls, 0);
}

TEST(TypeAheadGetChar, QueuedInputTouchesNeitherReaderNorStdinButFlushesStdout) {
    auto r = runInFreshProcess([] {
        std::fflush(stdout);
        feedStdin("Z");
        int out[2];
        QZ_CHILD_CHECK(pipe(out) == 0, 2);
        fcntl(out[0], F_SETFL, O_NONBLOCK);
        dup2(out[1], 1);
        std::printf("prompt> ");
        char buf[32];
        QZ_CHILD_CHECK(read(out[0], buf, sizeof buf) < 0, 3);  // still in stdout's buffer
        ioSetGetCharFcn(&frontEndKey);
        ioAddTypeAheadChar('t');
        QZ_CHILD_CHECK(ioGetChar(1, false, true) == 't', 4);
        QZ_CHILD_CHECK(gHookCalls == 0, 5);
        ssize_t n = read(out[0], buf, sizeof buf);
        QZ_CHILD_CHECK(n == 8 && std::string(buf, 8) == "prompt> ", 6);
        // Had stdin been read through getc, its buffer would hold the "Z".
        QZ_CHILD_CHECK(read(0, buf, 1) == 1 && buf[0] == 'Z', 7);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(TypeAheadGetChar, WithoutReaderOrWhenAskedStdinIsRead) {
    auto r = runInFreshProcess([] {
        feedStdin("QR");
        QZ_CHILD_CHECK(ioGetChar(0, false, false) == 'Q', 2);  // no reader set
        ioSetGetCharFcn(&frontEndKey);
        QZ_CHILD_CHECK(ioGetChar(0, true, false) == 'R', 3);  // asked for stdin
        QZ_CHILD_CHECK(gHookCalls == 0, 4);
        QZ_CHILD_CHECK(ioGetChar(0, true, false) == EOF, 5);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(TypeAheadGetChar, FrontEndReaderGetsArgFalseAndFlag) {
    auto r = runInFreshProcess([] {
        feedStdin("S");
        ioSetGetCharFcn(&frontEndKey);
        QZ_CHILD_CHECK(ioGetChar(17, false, true) == 'k', 2);
        QZ_CHILD_CHECK(gHookCalls == 1 && gGetCharArg == 17, 3);
        QZ_CHILD_CHECK(!gGetCharUseStdin && gGetCharFlag, 4);
        QZ_CHILD_CHECK(ioGetChar(3, false, false) == 'k' && !gGetCharFlag, 5);
        char c = 0;
        QZ_CHILD_CHECK(read(0, &c, 1) == 1 && c == 'S', 6);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(TypeAheadCharClass, DigitsLettersAndSpacesAreAsciiOnly) {
    EXPECT_FALSE(isqzdigit('/'));
    EXPECT_TRUE(isqzdigit('0'));
    EXPECT_TRUE(isqzdigit('9'));
    EXPECT_FALSE(isqzdigit(':'));
    EXPECT_FALSE(isqzdigit('a'));

    EXPECT_TRUE(isqzalnum('5'));
    EXPECT_FALSE(isqzalnum('@'));
    EXPECT_TRUE(isqzalnum('A'));
    EXPECT_TRUE(isqzalnum('Z'));
    EXPECT_FALSE(isqzalnum('['));
    EXPECT_FALSE(isqzalnum('`'));
    EXPECT_TRUE(isqzalnum('a'));
    EXPECT_TRUE(isqzalnum('z'));
    EXPECT_FALSE(isqzalnum('{'));
    EXPECT_FALSE(isqzalnum('_'));
    EXPECT_FALSE(isqzalnum(0xE9));  // a letter in Latin-1, not here

    EXPECT_FALSE(isqzspace(8));
    for (int c = 9; c <= 13; ++c) EXPECT_TRUE(isqzspace(c)) << c;
    EXPECT_FALSE(isqzspace(14));
    EXPECT_FALSE(isqzspace(31));
    EXPECT_TRUE(isqzspace(32));
    EXPECT_FALSE(isqzspace(33));
    EXPECT_FALSE(isqzspace(0xA0));
    EXPECT_FALSE(isqzspace(EOF));
}

namespace {

// Puts the size and the mode back after each test.
class WindowSize : public ::testing::Test {
protected:
    void SetUp() override {
        ioUseEightyColumns(0);
        columns_ = ioGetNumWindowColumns();
        rows_ = ioGetNumWindowRows();
    }
    void TearDown() override {
        ioUseEightyColumns(0);
        ioSetNumWindowColumns(columns_);
        ioSetNumWindowRows(rows_);
    }
private:
    size_t columns_ = 0;
    size_t rows_ = 0;
};

// A pseudo-terminal whose slave end becomes file descriptor 0.
struct PtyStdin {
    int master = -1;
    int slave = -1;
    explicit PtyStdin(unsigned short cols, unsigned short rows) {
        struct winsize size {};
        size.ws_col = cols;
        size.ws_row = rows;
        if (openpty(&master, &slave, nullptr, nullptr, &size) == 0) dup2(slave, 0);
    }
    void resize(unsigned short cols, unsigned short rows) {
        struct winsize size {};
        size.ws_col = cols;
        size.ws_row = rows;
        ioctl(master, TIOCSWINSZ, &size);
    }
};

} // namespace

TEST(WindowSizeAtLoad, EightyByTwentyFive) {
    auto r = runInFreshProcess([] {
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 80, 2);
        QZ_CHILD_CHECK(ioGetNumWindowRows() == 25, 3);
        QZ_CHILD_CHECK(ioGetBuzz() == 1, 4);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST_F(WindowSize, SettersReturnTheOldValues) {
    ioSetNumWindowColumns(100);
    EXPECT_EQ(ioSetNumWindowColumns(132), 100u);
    EXPECT_EQ(ioGetNumWindowColumns(), 132u);
    ioSetNumWindowRows(30);
    EXPECT_EQ(ioSetNumWindowRows(48), 30u);
    EXPECT_EQ(ioGetNumWindowRows(), 48u);
}

TEST_F(WindowSize, EightyColumnModeHidesButTracksTheRealWidth) {
    ioSetNumWindowColumns(100);
    ioUseEightyColumns(1);
    EXPECT_EQ(ioGetNumWindowColumns(), 80u);
    EXPECT_EQ(ioSetNumWindowColumns(120), 80u);  // the width displays saw
    EXPECT_EQ(ioGetNumWindowColumns(), 80u);
    ioUseEightyColumns(0);
    EXPECT_EQ(ioGetNumWindowColumns(), 120u);
}

TEST(WindowSizeFromTerminal, PseudoTerminalSizeIsTaken) {
    auto r = runInFreshProcess([] {
        PtyStdin pty(101, 33);
        QZ_CHILD_CHECK(pty.master >= 0 && isatty(0), 2);
        ioUpdateWindowSize();
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 101, 3);
        QZ_CHILD_CHECK(ioGetNumWindowRows() == 33, 4);
        pty.resize(150, 60);
        ioUseEightyColumns(1);
        ioUpdateWindowSize();
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 80 && ioGetNumWindowRows() == 60, 5);
        ioUseEightyColumns(0);
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 150, 6);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(WindowSizeFromTerminal, ZeroByZeroLeavesTheSizeAlone) {
    auto r = runInFreshProcess([] {
        PtyStdin pty(0, 0);
        QZ_CHILD_CHECK(pty.master >= 0, 2);
        ioSetNumWindowColumns(90);
        ioSetNumWindowRows(20);
        ioUpdateWindowSize();
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 90 && ioGetNumWindowRows() == 20, 3);
        // Only the column count decides: rows of 0 with columns are stored.
        pty.resize(70, 0);
        ioUpdateWindowSize();
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 70 && ioGetNumWindowRows() == 0, 4);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(WindowSizeFromTerminal, NonTerminalStdinLeavesTheSizeAlone) {
    auto r = runInFreshProcess([] {
        feedStdin("");
        ioSetNumWindowColumns(91);
        ioSetNumWindowRows(21);
        ioUpdateWindowSize();
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 91 && ioGetNumWindowRows() == 21, 2);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

namespace {

class BuzzSink : public CXStringSink {
public:
    bool supportsBuzz() const override { return true; }
};

int gBeeps = 0;
void beep() { ++gBeeps; }

} // namespace

TEST(Buzz, BeepsOnlyWhenOnAndTheTopSinkCanBeep) {
    auto r = runInFreshProcess([] {
        svSetWS_SysBeepFcn(&beep);
        auto plain = boost::make_shared<CXStringSink>();
        CXStream::CXOut.push(plain);
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 0, 2);
        CXStream::CXOut.push(boost::make_shared<BuzzSink>());
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 1, 3);
        CXStream::CXOut.pop();
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 1, 4);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(Buzz, SwitchedOffIsSilentAndReadsBackAsZero) {
    auto r = runInFreshProcess([] {
        svSetWS_SysBeepFcn(&beep);
        CXStream::CXOut.push(boost::make_shared<BuzzSink>());
        ioSetBuzz(0);
        QZ_CHILD_CHECK(ioGetBuzz() == 0, 2);
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 0, 3);
        ioSetBuzz(7);  // any nonzero value means on
        QZ_CHILD_CHECK(ioGetBuzz() == 1, 4);
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 1, 5);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

namespace {

// The identifier of the error a built-in raises, or "" if none.
std::string builtinError(vxBuiltinFcn fcn, int outCount, int inCount) {
    vxArray_tag* out[2] = {nullptr, nullptr};
    vxArray_tag* in[2] = {nullptr, nullptr};
    try {
        fcn(outCount, out, inCount, in);
    } catch (vx::Error const& e) {
        return e.identifier();
    }
    vxDestroyArray(out[0]);
    return "";
}

} // namespace

TEST_F(WindowSize, BuiltinsReturnTheSizeAsADoubleScalar) {
    ioSetNumWindowColumns(132);
    ioSetNumWindowRows(43);
    ioUseEightyColumns(1);
    vxArray_tag* out[1] = {nullptr};
    numWindowColsFcn(0, out, 0, nullptr);
    ASSERT_NE(out[0], nullptr);
    EXPECT_TRUE(vxIsDouble(out[0]));
    EXPECT_TRUE(vxIsScalar(out[0]));
    EXPECT_EQ(vxGetScalar(out[0]), 80.0);
    vxDestroyArray(out[0]);
    out[0] = nullptr;
    numWindowRowsFcn(1, out, 0, nullptr);
    ASSERT_NE(out[0], nullptr);
    EXPECT_EQ(vxGetScalar(out[0]), 43.0);
    vxDestroyArray(out[0]);
}

TEST(WindowSizeBuiltins, ArgumentCountsAreChecked) {
    for (vxBuiltinFcn fcn : {&numWindowColsFcn, &numWindowRowsFcn}) {
        EXPECT_EQ(builtinError(fcn, 1, 0), "");
        EXPECT_EQ(builtinError(fcn, 2, 0), "CALYX:maxlhs");
        EXPECT_EQ(builtinError(fcn, 1, 1), "CALYX:maxrhs");
        EXPECT_EQ(builtinError(fcn, 0, -1), "CALYX:minrhs");
        EXPECT_EQ(builtinError(fcn, 2, 1), "CALYX:maxlhs");  // outputs are checked first
    }
}
