// A source file parsed once: either the functions of a function file (the
// first is the one its name calls, the others are local to the file) or the
// statements of a script. Kept in SourceFile::parsed, so that a file is
// parsed again only when it was read again.
#pragma once
#include "Interp.hpp"

#include <memory>
#include <string>
#include <vector>

namespace qzlang {

struct FunctionDef {
    std::string name;
    std::vector<std::string> params;   // "varargin" last collects the rest
    std::vector<std::string> outputs;  // "varargout" last spreads a cell
    int line = 0;
    // The function's own workspace: parameters in slots 0..params-1, then
    // outputs, nargin, nargout and ans. A script run from the function adds
    // names to it, so it is mutable like a cache.
    mutable Workspace slots;
    std::vector<int> outputSlots;
    int narginSlot = -1, nargoutSlot = -1, ansSlot = -1;
    bool varargin = false, varargout = false;
    Block body;
};

struct ParsedFile {
    std::string name;  // the file's name without ".cx"
    std::string path;
    bool script = false;
    std::vector<FunctionDef> functions;  // empty for a script
    // A script parsed against the top-level workspace, whose slots never
    // change, so this parse serves every run at the prompt.
    std::shared_ptr<Block const> topLevelScript;
    std::string scriptText;  // parsed again when a function runs the script
    FunctionDef const* find(std::string const& fn) const {
        for (FunctionDef const& f : functions)
            if (f.name == fn) return &f;
        return nullptr;
    }
};

// True when the first word of `text` (after blank lines and comments) is
// "function".
bool isFunctionFile(std::string const& text);

// Parses a function file. Raises "Calyx:syntax" as parse() does.
void parseFunctionFile(std::string const& text, ParsedFile& out, ParseLimits const& limits,
                       std::function<bool(std::string const&)> const& isCommandWord);

} // namespace qzlang
