// Calls: anonymous functions and their captures, handles, and functions by
// name (the interpreter's, the kernels', the older constructors, commands).
#include "Interp.hpp"
#include "FunctionFile.hpp"
#include "Builtins.hpp"
#include "Indexing.hpp"
#include "InterpSupport.hpp"
#include "qzlang/ArrayOps.hpp"
#include "qzlang/Session.hpp"

#include <qzservices/display/ioPrintArray.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <iterator>
#include <new>
#include <unordered_set>
#include <vector>

namespace qzlang {

using namespace detail;

namespace {

// A handle of the function class that carries the number of its closure.
Value closureHandle(std::unordered_map<std::uint64_t, std::shared_ptr<Closure>>& closures, std::uint64_t& next,
                    std::shared_ptr<Closure> c) {
    std::uint64_t const id = next++;
    ArrayPtr h(vxCreateFunctionHandle(c->text.c_str()));
    setClosureId(h.get(), id);
    closures[id] = std::move(c);
    return Value::box(h.release());
}

} // namespace

Value Interp::makeClosure(Node const& n) {
    auto c = std::make_shared<Closure>();
    c->program = *keeper_;
    c->fn = &n;
    c->unit = frames_.back().unit;
    c->captured.resize(n.frameSize);
    for (Capture const& cap : n.captures) {
        Value const& v = slot(cap.outer);
        if (v.isSet()) c->captured[cap.inner] = v;
    }
    c->text = expressionText(n);
    return closureHandle(closures_, nextClosure_, std::move(c));
}

Value Interp::handleTo(std::string const& name) {
    // A local function of the file running now: the handle keeps it, so that
    // it calls that function from wherever it is called.
    if (FunctionDef const* local = localFunction(name)) {
        auto c = std::make_shared<Closure>();
        c->program = *keeper_;
        c->unit = frames_.back().unit;
        c->local = local;
        c->text = "@" + name;
        return closureHandle(closures_, nextClosure_, std::move(c));
    }
    return Value::box(vxCreateFunctionHandle(("@" + name).c_str()));
}

// A handle names its closure only by number, and nothing tells the table
// when the last copy of a handle goes; a closure keeps the whole program it
// was made in. So once the table has doubled since the last sweep, the
// closures that no variable reaches (through cells, structures and the
// captures of closures it reaches) are dropped. Called between top-level
// runs, when no value lives outside the workspace.
void Interp::sweepClosures() {
    if (closures_.size() < sweepAt_) return;
    std::unordered_set<std::uint64_t> live;
    std::vector<vxArray const*> pending;
    auto reach = [&pending](Value const& v) {
        if (v.isSet() && !v.isScalar()) pending.push_back(v.array());
    };
    for (Value const& v : workspace_.values) reach(v);
    while (!pending.empty()) {
        vxArray const* a = pending.back();
        pending.pop_back();
        if (a == nullptr) continue;
        size_t const n = vxGetNumberOfElements(a);
        switch (vxGetClassID(a)) {
        case vxCELL_CLASS:
            for (size_t k = 0; k < n; ++k) pending.push_back(vxGetCell(a, k));
            break;
        case vxSTRUCT_CLASS:
        case vxOBJECT_CLASS: {
            int const fields = vxGetNumberOfFields(a);
            for (size_t k = 0; k < n; ++k)
                for (int f = 0; f < fields; ++f) pending.push_back(vxGetFieldByNumber(a, k, f));
            break;
        }
        case vxFUNCTION_CLASS: {
            auto const* h = static_cast<function_handle_tag const*>(vxGetData(a));
            for (size_t k = 0; k < n; ++k) {
                std::uint64_t const id = h[k].reserved[0];
                if (id == 0 || !live.insert(id).second) continue;
                auto it = closures_.find(id);
                if (it != closures_.end())
                    for (Value const& v : it->second->captured) reach(v);
            }
            break;
        }
        default: break;
        }
    }
    for (auto it = closures_.begin(); it != closures_.end();)
        it = live.count(it->first) ? std::next(it) : closures_.erase(it);
    sweepAt_ = std::max<size_t>(64, 2 * closures_.size());
}

Value Interp::handleFromText(std::string const& text) {
    std::string t = text;
    size_t const first = t.find_first_not_of(" \t");
    if (first == std::string::npos) vxErrMsgId("Calyx:badHandle", "An empty text names no function.");
    t = t.substr(first);
    if (t[0] != '@') {
        if (!validFieldName(t)) vxErrMsgId("Calyx:badHandle", "'%s' is not a function name.", t.c_str());
        return handleTo(t);
    }
    // Names of the text are its own: nothing is captured from the caller.
    struct Fresh : SlotTable {
        int next = 0;
        int slot(std::string const&) override { return next++; }
    } fresh;
    auto program = std::make_shared<Block>(parse(t, fresh));
    if (program->size() != 1 || (*program)[0]->kind != StmtKind::Expr ||
        ((*program)[0]->expr->op != Op::AnonFn && (*program)[0]->expr->op != Op::FuncHandle))
        vxErrMsgId("Calyx:badHandle", "'%s' is not a function handle.", text.c_str());
    Node const& n = *(*program)[0]->expr;
    if (n.op == Op::FuncHandle) return handleTo(n.text);
    auto c = std::make_shared<Closure>();
    c->program = program;
    c->fn = &n;
    c->captured.resize(n.frameSize);
    c->text = expressionText(n);
    return closureHandle(closures_, nextClosure_, std::move(c));
}

std::string Interp::handleText(vxArray const* handle) const {
    auto const* h = static_cast<function_handle_tag const*>(vxGetData(handle));
    return h[0].text ? h[0].text : "";
}

// ---- calls ----

Values Interp::callValue(Value const& fn, Values& args, int nargout) {
    if (fn.classId() != vxFUNCTION_CLASS)
        vxErrMsgId("Calyx:notFunction", "Only a function handle can be called.");
    vxArray const* h = fn.array();
    std::string const text = handleText(h);
    std::uint64_t const id = closureIdOf(h);
    if (id == 0 && text.compare(0, 2, "@(") != 0) return callName(text.substr(1), args, nargout);
    auto it = closures_.find(id);
    if (it == closures_.end())
        vxErrMsgId("Calyx:lostClosure", "The anonymous function %s lost its captured values (it was copied by a function that does not keep them).",
                   text.c_str());
    std::shared_ptr<Closure> c = it->second;
    if (c->local) return callUser(c->program, *c->unit, *c->local, args, nargout);
    Node const& node = *c->fn;
    if (static_cast<int>(args.size()) > node.params)
        vxErrMsgId("Calyx:tooManyInputs", "Too many input arguments: %s takes %d, %zu given.", text.c_str(), node.params,
                   args.size());
    if (callDepth_ >= 500) vxErrMsgId("Calyx:recursionLimit", "Maximum recursion limit of 500 reached.");
    poll();
    checkStack();
    std::vector<Value> locals(c->captured);
    for (size_t k = 0; k < args.size(); ++k) locals[k] = std::move(args[k]);
    std::vector<Value>* const saved = frame_;
    // The body sees the local functions of the file it was made in.
    Frame frame{&locals, text, "", frames_.back().line};
    frame.unit = c->unit;
    FrameGuard guard(frames_, std::move(frame));
    ProgramScope scope(*this, nullptr, &c->program);
    ++callDepth_;
    frame_ = &locals;
    Values out;
    try {
        Node const& body = *node.kids[0];
        if (body.op == Op::Var || body.op == Op::Postfix) evalPostfix(body, out, nargout, false);
        else out.push_back(eval(body));
    } catch (...) {
        frame_ = saved;
        --callDepth_;
        throw;
    }
    frame_ = saved;
    --callDepth_;
    return out;
}

bool Interp::functionExists(std::string const& name) const {
    return findLangFunction(name) || kernels::find(name) || findBuiltin(name) || localFunction(name) ||
           (files::isValidName(name) && const_cast<Interp*>(this)->sourcePath().locate(name));
}

unsigned long long Interp::resolveStamp() const { return paths_ ? paths_->epoch() : 0; }

Interp::Callee Interp::resolve(std::string const& name, Node const* site) {
    // A local function stays the site's: the site is in that function's file
    // for good, and variables are looked at before this. Other answers stand
    // for the epoch of the search path they were found in.
    if (site && site->fnKind != NotLooked && (site->fnKind == KindLocal || site->fnStamp == resolveStamp()))
        return Callee{site->fnKind, site->fnCache};
    Callee const c = lookUp(name);
    if (site) site->fnKind = c.kind, site->fnCache = c.fn, site->fnStamp = resolveStamp();
    return c;
}

Interp::Callee Interp::lookUp(std::string const& name) {
    // A local function of the file running now, a file on the path, then a built-in.
    if (FunctionDef const* local = localFunction(name)) return Callee{KindLocal, local};
    if (files::isValidName(name))
        if (std::shared_ptr<files::SourceFile const> file = sourcePath().locate(name)) {
            std::shared_ptr<ParsedFile const> unit = parsedFile(file);
            auto pin = pins_.emplace(unit.get(), std::shared_ptr<void const>()).first;
            if (!pin->second) pin->second = std::move(unit);
            return Callee{KindFile, &pin->second};
        }
    if (LangFunction f = findLangFunction(name)) return Callee{KindLang, reinterpret_cast<void const*>(f)};
    if (kernels::FunctionInfo const* k = kernels::find(name)) return Callee{KindKernel, k};
    if (BuiltinFn b = findBuiltin(name)) return Callee{KindLegacy, reinterpret_cast<void const*>(b)};
    return Callee{KindNone, nullptr};
}

Values Interp::callName(std::string const& name, Values& args, int nargout, Node const* site) {
    return callResolved(resolve(name, site), name, args, nargout);
}

Values Interp::callResolved(Callee callee, std::string const& name, Values& args, int nargout) {
    void const* const fn = callee.fn;
    Values out;
    switch (callee.kind) {
    case KindLocal:
        // The site is in the file that the keeper of the block running keeps alive.
        return callUser(*keeper_, *frames_.back().unit, *static_cast<FunctionDef const*>(fn), args, nargout);
    case KindFile: {
        // The pin keeps the parse alive for the call, whatever the path does meanwhile.
        auto const& pin = *static_cast<std::shared_ptr<void const> const*>(fn);
        auto const* unit = static_cast<ParsedFile const*>(pin.get());
        if (unit->script) {
            if (!args.empty())
                vxErrMsgId("Calyx:scriptArguments", "'%s' is a script and takes no arguments.", name.c_str());
            runScript(std::static_pointer_cast<ParsedFile const>(pin));
            return out;
        }
        if (unit->functions.empty()) vxErrMsgId("Calyx:emptyFile", "The file of '%s' defines no function.", name.c_str());
        return callUser(pin, *unit, unit->functions[0], args, nargout);
    }
    case KindLang:
        reinterpret_cast<LangFunction>(const_cast<void*>(fn))(*this, nargout, out, args);
        return out;
    case KindKernel: {
        auto const* info = static_cast<kernels::FunctionInfo const*>(fn);
        int const nin = static_cast<int>(args.size());
        if (nin < info->minIn) vxErrMsgId("Calyx:notEnoughInputs", "Not enough input arguments for %s.", name.c_str());
        if (info->maxIn >= 0 && nin > info->maxIn) {
            // The older constructors take forms the kernels do not (char of several rows).
            if (BuiltinFn b = findBuiltin(name)) {
                std::vector<ArrayPtr> owned;
                for (Value& v : args) owned.push_back(v.copy());
                ArrayPtr r = b(session_, owned);
                if (r) out.emplace_back(std::move(r));
                return out;
            }
            vxErrMsgId("Calyx:tooManyInputs", "Too many input arguments for %s.", name.c_str());
        }
        if (nargout > std::max(info->maxOut, 1))
            vxErrMsgId("Calyx:tooManyOutputs", "Too many output arguments for %s.", name.c_str());
        std::vector<ArrayPtr> tmps(args.size());
        std::vector<vxArray const*> in(args.size());
        for (size_t k = 0; k < args.size(); ++k) in[k] = args[k].view(tmps[k]);
        std::vector<ArrayPtr> results;
        info->fn(nargout, results, in);
        for (auto& r : results)
            if (r) out.emplace_back(std::move(r));
        if (nargout == 0 && out.size() > 1) out.resize(1);
        return out;
    }
    case KindLegacy: {
        if (nargout > 1) vxErrMsgId("Calyx:tooManyOutputs", "Too many output arguments for %s.", name.c_str());
        std::vector<ArrayPtr> owned;
        for (Value& v : args) owned.push_back(v.copy());
        ArrayPtr r = reinterpret_cast<BuiltinFn>(const_cast<void*>(fn))(session_, owned);
        if (r) out.emplace_back(std::move(r));
        return out;
    }
    default: break;
    }
    // A command of the session, called with text arguments.
    if (Command const* c = session_.commands().find(name)) {
        std::vector<std::string> words;
        for (Value& v : args) {
            ArrayPtr tmp;
            vxArray const* a = v.view(tmp);
            if (!isText(a)) vxErrMsgId("Calyx:badArgument", "%s takes text arguments.", name.c_str());
            words.push_back(vxArrayToStdString(a));
        }
        if (c->run(session_, words) == CommandResult::Exit) exitRequested = true;
        return out;
    }
    vxErrMsgId("Calyx:undefinedFunction", "Undefined function or variable '%s'.", name.c_str());
}

} // namespace qzlang
