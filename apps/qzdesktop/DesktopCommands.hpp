// The desktop's own commands, added to the session's command table beside
// the language's: exit, help (with each command a link to its help) and
// dir (files as links to the viewer).
#pragma once

namespace qzlang {
class CommandTable;
}

namespace qzdesktop {

void addDesktopCommands(qzlang::CommandTable& table);

} // namespace qzdesktop
