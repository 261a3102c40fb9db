#include "qzlang/Session.hpp"
#include "Builtins.hpp"
#include "LanguageCommands.hpp"

#include <qzservices/display/ioPrintArray.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <cmath>
#include <new>
#include <random>

namespace qzlang {

// ---- command table ----

void CommandTable::add(Command command) {
    for (Command& c : commands_) {
        if (c.name == command.name) {
            c = std::move(command);
            return;
        }
    }
    commands_.push_back(std::move(command));
}

Command const* CommandTable::find(std::string const& name) const {
    for (Command const& c : commands_)
        if (c.name == name) return &c;
    return nullptr;
}

// ---- evaluation ----

namespace {

// The same seed in every session: output of rand is repeatable.
std::uint64_t const kSeed = 5489;

bool isStruct(vxArray const* a) { return a != nullptr && vxGetClassID(a) == vxSTRUCT_CLASS; }

ArrayPtr emptyValue() { return ArrayPtr(vxCreateDoubleMatrix(0, 0, vxREAL)); }

// A structure array grown to hold element (r, c); new members are [].
ArrayPtr grownStruct(vxArray const* s, size_t rows, size_t cols) {
    int const nf = vxGetNumberOfFields(s);
    std::vector<char const*> names;
    for (int f = 0; f < nf; ++f) names.push_back(vxGetFieldNameByNumber(s, f));
    size_t const oldRows = vxGetM(s), oldCols = vxGetN(s);
    checkedElementCount({rows, cols});
    ArrayPtr out(vxCreateStructMatrix(rows, cols, nf, names.data()));
    for (size_t c = 0; c < cols; ++c) {
        for (size_t r = 0; r < rows; ++r) {
            for (int f = 0; f < nf; ++f) {
                vxArray const* old = r < oldRows && c < oldCols ? vxGetFieldByNumber(s, r + c * oldRows, f) : nullptr;
                vxSetFieldByNumber(out.get(), r + c * rows, f, old ? vxDuplicateArray(old) : vxCreateDoubleMatrix(0, 0, vxREAL));
            }
        }
    }
    return out;
}

size_t indexOf(vxArray const* a) {
    if (!hasNumbers(vxGetClassID(a)) || vxGetNumberOfElements(a) != 1 || vxIsSparse(a))
        vxErrMsgId("qzconsole:badIndex", "An index must be one positive whole number.");
    double const v = realAt(a, 0);
    if (!(v >= 1) || v != std::floor(v) || v > static_cast<double>(maxElements()))
        vxErrMsgId("qzconsole:badIndex", "An index must be a positive whole number, not %g.", v);
    return static_cast<size_t>(v);
}

} // namespace

struct Session::Impl {
    std::map<std::string, ArrayPtr> vars;
    std::mt19937_64 random{kSeed};

    // `valueOptional`: only a whole expression statement may be a call that
    // shows and has no value (disp); anywhere else that is an error.
    ArrayPtr eval(Session& s, Expr const& e, bool valueOptional = false) {
        switch (e.kind) {
        case ExprKind::Number: {
            ArrayPtr out(vxCreateDoubleScalar(e.value));
            return out;
        }
        case ExprKind::Imaginary: {
            ArrayPtr out = zerosOf(vxDOUBLE_CLASS, {1, 1}, true);
            setAt(out.get(), 0, 0, e.value);
            return out;
        }
        case ExprKind::String:
            return e.text.empty() ? zerosOf(vxCHAR_CLASS, {0, 0}) : ArrayPtr(vxCreateString(e.text.c_str()));
        case ExprKind::Name: {
            auto it = vars.find(e.text);
            if (it != vars.end()) return ArrayPtr(vxDuplicateArray(it->second.get()));
            std::vector<ArrayPtr> none;
            return call(s, e.text, none, valueOptional);
        }
        case ExprKind::Call: {
            if (vars.count(e.text))
                vxErrMsgId("qzconsole:noIndexing", "'%s' is a variable; indexing into variables is not supported.",
                           e.text.c_str());
            std::vector<ArrayPtr> args;
            for (auto const& a : e.args) args.push_back(eval(s, *a));
            return call(s, e.text, args, valueOptional);
        }
        case ExprKind::Field: {
            ArrayPtr base = eval(s, *e.args[0]);
            if (!isStruct(base.get()))
                vxErrMsgId("qzconsole:notStruct", "A value of class %s has no fields.", vxGetClassName(base.get()));
            if (vxGetNumberOfElements(base.get()) != 1)
                vxErrMsgId("qzconsole:notScalarStruct", "Fields can be read from a single structure only.");
            int const f = vxGetFieldNumber(base.get(), e.text.c_str());
            if (f < 0) vxErrMsgId("qzconsole:noField", "There is no field named '%s'.", e.text.c_str());
            vxArray const* member = vxGetFieldByNumber(base.get(), 0, f);
            return member ? ArrayPtr(vxDuplicateArray(member)) : emptyValue();
        }
        case ExprKind::Matrix:
        case ExprKind::Cell:
            return block(s, e);
        case ExprKind::Range: {
            double v[3];
            for (size_t k = 0; k < e.args.size(); ++k) {
                ArrayPtr a = eval(s, *e.args[k]);
                if (!hasNumbers(vxGetClassID(a.get())) || vxIsEmpty(a.get()) || vxIsComplex(a.get()))
                    vxErrMsgId("qzconsole:badRange", "A range needs real numbers at its ends.");
                ArrayPtr full = toFull(a.get());
                v[k] = realAt(full.get(), 0);
            }
            return e.args.size() == 2 ? range(v[0], 1, v[1]) : range(v[0], v[1], v[2]);
        }
        case ExprKind::Negate: {
            ArrayPtr a = eval(s, *e.args[0]);
            return negate(a.get());
        }
        case ExprKind::Add:
        case ExprKind::Subtract: {
            ArrayPtr a = eval(s, *e.args[0]);
            ArrayPtr b = eval(s, *e.args[1]);
            return addSubtract(a.get(), b.get(), e.kind == ExprKind::Add ? 1 : -1);
        }
        case ExprKind::Transpose:
        case ExprKind::DotTranspose: {
            ArrayPtr a = eval(s, *e.args[0]);
            return transpose(a.get(), e.kind == ExprKind::Transpose);
        }
        case ExprKind::Handle:
            return ArrayPtr(vxCreateFunctionHandle(("@" + e.text).c_str()));
        }
        vxErrMsgId("qzconsole:syntax", "This expression cannot be evaluated.");
    }

    ArrayPtr call(Session& s, std::string const& name, std::vector<ArrayPtr>& args, bool valueOptional) {
        BuiltinFn fn = findBuiltin(name);
        if (fn == nullptr) vxErrMsgId("qzconsole:undefined", "'%s' is not a variable or a function.", name.c_str());
        ArrayPtr out = fn(s, args);
        if (!out && !valueOptional) vxErrMsgId("qzconsole:noValue", "'%s' has no value to use.", name.c_str());
        return out;
    }

    // [ ... ] joins each row left to right, then the rows top to bottom; { ... }
    // puts each element in a cell of its own.
    ArrayPtr block(Session& s, Expr const& e) {
        bool const cell = e.kind == ExprKind::Cell;
        std::vector<ArrayPtr> rowValues;
        size_t width = 0;
        std::vector<std::vector<ArrayPtr>> cells;
        for (auto const& row : e.rows) {
            std::vector<ArrayPtr> values;
            for (auto const& x : row) values.push_back(eval(s, *x));
            if (cell) {
                if (!cells.empty() && values.size() != width)
                    vxErrMsgId("qzconsole:badConcatenation", "The rows of a cell array differ in length (%zu and %zu).",
                               width, values.size());
                width = values.size();
                cells.push_back(std::move(values));
                continue;
            }
            std::vector<vxArray const*> parts;
            for (auto const& v : values) parts.push_back(v.get());
            rowValues.push_back(parts.empty() ? emptyValue() : concatenate(parts, 2));
        }
        if (cell) {
            ArrayPtr out = zerosOf(vxCELL_CLASS, {cells.size(), cells.empty() ? 0 : width});
            for (size_t r = 0; r < cells.size(); ++r)
                for (size_t c = 0; c < width; ++c) vxSetCell(out.get(), r + c * cells.size(), cells[r][c].release());
            return out;
        }
        if (rowValues.empty()) return emptyValue();
        if (rowValues.size() == 1) return std::move(rowValues[0]);
        std::vector<vxArray const*> parts;
        for (auto const& v : rowValues) parts.push_back(v.get());
        return concatenate(parts, 1);
    }

    // Puts `value` at the end of the target path, creating structures on the way.
    void assignPath(ArrayPtr& holder, std::vector<TargetStep> const& steps, size_t at, ArrayPtr value, Session& s) {
        if (at == steps.size()) {
            holder = std::move(value);
            return;
        }
        TargetStep const& step = steps[at];
        size_t element = 0;
        if (!step.isField) {
            if (at + 1 >= steps.size() || !steps[at + 1].isField)
                vxErrMsgId("qzconsole:noIndexing", "Indexed assignment is supported for structure elements only, as in s(2).a = 1.");
            if (step.indices.empty() || step.indices.size() > 2)
                vxErrMsgId("qzconsole:badIndex", "A structure element takes one or two indices.");
            std::vector<size_t> idx;
            for (auto const& x : step.indices) {
                ArrayPtr v = eval(s, *x);
                idx.push_back(indexOf(v.get()));
            }
            if (!holder || (vxGetClassID(holder.get()) == vxDOUBLE_CLASS && vxIsEmpty(holder.get())))
                holder.reset(vxCreateStructMatrix(0, 0, 0, nullptr));
            if (!isStruct(holder.get()))
                vxErrMsgId("qzconsole:notStruct", "A value of class %s has no fields.", vxGetClassName(holder.get()));
            size_t rows = vxGetM(holder.get()), cols = vxGetN(holder.get());
            size_t r, c;
            if (idx.size() == 2) {
                r = idx[0] - 1, c = idx[1] - 1;
            } else if (rows <= 1) {
                r = 0, c = idx[0] - 1;  // a row grows to the right
            } else if (cols == 1) {
                r = idx[0] - 1, c = 0;
            } else {
                if (idx[0] > rows * cols)
                    vxErrMsgId("qzconsole:badIndex", "A matrix of structures cannot grow by a single index.");
                r = (idx[0] - 1) % rows, c = (idx[0] - 1) / rows;
            }
            if (r >= rows || c >= cols) {
                holder = grownStruct(holder.get(), std::max(rows, r + 1), std::max(cols, c + 1));
                rows = vxGetM(holder.get());
            }
            element = r + c * rows;
            ++at;
        } else {
            if (!holder || (vxGetClassID(holder.get()) == vxDOUBLE_CLASS && vxIsEmpty(holder.get())))
                holder.reset(vxCreateStructMatrix(1, 1, 0, nullptr));
            if (!isStruct(holder.get()))
                vxErrMsgId("qzconsole:notStruct", "Fields can only be set on a structure, not on a value of class %s.",
                           vxGetClassName(holder.get()));
            if (vxGetNumberOfElements(holder.get()) != 1)
                vxErrMsgId("qzconsole:notScalarStruct", "Name the element of the structure array, as in s(2).%s.",
                           step.field.c_str());
        }
        std::string const& field = steps[at].field;
        int f = vxGetFieldNumber(holder.get(), field.c_str());
        if (f < 0) {
            f = vxAddField(holder.get(), field.c_str());
            size_t const n = vxGetNumberOfElements(holder.get());
            for (size_t k = 0; k < n; ++k) vxSetFieldByNumber(holder.get(), k, f, vxCreateDoubleMatrix(0, 0, vxREAL));
        }
        vxArray const* current = vxGetFieldByNumber(holder.get(), element, f);
        ArrayPtr member(current ? vxDuplicateArray(current) : nullptr);
        assignPath(member, steps, at + 1, std::move(value), s);
        vxSetFieldByNumber(holder.get(), element, f, member.release());
    }
};

Session::Session() : impl_(new Impl) { addLanguageCommands(commands_); }

Session::~Session() = default;

CommandResult Session::execute(std::string const& text) {
    auto isCommand = [this](std::string const& word) {
        return commands_.find(word) != nullptr && impl_->vars.count(word) == 0;
    };
    std::vector<Statement> statements = parse(text, isCommand, limits_);
    for (Statement const& st : statements) {
        switch (st.kind) {
        case StatementKind::Command: {
            Command const* c = commands_.find(st.name);
            if (c->run(*this, st.words) == CommandResult::Exit) return CommandResult::Exit;
            break;
        }
        case StatementKind::Assign: {
            ArrayPtr value = impl_->eval(*this, *st.value);
            if (st.target.empty()) {
                impl_->vars[st.name] = std::move(value);
            } else {
                // Built on a copy, so that a failure leaves the variable as it was.
                auto it = impl_->vars.find(st.name);
                ArrayPtr holder(it != impl_->vars.end() ? vxDuplicateArray(it->second.get()) : nullptr);
                impl_->assignPath(holder, st.target, 0, std::move(value), *this);
                impl_->vars[st.name] = std::move(holder);
            }
            if (!st.quiet) ioPrintArray(st.name.c_str(), impl_->vars[st.name].get());
            break;
        }
        case StatementKind::Expression: {
            // A bare variable shows under its own name and leaves ans alone.
            if (st.value->kind == ExprKind::Name && impl_->vars.count(st.value->text)) {
                if (!st.quiet) ioPrintArray(st.value->text.c_str(), impl_->vars[st.value->text].get());
                break;
            }
            ArrayPtr value = impl_->eval(*this, *st.value, true);
            if (!value) break;  // disp and its kind show and have no value
            impl_->vars["ans"] = std::move(value);
            if (!st.quiet) ioPrintArray("ans", impl_->vars["ans"].get());
            break;
        }
        }
    }
    return CommandResult::Continue;
}

vxArray const* Session::find(std::string const& name) const {
    auto it = impl_->vars.find(name);
    return it == impl_->vars.end() ? nullptr : it->second.get();
}

void Session::assign(std::string const& name, ArrayPtr value) { impl_->vars[name] = std::move(value); }
void Session::clear(std::string const& name) { impl_->vars.erase(name); }
void Session::clearAll() { impl_->vars.clear(); }

std::vector<std::string> Session::names() const {
    std::vector<std::string> out;
    for (auto const& v : impl_->vars) out.push_back(v.first);
    return out;
}

double Session::nextRandom() {
    // 53 random bits, never 0: the open interval (0, 1).
    for (;;) {
        double const v = static_cast<double>(impl_->random() >> 11) * (1.0 / 9007199254740992.0);
        if (v > 0) return v;
    }
}

bool executeAndReport(Session& session, std::string const& text, CommandResult* result) {
    std::string reason;
    try {
        CommandResult r = session.execute(text);
        if (result) *result = r;
        return true;
    } catch (vx::Error const& e) {
        reason = e.what();
    } catch (std::bad_alloc const&) {
        reason = "Out of memory.";
    }
    if (result) *result = CommandResult::Continue;
    std::string const line = "Error: " + reason + "\n";
    uvPutsn(1, line.data(), line.size());
    return false;
}

} // namespace qzlang
