// The words the console understands. Each command prints through the library.
#pragma once
#include <string>

namespace qzconsole {

enum class Outcome { Continue, Exit };

// Runs one input line. Errors of the array library are printed, not thrown.
Outcome runCommand(std::string const& line);

} // namespace qzconsole
