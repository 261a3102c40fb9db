#include "Terminal.hpp"
#include "LineEditor.hpp"

#include <qzservices/io/CmdWinEvents.hpp>
#include <qzservices/io/ioFlush.hpp>
#include <qzservices/orrery/InterruptException.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>

#include <boost/make_shared.hpp>
#include <cmath>
#include <ctime>
#include <uv/uv.hpp>

#include <cerrno>
#include <csignal>
#include <termios.h>
#include <unistd.h>

namespace qzconsole {

namespace {

void onInterrupt(int) { uvSetInterruptPending(1); }
void onWindowChange(int) { noteWindowChanged(); }

// Restores the terminal's settings however the wait ends.
class NonCanonicalMode {
public:
    NonCanonicalMode() : active_(tcgetattr(0, &saved_) == 0) {
        if (!active_) return;
        termios raw = saved_;
        raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        tcsetattr(0, TCSANOW, &raw);
    }
    ~NonCanonicalMode() {
        if (active_) tcsetattr(0, TCSANOW, &saved_);
    }
private:
    termios saved_{};
    bool active_;
};

} // namespace

int readOneKey() {
    NonCanonicalMode mode;
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
        return -1;
    }
}

void deleteCurrentLine() {
    static char const kErase[] = "\r\033[K";
    ssize_t ignored = ::write(1, kErase, sizeof kErase - 1);
    (void)ignored;
}

void beep() {
    ssize_t ignored = ::write(1, "\a", 1);
    (void)ignored;
}

unsigned int sleepSeconds(double seconds, bool) {
    if (!(seconds > 0)) return 0;
    timespec wait;
    wait.tv_sec = static_cast<time_t>(std::floor(seconds));
    wait.tv_nsec = static_cast<long>((seconds - std::floor(seconds)) * 1e9);
    while (nanosleep(&wait, &wait) != 0 && errno == EINTR && !uvIsInterruptPending()) {
    }
    return 0;
}

int flushCommandWindow() {
    ioFlush();
    return 0;
}

void clearCommandWindow() {
    cxutil::eventmgr::EventMgr::instance()->publish(boost::make_shared<services::io::CLCEvent>());
}

void installInterruptHandler() {
    struct sigaction sa {};
    sa.sa_handler = onInterrupt;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;  // no SA_RESTART: a key wait must see EINTR
    sigaction(SIGINT, &sa, nullptr);
    // A new window size is taken before the next statement and, while the
    // prompt stands, when the wait wakes up.
    struct sigaction winch {};
    winch.sa_handler = onWindowChange;
    sigemptyset(&winch.sa_mask);
    winch.sa_flags = 0;
    sigaction(SIGWINCH, &winch, nullptr);
}

} // namespace qzconsole
