// Programs in files: a function file's functions called with their own
// workspace, scripts run in their caller's, both found through the search
// path and parsed once per read of their file; and the stack of frames that
// an error names.
#include "FunctionFile.hpp"
#include "InterpSupport.hpp"
#include "qzlang/Session.hpp"

#include <vx/errors.hpp>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

namespace qzlang {

using namespace detail;

namespace {

int const kRecursionLimit = 500;

[[noreturn]] void unsetOutput(FunctionDef const& fn, size_t k) {
    vxErrMsgId("Calyx:unassignedOutput", "Output argument '%s' of %s was not set.", fn.outputs[k].c_str(),
               fn.name.c_str());
}

// A parser's "why (line L, column C)" as the file's own syntax error:
// "File: PATH Line: L Column: C" and the reason on the next line.
// A place past the file's last character (the parser's end, after the line
// end added to a last line without one) is shown at the end of the last line.
[[noreturn]] void raiseInFile(vx::Error const& e, std::string const& path, std::string const& text) {
    std::string why = e.what();
    int line = 1, column = 1;
    size_t const at = why.rfind(" (line ");
    if (at != std::string::npos && std::sscanf(why.c_str() + at, " (line %d, column %d)", &line, &column) == 2)
        why.erase(at);
    std::string body = text;
    while (!body.empty() && (body.back() == '\n' || body.back() == '\r')) body.pop_back();
    int const lines = 1 + static_cast<int>(std::count(body.begin(), body.end(), '\n'));
    if (line > lines) {
        size_t const lastStart = body.rfind('\n') == std::string::npos ? 0 : body.rfind('\n') + 1;
        line = lines;
        column = static_cast<int>(body.size() - lastStart) + 1;
    }
    char head[64];
    std::snprintf(head, sizeof head, " Line: %d Column: %d", line, column);
    throw vx::Error("Calyx:syntax", "File: " + path + head + "\n" + why);
}

} // namespace

std::shared_ptr<ParsedFile const> Interp::parsedFile(std::shared_ptr<files::SourceFile const> const& file) {
    if (file->parsed) return std::static_pointer_cast<ParsedFile const>(file->parsed);
    auto unit = std::make_shared<ParsedFile>();
    unit->name = file->name;
    unit->path = file->path;
    // A file is not typed at the prompt: only the reader's size limit holds.
    ParseLimits limits = session_.limits();
    limits.maxLength = std::numeric_limits<size_t>::max();
    limits.maxSteps = 0;
    auto isCommandWord = [this](std::string const& w) { return session_.commands().find(w) != nullptr; };
    // A line end at the end, so that every syntax error names its line.
    std::string const text = !file->text.empty() && file->text.back() == '\n' ? file->text : file->text + "\n";
    try {
        if (isFunctionFile(text)) {
            parseFunctionFile(text, *unit, limits, isCommandWord);
        } else {
            unit->script = true;
            unit->scriptText = text;
            unit->topLevelScript = std::make_shared<Block>(parse(text, workspace_, limits, isCommandWord));
        }
    } catch (vx::Error const& e) {
        if (e.identifier() == "Calyx:syntax") raiseInFile(e, file->path, file->text);
        throw;
    }
    file->parsed = unit;
    return unit;
}

SlotTable& Interp::currentSlots() {
    Frame const& f = frames_.back();
    if (f.fn) return f.fn->slots;
    return workspace_;
}

int Interp::ansSlot() {
    if (frame_ == &workspace_.values) return workspace_.slot("ans");
    Frame const& f = frames_.back();
    return f.fn && frame_ == f.slots ? f.fn->ansSlot : -1;
}

FunctionDef const* Interp::localFunction(std::string const& name) const {
    ParsedFile const* unit = frames_.back().unit;
    return unit ? unit->find(name) : nullptr;
}

std::vector<files::Frame> Interp::currentStack() const {
    std::vector<files::Frame> out;
    for (auto it = frames_.rbegin(); it != frames_.rend(); ++it) {
        files::Frame f;
        if (it->fn && it->unit && !it->script) {
            // A function's frame carries no text, so that a call makes no copy of it.
            f.name = it->fn == &it->unit->functions[0] ? it->fn->name : it->unit->name + ">" + it->fn->name;
            f.file = it->unit->path;
        } else {
            if (it->name.empty() || it->file.empty()) continue;  // the prompt, anonymous functions
            f.name = it->name;
            f.file = it->file;
        }
        f.line = it->line;
        f.script = it->script;
        out.push_back(std::move(f));
    }
    return out;
}

std::vector<files::Frame> Interp::takeErrorStack() {
    std::vector<files::Frame> out = stackTaken_ ? std::move(errorStack_) : currentStack();
    errorStack_.clear();
    stackTaken_ = false;
    return out;
}

// The workspace of the next depth for one call: its values are unset again
// when the call ends, thrown through or not, and its storage stays for the next.
struct Interp::WorkspaceLease {
    explicit WorkspaceLease(Interp& in) : in_(in) {
        if (in.workspacesUsed_ == in.workspaces_.size()) in.workspaces_.emplace_back(new std::vector<Value>());
        locals = in.workspaces_[in.workspacesUsed_++].get();
    }
    ~WorkspaceLease() {
        for (Value& v : *locals) v = Value();
        --in_.workspacesUsed_;
    }
    Interp& in_;
    std::vector<Value>* locals;
};

void Interp::runUser(std::shared_ptr<void const> const& keeper, ParsedFile const& unit, FunctionDef const& fn,
                     Value* args, size_t count, int nargout, std::vector<Value>& locals) {
    size_t const fixedIn = fn.params.size() - (fn.varargin ? 1 : 0);
    if (!fn.varargin && count > fn.params.size())
        vxErrMsgId("Calyx:tooManyInputs", "Too many input arguments for %s.", fn.name.c_str());
    if (!fn.varargout && nargout > static_cast<int>(std::max<size_t>(fn.outputs.size(), 1)))
        vxErrMsgId("Calyx:tooManyOutputs", "Too many output arguments for %s.", fn.name.c_str());
    if (callDepth_ >= kRecursionLimit)
        vxErrMsgId("Calyx:recursionLimit", "Maximum recursion limit of %d reached.", kRecursionLimit);
    // A call counts as a step: recursion that catches its own errors may make
    // exponentially many calls without a loop, and ctrl-C must still reach it.
    poll();
    checkStack();

    // The workspace's values are all unset: only its size may need to change.
    if (locals.size() != fn.slots.values.size()) locals.resize(fn.slots.values.size());
    size_t const bound = std::min(count, fixedIn);
    for (size_t k = 0; k < bound; ++k) locals[k] = std::move(args[k]);
    if (fn.varargin) {
        size_t const extra = count > fixedIn ? count - fixedIn : 0;
        ArrayPtr cell(vxCreateCellMatrix(1, extra));
        for (size_t k = 0; k < extra; ++k) vxSetCell(cell.get(), k, args[fixedIn + k].copy().release());
        locals[fixedIn] = Value(std::move(cell));
    }
    locals[fn.narginSlot] = Value(static_cast<double>(count));
    locals[fn.nargoutSlot] = Value(static_cast<double>(nargout));

    FrameGuard guard(frames_, &locals, fn.line);
    frames_.back().fn = &fn;
    frames_.back().unit = &unit;
    ProgramScope scope(*this, &fn.body, &keeper);
    std::vector<Value>* const savedFrame = frame_;
    size_t const savedEnds = ends_.size();
    ++callDepth_;
    frame_ = &locals;
    try {
        exec(fn.body);
    } catch (...) {
        noteErrorStack();
        frame_ = savedFrame;
        ends_.resize(savedEnds);
        --callDepth_;
        throw;
    }
    frame_ = savedFrame;
    --callDepth_;
}

void Interp::takeOutputs(FunctionDef const& fn, std::vector<Value>& locals, int nargout, Values& out) {
    size_t const fixedOut = fn.outputs.size() - (fn.varargout ? 1 : 0);
    size_t const wanted = static_cast<size_t>(std::max(nargout, 1));
    for (size_t k = 0; k < wanted && k < fixedOut; ++k) {
        Value& v = locals[fn.outputSlots[k]];
        if (!v.isSet()) {
            if (k == 0 && nargout == 0) return;  // a function called for its effect
            unsetOutput(fn, k);
        }
        out.push_back(std::move(v));
    }
    if (fn.varargout && wanted > fixedOut) {
        Value& v = locals[fn.outputSlots[fixedOut]];
        if (!v.isSet() || v.classId() != vxCELL_CLASS) {
            if (nargout == 0 && fixedOut == 0) return;
            vxErrMsgId("Calyx:unassignedOutput", "varargout of %s must be a cell holding the outputs.", fn.name.c_str());
        }
        vxArray const* cell = v.array();
        size_t const have = vxGetNumberOfElements(cell);
        for (size_t k = fixedOut; k < wanted; ++k) {
            if (k - fixedOut >= have) {
                if (nargout == 0) break;
                vxErrMsgId("Calyx:unassignedOutput", "Output argument %zu of %s was not set (varargout is too short).",
                           k + 1, fn.name.c_str());
            }
            out.emplace_back(ArrayPtr(copyArray(vxGetCell(cell, k - fixedOut))));
        }
    }
}


bool Interp::variableNow(std::string const& name) {
    if (frame_ == &workspace_.values) return workspace_.find(name) != nullptr;
    FunctionDef const* fn = frames_.back().fn;
    if (!fn || frame_ != frames_.back().slots) return false;
    auto it = fn->slots.slots.find(name);
    return it != fn->slots.slots.end() && static_cast<size_t>(it->second) < frame_->size() &&
           (*frame_)[it->second].isSet();
}

// The common call in a loop, y = f(x) with f a function of a file that the
// site has already resolved: its arguments go on the argument stack and its
// one result comes back without a list. False, having done nothing, for any
// other call. `result` is unset when the function gives no value.
bool Interp::callSiteValue(Node const& n, Value& result) {
    Node const& base = n.op == Op::Var ? n : *n.kids[0];
    if (base.op != Op::Var || base.sub == 1 || slot(base.slot).isSet()) return false;
    std::vector<NodePtr> const* argNodes = nullptr;
    if (n.op == Op::Postfix) {
        if (n.steps.size() != 1 || n.steps[0].kind != Step::Paren) return false;
        argNodes = &n.steps[0].args;
    }
    std::shared_ptr<void const> const* keeper;
    ParsedFile const* unit;
    FunctionDef const* fn;
    if (base.fnKind == KindLocal) {
        keeper = keeper_;
        unit = frames_.back().unit;
        fn = static_cast<FunctionDef const*>(base.fnCache);
    } else if (base.fnKind == KindFile && base.fnStamp == resolveStamp()) {
        keeper = static_cast<std::shared_ptr<void const> const*>(base.fnCache);
        unit = static_cast<ParsedFile const*>(keeper->get());
        if (unit->script || unit->functions.empty()) return false;
        fn = &unit->functions[0];
    } else {
        return false;
    }
    struct Pop {
        Values& stack;
        size_t const first;
        ~Pop() { stack.resize(first); }
    } pop{argStack_, argStack_.size()};
    if (argNodes) evalArgs(*argNodes, argStack_, nullptr, 0);
    WorkspaceLease lease(*this);
    std::vector<Value>& locals = *lease.locals;
    // The arguments are moved into the workspace before the body can push more.
    runUser(*keeper, *unit, *fn, argStack_.data() + pop.first, argStack_.size() - pop.first, 1, locals);
    if (fn->varargout || fn->outputs.empty()) {
        Values out;
        takeOutputs(*fn, locals, 1, out);
        if (!out.empty()) result = std::move(out[0]);
        return true;
    }
    Value& v = locals[fn->outputSlots[0]];
    if (!v.isSet()) unsetOutput(*fn, 0);
    result = std::move(v);
    return true;
}

Values Interp::callUser(std::shared_ptr<void const> const& keeper, ParsedFile const& unit, FunctionDef const& fn,
                        Values& args, int nargout) {
    WorkspaceLease lease(*this);
    std::vector<Value>& locals = *lease.locals;
    runUser(keeper, unit, fn, args.data(), args.size(), nargout, locals);
    Values out;
    takeOutputs(fn, locals, nargout, out);
    return out;
}

void Interp::runScript(std::shared_ptr<ParsedFile const> const& unit) {
    if (callDepth_ >= kRecursionLimit)
        vxErrMsgId("Calyx:recursionLimit", "Maximum recursion limit of %d reached.", kRecursionLimit);
    poll();
    checkStack();
    std::shared_ptr<Block const> block = unit->topLevelScript;
    Frame const& caller = frames_.back();
    if (frame_ != &workspace_.values) {
        // Inside a function: the script's names are the function's.
        auto isCommandWord = [this](std::string const& w) { return session_.commands().find(w) != nullptr; };
        ParseLimits limits = session_.limits();
        limits.maxLength = std::numeric_limits<size_t>::max();
        try {
            block = std::make_shared<Block>(parse(unit->scriptText, currentSlots(), limits, isCommandWord));
        } catch (vx::Error const& e) {
            if (e.identifier() == "Calyx:syntax") raiseInFile(e, unit->path, unit->scriptText);
            throw;
        }
        if (caller.fn) frame_->resize(caller.fn->slots.values.size());
    }
    Frame frame{frame_, unit->name, unit->path, 0};
    frame.fn = caller.fn;
    frame.script = true;
    FrameGuard guard(frames_, std::move(frame));
    std::shared_ptr<void const> const keeper = block;
    ProgramScope scope(*this, block.get(), &keeper);
    size_t const savedEnds = ends_.size();
    ++callDepth_;
    try {
        exec(*block);
    } catch (...) {
        noteErrorStack();
        ends_.resize(savedEnds);
        --callDepth_;
        throw;
    }
    --callDepth_;
}

files::SourcePath& Interp::sourcePath() {
    if (!paths_) paths_.reset(new files::SourcePath());
    return *paths_;
}

void Interp::evalText(std::string const& text, Values& out) {
    if (frame_ != &workspace_.values && !frames_.back().fn)
        vxErrMsgId("Calyx:input:noWorkspace", "Typed text cannot be evaluated inside an anonymous function.");
    auto block = std::make_shared<Block>(parse(text, currentSlots(), session_.limits()));
    if (frame_ != &workspace_.values) frame_->resize(frames_.back().fn->slots.values.size());
    if (block->size() != 1 || (*block)[0]->kind != StmtKind::Expr)
        vxErrMsgId("Calyx:input:notExpression", "The text typed is not an expression.");
    std::shared_ptr<void const> const keeper = block;
    ProgramScope scope(*this, block.get(), &keeper);
    Node const& e = *(*block)[0]->expr;
    if (e.op == Op::Var || e.op == Op::Postfix) evalPostfix(e, out, 1, false);
    else out.push_back(eval(e));
}

} // namespace qzlang
