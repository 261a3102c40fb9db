// The library's callbacks that every host fills the same way (the sleep, the
// command window's flush and clear), and the signal set-up every host's
// interrupt rests on. HostCallbacks starts with these.
#pragma once

namespace qzhost {

// The window system's sleep: fractions of a second count too, and a pending
// interrupt (a signal that marks it) ends the sleep early. Returns 0.
unsigned int sleepSeconds(double seconds, bool flag);
// The command window's flush: both streams. Returns 0.
int flushCommandWindow();
// The command window's clear: a CLCEvent, which the host's sink answers.
void clearCommandWindow();

// Installs `handler` for `signo` without SA_RESTART, so that a wait for a key,
// a line or an event wakes with EINTR and sees what the handler marked.
void installSignal(int signo, void (*handler)(int));
// A signal handler that marks an interrupt as pending.
void markInterruptPending(int signo);

} // namespace qzhost
