// Parses statement text into the resolved tree (Syntax.hpp) in one pass.
// Statements end at line ends, "," and ";"; a ";" makes one quiet. Names are
// resolved to slots of the workspace given; the names an anonymous function
// reads are slots of its own frame, filled by captures when it is made.
#pragma once
#include "qzlang/Syntax.hpp"

#include <functional>
#include <string>

namespace qzlang {

struct ParseLimits {
    size_t maxLength = 100000;  // characters in one input
    int maxDepth = 200;          // nested brackets, calls, operators and blocks
    // Loop passes and calls one execute may make, 0 for no limit; past it the statement
    // fails with "Calyx:stepLimit". Under a limit pause never sleeps. For
    // fuzzing, where any text must end.
    unsigned long long maxSteps = 0;
};

// The names of a workspace and their slots; a new name gets a new slot.
class SlotTable {
public:
    virtual ~SlotTable() = default;
    virtual int slot(std::string const& name) = 0;
};

// Raises "Calyx:syntax" for text that does not parse (the message names the
// line and column when the text has several lines), and "Calyx:tooDeep" or
// "Calyx:tooLong" past the limits.
// `isCommandWord` names the commands whose names are not identifiers (such
// as "demo-events"): at the start of a statement such a word is a command.
Block parse(std::string const& text, SlotTable& slots, ParseLimits const& limits = ParseLimits(),
            std::function<bool(std::string const&)> const& isCommandWord = nullptr);

// The text of an expression as an anonymous function shows it: no blanks
// outside text literals, elements joined by "," and rows by ";".
std::string expressionText(Node const& node);

} // namespace qzlang
