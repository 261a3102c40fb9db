// The terminal keyboard, driven through a pseudo-terminal: a child process
// has the pty as its standard input and reports what it decoded through a
// pipe on its standard output.
#include "qzservices/io/keybrd.hpp"
#include "qzservices/io/typeahead.hpp"
#include "support/child_process.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <pty.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct PtyRun {
    std::string out;
    int exitCode = -1;
};

// Runs `body` in a child whose stdin is a new pty and whose stdout is a pipe.
// The child writes "R" when it is ready for input; `input` is then typed.
PtyRun runOnPty(char const* term, std::string const& input, std::function<void()> const& body) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) return {};
    int master = -1;
    pid_t pid = forkpty(&master, nullptr, nullptr, nullptr);
    if (pid == 0) {
        close(pipeFds[0]);
        if (term) setenv("TERM", term, 1);
        else unsetenv("TERM");
        dup2(pipeFds[1], 1);
        close(pipeFds[1]);
        body();
        std::fflush(stdout);
        _exit(0);
    }
    close(pipeFds[1]);
    PtyRun run;
    char buffer[256];
    ssize_t n;
    bool typed = false;
    while ((n = read(pipeFds[0], buffer, sizeof buffer)) > 0) {
        run.out.append(buffer, static_cast<size_t>(n));
        if (!typed && run.out.find('R') != std::string::npos) {
            typed = true;
            if (!input.empty()) (void)!write(master, input.data(), input.size());
        }
    }
    close(pipeFds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    close(master);
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

// Sets non-canonical mode, says ready, then decodes `keys` keys, printing
// each code in brackets.
std::function<void()> decodeKeys(int keys) {
    return [keys] {
        ioSetNonCanonicalMode();
        std::fputs("R", stdout);
        std::fflush(stdout);
        for (int i = 0; i < keys; ++i) std::printf("[%d]", ioGetCharNoEcho(true, false));
    };
}

TEST(TerminalKeyboard, KeysAndSequencesDecodeUnderEachTerminalDescription) {
    struct Row {
        char const* term;
        char const* typed;
        int keys;
        char const* decoded;
    } const rows[] = {
        // xterm's own up arrow (ESC O A) and the built-in ESC [ A both give 259.
        {"xterm", "a\x1b[A\x1bOA\x1b[5~\x1b[1;5D", 5, "R[97][259][259][339][507]"},
        // An unknown sequence gives its first character and the rest after.
        {"xterm", "\x1bxy", 3, "R[27][120][121]"},
        // ESC [ 1 ; 5 begins known sequences; "z" ends the hope: all given back in order.
        {"xterm", "\x1b[1;5zq", 6, "R[27][91][49][59][53][122]"},
        // xterm's kbs is 127 itself: the description's record takes the
        // sequence over, and it still reads as the backspace key.
        {"xterm", "\x7f\x08", 2, "R[263][8]"},
        // vt100: kcuu1 is ESC O A and kbs is ^H; ESC [ A and 127 come from the built-in rows.
        {"vt100", "\x1bOA\x1b[A\x08\x7f", 4, "R[259][259][263][263]"},
        // Without TERM, or with one unknown, the vt100 description serves.
        {nullptr, "\x1b[B\x7f", 2, "R[258][263]"},
        {"no-such-terminal-type", "\x1b[C", 1, "R[261]"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.term ? row.term : "no TERM");
        PtyRun run = runOnPty(row.term, row.typed, decodeKeys(row.keys));
        EXPECT_EQ(0, run.exitCode);
        EXPECT_EQ(row.decoded, run.out);
    }
}

TEST(TerminalKeyboard, ModesKeypadAndBackspaceOutput) {
    PtyRun run = runOnPty("xterm", "", [] {
        std::printf("P%d", svGetPristineTTY() != nullptr ? 1 : 0);
        ioSetupLineProtocol();  // non-canonical, keypad on
        termios now;
        tcgetattr(0, &now);
        std::printf("|C%d L%d|", (now.c_lflag & ICANON) ? 1 : 0, ioGetLineProtocol());
        ioSetNonCanonicalMode();  // a second time: the tables stay as built
        ioBackspace(0);
        std::fputs("|", stdout);
        ioBackspace(2);
        std::fputs("|", stdout);
        ioResetLineProtocol();  // canonical again, keypad off
        tcgetattr(0, &now);
        std::printf("|C%d L%d|", (now.c_lflag & ICANON) ? 1 : 0, ioGetLineProtocol());
        ioResetLineProtocol();  // already canonical: only the keypad goes off again
        std::fputs("R", stdout);
    });
    EXPECT_EQ(0, run.exitCode);
    // xterm: smkx ESC [ ? 1 h ESC =, rmkx ESC [ ? 1 l ESC >, le is ^H.
    std::string const smkx = "\x1b[?1h\x1b=";
    std::string const rmkx = "\x1b[?1l\x1b>";
    EXPECT_EQ("P1" + smkx + "|C0 L0||\b\b|" + rmkx + "|C1 L1|" + rmkx + "R", run.out);
}

TEST(TerminalKeyboard, InputThatIsNoTerminalPassesThrough) {
    EXPECT_EQ(0, qztest::runInFreshProcess([] {
        int fds[2];
        QZ_CHILD_CHECK(pipe(fds) == 0 && write(fds[1], "\x1b[A", 3) == 3 && dup2(fds[0], 0) == 0, 2);
        close(fds[1]);
        for (int expected : {27, int('['), int('A')}) QZ_CHILD_CHECK(ioGetCharNoEcho(true, false) == expected, 3);
        QZ_CHILD_CHECK(svGetPristineTTY() == nullptr && !ioIsKeyboard(), 4);
        return 0;
    }).exitCode);
}

// A description compiled here (tic -x) whose screen capabilities "cl", "ho"
// and "le" are its own, with a clear sequence longer than the 32 characters
// kept for it.
TEST(TerminalKeyboard, DescriptionKeysWinAndOversizedCapabilitiesAreRefused) {
    char folder[] = "/tmp/qz_terminfo_XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(folder));
    std::string const dir = folder;
    std::string const clear33 = "\\E[H\\E[2J\\E[3J\\E[H\\E[2J\\E[3J\\E[H\\E[2J\\E[3J";
    {
        FILE* src = std::fopen((dir + "/qz.src").c_str(), "w");
        ASSERT_NE(nullptr, src);
        std::fprintf(src,
                     "qztest|terminal with an oversized clear,\n\tcl=%s,\n\tho=\\E[7H, le=\\E[9D,\n"
                     "\tkbs=\\177, kcuu1=\\EOA, kcud1=\\E[X,\n\tsmkx=\\E[?1h, rmkx=\\E[?1l,\n",
                     clear33.c_str());
        std::fclose(src);
    }
    std::string const compile = "tic -x -o " + dir + " " + dir + "/qz.src 2>/dev/null";
    if (std::system(compile.c_str()) != 0) {
        std::system(("rm -rf " + dir).c_str());
        GTEST_SKIP() << "tic cannot compile terminal descriptions here";
    }
    PtyRun run = runOnPty("qztest", "\x1bOA\x1b[A\x7f\x1b[X", [dir] {
        setenv("TERMINFO", dir.c_str(), 1);
        ioSetNonCanonicalMode();
        svHomeCursor();
        std::fputs("|", stdout);
        svClearAlpha();
        std::fputs("|", stdout);
        ioBackspace(1);
        std::fputs("R", stdout);
        std::fflush(stdout);
        for (int i = 0; i < 4; ++i) std::printf("[%d]", ioGetCharNoEcho(true, false));
    });
    std::system(("rm -rf " + dir).c_str());
    EXPECT_EQ(0, run.exitCode);
    // Home and left are the description's; clear keeps the built-in value.
    EXPECT_EQ("\x1b[7H|\x1b[H\x1b[2J|\x1b[9DR[259][259][263][258]", run.out);
}

} // namespace
