/// @file
/// The terminal keyboard: the terminal's modes (canonical or not), the keypad,
/// and function-key escape sequences turned into single key codes. For a
/// process whose standard input is a terminal; with any other input the
/// functions pass characters through. Plain data, no locks: one input thread.
#pragma once
#include "qzservices/export.hpp"
#include <termios.h>

QZSERVICES_API_BEGIN

/// Key codes returned by ioGetCharNoEcho for whole sequences.
enum ioKeyCode {
    ioKeyDown = 258,
    ioKeyUp = 259,
    ioKeyLeft = 260,
    ioKeyRight = 261,
    ioKeyHome = 262,
    ioKeyBackspace = 263,
    ioKeyDelete = 330,
    ioKeyInsert = 331,
    ioKeyPageDown = 338,
    ioKeyPageUp = 339,
    ioKeyEnd = 360,
    ioKeyModifiedLeft = 507,
    ioKeyModifiedRight = 508,
    ioKeyOther = 509  ///< recognised, not told apart
};

/// Runs the terminal initialisation if it has not run.
void svInitTTY();
/// The terminal as found (made sane), or null when stdin is no terminal.
termios* svGetPristineTTY();

bool ioIsKeyboard();  ///< whether the input is a terminal
int ioGetLineProtocol();  ///< 1 canonical, 0 non-canonical
void ioSetLineProtocol(int protocol);  ///< records the mode without touching the terminal
/// Non-canonical input with the keypad on (and the window size read again), on a terminal only.
void ioSetupLineProtocol();
///@{
/// Back to canonical input if needed; the keypad off in either case.
void ioResetLineProtocol();
int ioSetCanonicalMode();  ///< the terminal as found, line by line; 1
int ioSetNonCanonicalMode();  ///< also builds the key tables
void ioEnableKeypadMode();  ///< writes the terminal's keypad-on sequence, if known
void ioDisableKeypadMode();  ///< writes its keypad-off sequence, if known
///@}

/// One key: the character typed, or one code for a whole known sequence. A
/// sequence that turns out unknown gives its first character, and the rest
/// come again through the type-ahead queue.
int ioGetCharNoEcho(bool useStdin, bool flag);

void ioBackspace(int count);  ///< moves the cursor left `count` places
void svHomeCursor();  ///< moves the cursor to the top left
void svClearAlpha();  ///< clears the screen

QZSERVICES_API_END
