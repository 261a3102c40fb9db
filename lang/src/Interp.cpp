// The evaluator: running statements and computing expressions.
#include "Interp.hpp"
#include "Builtins.hpp"
#include "Indexing.hpp"
#include "InterpSupport.hpp"
#include "qzlang/ArrayOps.hpp"
#include "qzlang/Session.hpp"

#include <qzservices/display/ioPrintArray.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <sys/resource.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <new>

namespace qzlang {

using namespace detail;


Interp::Interp(Session& session) : session_(session), frame_(&workspace_.values) {
    frames_.push_back(Frame{&workspace_.values, "", "", 0});
}

void Interp::checkInterrupt() {
    if (uvIsInterruptPending()) uvLongjmpIfInterruptPending();
    if (stepLimit && polls_ > stepLimit)
        vxErrMsgId("Calyx:stepLimit", "The statements ran more than %llu loop passes and calls.", stepLimit);
}

void Interp::run(std::shared_ptr<Block const> const& program) {
    // Between top-level runs only the workspace holds values.
    if (!program_ && frames_.size() == 1) sweepClosures();
    char const* const savedTop = stackTop_;
    if (!stackTop_) {
        stackTop_ = static_cast<char const*>(__builtin_frame_address(0));
        rlimit limit{};
        rlim_t const size = ::getrlimit(RLIMIT_STACK, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
                                    limit.rlim_cur < (rlim_t(64) << 20)
                                ? limit.rlim_cur
                                : rlim_t(8) << 20;
        stackBudget_ = static_cast<std::ptrdiff_t>(size / 4 * 3);
    }
    struct RestoreTop {
        char const*& ref;
        char const* value;
        ~RestoreTop() { ref = value; }
    } restoreTop{stackTop_, savedTop};
    std::shared_ptr<void const> const keeper = program;
    ProgramScope scope(*this, program.get(), &keeper);
    stepLimit = session_.limits().maxSteps;
    polls_ = 0;
    errorStack_.clear();
    stackTaken_ = false;
    try {
        exec(*program);
    } catch (...) {
        frame_ = frames_.back().slots;
        ends_.clear();
        throw;
    }
}

void Interp::show(char const* name, Value const& v) {
    ArrayPtr tmp;
    ioPrintArray(name, v.view(tmp));
}

// ---- statements ----

Flow Interp::exec(Block const& block) {
    // Each statement at the prompt is a new epoch of the search path's cache:
    // files changed since the last one are read again at their next call, and
    // names are resolved again. No call runs here, so no pin is needed.
    bool const topLevel = frames_.size() == 1 && &block == program_;
    for (StmtPtr const& s : block) {
        if (topLevel && paths_) {
            paths_->newEpoch();
            pins_.clear();
        }
        frames_.back().line = s->line;
        Flow const f = execStmt(*s);
        if (f != Flow::Normal) return f;
        if (exitRequested) return Flow::Return;
    }
    return Flow::Normal;
}

Flow Interp::execStmt(Stmt const& s) {
    switch (s.kind) {
    case StmtKind::Expr: execExpr(s); return Flow::Normal;
    case StmtKind::Assign: execAssign(s); return Flow::Normal;
    case StmtKind::Multi: execMulti(s); return Flow::Normal;
    case StmtKind::Command: execCommand(s); return exitRequested ? Flow::Return : Flow::Normal;
    case StmtKind::If:
        for (Clause const& c : s.clauses)
            if (truth(eval(*c.test), "if")) return exec(c.body);
        return exec(s.elseBody);
    case StmtKind::For: return execFor(s);
    case StmtKind::While: return execWhile(s);
    case StmtKind::Break: return Flow::Break;
    case StmtKind::Continue: return Flow::Continue;
    case StmtKind::Return: return Flow::Return;
    case StmtKind::Switch: return execSwitch(s);
    case StmtKind::Try: return execTry(s);
    case StmtKind::Function: vxErrMsgId("Calyx:syntax", "Function definitions are allowed in function files only.");
    }
    return Flow::Normal;
}

void Interp::execExpr(Stmt const& s) {
    Node const& e = *s.expr;
    if (e.op == Op::Var && slot(e.slot).isSet()) {
        // A bare variable shows under its own name and leaves ans alone.
        if (!s.quiet) show(e.text.c_str(), slot(e.slot));
        return;
    }
    Values out;
    if (e.op == Op::Var || e.op == Op::Postfix) evalPostfix(e, out, 0, true);
    else out.push_back(eval(e));
    int const ans = ansSlot();
    for (Value& v : out) {
        if (ans < 0) {  // an anonymous function's frame keeps no ans
            if (!s.quiet) show("ans", v);
            continue;
        }
        slot(ans) = std::move(v);
        if (!s.quiet) show("ans", slot(ans));
    }
}

void Interp::execCommand(Stmt const& s) {
    bool const variable = (s.alt || !s.altError.empty()) && variableNow(s.word);
    if (s.alt && variable) {
        execStmt(*s.alt);
        return;
    }
    if (!s.alt && variable)
        vxErrMsgId("Calyx:syntax", "%s", s.altError.c_str());
    if (Command const* c = session_.commands().find(s.word)) {
        if (c->run(session_, s.words) == CommandResult::Exit) exitRequested = true;
        return;
    }
    Values args;
    for (std::string const& w : s.words) args.push_back(Value::box(vxCreateCharArray(2, std::vector<size_t>{1, w.size()}.data())));
    for (size_t k = 0; k < s.words.size(); ++k) {
        vxChar* d = static_cast<vxChar*>(vxGetData(args[k].array()));
        for (size_t i = 0; i < s.words[k].size(); ++i) d[i] = static_cast<unsigned char>(s.words[k][i]);
    }
    Values out = callName(s.word, args, 0);
    int const ans = ansSlot();
    for (Value& v : out) {
        if (ans < 0) {
            if (!s.quiet) show("ans", v);
            continue;
        }
        slot(ans) = std::move(v);
        if (!s.quiet) show("ans", slot(ans));
    }
}

void Interp::execAssign(Stmt const& s) {
    Target const& t = s.targets[0];
    if (t.steps.empty()) {
        Value rhs = eval(*s.expr);
        if (!rhs.isSet()) vxErrMsgId("Calyx:noValue", "The right side of '=' has no value.");
        slot(t.slot) = std::move(rhs);
    } else {
        assignTo(t, eval(*s.expr));
    }
    if (!s.quiet) show(t.name.c_str(), slot(t.slot));
}

void Interp::execMulti(Stmt const& s) {
    int const n = static_cast<int>(s.targets.size());
    Values out;
    Node const& e = *s.expr;
    if (e.op == Op::Var || e.op == Op::Postfix) evalPostfix(e, out, n, false);
    else evalList(e, out);
    if (static_cast<int>(out.size()) < n) {
        if (out.size() <= 1 && n > 1 && (e.op == Op::Var || e.op == Op::Postfix))
            vxErrMsgId("Calyx:tooManyOutputs", "Too many output arguments: %d requested, %zu given.", n, out.size());
        vxErrMsgId("Calyx:tooManyOutputs", "Too many output arguments: %d requested, %zu given.", n, out.size());
    }
    for (int k = 0; k < n; ++k) {
        Target const& t = s.targets[k];
        if (t.slot < 0) continue;  // ~
        assignTo(t, std::move(out[k]));
    }
    if (!s.quiet)
        for (Target const& t : s.targets)
            if (t.slot >= 0) show(t.name.c_str(), slot(t.slot));
}

Flow Interp::execFor(Stmt const& s) {
    int const var = s.targets[0].slot;
    Node const& e = *s.expr;
    if (e.op == Op::Range) {
        // A range of doubles runs without being made.
        Value a = eval(*e.kids[0]);
        Value b = eval(*e.kids[1]);
        Value c = e.kids.size() == 3 ? eval(*e.kids[2]) : Value(1.0);
        if (a.isNum() && b.isNum() && c.isNum()) {
            double const start = a.num();
            double const step = e.kids.size() == 3 ? b.num() : 1.0;
            double const stop = e.kids.size() == 3 ? c.num() : b.num();
            double const count = rangeCount(start, step, stop);
            if (count < 0) {  // a NaN end: one pass with NaN
                slot(var) = std::nan("");
                Flow f = exec(s.body);
                return f == Flow::Return ? f : Flow::Normal;
            }
            if (count == 0) {
                slot(var) = Value(ArrayPtr(vxCreateDoubleMatrix(0, 0, vxREAL)));
                return Flow::Normal;
            }
            if (count > 9.0e15) vxErrMsgId("Calyx:tooLarge", "A for loop over more than 9e15 values.");
            size_t const n = static_cast<size_t>(count);
            for (size_t i = 0; i < n; ++i) {
                slot(var) = start + static_cast<double>(i) * step;
                poll();
                Flow const f = exec(s.body);
                if (f == Flow::Break) break;
                if (f == Flow::Return) return f;
            }
            return Flow::Normal;
        }
    }
    Value v = eval(e);
    ArrayPtr tmp;
    vxArray const* a = v.view(tmp);
    size_t const numel = vxGetNumberOfElements(a);
    if (numel == 0) {
        slot(var) = emptyValue();
        return Flow::Normal;
    }
    if (v.isScalar()) {
        slot(var) = v;
        Flow const f = exec(s.body);
        return f == Flow::Return ? f : Flow::Normal;
    }
    size_t const rows = vxGetM(a), cols = numel / rows;
    std::vector<Subscript> subs(2);
    subs[0].colon = true;
    ArrayPtr folded;
    if (vxGetNumberOfDimensions(a) > 2) {
        folded.reset(copyArray(a));
        size_t d[2] = {rows, cols};
        vxSetDimensions(folded.get(), 2, d);
        a = folded.get();
    }
    for (size_t j = 0; j < cols; ++j) {
        subs[1] = scalarSubscript(j);
        slot(var) = Value(indexRead(a, subs));
        poll();
        Flow const f = exec(s.body);
        if (f == Flow::Break) break;
        if (f == Flow::Return) return f;
    }
    return Flow::Normal;
}

Flow Interp::execWhile(Stmt const& s) {
    for (;;) {
        poll();
        if (!truth(eval(*s.expr), "while")) return Flow::Normal;
        Flow const f = exec(s.body);
        if (f == Flow::Break) return Flow::Normal;
        if (f == Flow::Return) return f;
    }
}

namespace {

bool switchMatches(Value const& v, vxArray const* value, Value const& c, vxArray const* test) {
    bool const vt = vxGetClassID(value) == vxCHAR_CLASS, ct = vxGetClassID(test) == vxCHAR_CLASS;
    if (vt || ct) {
        if (!(vt && ct)) return false;
        return vxArrayToStdString(value) == vxArrayToStdString(test) &&
               vxGetNumberOfElements(value) == vxGetNumberOfElements(test);
    }
    if (v.isScalar() && c.isScalar()) return v.num() == c.num();
    if (!hasNumbers(vxGetClassID(value)) || !hasNumbers(vxGetClassID(test))) return false;
    if (vxGetNumberOfElements(value) != 1 || vxGetNumberOfElements(test) != 1) {
        if (vxGetNumberOfElements(value) == 0 && vxGetNumberOfElements(test) == 0) return true;
        return false;
    }
    return realAt(value, 0) == realAt(test, 0) && imagAt(value, 0) == imagAt(test, 0);
}

} // namespace

Flow Interp::execSwitch(Stmt const& s) {
    Value v = eval(*s.expr);
    ArrayPtr vt;
    vxArray const* value = v.view(vt);
    for (Clause const& c : s.clauses) {
        Value t = eval(*c.test);
        ArrayPtr tt;
        vxArray const* test = t.view(tt);
        bool match = false;
        if (vxGetClassID(test) == vxCELL_CLASS) {
            size_t const n = vxGetNumberOfElements(test);
            for (size_t k = 0; k < n && !match; ++k) {
                vxArray const* m = vxGetCell(test, k);
                if (!m) continue;
                Value mv(ArrayPtr(copyArray(m)));
                ArrayPtr mt;
                match = switchMatches(v, value, mv, mv.view(mt));
            }
        } else {
            match = switchMatches(v, value, t, test);
        }
        if (match) return exec(c.body);
    }
    return exec(s.elseBody);
}

namespace {

// err of "catch err": message, identifier and stack (file, name, line).
Value errorValue(std::string const& id, std::string const& message, std::vector<files::Frame> const& frames) {
    char const* fields[] = {"message", "identifier", "stack"};
    ArrayPtr s(vxCreateStructMatrix(1, 1, 3, fields));
    vxSetFieldByNumber(s.get(), 0, 0, message.empty() ? vxCreateCharArray(2, std::vector<size_t>{0, 0}.data())
                                                       : vxCreateString(message.c_str()));
    vxSetFieldByNumber(s.get(), 0, 1, id.empty() ? vxCreateCharArray(2, std::vector<size_t>{0, 0}.data())
                                                 : vxCreateString(id.c_str()));
    char const* stackFields[] = {"file", "name", "line"};
    std::vector<files::Frame const*> inFiles;
    for (files::Frame const& f : frames)
        if (!f.file.empty()) inFiles.push_back(&f);
    ArrayPtr stack(vxCreateStructMatrix(inFiles.size(), 1, 3, stackFields));
    for (size_t k = 0; k < inFiles.size(); ++k) {
        vxSetFieldByNumber(stack.get(), k, 0, vxCreateString(inFiles[k]->file.c_str()));
        vxSetFieldByNumber(stack.get(), k, 1, vxCreateString(inFiles[k]->name.c_str()));
        vxSetFieldByNumber(stack.get(), k, 2, vxCreateDoubleScalar(inFiles[k]->line));
    }
    vxSetFieldByNumber(s.get(), 0, 2, stack.release());
    return Value(std::move(s));
}

} // namespace

Flow Interp::execTry(Stmt const& s) {
    size_t const depth = frames_.size();
    std::string id, message;
    std::vector<Value>* savedFrame = frame_;
    size_t const savedEnds = ends_.size();
    try {
        return exec(s.body);
    } catch (vx::Error const& e) {
        raiseIfPastStepLimit();
        id = e.identifier();
        message = e.what();
    } catch (std::bad_alloc const&) {
        id = "Calyx:nomem";
        message = "Out of memory.";
    }
    // The frames of the error, taken where it left its innermost function.
    std::vector<files::Frame> stack = takeErrorStack();
    frames_.resize(depth);
    frame_ = savedFrame;
    ends_.resize(savedEnds);
    lastError = message;
    diagnostics.setLastError(message, id);
    if (s.catchSlot >= 0) slot(s.catchSlot) = errorValue(id, message, stack);
    return exec(s.elseBody);
}

// ---- expressions ----

bool Interp::truth(Value const& v, char const* where) {
    if (v.isScalar()) {
        if (std::isnan(v.num()))
            vxErrMsgId("Calyx:nanToLogical", "NaN cannot be converted to a logical value in an %s condition.", where);
        return v.num() != 0;
    }
    ArrayPtr tmp;
    return kernels::isTrue(v.view(tmp));
}

inline __attribute__((always_inline)) bool Interp::scalarOperand(Node const& k, double& out) {
    if (k.op == Op::Number) {
        out = k.num;
        return true;
    }
    if (k.op == Op::Var) {
        Value const& v = slot(k.slot);
        if (v.isNum()) {
            out = v.num();
            return true;
        }
    }
    return false;
}

namespace {

// An operator on two double scalars, when its result is a double or logical
// scalar; an unset value for what needs the kernels (a negative base to a
// fractional power leaves the reals; NaN in & or | raises there).
inline __attribute__((always_inline)) Value scalarBinary(BinOp op, double x, double y) {
    switch (op) {
    case BinOp::Plus: return Value(x + y);
    case BinOp::Minus: return Value(x - y);
    case BinOp::Times:
    case BinOp::MTimes: return Value(x * y);
    case BinOp::RDivide:
    case BinOp::MRDivide: return Value(x / y);
    case BinOp::LDivide:
    case BinOp::MLDivide: return Value(y / x);
    case BinOp::Power:
    case BinOp::MPower:
        if (x >= 0 || y == std::floor(y)) return Value(std::pow(x, y));
        break;
    case BinOp::Lt: return Value::logical(x < y);
    case BinOp::Le: return Value::logical(x <= y);
    case BinOp::Gt: return Value::logical(x > y);
    case BinOp::Ge: return Value::logical(x >= y);
    case BinOp::Eq: return Value::logical(x == y);
    case BinOp::Ne: return Value::logical(x != y);
    case BinOp::And:
        if (!std::isnan(x) && !std::isnan(y)) return Value::logical(x != 0 && y != 0);
        break;
    case BinOp::Or:
        if (!std::isnan(x) && !std::isnan(y)) return Value::logical(x != 0 || y != 0);
        break;
    }
    return Value();
}

} // namespace

// The fast path: numbers, variables, and arithmetic or comparison of two
// scalar operands, with nothing else on the stack; the rest goes to evalNode.
Value Interp::eval(Node const& n) {
    switch (n.op) {
    case Op::Number: return Value(n.num);
    case Op::Var: {
        Value const& v = slot(n.slot);
        if (v.isSet()) return v;
        break;
    }
    case Op::Binary: {
        double x, y;
        if (scalarOperand(*n.kids[0], x) && scalarOperand(*n.kids[1], y)) {
            Value r = scalarBinary(static_cast<BinOp>(n.sub), x, y);
            if (r.isSet()) return r;
        }
        break;
    }
    default: break;
    }
    return evalNode(n);
}

Value Interp::evalNode(Node const& n) {
    switch (n.op) {
    case Op::Number: return Value(n.num);
    case Op::Var: {
        Value const& v = slot(n.slot);
        if (v.isSet()) return v;
        break;
    }
    case Op::Binary: {
        Value fusedValue;
        if (fuse(n, fusedValue)) return fusedValue;
        // Operands that are scalar variables or numbers are read in place.
        double x, y;
        Value a, b;
        bool const inPlaceA = scalarOperand(*n.kids[0], x);
        if (inPlaceA) {
            a = Value(x);
        } else {
            a = eval(*n.kids[0]);
            x = a.num();
        }
        bool const inPlaceB = scalarOperand(*n.kids[1], y);
        if (inPlaceB) {
            b = Value(y);
        } else {
            b = eval(*n.kids[1]);
            y = b.num();
        }
        if (a.isScalar() && b.isScalar()) {
            Value r = scalarBinary(static_cast<BinOp>(n.sub), x, y);
            if (r.isSet()) return r;
        }
        return binary(static_cast<BinOp>(n.sub), a, b);
    }
    case Op::Unary: {
        Value a = eval(*n.kids[0]);
        if (a.isScalar()) {
            double const x = a.num();
            switch (static_cast<UnOp>(n.sub)) {
            case UnOp::Negate: return Value(-x);
            case UnOp::UPlus: return a.isNum() ? a : Value(x);
            case UnOp::Not:
                if (!std::isnan(x)) return Value::logical(x == 0);
                break;
            case UnOp::Transpose:
            case UnOp::CTranspose: return a;
            }
        }
        return unary(static_cast<UnOp>(n.sub), a);
    }
    case Op::AndAnd:
    case Op::OrOr: {
        char const* name = n.op == Op::AndAnd ? "&&" : "||";
        auto operand = [&](Node const& k) {
            Value v = eval(k);
            if (v.isScalar()) {
                if (std::isnan(v.num())) vxErrMsgId("Calyx:nanToLogical", "NaN cannot be converted to logical for %s.", name);
                return v.num() != 0;
            }
            ArrayPtr tmp;
            vxArray const* a = v.view(tmp);
            if (vxGetNumberOfElements(a) != 1 || !hasNumbers(vxGetClassID(a)))
                vxErrMsgId("Calyx:notLogicalScalar",
                           "The operands of %s must convert to one logical value; this one is %s of size %s.", name,
                           vxGetClassName(a), sizeText(a).c_str());
            return kernels::isTrue(a);
        };
        bool const left = operand(*n.kids[0]);
        if (n.op == Op::AndAnd ? !left : left) return Value::logical(left);
        return Value::logical(operand(*n.kids[1]));
    }
    case Op::Imaginary: {
        ArrayPtr a(vxCreateDoubleMatrix(1, 1, vxCOMPLEX));
        *vxGetPi(a.get()) = n.num;
        return Value::box(a.release());
    }
    case Op::String: {
        if (n.text.empty()) return Value::box(vxCreateCharArray(2, std::vector<size_t>{0, 0}.data()));
        ArrayPtr a(vxCreateCharArray(2, std::vector<size_t>{1, n.text.size()}.data()));
        vxChar* d = static_cast<vxChar*>(vxGetData(a.get()));
        for (size_t i = 0; i < n.text.size(); ++i) d[i] = static_cast<unsigned char>(n.text[i]);
        return Value::box(a.release());
    }
    case Op::Colon: return colonValue();
    case Op::EndIndex: {
        if (ends_.empty()) vxErrMsgId("Calyx:badEnd", "'end' stands for a size only inside the subscripts of a variable.");
        EndContext const& c = ends_.back();
        if (!c.value) vxErrMsgId("Calyx:badEnd", "'end' cannot be used in the arguments of a function.");
        ArrayPtr tmp;
        return Value(static_cast<double>(extentOf(c.value->view(tmp), c.k, c.count)));
    }
    case Op::Range: return range(n);
    case Op::Matrix: return matrix(n);
    case Op::CellLit: return cellLiteral(n);
    case Op::FuncHandle: return handleTo(n.text);
    case Op::AnonFn: return makeClosure(n);
    case Op::Postfix: break;
    }
    Value called;
    if (callSiteValue(n, called)) {
        if (!called.isSet()) {
            Node const& base = n.op == Op::Var ? n : *n.kids[0];
            vxErrMsgId("Calyx:noValue", "'%s' gives no value to use here.", base.text.c_str());
        }
        return called;
    }
    Values out;
    evalPostfix(n, out, 1, false);
    if (out.size() != 1) {
        if (out.empty()) {
            Node const& base = n.op == Op::Var ? n : *n.kids[0];
            vxErrMsgId("Calyx:noValue", "'%s' gives no value to use here.",
                       base.op == Op::Var ? base.text.c_str() : "This expression");
        }
        vxErrMsgId("Calyx:listNotAllowed", "A list of %zu values stands where one value is needed.", out.size());
    }
    return std::move(out[0]);
}

void Interp::evalList(Node const& n, Values& out) {
    if (n.op == Op::Postfix) {
        evalPostfix(n, out, 1, false);
        return;
    }
    out.push_back(eval(n));
}

void Interp::evalArgs(std::vector<NodePtr> const& args, Values& out, Value const* indexed, size_t count) {
    for (size_t i = 0; i < args.size(); ++i) {
        Node const& a = *args[i];
        if (a.op == Op::Number) {
            out.emplace_back(a.num);
            continue;
        }
        if (a.op == Op::Var && slot(a.slot).isSet()) {
            out.push_back(slot(a.slot));
            continue;
        }
        // The arguments of a function call leave 'end' to the subscripts around them.
        if (!indexed) {
            evalList(a, out);
            continue;
        }
        ends_.push_back(EndContext{indexed, i, count});
        try {
            evalList(a, out);
        } catch (...) {
            ends_.pop_back();
            throw;
        }
        ends_.pop_back();
    }
}

void Interp::evalPostfix(Node const& n, Values& out, int nargout, bool statement) {
    Node const& base = n.op == Op::Var ? n : *n.kids[0];
    static std::vector<Step> const none;
    std::vector<Step> const& steps = n.op == Op::Postfix ? n.steps : none;
    size_t k = 0;
    Values cur;
    if (base.op == Op::Var && !slot(base.slot).isSet()) {
        if (base.sub == 1)
            vxErrMsgId("Calyx:notEnoughInputs", "Not enough input arguments: '%s' was not given.", base.text.c_str());
        Values args;
        argNames.clear();
        if (!steps.empty() && steps[0].kind == Step::Paren) {
            evalArgs(steps[0].args, args, nullptr, 0);
            k = 1;
            for (NodePtr const& a : steps[0].args) argNames.push_back(a->op == Op::Var ? a->text : "");
        }
        cur = callName(base.text, args, k == steps.size() ? nargout : 1, &base);
        if (k < steps.size() && cur.empty()) vxErrMsgId("Calyx:noValue", "'%s' gives no value to index.", base.text.c_str());
    } else {
        cur.push_back(base.op == Op::Var ? slot(base.slot) : eval(base));
    }
    (void)statement;
    for (; k < steps.size(); ++k) {
        if (cur.size() != 1)
            vxErrMsgId("Calyx:listNotAllowed", "A list of %zu values cannot be indexed further.", cur.size());
        Value holder = std::move(cur[0]);
        cur.clear();
        Step const& st = steps[k];
        bool const lastStep = k + 1 == steps.size();
        switch (st.kind) {
        case Step::Paren: {
            Values subs;
            if (holder.classId() == vxFUNCTION_CLASS && holder.isArr() && vxGetNumberOfElements(holder.array()) == 1) {
                evalArgs(st.args, subs, nullptr, 0);
                cur = callValue(holder, subs, lastStep ? nargout : 1);
                break;
            }
            evalArgs(st.args, subs, &holder, st.args.size());
            indexParen(holder, subs, cur);
            break;
        }
        case Step::Brace: {
            Values subs;
            evalArgs(st.args, subs, &holder, st.args.size());
            indexBrace(holder, subs, cur);
            break;
        }
        case Step::Field:
        case Step::DynField: fieldOf(holder, fieldName(st), cur); break;
        }
    }
    for (Value& v : cur) out.push_back(std::move(v));
}

void Interp::indexParen(Value const& base, Values& subs, Values& out) {
    if (subs.size() == 1 && subs[0].isNum()) {
        double const k = subs[0].num();
        if (base.isArr()) {
            vxArray const* a = base.array();
            if (a->raw_class_id() == vxDOUBLE_CLASS && !a->imag_data() && !a->is_sparse() && k >= 1 &&
                k <= static_cast<double>(a->number_of_elements()) && k == std::floor(k)) {
                out.emplace_back(static_cast<double const*>(a->real_data())[static_cast<size_t>(k) - 1]);
                return;
            }
        } else if (base.isScalar() && k == 1) {
            out.push_back(base);
            return;
        }
    }
    ArrayPtr tmp;
    vxArray const* a = base.view(tmp);
    std::vector<Subscript> s = toSubscripts(a, subs, 1);
    out.emplace_back(indexRead(a, s));
}

void Interp::indexBrace(Value const& base, Values& subs, Values& out) {
    if (base.classId() != vxCELL_CLASS) {
        ArrayPtr tmp;
        vxErrMsgId("Calyx:notCell", "{} reads the contents of cell arrays only, not of a value of class %s.",
                   vxGetClassName(base.view(tmp)));
    }
    vxArray const* a = base.array();
    std::vector<Subscript> s = toSubscripts(a, subs, 1);
    ArrayPtr picked = indexRead(a, s);
    size_t const n = vxGetNumberOfElements(picked.get());
    for (size_t k = 0; k < n; ++k) {
        Value v = stealMember(picked.get(), k);
        out.push_back(v.isSet() ? std::move(v) : emptyValue());
    }
}

void Interp::fieldOf(Value const& base, std::string const& field, Values& out) {
    if (base.classId() != vxSTRUCT_CLASS) {
        ArrayPtr tmp;
        vxErrMsgId("Calyx:notStruct", "A value of class %s has no fields ('%s' was asked for).",
                   vxGetClassName(base.view(tmp)), field.c_str());
    }
    vxArray const* a = base.array();
    int const f = vxGetFieldNumber(a, field.c_str());
    if (f < 0) vxErrMsgId("Calyx:noField", "There is no field named '%s'.", field.c_str());
    size_t const n = vxGetNumberOfElements(a);
    for (size_t k = 0; k < n; ++k) {
        vxArray const* m = vxGetFieldByNumber(a, k, f);
        out.push_back(m ? Value(ArrayPtr(copyArray(m))) : emptyValue());
    }
}

namespace {

// The operators a fused expression takes, as elementwise operators; the
// matrix ones only with a scalar side, where they act elementwise.
bool fusable(BinOp op, kernels::Binary& as) {
    switch (op) {
    case BinOp::Plus: as = kernels::Binary::Plus; return true;
    case BinOp::Minus: as = kernels::Binary::Minus; return true;
    case BinOp::Times:
    case BinOp::MTimes: as = kernels::Binary::Times; return true;
    case BinOp::RDivide:
    case BinOp::MRDivide: as = kernels::Binary::RDivide; return true;
    case BinOp::LDivide:
    case BinOp::MLDivide: as = kernels::Binary::LDivide; return true;
    default: return false;
    }
}

bool isMatrixOp(BinOp op) { return op == BinOp::MTimes || op == BinOp::MRDivide || op == BinOp::MLDivide; }

} // namespace

// Only worth it for two operators or more: one operator is one pass anyway.
bool Interp::fuse(Node const& n, Value& out) {
    kernels::Binary op;
    if (!fusable(static_cast<BinOp>(n.sub), op)) return false;
    if (n.kids[0]->op != Op::Binary && n.kids[1]->op != Op::Binary) return false;
    fuseSteps_.clear();
    fuseArrays_.clear();
    if (!fuseSteps(n, fuseSteps_, fuseArrays_) || fuseArrays_.empty()) return false;
    ArrayPtr r = kernels::fused(fuseSteps_, fuseArrays_);
    if (!r) return false;
    out = Value(std::move(r));
    return true;
}

// Leaves are numbers and variables holding a double scalar or a real full
// double array (all arrays of one size); reading them has no effect, so a
// refusal half-way leaves nothing to undo.
bool Interp::fuseSteps(Node const& n, std::vector<kernels::FusedStep>& steps, std::vector<vxArray const*>& arrays) {
    if (steps.size() >= 64) return false;
    switch (n.op) {
    case Op::Number: steps.push_back({kernels::FusedStep::Scalar, kernels::Binary::Plus, 0, n.num}); return true;
    case Op::Var: {
        Value const& v = slot(n.slot);
        if (v.isScalar()) {
            steps.push_back({kernels::FusedStep::Scalar, kernels::Binary::Plus, 0, v.num()});
            return true;
        }
        if (!v.isArr()) return false;
        vxArray const* a = v.array();
        if (vxGetClassID(a) != vxDOUBLE_CLASS || vxIsComplex(a) || vxIsSparse(a)) return false;
        if (!arrays.empty()) {
            vxArray const* first = arrays[0];
            if (vxGetNumberOfDimensions(a) != vxGetNumberOfDimensions(first) ||
                !std::equal(vxGetDimensions(a), vxGetDimensions(a) + vxGetNumberOfDimensions(a), vxGetDimensions(first)))
                return false;
        }
        steps.push_back({kernels::FusedStep::Array, kernels::Binary::Plus, arrays.size(), 0});
        arrays.push_back(a);
        return true;
    }
    case Op::Binary: {
        BinOp const op = static_cast<BinOp>(n.sub);
        kernels::Binary as;
        if (!fusable(op, as)) return false;
        size_t const left = steps.size();
        if (!fuseSteps(*n.kids[0], steps, arrays)) return false;
        size_t const right = steps.size();
        if (!fuseSteps(*n.kids[1], steps, arrays)) return false;
        // A matrix operator acts elementwise only with a scalar side.
        bool const leftScalar = right - left == 1 && steps[left].kind == kernels::FusedStep::Scalar;
        bool const rightScalar = steps.size() - right == 1 && steps[right].kind == kernels::FusedStep::Scalar;
        if (isMatrixOp(op) && !leftScalar && !rightScalar) return false;
        steps.push_back({kernels::FusedStep::Apply, as, 0, 0});
        return true;
    }
    default: return false;
    }
}

Value Interp::binary(BinOp op, Value& a, Value& b) {
    ArrayPtr ta, tb;
    vxArray const* x = a.view(ta);
    vxArray const* y = b.view(tb);
    // An operand that nothing else holds is a temporary of this expression
    // (x .* y in x .* y + x): the kernel may write the result over it
    // instead of filling a fresh block.
    ArrayPtr spare;
    if (a.isArr() && !a.shared()) spare = a.take();
    else if (b.isArr() && !b.shared()) spare = b.take();
    return Value(kernels::binary(static_cast<kernels::Binary>(op), x, y, std::move(spare)));
}

Value Interp::unary(UnOp op, Value const& a) {
    ArrayPtr ta;
    return Value(kernels::unary(static_cast<kernels::Unary>(op), a.view(ta)));
}

Value Interp::range(Node const& n) {
    Value v[3];
    for (size_t k = 0; k < n.kids.size(); ++k) v[k] = eval(*n.kids[k]);
    if (n.kids.size() == 2) v[2] = std::move(v[1]), v[1] = Value(1.0);
    if (v[0].isNum() && v[1].isNum() && v[2].isNum()) return Value(qzlang::range(v[0].num(), v[1].num(), v[2].num()));
    double d[3];
    vxClassID cls = vxDOUBLE_CLASS;
    for (int k = 0; k < 3; ++k) {
        ArrayPtr tmp;
        vxArray const* a = v[k].view(tmp);
        vxClassID const c = vxGetClassID(a);
        if (!hasNumbers(c) || vxIsComplex(a))
            vxErrMsgId("Calyx:badRange", "The parts of a range must be real numbers, not %s.", vxGetClassName(a));
        if (vxGetNumberOfElements(a) == 0) return Value::box(vxCreateDoubleMatrix(1, 0, vxREAL));
        ArrayPtr full;
        if (vxIsSparse(a)) full.reset(vxMustBeFull(a)), a = full.get();
        d[k] = realAt(a, 0);
        if (k == 1 && n.kids.size() == 2) continue;
        if (c == vxCHAR_CLASS && cls == vxDOUBLE_CLASS) cls = vxCHAR_CLASS;
        if (c == vxSINGLE_CLASS && (cls == vxDOUBLE_CLASS || cls == vxCHAR_CLASS)) cls = vxSINGLE_CLASS;
        if (isIntegerClass(c)) cls = c;
    }
    ArrayPtr r = qzlang::range(d[0], d[1], d[2]);
    if (cls != vxDOUBLE_CLASS) r = convert(r.get(), cls);
    return Value(std::move(r));
}

namespace {

ArrayPtr concatenateValues(std::vector<vxArray const*> const& parts, int dim) {
    if (kernels::FunctionInfo const* f = kernels::find(dim == 2 ? "horzcat" : "vertcat")) {
        std::vector<ArrayPtr> out;
        f->fn(1, out, parts);
        if (!out.empty() && out[0]) return std::move(out[0]);
    }
    return concatenate(parts, static_cast<size_t>(dim));
}

} // namespace

Value Interp::matrix(Node const& n) {
    if (n.rows.empty()) return emptyValue();
    std::vector<ArrayPtr> rowValues;
    std::vector<Values> rows;
    bool allNum = true;
    size_t width = 0;
    for (auto const& row : n.rows) {
        Values elems;
        for (auto const& x : row) evalList(*x, elems);
        for (Value const& v : elems) allNum = allNum && v.isNum();
        if (rows.empty()) width = elems.size();
        else if (elems.size() != width) allNum = false;
        rows.push_back(std::move(elems));
    }
    if (allNum && width > 0) {
        // Plain numbers: fill the matrix directly.
        ArrayPtr out(vxCreateDoubleMatrix(rows.size(), width, vxREAL));
        double* p = vxGetPr(out.get());
        for (size_t r = 0; r < rows.size(); ++r)
            for (size_t c = 0; c < width; ++c) p[r + c * rows.size()] = rows[r][c].num();
        return Value(std::move(out));
    }
    std::vector<ArrayPtr> joined;
    for (Values const& elems : rows) {
        if (elems.empty()) continue;
        if (elems.size() == 1) {
            joined.push_back(elems[0].copy());
            continue;
        }
        std::vector<ArrayPtr> tmps(elems.size());
        std::vector<vxArray const*> parts;
        for (size_t k = 0; k < elems.size(); ++k) parts.push_back(elems[k].view(tmps[k]));
        joined.push_back(concatenateValues(parts, 2));
    }
    if (joined.empty()) return emptyValue();
    if (joined.size() == 1) return Value(std::move(joined[0]));
    std::vector<vxArray const*> parts;
    for (auto const& j : joined) parts.push_back(j.get());
    return Value(concatenateValues(parts, 1));
}

Value Interp::cellLiteral(Node const& n) {
    std::vector<Values> rows;
    for (auto const& row : n.rows) {
        Values elems;
        for (auto const& x : row) evalList(*x, elems);
        if (!elems.empty()) rows.push_back(std::move(elems));
    }
    if (rows.empty()) return Value::box(vxCreateCellMatrix(0, 0));
    // Every element (a cell too) becomes one cell; rows must be as long.
    size_t const width = rows[0].size();
    for (Values const& r : rows)
        if (r.size() != width)
            vxErrMsgId("Calyx:badConcatenation", "The rows of a cell array differ in length (%zu and %zu).", width, r.size());
    ArrayPtr out(vxCreateCellMatrix(rows.size(), width));
    for (size_t r = 0; r < rows.size(); ++r)
        for (size_t c = 0; c < width; ++c) vxSetCell(out.get(), r + c * rows.size(), rows[r][c].take().release());
    return Value(std::move(out));
}

} // namespace qzlang
