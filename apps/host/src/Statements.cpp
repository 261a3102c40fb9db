// One statement of a session, as every host runs it (Statements.hpp).
#include "qzhost/Statements.hpp"
#include "qzhost/Host.hpp"

#include <qzlang/Session.hpp>
#include <qzservices/qzservices.hpp>
#include <orrery/exceptions.hpp>
#include <vx/errors.hpp>

#include <new>

namespace qzhost {

StatementOutcome runStatement(qzlang::Session& session, std::string const& text, ErrorReporter report) {
    StatementOutcome outcome;
    try {
        try {
            outcome.exitAsked = session.execute(text) == qzlang::CommandResult::Exit;
        } catch (vx::Error const& e) {
            outcome.failed = true;
            report(session, e.identifier(), e.what());
        } catch (std::bad_alloc const&) {
            outcome.failed = true;
            report(session, "Calyx:nomem", "Out of memory.");
        }
        // Between statements: what other threads asked of this one.
        mtServiceCallbackRequestsInterlaced();
    } catch (Orrery::System::InterruptException const& e) {
        // The statement ends, the session goes on.
        clearInterrupt(e);
        outcome.interrupted = true;
    }
    return outcome;
}

StatementOutcome runPromptStatement(qzlang::Session& session, std::string const& text, ErrorReporter report) {
    services::io::resetMoreCount();
    StatementOutcome const outcome = runStatement(session, text, report);
    services::io::CXStream::CXOut.clear();
    services::io::CXStream::CXErr.clear();
    ioFlush();
    return outcome;
}

} // namespace qzhost
