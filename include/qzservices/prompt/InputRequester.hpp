// Who is waiting for the user's input. One process-wide value, 0 at load.
#pragma once
#include <cstdint>

namespace services { namespace prompt {

enum InputRequester : std::int32_t {
    NO_REQUESTER = -1,      // what a default-constructed event holds
    COMMAND_LINE = 0,       // the interpreter's ordinary prompt
    INPUT_FUNCTION = 1,     // a program asking for a line
    KEYBOARD_FUNCTION = 2,  // a program asking for a key
    DEBUGGER = 3,
    PAUSE = 4,
    DIALOG = 5,
    EMERGENCY_QUESTION = 6,
    HOST_REQUEST = 7,
    MORE_PROMPT = 8         // the "--more--" prompt waits for one key
};

}} // namespace services::prompt
