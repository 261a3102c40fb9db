// The functions of programs in files: the search path (addpath, rmpath,
// path, cd, pwd, which, exist, what, type, help, run), warnings and the last
// error and warning, and the user's input (input, pause).
#include "FileBuiltins.hpp"
#include "FunctionFile.hpp"
#include "InterpSupport.hpp"
#include "qzlang/Session.hpp"
#include "qzlang/files/HelpText.hpp"

#include <qzlang/kernels/Kernels.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>
#include <map>

namespace qzlang {

using namespace detail;

namespace {

std::string textArg(Value const& v, char const* fn) {
    ArrayPtr tmp;
    vxArray const* a = v.isSet() ? v.view(tmp) : nullptr;
    if (!a || !isText(a)) vxErrMsgId("Calyx:badArgument", "%s takes text arguments.", fn);
    return vxArrayToStdString(a);
}

std::vector<std::string> textArgs(Values const& args, char const* fn) {
    std::vector<std::string> out;
    for (Value const& v : args) out.push_back(textArg(v, fn));
    return out;
}

Value textValue(std::string const& s) {
    size_t dims[2] = {s.empty() ? 0u : 1u, s.size()};
    ArrayPtr a(vxCreateCharArray(2, dims));
    vxChar* d = static_cast<vxChar*>(vxGetData(a.get()));
    for (size_t i = 0; i < s.size(); ++i) d[i] = static_cast<unsigned char>(s[i]);
    return Value::box(a.release());
}

void say(std::string const& s) { uvPutsn(0, s.data(), s.size()); }

void warnAll(Interp& in, std::vector<std::string> const& texts) {
    for (std::string const& t : texts) in.diagnostics.warn("", t, in.currentStack());
}

// Splits "a:b" into folders, as path() and addpath('a:b') take them.
std::vector<std::string> folderArgs(std::vector<std::string> const& words) {
    std::vector<std::string> out;
    for (std::string const& w : words) {
        size_t start = 0;
        for (;;) {
            size_t const colon = w.find(':', start);
            std::string const one = w.substr(start, colon == std::string::npos ? std::string::npos : colon - start);
            if (!one.empty()) out.push_back(one);
            if (colon == std::string::npos) break;
            start = colon + 1;
        }
    }
    return out;
}

void fnAddpath(Interp& in, int, Values&, Values& args) {
    std::vector<std::string> words = textArgs(args, "addpath");
    bool atEnd = false;
    std::vector<std::string> folders;
    for (std::string const& w : words) {
        if (w == "-end" || w == "-END") atEnd = true;
        else if (w == "-begin" || w == "-BEGIN") atEnd = false;
        else folders.push_back(w);
    }
    if (folders.empty()) vxErrMsgId("Calyx:notEnoughInputs", "addpath needs a folder.");
    warnAll(in, in.sourcePath().addpath(folderArgs(folders), atEnd));
}

void fnRmpath(Interp& in, int, Values&, Values& args) {
    if (args.empty()) vxErrMsgId("Calyx:notEnoughInputs", "rmpath needs a folder.");
    warnAll(in, in.sourcePath().rmpath(folderArgs(textArgs(args, "rmpath"))));
}

void fnPath(Interp& in, int nargout, Values& out, Values& args) {
    files::SourcePath& sp = in.sourcePath();
    if (!args.empty()) {
        std::vector<std::string> words = textArgs(args, "path");
        // path(a, b): a then b, each perhaps a ":"-joined list.
        warnAll(in, sp.setPath(folderArgs(words)));
        return;
    }
    if (nargout > 0) {
        out.push_back(textValue(sp.pathText()));
        return;
    }
    std::string s = "\n\t\tCALYXPATH\n\n";
    for (std::string const& f : sp.folders()) s += "\t" + f + "\n";
    say(s + "\n");
}

void fnCd(Interp& in, int nargout, Values& out, Values& args) {
    if (args.size() > 1) vxErrMsgId("Calyx:tooManyInputs", "Too many input arguments for cd.");
    files::SourcePath& sp = in.sourcePath();
    if (!args.empty()) sp.cd(textArg(args[0], "cd"));
    if (nargout > 0) out.push_back(textValue(sp.pwd()));
    else if (args.empty()) say("\n" + sp.pwd() + "\n\n");
}

void fnPwd(Interp& in, int nargout, Values& out, Values& args) {
    if (!args.empty()) vxErrMsgId("Calyx:tooManyInputs", "Too many input arguments for pwd.");
    std::string const d = in.sourcePath().pwd();
    if (nargout > 0) out.push_back(textValue(d));
    else say("\n" + d + "\n\n");
}

void fnWhich(Interp& in, int nargout, Values& out, Values& args) {
    if (args.size() != 1) vxErrMsgId("Calyx:badArgument", "which takes one name.");
    std::string const name = textArg(args[0], "which");
    std::string answer;
    if (in.workspace().find(name) && in.frames().size() == 1) answer = "'" + name + "' is a variable.";
    else if (FunctionDef const* local = in.localFunction(name)) answer = in.frames().back().unit->path + ">" + local->name;
    else if (files::isValidName(name) && !in.sourcePath().resolve(name).empty()) answer = in.sourcePath().which(name);
    else if (findLangFunction(name) || kernels::find(name) || in.functionExists(name))
        answer = "built-in (" + name + ")";
    else answer = in.sourcePath().which(name);
    if (nargout > 0) out.push_back(textValue(answer));
    else say(answer + "\n");
}

void fnExist(Interp& in, int, Values& out, Values& args) {
    if (args.empty() || args.size() > 2) vxErrMsgId("Calyx:badArgument", "exist takes a name and perhaps a kind.");
    std::string const name = textArg(args[0], "exist");
    std::string const kind = args.size() == 2 ? textArg(args[1], "exist") : "";
    if (!kind.empty() && kind != "var" && kind != "builtin" && kind != "file" && kind != "dir")
        vxErrMsgId("Calyx:badArgument", "exist takes 'var', 'builtin', 'file' or 'dir' as its kind.");
    double r = 0;
    bool const var = in.workspace().find(name) != nullptr;
    if ((kind.empty() || kind == "var") && var) r = 1;
    if (r == 0 && (kind.empty() || kind == "file" || kind == "dir")) {
        int const e = in.sourcePath().exist(name);
        if (e == files::ExistFile && kind != "dir") r = 2;
        if (e == files::ExistFolder && kind != "file") r = 7;
    }
    if (r == 0 && (kind.empty() || kind == "builtin") &&
        (findLangFunction(name) || kernels::find(name) || in.functionExists(name)))
        r = 5;
    out.emplace_back(r);
}

void fnWhat(Interp& in, int nargout, Values& out, Values& args) {
    if (args.size() > 1) vxErrMsgId("Calyx:tooManyInputs", "Too many input arguments for what.");
    std::string const folder = args.empty() ? "" : textArg(args[0], "what");
    std::vector<std::string> const names = in.sourcePath().what(folder);
    if (nargout > 0) {
        ArrayPtr cell(vxCreateCellMatrix(names.size(), 1));
        for (size_t k = 0; k < names.size(); ++k) vxSetCell(cell.get(), k, vxCreateString(names[k].c_str()));
        out.emplace_back(std::move(cell));
        return;
    }
    std::string s = "\nSource files in the folder " + (folder.empty() ? in.sourcePath().pwd() : folder) + ":\n\n";
    for (std::string const& n : names) s += n + "\n";
    say(s + "\n");
}

void fnType(Interp& in, int, Values&, Values& args) {
    if (args.size() != 1) vxErrMsgId("Calyx:badArgument", "type takes one name.");
    say("\n" + in.sourcePath().type(textArg(args[0], "type")) + "\n");
}

void fnHelp(Interp& in, int, Values&, Values& args) {
    // Without a name, help is the host's own list of its commands, where it has one.
    if (args.empty())
        if (Command const* c = in.session().commands().find("help")) {
            if (c->run(in.session(), {}) == CommandResult::Exit) in.exitRequested = true;
            return;
        }
    if (args.size() != 1) vxErrMsgId("Calyx:badArgument", "help takes one name.");
    std::string const name = textArg(args[0], "help");
    std::shared_ptr<files::SourceFile const> file = files::isValidName(name) ? in.sourcePath().locate(name) : nullptr;
    if (!file) {
        say(name + " is not found as a source file on the path.\n");
        return;
    }
    std::string const text = files::helpTextWithLinks(file->text);
    say(text.empty() ? "No help found for " + name + ".\n" : text);
}

void fnRun(Interp& in, int, Values&, Values& args) {
    if (args.size() != 1) vxErrMsgId("Calyx:badArgument", "run takes one file.");
    std::string path = textArg(args[0], "run");
    files::SourcePath& sp = in.sourcePath();
    if (path.size() < 3 || path.compare(path.size() - 3, 3, ".cx") != 0) path += ".cx";
    std::shared_ptr<files::SourceFile const> file = sp.readPath(path);
    std::shared_ptr<ParsedFile const> unit = in.parsedFile(file);
    if (unit->script) {
        in.runScript(unit);
        return;
    }
    if (unit->functions.empty()) vxErrMsgId("Calyx:emptyFile", "%s defines no function.", path.c_str());
    Values none;
    in.callUser(unit, *unit, unit->functions[0], none, 0);
}

void fnRehash(Interp& in, int, Values&, Values&) { in.sourcePath().invalidate(); }

// ---- errors and warnings ----

std::string formatArguments(Values& args, size_t formatIndex, char const* fn) {
    std::string const format = textArg(args[formatIndex], fn);
    std::vector<ArrayPtr> tmps(args.size());
    std::vector<vxArray const*> rest;
    for (size_t k = formatIndex + 1; k < args.size(); ++k) rest.push_back(args[k].view(tmps[k]));
    return kernels::formatText(format, rest);
}

void fnWarning(Interp& in, int, Values&, Values& args) {
    if (args.empty()) vxErrMsgId("Calyx:notEnoughInputs", "warning needs a message.");
    std::vector<std::string> words;
    bool allText = true;
    for (Value const& v : args) {
        ArrayPtr tmp;
        vxArray const* a = v.isSet() ? v.view(tmp) : nullptr;
        if (a && isText(a)) words.push_back(vxArrayToStdString(a));
        else allText = false;
    }
    if (allText && args.size() <= 2 && in.diagnostics.applyWarningCommand(words)) return;
    std::string const first = textArg(args[0], "warning");
    files::MessageParts const parts = files::splitMessageArguments(
        args.size(), first, [&](std::size_t k) { return formatArguments(args, k, "warning"); });
    if (parts.message.empty()) return;
    in.diagnostics.warn(parts.identifier, parts.message, in.currentStack());
}

void fnLastwarn(Interp& in, int, Values& out, Values& args) {
    if (!args.empty()) in.diagnostics.setLastWarning(textArg(args[0], "lastwarn"));
    out.push_back(textValue(in.diagnostics.lastWarning()));
}

void fnLasterr(Interp& in, int, Values& out, Values& args) {
    if (!args.empty()) in.lastError = textArg(args[0], "lasterr");
    out.push_back(textValue(in.lastError));
}

// ---- input ----

void fnInput(Interp& in, int, Values& out, Values& args) {
    if (args.empty() || args.size() > 2) vxErrMsgId("Calyx:badArgument", "input takes a prompt and perhaps 's'.");
    std::string const prompt = textArg(args[0], "input");
    bool const asText = args.size() == 2;
    if (asText && textArg(args[1], "input") != "s")
        vxErrMsgId("Calyx:badArgument", "The second argument of input must be 's'.");
    std::string const line = in.input.readLine(prompt);
    if (asText) {
        out.push_back(textValue(line));
        return;
    }
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
        out.emplace_back(ArrayPtr(vxCreateDoubleMatrix(0, 0, vxREAL)));
        return;
    }
    // The typed text is an expression, evaluated in the workspace running now.
    Values result;
    in.evalText(line, result);
    if (result.empty()) vxErrMsgId("Calyx:input:noValue", "The text typed gives no value.");
    out.push_back(std::move(result[0]));
}

void fnPause(Interp& in, int, Values&, Values& args) {
    if (args.size() > 1) vxErrMsgId("Calyx:tooManyInputs", "Too many input arguments for pause.");
    if (in.stepLimit) return;  // a bounded session never waits
    if (args.empty()) {
        in.input.readKey();
        return;
    }
    ArrayPtr tmp;
    vxArray const* a = args[0].view(tmp);
    if (isText(a)) return;  // pause on / pause off: nothing to switch here
    if (vxGetNumberOfElements(a) != 1 || !vxIsNumeric(a))
        vxErrMsgId("Calyx:badArgument", "pause takes a number of seconds.");
    double const seconds = vxGetScalar(a);
    if (std::isinf(seconds) && seconds > 0) {
        in.input.readKey();
        return;
    }
    if (!(seconds >= 0)) vxErrMsgId("Calyx:badArgument", "pause takes a number of seconds, 0 or more.");
    // Sleeps in short slices so that ctrl-C ends it at once.
    auto const end = std::chrono::steady_clock::now() +
                     std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(seconds));
    for (;;) {
        uvLongjmpIfInterruptPending();
        auto const now = std::chrono::steady_clock::now();
        if (now >= end) return;
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(end - now, std::chrono::milliseconds(10)));
    }
}

} // namespace

LangFunction findFileFunction(std::string const& name) {
    static std::map<std::string, LangFunction> const table = {
        {"addpath", &fnAddpath}, {"rmpath", &fnRmpath}, {"path", &fnPath},         {"cd", &fnCd},
        {"pwd", &fnPwd},         {"which", &fnWhich},   {"exist", &fnExist},       {"what", &fnWhat},
        {"type", &fnType},       {"help", &fnHelp},     {"run", &fnRun},           {"rehash", &fnRehash},
        {"warning", &fnWarning}, {"lastwarn", &fnLastwarn}, {"lasterr", &fnLasterr}, {"input", &fnInput},
        {"pause", &fnPause},
    };
    auto it = table.find(name);
    return it == table.end() ? nullptr : it->second;
}

} // namespace qzlang
