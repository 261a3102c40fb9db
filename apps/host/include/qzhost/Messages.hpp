// A host's errors and warnings: each goes to the error stream through
// the library's wrapper, so that on a terminal it is wrapped to the window
// with its indent kept and its hot links measured by their visible text.
// Into a pipe or a file the wrapper leaves the text as it is, one line.
#pragma once
#include <string>

namespace qzhost {

// "Error: " and the reason.
void printError(std::string const& reason);
// A whole warning line ("Warning: ..."), as the warning printer hands it.
void printWarning(char const* line);
// A whole report of the language's diagnostics (an error with its frames,
// a warning with where it came from), `braces` for an error.
void printReport(std::string const& report, bool braces);
// Makes printWarning the printer of every warning.
void installMessagePrinters();

} // namespace qzhost
