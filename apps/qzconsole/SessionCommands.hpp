// The console's commands for the session's state, its files and its diary,
// each group added to a session's command table by its own function.
#pragma once

namespace qzlang {
class CommandTable;
}

namespace qzconsole {

// version, config, prefs.
void addStateCommands(qzlang::CommandTable& table);
// type, dir.
void addFileCommands(qzlang::CommandTable& table);
// diary.
void addDiaryCommands(qzlang::CommandTable& table);

} // namespace qzconsole
