// The built-in functions that need the interpreter: display, formatted
// output, cells and structures, function handles and the functions that call
// them, the workspace, timing, and errors. The numeric and text functions
// are the kernels'.
#include "Builtins.hpp"
#include "FileBuiltins.hpp"
#include "Indexing.hpp"
#include "Interp.hpp"
#include "qzlang/ArrayOps.hpp"
#include "qzlang/Session.hpp"

#include <qzservices/display/ioPrintArray.hpp>
#include <qzservices/display/sizes.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

namespace qzlang {

namespace {

bool isTextValue(Value const& v) {
    if (!v.isArr()) return false;
    vxArray const* a = v.array();
    return vxGetClassID(a) == vxCHAR_CLASS && vxGetNumberOfDimensions(a) == 2 &&
           (vxGetM(a) == 1 || vxGetNumberOfElements(a) == 0);
}

std::string textOf(Value const& v, char const* fn, char const* what) {
    if (!isTextValue(v)) vxErrMsgId("Calyx:badArgument", "%s needs %s as text.", fn, what);
    return vxArrayToStdString(v.array());
}

Value text(std::string const& s) {
    size_t dims[2] = {s.empty() ? 0u : 1u, s.size()};
    ArrayPtr a(vxCreateCharArray(2, dims));
    vxChar* d = static_cast<vxChar*>(vxGetData(a.get()));
    for (size_t i = 0; i < s.size(); ++i) d[i] = static_cast<unsigned char>(s[i]);
    return Value::box(a.release());
}

void argCount(char const* fn, Values const& args, size_t lo, size_t hi) {
    if (args.size() < lo) vxErrMsgId("Calyx:notEnoughInputs", "Not enough input arguments for %s.", fn);
    if (args.size() > hi) vxErrMsgId("Calyx:tooManyInputs", "Too many input arguments for %s.", fn);
}

vxArray const* structArg(Value const& v, char const* fn) {
    if (v.classId() != vxSTRUCT_CLASS) vxErrMsgId("Calyx:badArgument", "%s needs a structure.", fn);
    return v.array();
}

std::vector<std::string> namesArg(Value const& v, char const* fn) {
    std::vector<std::string> out;
    if (v.classId() == vxCELL_CLASS) {
        vxArray const* c = v.array();
        for (size_t k = 0; k < vxGetNumberOfElements(c); ++k) {
            vxArray const* m = vxGetCell(c, k);
            if (!m || vxGetClassID(m) != vxCHAR_CLASS) vxErrMsgId("Calyx:badArgument", "%s needs field names as text.", fn);
            out.push_back(vxArrayToStdString(m));
        }
        return out;
    }
    out.push_back(textOf(v, fn, "a field name"));
    return out;
}

// ---- display ----

void fnDisp(Interp& in, int, Values&, Values& args) {
    argCount("disp", args, 1, 1);
    ArrayPtr tmp;
    ioPrintArray(nullptr, args[0].view(tmp));
}

void fnDisplay(Interp& in, int, Values&, Values& args) {
    argCount("display", args, 1, 2);
    std::string const name = args.size() == 2 ? textOf(args[1], "display", "the name") : in.argNames.empty() ? "" : in.argNames[0];
    ArrayPtr tmp;
    ioPrintArray(name.empty() ? "ans" : name.c_str(), args[0].view(tmp));
}

void fnFprintf(Interp&, int nargout, Values& out, Values& args) {
    argCount("fprintf", args, 1, static_cast<size_t>(-1));
    size_t first = 0;
    int stream = 0;
    if (!isTextValue(args[0])) {
        if (!args[0].isNum() || (args[0].num() != 1 && args[0].num() != 2))
            vxErrMsgId("Calyx:badArgument", "fprintf writes to 1 (the output) or 2 (the errors) only, or takes a format first.");
        stream = args[0].num() == 2 ? 1 : 0;
        first = 1;
        if (args.size() < 2) vxErrMsgId("Calyx:notEnoughInputs", "fprintf needs a format.");
    }
    std::string const format = textOf(args[first], "fprintf", "its format");
    std::vector<ArrayPtr> tmps(args.size());
    std::vector<vxArray const*> rest;
    for (size_t k = first + 1; k < args.size(); ++k) rest.push_back(args[k].view(tmps[k]));
    std::string const s = kernels::formatText(format, rest);
    uvPutsn(stream, s.data(), s.size());
    if (nargout > 0) out.emplace_back(static_cast<double>(s.size()));
}

// ---- cells and structures ----

void fnNum2cell(Interp&, int, Values& out, Values& args) {
    argCount("num2cell", args, 1, 1);
    ArrayPtr tmp;
    vxArray const* a = args[0].view(tmp);
    std::vector<size_t> d = dimsOf(a);
    ArrayPtr c(vxCreateCellArray(d.size(), d.data()));
    size_t const n = vxGetNumberOfElements(a);
    for (size_t k = 0; k < n; ++k) {
        ArrayPtr one = indexRead(a, {scalarSubscript(k)});
        vxSetCell(c.get(), k, one.release());
    }
    out.emplace_back(std::move(c));
}

ArrayPtr concatParts(std::vector<vxArray const*> const& parts, int dim) {
    if (kernels::FunctionInfo const* f = kernels::find(dim == 2 ? "horzcat" : "vertcat")) {
        std::vector<ArrayPtr> r;
        f->fn(1, r, parts);
        if (!r.empty() && r[0]) return std::move(r[0]);
    }
    return concatenate(parts, static_cast<size_t>(dim));
}

void fnCell2mat(Interp&, int, Values& out, Values& args) {
    argCount("cell2mat", args, 1, 1);
    if (args[0].classId() != vxCELL_CLASS) vxErrMsgId("Calyx:badArgument", "cell2mat needs a cell array.");
    vxArray const* c = args[0].array();
    if (vxGetNumberOfDimensions(c) > 2) vxErrMsgId("Calyx:badArgument", "cell2mat takes two-dimensional cell arrays.");
    size_t const m = vxGetM(c), n = vxGetN(c);
    if (m * n == 0) {
        out.emplace_back(ArrayPtr(vxCreateDoubleMatrix(0, 0, vxREAL)));
        return;
    }
    ArrayPtr empty(vxCreateDoubleMatrix(0, 0, vxREAL));
    std::vector<ArrayPtr> rows;
    for (size_t r = 0; r < m; ++r) {
        std::vector<vxArray const*> parts;
        for (size_t j = 0; j < n; ++j) {
            vxArray const* e = vxGetCell(c, r + j * m);
            if (e && (vxGetClassID(e) == vxCELL_CLASS))
                vxErrMsgId("Calyx:badArgument", "cell2mat cannot join cells that hold cells.");
            parts.push_back(e ? e : empty.get());
        }
        rows.push_back(concatParts(parts, 2));
    }
    std::vector<vxArray const*> parts;
    for (auto const& r : rows) parts.push_back(r.get());
    out.emplace_back(rows.size() == 1 ? std::move(rows[0]) : concatParts(parts, 1));
}

void fnFieldnames(Interp&, int, Values& out, Values& args) {
    argCount("fieldnames", args, 1, 1);
    vxArray const* s = structArg(args[0], "fieldnames");
    int const nf = vxGetNumberOfFields(s);
    ArrayPtr c(vxCreateCellMatrix(static_cast<size_t>(nf), 1));
    for (int f = 0; f < nf; ++f) vxSetCell(c.get(), f, vxCreateString(vxGetFieldNameByNumber(s, f)));
    out.emplace_back(std::move(c));
}

void fnIsfield(Interp&, int, Values& out, Values& args) {
    argCount("isfield", args, 2, 2);
    bool const isStruct = args[0].classId() == vxSTRUCT_CLASS;
    if (args[1].classId() == vxCELL_CLASS) {
        vxArray const* names = args[1].array();
        std::vector<size_t> d = dimsOf(names);
        ArrayPtr r(vxCreateLogicalArray(d.size(), d.data()));
        auto* p = static_cast<unsigned char*>(vxGetData(r.get()));
        for (size_t k = 0; k < vxGetNumberOfElements(names); ++k) {
            vxArray const* m = vxGetCell(names, k);
            p[k] = isStruct && m && vxGetClassID(m) == vxCHAR_CLASS &&
                   vxGetFieldNumber(args[0].array(), vxArrayToStdString(m).c_str()) >= 0;
        }
        out.emplace_back(std::move(r));
        return;
    }
    bool const yes = isStruct && isTextValue(args[1]) &&
                     vxGetFieldNumber(args[0].array(), vxArrayToStdString(args[1].array()).c_str()) >= 0;
    out.push_back(Value::logical(yes));
}

void fnRmfield(Interp&, int, Values& out, Values& args) {
    argCount("rmfield", args, 2, 2);
    vxArray const* s = structArg(args[0], "rmfield");
    std::vector<std::string> gone = namesArg(args[1], "rmfield");
    for (std::string const& g : gone)
        if (vxGetFieldNumber(s, g.c_str()) < 0)
            vxErrMsgId("Calyx:noField", "There is no field named '%s' to remove.", g.c_str());
    int const nf = vxGetNumberOfFields(s);
    std::vector<int> keep;
    std::vector<char const*> names;
    for (int f = 0; f < nf; ++f) {
        char const* name = vxGetFieldNameByNumber(s, f);
        if (std::find(gone.begin(), gone.end(), name) == gone.end()) keep.push_back(f), names.push_back(name);
    }
    std::vector<size_t> d = dimsOf(s);
    ArrayPtr r(vxCreateStructArray(d.size(), d.data(), static_cast<int>(names.size()), names.data()));
    for (size_t k = 0; k < vxGetNumberOfElements(s); ++k)
        for (size_t j = 0; j < keep.size(); ++j)
            vxSetFieldByNumber(r.get(), k, static_cast<int>(j), copyArray(vxGetFieldByNumber(s, k, keep[j])));
    out.emplace_back(std::move(r));
}

void fnIscell(Interp&, int, Values& out, Values& args) {
    argCount("iscell", args, 1, 1);
    out.push_back(Value::logical(args[0].classId() == vxCELL_CLASS));
}

void fnIsstruct(Interp&, int, Values& out, Values& args) {
    argCount("isstruct", args, 1, 1);
    out.push_back(Value::logical(args[0].classId() == vxSTRUCT_CLASS));
}

void fnClass(Interp&, int, Values& out, Values& args) {
    argCount("class", args, 1, 1);
    ArrayPtr tmp;
    out.push_back(text(vxGetClassName(args[0].view(tmp))));
}

void fnIsaHandle(Interp&, int, Values& out, Values& args) {
    argCount("is_function_handle", args, 1, 1);
    out.push_back(Value::logical(args[0].classId() == vxFUNCTION_CLASS));
}

// ---- function handles ----

Value functionArg(Interp& in, Value const& f, char const* fn) {
    if (f.classId() == vxFUNCTION_CLASS) return f;
    if (isTextValue(f)) return in.handleFromText(vxArrayToStdString(f.array()));
    vxErrMsgId("Calyx:badArgument", "%s needs a function handle or a function name.", fn);
}

void fnFeval(Interp& in, int nargout, Values& out, Values& args) {
    argCount("feval", args, 1, static_cast<size_t>(-1));
    Value f = functionArg(in, args[0], "feval");
    Values rest(std::make_move_iterator(args.begin() + 1), std::make_move_iterator(args.end()));
    out = in.callValue(f, rest, nargout);
}

void fnFunc2str(Interp& in, int, Values& out, Values& args) {
    argCount("func2str", args, 1, 1);
    if (args[0].classId() != vxFUNCTION_CLASS) vxErrMsgId("Calyx:badArgument", "func2str needs a function handle.");
    std::string t = in.handleText(args[0].array());
    // A named handle's text is its name; an anonymous one keeps its "@".
    if (t.compare(0, 2, "@(") != 0 && !t.empty() && t[0] == '@') t = t.substr(1);
    out.push_back(text(t));
}

void fnStr2func(Interp& in, int, Values& out, Values& args) {
    argCount("str2func", args, 1, 1);
    out.push_back(in.handleFromText(textOf(args[0], "str2func", "a function's text")));
}

// cellfun and arrayfun: `f` over the elements of the inputs, results joined
// into arrays of the inputs' size ('UniformOutput', true) or into cells.
void applyOver(Interp& in, char const* name, bool cells, int nargout, Values& out, Values& args) {
    if (args.size() < 2) vxErrMsgId("Calyx:notEnoughInputs", "Not enough input arguments for %s.", name);
    bool uniform = true;
    Value handler;
    size_t end = args.size();
    while (end >= 4 && isTextValue(args[end - 2])) {
        std::string key = vxArrayToStdString(args[end - 2].array());
        std::transform(key.begin(), key.end(), key.begin(), ::tolower);
        if (key == "uniformoutput") {
            ArrayPtr tmp;
            uniform = kernels::isTrue(args[end - 1].view(tmp));
        } else if (key == "errorhandler") {
            handler = functionArg(in, args[end - 1], name);
        } else {
            break;
        }
        end -= 2;
    }
    Value f;
    if (cells && isTextValue(args[0])) f = in.handleFromText(vxArrayToStdString(args[0].array()));
    else f = functionArg(in, args[0], name);
    std::vector<ArrayPtr> tmps(end);
    std::vector<vxArray const*> inputs;
    for (size_t k = 1; k < end; ++k) {
        vxArray const* a = args[k].view(tmps[k]);
        if (cells && vxGetClassID(a) != vxCELL_CLASS) vxErrMsgId("Calyx:badArgument", "cellfun needs cell arrays as inputs.");
        if (!inputs.empty() && dimsOf(a) != dimsOf(inputs[0]))
            vxErrMsgId("Calyx:sizeMismatch", "All the inputs of %s must have the same size.", name);
        inputs.push_back(a);
    }
    if (inputs.empty()) vxErrMsgId("Calyx:notEnoughInputs", "%s needs at least one input array.", name);
    std::vector<size_t> const dims = dimsOf(inputs[0]);
    size_t const n = vxGetNumberOfElements(inputs[0]);
    int const outs = std::max(nargout, 1);
    std::vector<ArrayPtr> results(outs);
    // Uniform results start as doubles and take the class of the first value.
    for (int o = 0; o < outs; ++o)
        results[o] = uniform ? zerosOf(vxDOUBLE_CLASS, dims) : ArrayPtr(vxCreateCellArray(dims.size(), dims.data()));
    std::vector<vxClassID> classes(outs, vxUNKNOWN_CLASS);
    for (size_t k = 0; k < n; ++k) {
        if ((k & 1023) == 1023 && uvIsInterruptPending()) uvLongjmpIfInterruptPending();
        Values callArgs;
        for (vxArray const* a : inputs) {
            if (cells) {
                vxArray const* m = vxGetCell(a, k);
                callArgs.push_back(m ? Value(ArrayPtr(copyArray(m))) : Value::box(vxCreateDoubleMatrix(0, 0, vxREAL)));
            } else {
                callArgs.emplace_back(indexRead(a, {scalarSubscript(k)}));
            }
        }
        Values r;
        try {
            r = in.callValue(f, callArgs, nargout);
        } catch (vx::Error const& e) {
            if (!handler.isSet()) throw;
            in.raiseIfPastStepLimit();
            char const* fields[] = {"message", "identifier", "index"};
            ArrayPtr s(vxCreateStructMatrix(1, 1, 3, fields));
            vxSetFieldByNumber(s.get(), 0, 0, vxCreateString(e.what()));
            vxSetFieldByNumber(s.get(), 0, 1, vxCreateString(e.identifier().c_str()));
            vxSetFieldByNumber(s.get(), 0, 2, vxCreateDoubleScalar(static_cast<double>(k + 1)));
            Values hargs;
            hargs.emplace_back(std::move(s));
            r = in.callValue(handler, hargs, nargout);
        }
        if (static_cast<int>(r.size()) < (nargout == 0 ? 0 : outs)) {
            vxErrMsgId("Calyx:tooManyOutputs", "The function given to %s returns fewer values than asked for.", name);
        }
        if (nargout == 0 && r.empty()) {
            if (uniform && k == 0) results[0].reset();
            continue;
        }
        for (int o = 0; o < outs && o < static_cast<int>(r.size()); ++o) {
            if (!uniform) {
                vxSetCell(results[o].get(), k, r[o].take().release());
                continue;
            }
            ArrayPtr tmp;
            vxArray const* v = r[o].view(tmp);
            vxClassID const c = vxGetClassID(v);
            if (vxGetNumberOfElements(v) != 1 || !hasNumbers(c))
                vxErrMsgId("Calyx:notUniform",
                           "The function given to %s returned a value that is not a scalar (element %zu); use 'UniformOutput', false.",
                           name, k + 1);
            if (classes[o] == vxUNKNOWN_CLASS) {
                classes[o] = c;
                results[o] = zerosOf(c, dims, vxIsComplex(v));
            } else if (classes[o] != c) {
                vxErrMsgId("Calyx:notUniform", "The results of %s differ in class (%s after %s); use 'UniformOutput', false.",
                           name, vxGetClassName(v), vxGetClassName(results[o].get()));
            }
            if (vxIsComplex(v) && !vxIsComplex(results[o].get())) results[o] = convert(results[o].get(), c, true);
            setAt(results[o].get(), k, realAt(v, 0), imagAt(v, 0));
        }
    }
    for (int o = 0; o < outs; ++o)
        if (results[o]) out.emplace_back(std::move(results[o]));
}

void fnCellfun(Interp& in, int nargout, Values& out, Values& args) { applyOver(in, "cellfun", true, nargout, out, args); }
void fnArrayfun(Interp& in, int nargout, Values& out, Values& args) { applyOver(in, "arrayfun", false, nargout, out, args); }

// ---- the workspace ----

void fnWho(Interp& in, int nargout, Values& out, Values& args) {
    std::vector<std::string> names = in.session().names();
    if (!args.empty()) {
        std::vector<std::string> wanted;
        for (Value const& a : args) wanted.push_back(textOf(a, "who", "names"));
        names.erase(std::remove_if(names.begin(), names.end(),
                                   [&](std::string const& n) { return std::find(wanted.begin(), wanted.end(), n) == wanted.end(); }),
                    names.end());
    }
    if (nargout > 0) {
        ArrayPtr c(vxCreateCellMatrix(names.size(), 1));
        for (size_t k = 0; k < names.size(); ++k) vxSetCell(c.get(), k, vxCreateString(names[k].c_str()));
        out.emplace_back(std::move(c));
        return;
    }
    if (names.empty()) return;
    std::string s = "Your variables are:\n\n";
    for (std::string const& n : names) s += n + "  ";
    s += "\n\n";
    uvPutsn(0, s.data(), s.size());
}

size_t bytesOf(vxArray const* a) {
    if (!a) return 0;
    vxClassID const c = vxGetClassID(a);
    size_t const n = vxGetNumberOfElements(a);
    if (c == vxCELL_CLASS) {
        size_t b = 0;
        for (size_t k = 0; k < n; ++k) b += bytesOf(vxGetCell(a, k));
        return b;
    }
    if (c == vxSTRUCT_CLASS) {
        size_t b = 0;
        int const nf = vxGetNumberOfFields(a);
        for (size_t k = 0; k < n; ++k)
            for (int f = 0; f < nf; ++f) b += bytesOf(vxGetFieldByNumber(a, k, f));
        return b;
    }
    if (vxIsSparse(a)) return vxGetNzmax(a) * (vxGetElementSize(a) * (vxIsComplex(a) ? 2 : 1) + sizeof(size_t)) +
                              (vxGetN(a) + 1) * sizeof(size_t);
    return n * vxGetElementSize(a) * (vxIsComplex(a) ? 2 : 1);
}

void fnWhos(Interp& in, int, Values&, Values& args) {
    std::vector<std::pair<std::string, vxArray const*>> vars = in.session().variables();
    if (!args.empty()) {
        std::vector<std::string> wanted;
        for (Value const& a : args) wanted.push_back(textOf(a, "whos", "names"));
        vars.erase(std::remove_if(vars.begin(), vars.end(),
                                  [&](auto const& v) { return std::find(wanted.begin(), wanted.end(), v.first) == wanted.end(); }),
                   vars.end());
    }
    if (vars.empty()) return;
    size_t width = 4;
    for (auto const& v : vars) width = std::max(width, v.first.size());
    // Columns: the name, the library's size text, the bytes of the data, the
    // class (and sparse or complex).
    std::string s;
    char line[512];
    std::snprintf(line, sizeof line, "  %-*s  %-15s %10s  %s\n\n", static_cast<int>(width), "Name", "Size", "Bytes", "Class");
    s += line;
    for (auto const& v : vars) {
        char sizeBuffer[IO_SIZE_STRING_SIZE];
        char const* size = ioSizeString(v.second, sizeBuffer);
        while (*size == ' ') ++size;
        std::string attrs;
        if (vxIsSparse(v.second)) attrs += "  sparse";
        if (vxIsComplex(v.second)) attrs += attrs.empty() ? "  complex" : ", complex";
        std::snprintf(line, sizeof line, "  %-*s  %-15s %10zu  %s%s\n", static_cast<int>(width), v.first.c_str(), size,
                      bytesOf(v.second), vxGetClassName(v.second), attrs.c_str());
        s += line;
    }
    s += "\n";
    uvPutsn(0, s.data(), s.size());
}

// ---- time ----

void fnTic(Interp& in, int nargout, Values& out, Values& args) {
    argCount("tic", args, 0, 0);
    unsigned long long const now = uvPERFtic();
    if (nargout > 0) {
        out.emplace_back(ArrayPtr(vxCreateUint64Scalar(now)));
        return;
    }
    in.ticStamp = now;
    in.ticSet = true;
}

void fnToc(Interp& in, int nargout, Values& out, Values& args) {
    argCount("toc", args, 0, 1);
    unsigned long long stamp = in.ticStamp;
    if (args.size() == 1) {
        ArrayPtr tmp;
        vxArray const* a = args[0].view(tmp);
        if (vxGetClassID(a) != vxUINT64_CLASS || vxGetNumberOfElements(a) != 1)
            vxErrMsgId("Calyx:badArgument", "toc takes the value that tic returned.");
        stamp = *static_cast<unsigned long long const*>(vxGetData(a));
    } else if (!in.ticSet) {
        vxErrMsgId("Calyx:tocWithoutTic", "toc needs a tic first.");
    }
    double const seconds = uvPERFtoc(false, stamp, uvGetPERFspeed());
    if (nargout > 0) {
        out.emplace_back(seconds);
        return;
    }
    uvPrintf("Elapsed time is %.6f seconds.\n", seconds);
}

// ---- errors ----

bool looksLikeIdentifier(std::string const& s) {
    // Words of letters, digits and _ joined by ':' (at least one ':').
    if (s.find(':') == std::string::npos) return false;
    size_t start = 0;
    for (;;) {
        size_t const colon = s.find(':', start);
        std::string const word = s.substr(start, colon == std::string::npos ? std::string::npos : colon - start);
        if (word.empty() || !std::isalpha(static_cast<unsigned char>(word[0]))) return false;
        for (char c : word)
            if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return false;
        if (colon == std::string::npos) return true;
        start = colon + 1;
    }
}

void fnError(Interp&, int, Values&, Values& args) {
    argCount("error", args, 1, static_cast<size_t>(-1));
    if (args[0].classId() == vxSTRUCT_CLASS) {
        vxArray const* s = args[0].array();
        int const m = vxGetFieldNumber(s, "message"), i = vxGetFieldNumber(s, "identifier");
        std::string message, id;
        if (m >= 0 && vxGetFieldByNumber(s, 0, m) && vxGetClassID(vxGetFieldByNumber(s, 0, m)) == vxCHAR_CLASS)
            message = vxArrayToStdString(vxGetFieldByNumber(s, 0, m));
        if (i >= 0 && vxGetFieldByNumber(s, 0, i) && vxGetClassID(vxGetFieldByNumber(s, 0, i)) == vxCHAR_CLASS)
            id = vxArrayToStdString(vxGetFieldByNumber(s, 0, i));
        if (message.empty()) return;
        throw vx::Error(id, message);
    }
    std::string const first = textOf(args[0], "error", "its message");
    if (args.size() == 1) {
        if (first.empty()) return;  // error('') does nothing
        throw vx::Error("", first);
    }
    std::string id;
    size_t fmt = 0;
    if (looksLikeIdentifier(first)) {
        id = first;
        fmt = 1;
    }
    std::string const format = textOf(args[fmt], "error", "its format");
    std::vector<ArrayPtr> tmps(args.size());
    std::vector<vxArray const*> rest;
    for (size_t k = fmt + 1; k < args.size(); ++k) rest.push_back(args[k].view(tmps[k]));
    std::string const message = kernels::formatText(format, rest);
    if (message.empty()) return;
    throw vx::Error(id, message);
}

void fnRethrow(Interp& in, int n, Values& out, Values& args) {
    argCount("rethrow", args, 1, 1);
    if (args[0].classId() != vxSTRUCT_CLASS) vxErrMsgId("Calyx:badArgument", "rethrow needs the structure of an error.");
    fnError(in, n, out, args);
}

void fnPi(Interp&, int, Values& out, Values& args) {
    argCount("pi", args, 0, 0);
    out.emplace_back(M_PI);
}

} // namespace

LangFunction findLangFunction(std::string const& name) {
    // Programs in files bring exist, pause, warning, lasterr and lastwarn.
    if (LangFunction f = findFileFunction(name)) return f;
    static std::map<std::string, LangFunction> const table = {
        {"disp", &fnDisp},         {"display", &fnDisplay},     {"fprintf", &fnFprintf},
        {"num2cell", &fnNum2cell}, {"cell2mat", &fnCell2mat},   {"fieldnames", &fnFieldnames},
        {"isfield", &fnIsfield},   {"rmfield", &fnRmfield},     {"iscell", &fnIscell},
        {"isstruct", &fnIsstruct}, {"class", &fnClass},         {"is_function_handle", &fnIsaHandle},
        {"feval", &fnFeval},       {"func2str", &fnFunc2str},   {"str2func", &fnStr2func},
        {"cellfun", &fnCellfun},   {"arrayfun", &fnArrayfun},   {"who", &fnWho},
        {"whos", &fnWhos},         {"tic", &fnTic},             {"toc", &fnToc},
        {"error", &fnError},       {"rethrow", &fnRethrow},     {"pi", &fnPi},
    };
    auto it = table.find(name);
    return it == table.end() ? nullptr : it->second;
}

} // namespace qzlang
