// Line editing and history on a terminal, through libedit's readline
// interface in its callback form: the event loop hands it one key whenever
// standard input is readable, so the prompt never blocks the event queue.
#pragma once

namespace qzconsole {

// Once, before the first prompt. libedit's own signal handlers stay off: the
// console handles SIGINT and SIGWINCH itself.
void lineEditorInit();
// Shows the prompt and starts a line.
void lineEditorBegin(char const* prompt);
// Reads one key; a finished line goes to deliverLine, which also learns of
// the end of input.
void lineEditorReadKey();
// Drops the line being edited (ctrl-C at the prompt).
void lineEditorCancel();
// After each wake-up of the event loop: follows a window size change.
void lineEditorAfterWait();
// Draws the prompt and the line again, after other output.
void lineEditorRedisplay();
// The terminal back to how it was found; the editor then reads nothing.
void lineEditorEnd();

// Set from the SIGWINCH handler.
void noteWindowChanged();

} // namespace qzconsole
