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
// The last two phases, PreTerminateApps and TerminateApps.
void shutDown();

} // namespace qzconsole
