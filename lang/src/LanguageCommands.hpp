// The commands every session has: format, more, feature, features, clc,
// home and clear.
#pragma once

namespace qzlang {

class CommandTable;
void addLanguageCommands(CommandTable& table);

} // namespace qzlang
