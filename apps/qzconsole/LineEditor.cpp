// Line editing and history through libedit's callback interface: a key at
// a time from the event loop, so the prompt never blocks the event queue.
#include "LineEditor.hpp"
#include "EventLoop.hpp"

#include <qzservices/io/window.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <editline/readline.h>
#include <termios.h>
#include <unistd.h>

namespace qzconsole {

namespace {

volatile std::sig_atomic_t gWindowChanged = 0;
bool gLineOpen = false;
termios gSaved{};
bool gHaveSaved = false;

// libedit leaves the terminal in its own mode after a line, ready for the
// next; the statement's output and the more prompt need it as it was.
void restoreTerminal() {
    if (gHaveSaved) tcsetattr(0, TCSADRAIN, &gSaved);
}

void onLine(char* line) {
    // The terminal goes back to its normal mode while the statement runs, so
    // that the more prompt can read keys its own way.
    rl_callback_handler_remove();
    gLineOpen = false;
    if (line != nullptr && line[0] != '\0') add_history(line);
    deliverLine(line);
    std::free(line);
}

} // namespace

void noteWindowChanged() { gWindowChanged = 1; }

void lineEditorInit() {
    rl_catch_signals = 0;
    rl_catch_sigwinch = 0;
    rl_readline_name = "qzconsole";
    gHaveSaved = tcgetattr(0, &gSaved) == 0;
    using_history();
    stifle_history(1000);
}

void lineEditorBegin(char const* prompt) {
    std::fflush(stdout);
    rl_callback_handler_install(prompt, &onLine);
    gLineOpen = true;
}

void lineEditorReadKey() {
    if (!gLineOpen) return;
    rl_callback_read_char();
    if (!gLineOpen) restoreTerminal();
}

void lineEditorCancel() {
    if (!gLineOpen) return;
    rl_replace_line("", 0);
    rl_callback_handler_remove();
    gLineOpen = false;
    restoreTerminal();
}

void lineEditorAfterWait() {
    if (!gWindowChanged) return;
    gWindowChanged = 0;
    ioUpdateWindowSize();
    if (gLineOpen) rl_resize_terminal();
}

void lineEditorRedisplay() {
    if (gLineOpen) rl_forced_update_display();
}

void lineEditorEnd() { lineEditorCancel(); }

} // namespace qzconsole
