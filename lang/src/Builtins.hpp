// The built-in functions and constants of the statement language, by name.
#pragma once
#include "qzlang/ArrayOps.hpp"

#include <string>
#include <vector>

namespace qzlang {

class Session;

// A built-in takes its evaluated arguments and returns its value, or null
// when it shows something and has no value (disp).
typedef ArrayPtr (*BuiltinFn)(Session& session, std::vector<ArrayPtr>& args);

// Null when no built-in has this name.
BuiltinFn findBuiltin(std::string const& name);

} // namespace qzlang
