// The type-ahead ring, ioGetChar and the locale-free character tests.
#include "qzservices/io/typeahead.hpp"

#include <boost/circular_buffer.hpp>

#include <cstdio>

namespace {

boost::circular_buffer<char> gTypeAhead(4096);
int (*gGetCharFcn)(int, bool, bool) = nullptr;
void (*gPostAddCharFcn)() = nullptr;

} // namespace

bool ioAddTypeAheadChar(char c) {
    if (gTypeAhead.full()) return false;
    gTypeAhead.push_back(c);
    if (gPostAddCharFcn != nullptr) gPostAddCharFcn();
    return true;
}

size_t ioGetTypeAheadCount() { return gTypeAhead.size(); }

char ioGetTypeAheadChar() {
    char c = gTypeAhead.front();
    gTypeAhead.pop_front();
    return c;
}

bool ioPutBackTypeAheadChar(char c) {
    if (gTypeAhead.full()) return false;
    gTypeAhead.push_front(c);
    return true;
}

void ioSetGetCharFcn(int (*fcn)(int, bool, bool)) { gGetCharFcn = fcn; }
void ioSetPostAddCharFcn(void (*fcn)()) { gPostAddCharFcn = fcn; }

int ioGetChar(int arg, bool useStdin, bool flag) {
    // Whatever was prompted must be visible before the wait for a key.
    std::fflush(stdout);
    if (!gTypeAhead.empty()) return static_cast<signed char>(ioGetTypeAheadChar());
    if (useStdin || gGetCharFcn == nullptr) return std::getc(stdin);
    return gGetCharFcn(arg, false, flag);
}

int isqzdigit(int c) { return c >= '0' && c <= '9'; }
int isqzalnum(int c) { return isqzdigit(c) || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
int isqzspace(int c) { return (c >= '\t' && c <= '\r') || c == ' '; }
