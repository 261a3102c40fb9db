// The key decoder over arbitrary bytes: the process's standard input is a
// pseudo-terminal in non-canonical mode, and the bytes arrive through the
// type-ahead queue, closed by a 0 so that no sequence waits for more input.
#include <qzservices/io/keybrd.hpp>
#include <qzservices/io/typeahead.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <pty.h>
#include <unistd.h>

namespace {

bool setUp() {
    int master = -1, slave = -1;
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) std::abort();
    dup2(slave, 0);
    setenv("TERM", "xterm", 1);
    ioSetNonCanonicalMode();
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    static bool const ready = setUp();
    (void)ready;
    while (ioGetTypeAheadCount() > 0) ioGetTypeAheadChar();
    if (size > 4000) size = 4000;  // the queue holds 4096
    for (size_t i = 0; i < size; ++i) ioAddTypeAheadChar(static_cast<char>(data[i]));
    ioAddTypeAheadChar('\0');
    while (ioGetTypeAheadCount() > 0) {
        int const key = ioGetCharNoEcho(false, false);
        // A code is a byte (sign-extended) or one of the key codes.
        if (key < -128 || (key > 255 && (key < 258 || key > 509))) std::abort();
    }
    return 0;
}
