// The console's terminal services for the library's callback table: one key
// in non-canonical mode, removing the current line, the beep, and the signals.
#include "Terminal.hpp"
#include "LineEditor.hpp"

#include <qzhost/WindowCallbacks.hpp>
#include <qzservices/io/keybrd.hpp>
#include <qzservices/io/typeahead.hpp>
#include <orrery/exceptions.hpp>
#include <uv/uv.hpp>

#include <cerrno>
#include <cstdio>
#include <csignal>
#include <termios.h>
#include <unistd.h>

namespace qzconsole {

namespace {

void onWindowChange(int) { noteWindowChanged(); }

// The library's keyboard mode for one key: non-canonical, no echo, the
// keypad on; canonical again however the wait ends.
class KeyboardMode {
public:
    KeyboardMode() { ioSetupLineProtocol(); }
    ~KeyboardMode() {
        ioResetLineProtocol();
        std::fflush(stdout);  // the keypad-off sequence now, before the window's next text
    }
    KeyboardMode(KeyboardMode const&) = delete;
    KeyboardMode& operator=(KeyboardMode const&) = delete;
};

// One byte of standard input for the library's key reader. A ctrl-C during
// the wait throws the interrupt exception.
int readByte(int, bool, bool) {
    unsigned char c = 0;
    for (;;) {
        ssize_t n = ::read(0, &c, 1);
        if (n == 1) return c;
        if (n < 0 && errno == EINTR) {
            if (uvIsInterruptPending()) {
                uvSetInterruptPending(0);
                throw Orrery::System::InterruptException(true);
            }
            continue;
        }
        return EOF;
    }
}

} // namespace

int readOneKey() {
    KeyboardMode mode;
    int const key = ioGetCharNoEcho(false, false);
    return key == EOF ? -1 : key;
}

void installKeyReader() { ioSetGetCharFcn(&readByte); }

void deleteCurrentLine() {
    static char const kErase[] = "\r\033[K";
    ssize_t ignored = ::write(1, kErase, sizeof kErase - 1);
    (void)ignored;
}

void beep() {
    ssize_t ignored = ::write(1, "\a", 1);
    (void)ignored;
}

void installInterruptHandler() {
    qzhost::installSignal(SIGINT, &qzhost::markInterruptPending);
    // A new window size is taken before the next statement and, while the
    // prompt stands, when the wait wakes up.
    qzhost::installSignal(SIGWINCH, &onWindowChange);
}

} // namespace qzconsole
