// qzconsole: a reference host of the services library. It puts a sink that
// writes to the terminal on CXOut and CXErr and echoes each input line through
// CXOut, so every character takes the library's output road.
#include <qzservices/qzservices.hpp>

#include <boost/make_shared.hpp>
#include <cstdio>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

int writeToFd(int fd, char const* text) {
    size_t len = std::char_traits<char>::length(text);
    while (len > 0) {
        ssize_t n = ::write(fd, text, len);
        if (n <= 0) return -1;
        text += n;
        len -= static_cast<size_t>(n);
    }
    return 0;
}

} // namespace

int main() {
    using namespace services::io;
    CXStream::CXOut.push(boost::make_shared<PutsFnSink>([](char const* s) { return writeToFd(1, s); }));
    CXStream::CXErr.push(boost::make_shared<PutsFnSink>([](char const* s) { return writeToFd(2, s); }));

    bool interactive = ::isatty(0);
    std::string line;
    for (;;) {
        if (interactive) CXStream::CXOut << ">> " << std::flush;
        if (!std::getline(std::cin, line)) break;
        if (line == "exit" || line == "quit") break;
        CXStream::CXOut << line << '\n' << std::flush;
    }
    if (interactive) CXStream::CXOut << '\n';
    ioFlush();
    CXStream::CXErr.pop();
    CXStream::CXOut.pop();
    return 0;
}
