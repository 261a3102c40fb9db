// Whether an X display can be reached, and the bell.
#include "nd/display.hpp"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>

namespace nd { namespace display {

namespace {

std::atomic<unsigned long> gBeeps{0};

// Splits "[host]:number[.screen]"; false when the name has no display number.
bool parseDisplayName(std::string const& name, std::string& host, unsigned long& number) {
    std::string::size_type colon = name.rfind(':');
    if (colon == std::string::npos) return false;
    host = name.substr(0, colon);
    std::string const rest = name.substr(colon + 1);
    std::string::size_type const dot = rest.find('.');
    std::string const digits = rest.substr(0, dot);
    if (digits.empty() || digits.size() > 5 || digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    if (dot != std::string::npos) {
        std::string const screen = rest.substr(dot + 1);
        if (screen.empty() || screen.find_first_not_of("0123456789") != std::string::npos) return false;
    }
    number = std::strtoul(digits.c_str(), nullptr, 10);
    return true;
}

bool localSocketExists(unsigned long number) {
    std::string const path = "/tmp/.X11-unix/X" + std::to_string(number);
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
}

// Connects without blocking for longer than `timeoutMs`.
bool tcpPortAccepts(std::string const& host, unsigned long port, int timeoutMs) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return false;
    bool ok = false;
    for (addrinfo* a = found; a != nullptr && !ok; a = a->ai_next) {
        int fd = socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
        if (fd < 0) continue;
        if (connect(fd, a->ai_addr, a->ai_addrlen) == 0) {
            ok = true;
        } else if (errno == EINPROGRESS) {
            pollfd p{fd, POLLOUT, 0};
            int error = 0;
            socklen_t length = sizeof error;
            ok = poll(&p, 1, timeoutMs) == 1 && getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 &&
                 error == 0;
        }
        close(fd);
    }
    freeaddrinfo(found);
    return ok;
}

} // namespace

bool isAvailable() {
    char const* name = std::getenv("DISPLAY");
    if (name == nullptr || *name == '\0') return false;
    std::string host;
    unsigned long number = 0;
    if (!parseDisplayName(name, host, number)) return false;
    if (host.empty() || host == "unix") return localSocketExists(number);
    if (number > 59535) return false;  // beyond the last TCP port
    return tcpPortAccepts(host, 6000 + number, 1000);
}

void beep() {
    ++gBeeps;
    int fd = open("/dev/tty", O_WRONLY | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return;  // no controlling terminal: nothing to ring
    ssize_t written = write(fd, "\a", 1);
    (void)written;  // a bell that cannot be written is not worth reporting
    close(fd);
}

unsigned long beepCount() { return gBeeps.load(); }

}} // namespace nd::display
