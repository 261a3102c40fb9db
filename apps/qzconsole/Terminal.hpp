// The console's terminal services for the library's callback table: one key
// in non-canonical mode, removing the current line, the beep, and ctrl-C.
#pragma once

namespace qzconsole {

// Reads one key without waiting for a line feed, through the library's key
// reader in its non-canonical mode with the keypad on: a function key comes
// as one code. Returns -1 at end of input. A ctrl-C during the wait throws
// the interrupt exception.
int readOneKey();
// Makes the library's key reader take its bytes from standard input, with
// ctrl-C ending the wait.
void installKeyReader();
// Carriage return and clear to the end of the line: removes "--more--".
void deleteCurrentLine();
void beep();
// SIGINT marks an interrupt as pending and interrupts a key wait; SIGWINCH
// notes a new window size.
void installInterruptHandler();

} // namespace qzconsole
