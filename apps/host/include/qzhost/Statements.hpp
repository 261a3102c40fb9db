// One statement of a session, run the way every host runs it: its error
// reported through the host's reporter, then the callbacks other threads
// asked for, and an interrupt ("q" at the more prompt, ctrl-C, the page's
// Stop) ending the statement while the session goes on.
//
// Main thread only, with the Host standing.
#pragma once
#include <string>

namespace qzlang {
class Session;
}

namespace qzhost {

// How a statement ended.
struct StatementOutcome {
    bool failed = false;       // it raised an error, which was reported
    bool interrupted = false;  // an interrupt ended it or the callbacks after it
    bool exitAsked = false;    // it was exit (quit) and ran
};

// How a host reports a statement's error: its identifier and its message
// ("Calyx:nomem" and "Out of memory." when memory ran out).
using ErrorReporter = void (*)(qzlang::Session& session, std::string const& identifier, std::string const& message);

// Runs `text` in `session`; its error goes to `report`. Then, whatever the
// statement did, what other threads asked of this one runs.
StatementOutcome runStatement(qzlang::Session& session, std::string const& text, ErrorReporter report);

// A statement typed at the prompt: the more prompt's line count starts
// again, the statement runs as runStatement runs it, and afterwards the
// streams' error states are cleared and both streams flushed.
StatementOutcome runPromptStatement(qzlang::Session& session, std::string const& text, ErrorReporter report);

} // namespace qzhost
