/// @file
/// Who is waiting for the user's input. One process-wide value, 0 at load.
#pragma once
#include "qzservices/export.hpp"
#include <cstdint>

QZSERVICES_API_BEGIN

namespace services { namespace prompt {

/// The kinds of requester, as the prompt events carry them.
enum InputRequester : std::int32_t {
    NO_REQUESTER = -1,  ///< what a default-constructed event holds
    COMMAND_LINE = 0,  ///< the interpreter's ordinary prompt
    INPUT_FUNCTION = 1,  ///< a program asking for a line
    KEYBOARD_FUNCTION = 2,  ///< a program asking for a key
    DEBUGGER = 3,  ///< the debugger's prompt
    PAUSE = 4,  ///< a pause waiting for a key
    DIALOG = 5,  ///< a dialog box
    EMERGENCY_QUESTION = 6,  ///< a question asked in an emergency
    HOST_REQUEST = 7,  ///< the host asking on its own behalf
    MORE_PROMPT = 8  ///< the "--more--" prompt waits for one key
};

}} // namespace services::prompt

QZSERVICES_API_END
