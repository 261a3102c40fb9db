// Parses statement text into statements. A statement is an assignment
// (`x = e`, `s.a.b = e`, `s(2).a = e`), an expression, or a command: a
// registered word followed by blank-separated words (`format long`).
// Statements end at line ends, "," and ";"; a ";" makes one quiet.
#pragma once
#include "qzlang/Syntax.hpp"

#include <functional>
#include <string>
#include <vector>

namespace qzlang {

struct ParseLimits {
    size_t maxLength = 100000;  // characters in one input
    int maxDepth = 200;         // nested brackets, calls and operators
};

// Raises "qzconsole:syntax" for text that does not parse, and
// "qzconsole:tooDeep" or "qzconsole:tooLong" past the limits. `isCommand` says
// whether a word at the start of a statement names a command.
std::vector<Statement> parse(std::string const& text, std::function<bool(std::string const&)> const& isCommand,
                             ParseLimits const& limits = ParseLimits());

} // namespace qzlang
