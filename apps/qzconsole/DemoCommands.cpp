// The console's commands demo and demo-events.
#include "Commands.hpp"
#include "Demo.hpp"
#include "DemoEvents.hpp"

#include <qzlang/Session.hpp>
#include <vx/errors.hpp>

#include <cstdlib>

namespace qzconsole {

namespace {

using qzlang::CommandResult;
using qzlang::Session;

CommandResult demo(Session&, Words const& w) {
    requireNoWords(w, "demo");
    runDemo();
    return CommandResult::Continue;
}

// demo-events [N]: N events and N callbacks from another thread; no count
// reports the current run.
CommandResult demoEventsCommand(Session&, Words const& w) {
    if (w.size() > 1) vxErrMsgId("qzconsole:demo", "Use: demo-events [N]");
    if (w.empty()) {
        demoEvents(-1);
        return CommandResult::Continue;
    }
    char* end = nullptr;
    double const n = std::strtod(w[0].c_str(), &end);
    if (end == w[0].c_str() || *end != '\0' || n < 0 || n > 1e8 || n != static_cast<long>(n))
        vxErrMsgId("qzconsole:demo", "demo-events takes a count from 0 to 100000000.");
    demoEvents(static_cast<long>(n));
    return CommandResult::Continue;
}

} // namespace

void addDemoCommands(qzlang::CommandTable& table) {
    table.add({"demo", "demo              a tour of array display", &demo});
    table.add({"demo-events", "demo-events [N]   post N events and N callbacks from another thread", &demoEventsCommand});
}

} // namespace qzconsole
