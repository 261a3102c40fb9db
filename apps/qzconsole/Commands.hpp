// The console's own commands, added to a session's command table beside the
// language's (format, more, feature, ...). A later command goes in a file of
// its own with an add function like these.
#pragma once

namespace qzlang {
class CommandTable;
}

namespace qzconsole {

// exit, quit, help, echo, lines.
void addConsoleCommands(qzlang::CommandTable& table);
// demo, demo-events.
void addDemoCommands(qzlang::CommandTable& table);

} // namespace qzconsole
