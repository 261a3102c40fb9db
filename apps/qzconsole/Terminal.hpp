// The console's terminal services for the library's callback table: one key
// in non-canonical mode, removing the current line, the beep, and ctrl-C.
#pragma once

namespace qzconsole {

// Reads one key without waiting for a line feed. Returns -1 at end of input.
// A ctrl-C during the wait throws the interrupt exception.
int readOneKey();
// Carriage return and clear to the end of the line: removes "--more--".
void deleteCurrentLine();
void beep();
// The host's sleep for the library: fractions of a second count too. A
// ctrl-C ends it early. Returns 0.
unsigned int sleepSeconds(double seconds, bool flag);
// The command window's flush and clear, for the library's window callbacks.
int flushCommandWindow();
void clearCommandWindow();
// SIGINT marks an interrupt as pending and interrupts a key wait; SIGWINCH
// notes a new window size.
void installInterruptHandler();

} // namespace qzconsole
