// The console's own commands, added to a session's command table beside the
// language's (format, more, feature, ...), each group by its own function.
// A later command goes in a file of its own with an add function like these.
#pragma once
#include <qzlang/Session.hpp>

#include <string>
#include <vector>

namespace qzconsole {

// The words after a command's name, as a command's function receives them.
using Words = std::vector<std::string>;

// Raises "NAME takes no words." (identifier "qzconsole:NAME") unless `words`
// is empty.
void requireNoWords(Words const& words, char const* name);

// exit, quit, help, echo, lines.
void addConsoleCommands(qzlang::CommandTable& table);
// demo, demo-events.
void addDemoCommands(qzlang::CommandTable& table);
// version, config, prefs.
void addStateCommands(qzlang::CommandTable& table);
// type, dir.
void addFileCommands(qzlang::CommandTable& table);
// diary.
void addDiaryCommands(qzlang::CommandTable& table);

} // namespace qzconsole
