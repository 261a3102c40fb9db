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

int gHookCalls = 0, gGetCharArg = 0;
bool gGetCharUseStdin = true, gGetCharFlag = false;

void countAdd() { ++gHookCalls; }
int frontEndKey(int arg, bool useStdin, bool flag) {
    ++gHookCalls;
    gGetCharArg = arg;
    gGetCharUseStdin = useStdin;
    gGetCharFlag = flag;
    return 'k';
}

// Starts each type-ahead test from an empty queue with no hooks.
class TypeAhead : public ::testing::Test {
protected:
    static void drain() {
        while (ioGetTypeAheadCount() > 0) ioGetTypeAheadChar();
    }
    void SetUp() override {
        drain();
        gHookCalls = 0;
    }
    void TearDown() override {
        drain();
        ioSetPostAddCharFcn(nullptr);
        ioSetGetCharFcn(nullptr);
    }
};

// Makes `text` the whole of standard input (file descriptor 0 and stdin).
void feedStdin(char const* text) {
    int fds[2];
    if (pipe(fds) != 0) return;
    (void)!write(fds[1], text, std::strlen(text));
    close(fds[1]);
    dup2(fds[0], 0);
    close(fds[0]);
    clearerr(stdin);
}

} // namespace

TEST_F(TypeAhead, HoldsFourThousandNinetySixAndPutBackComesFirst) {
    ioSetPostAddCharFcn(&countAdd);
    for (int i = 0; i < 4096; ++i) ASSERT_TRUE(ioAddTypeAheadChar(static_cast<char>('a' + i % 26)));
    EXPECT_FALSE(ioAddTypeAheadChar('!'));
    EXPECT_FALSE(ioPutBackTypeAheadChar('!'));
    EXPECT_EQ(gHookCalls, 4096);  // not called for the refused character
    EXPECT_EQ(ioGetTypeAheadCount(), 4096u);
    EXPECT_EQ(ioGetTypeAheadChar(), 'a');
    char c = ioGetTypeAheadChar();
    EXPECT_EQ(c, 'b');
    ASSERT_TRUE(ioPutBackTypeAheadChar(c));
    EXPECT_EQ(ioGetTypeAheadCount(), 4095u);
    EXPECT_EQ(ioGetTypeAheadChar(), 'b');
    EXPECT_EQ(ioGetTypeAheadChar(), 'c');
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
    EXPECT_EQ(0, runInFreshProcess([] {
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
        QZ_CHILD_CHECK(ioGetChar(1, false, true) == 't' && gHookCalls == 0, 4);
        QZ_CHILD_CHECK(read(out[0], buf, sizeof buf) == 8 && std::string(buf, 8) == "prompt> ", 6);
        // Had stdin been read through getc, its buffer would hold the "Z".
        QZ_CHILD_CHECK(read(0, buf, 1) == 1 && buf[0] == 'Z', 7);
        return 0;
    }).exitCode);
}

TEST(TypeAheadGetChar, ReaderGetsArgFalseAndFlagUnlessStdinIsAskedOrThereIsNone) {
    EXPECT_EQ(0, runInFreshProcess([] {
        feedStdin("QRS");
        QZ_CHILD_CHECK(ioGetChar(0, false, false) == 'Q', 2);  // no reader set
        ioSetGetCharFcn(&frontEndKey);
        QZ_CHILD_CHECK(ioGetChar(0, true, false) == 'R' && gHookCalls == 0, 3);  // asked for stdin
        QZ_CHILD_CHECK(ioGetChar(17, false, true) == 'k', 4);
        QZ_CHILD_CHECK(gHookCalls == 1 && gGetCharArg == 17 && !gGetCharUseStdin && gGetCharFlag, 5);
        QZ_CHILD_CHECK(ioGetChar(3, false, false) == 'k' && !gGetCharFlag, 6);
        QZ_CHILD_CHECK(ioGetChar(0, true, false) == 'S', 7);  // the reader left stdin alone
        QZ_CHILD_CHECK(ioGetChar(0, true, false) == EOF, 8);
        return 0;
    }).exitCode);
}

TEST(TypeAheadCharClass, DigitsLettersAndSpacesAreAsciiOnly) {
    for (int c = EOF; c < 256; ++c) {
        bool digit = c >= '0' && c <= '9';
        EXPECT_EQ(isqzdigit(c) != 0, digit) << c;
        EXPECT_EQ(isqzalnum(c) != 0, digit || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z')) << c;
        EXPECT_EQ(isqzspace(c) != 0, (c >= 9 && c <= 13) || c == ' ') << c;
    }
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
    size_t columns_ = 0, rows_ = 0;
};

struct winsize sizeOf(unsigned short cols, unsigned short rows) {
    struct winsize size {};
    size.ws_col = cols;
    size.ws_row = rows;
    return size;
}

} // namespace

TEST(WindowSizeAtLoad, EightyByTwentyFiveWithBuzzOn) {
    EXPECT_EQ(0, runInFreshProcess([] {
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 80 && ioGetNumWindowRows() == 25, 2);
        QZ_CHILD_CHECK(ioGetBuzz() == 1, 3);
        return 0;
    }).exitCode);
}

TEST_F(WindowSize, SettersReturnTheOldValuesAndEightyColumnModeTracksTheRealWidth) {
    ioSetNumWindowColumns(100);
    EXPECT_EQ(ioSetNumWindowColumns(132), 100u);
    EXPECT_EQ(ioGetNumWindowColumns(), 132u);
    ioSetNumWindowRows(30);
    EXPECT_EQ(ioSetNumWindowRows(48), 30u);
    EXPECT_EQ(ioGetNumWindowRows(), 48u);
    ioUseEightyColumns(1);
    EXPECT_EQ(ioGetNumWindowColumns(), 80u);
    EXPECT_EQ(ioSetNumWindowColumns(120), 80u);  // the width displays saw
    EXPECT_EQ(ioGetNumWindowColumns(), 80u);
    ioUseEightyColumns(0);
    EXPECT_EQ(ioGetNumWindowColumns(), 120u);
}

TEST(WindowSizeFromTerminal, TakenFromAPseudoTerminalOnlyWhenItHasColumns) {
    EXPECT_EQ(0, runInFreshProcess([] {
        feedStdin("");  // not a terminal: the size stays
        ioSetNumWindowColumns(91);
        ioSetNumWindowRows(21);
        ioUpdateWindowSize();
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 91 && ioGetNumWindowRows() == 21, 2);
        int master = -1, slave = -1;
        struct winsize size = sizeOf(0, 0);
        QZ_CHILD_CHECK(openpty(&master, &slave, nullptr, nullptr, &size) == 0 && dup2(slave, 0) == 0, 3);
        ioUpdateWindowSize();  // zero by zero: the size stays
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 91 && ioGetNumWindowRows() == 21, 4);
        auto resize = [master](unsigned short cols, unsigned short rows) {
            struct winsize s = sizeOf(cols, rows);
            ioctl(master, TIOCSWINSZ, &s);
            ioUpdateWindowSize();
        };
        resize(70, 0);  // only the column count decides: rows of 0 are stored
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 70 && ioGetNumWindowRows() == 0, 5);
        resize(101, 33);
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 101 && ioGetNumWindowRows() == 33, 6);
        ioUseEightyColumns(1);
        resize(150, 60);
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 80 && ioGetNumWindowRows() == 60, 7);
        ioUseEightyColumns(0);
        QZ_CHILD_CHECK(ioGetNumWindowColumns() == 150, 8);
        return 0;
    }).exitCode);
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
    EXPECT_EQ(0, runInFreshProcess([] {
        svSetWS_SysBeepFcn(&beep);
        CXStream::CXOut.push(boost::make_shared<CXStringSink>());
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 0, 2);
        CXStream::CXOut.push(boost::make_shared<BuzzSink>());
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 1, 3);
        ioSetBuzz(0);
        QZ_CHILD_CHECK(ioGetBuzz() == 0, 4);
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 1, 5);
        ioSetBuzz(7);  // any nonzero value means on
        QZ_CHILD_CHECK(ioGetBuzz() == 1, 6);
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 2, 7);
        CXStream::CXOut.pop();
        ioBuzz();
        QZ_CHILD_CHECK(gBeeps == 2, 8);
        return 0;
    }).exitCode);
}

TEST_F(WindowSize, BuiltinsReturnTheSizeAsADoubleScalarAndCheckTheirArguments) {
    ioSetNumWindowColumns(132);
    ioSetNumWindowRows(43);
    ioUseEightyColumns(1);
    // The inputs are read-only to both: a host's table of that form takes them.
    typedef void (*SizeBuiltin)(int, vxArray_tag**, int, vxArray_tag const**);
    for (auto [fcn, expected] : {std::pair<SizeBuiltin, double>{&numWindowColsFcn, 80.0}, {&numWindowRowsFcn, 43.0}}) {
        vxArray_tag* out[2] = {nullptr, nullptr};
        vxArray_tag const* in[2] = {nullptr, nullptr};
        fcn(expected == 80.0 ? 0 : 1, out, 0, nullptr);
        ASSERT_NE(out[0], nullptr);
        EXPECT_TRUE(vxIsDouble(out[0]) && vxIsScalar(out[0]));
        EXPECT_EQ(vxGetScalar(out[0]), expected);
        vxDestroyArray(out[0]);
        // Outputs are checked before inputs.
        for (auto [outs, ins, id] : {std::tuple<int, int, char const*>{2, 0, "CALYX:maxlhs"}, {1, 1, "CALYX:maxrhs"},
                                     {0, -1, "CALYX:minrhs"}, {2, 1, "CALYX:maxlhs"}}) {
            try {
                fcn(outs, out, ins, in);
                ADD_FAILURE() << id << " not raised";
            } catch (vx::Error const& e) {
                EXPECT_EQ(e.identifier(), std::string(id));
            }
        }
    }
}
