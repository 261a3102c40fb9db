// The console's event loop: the library's user event queue, with standard
// input as one of its watched descriptors. Posted user events and callbacks
// from other threads run while the console waits for a line.
#pragma once
#include <string>

namespace qzconsole {

// Watches standard input in the user event queue, whose event functions the
// host start hands to the library (qzhost/UserEvents.hpp). Main thread, once,
// before any other thread starts.
void installEventLoop();

// Waits for one line of standard input (without its line feed), running the
// events that arrive meanwhile. False at the end of input. A ctrl-C while
// waiting throws the interrupt exception and drops what was read of the line.
// With the line editor in use, `prompt` stands before the line.
bool readLine(std::string& line, char const* prompt = "");

// From now on the line editor reads standard input (a terminal), key by key
// as it becomes readable, so that events still run while the prompt stands.
void useLineEditor();
bool lineEditorActive();
// What the line editor hands over: one finished line, or null at the end of input.
void deliverLine(char const* line);

// True while readLine waits, that is, while the prompt stands.
bool waitingForInput();

} // namespace qzconsole
