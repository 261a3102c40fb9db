// Leaving the console: the shutdown registry's phases, with the console's own
// object among those asked.
#pragma once

namespace qzconsole {

// Registers the console's shutdown object (once): it lets go of the terminal
// in the last phase.
void registerConsoleShutdown();
// The first two phases, IsOkToExit and CloseAllAppWindows (not forced):
// true when every object agrees to leave.
bool mayExit();
// At the end of input: the first two phases as well, but the answers cannot
// keep a session without input going, so closing the windows is forced.
void askAtEndOfInput();
// The last two phases, PreTerminateApps and TerminateApps.
void shutDown();

} // namespace qzconsole
