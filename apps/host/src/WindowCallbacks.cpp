// The callbacks every host hands the library alike, and its signal set-up.
#include "qzhost/WindowCallbacks.hpp"

#include <qzservices/io/CmdWinEvents.hpp>
#include <qzservices/io/ioFlush.hpp>
#include <cxutil/eventmgr/EventMgr.hpp>
#include <uv/uv.hpp>

#include <boost/make_shared.hpp>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <ctime>

namespace qzhost {

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

void installSignal(int signo, void (*handler)(int)) {
    struct sigaction sa {};
    sa.sa_handler = handler;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;  // no SA_RESTART: a wait must see EINTR
    sigaction(signo, &sa, nullptr);
}

void markInterruptPending(int) { uvSetInterruptPending(1); }

} // namespace qzhost
