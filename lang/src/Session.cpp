#include "qzlang/Session.hpp"
#include "Builtins.hpp"
#include "Interp.hpp"
#include "qzlang/Lexer.hpp"
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

} // namespace

struct Session::Impl {
    explicit Impl(Session& s) : interp(s) {}
    Interp interp;
    std::mt19937_64 random{kSeed};
};

Session::Session() : impl_(new Impl(*this)) {
    addLanguageCommands(commands_);
    // Reports go to the error stream as they are, a line each; a host with a
    // window of its own wraps them instead (qzconsole does).
    impl_->interp.diagnostics.setPrinter([](std::string const& report, bool) {
        std::string const line = report + "\n";
        uvPutsn(1, line.data(), line.size());
    });
    kernels::attachToComputationalThreads();
    kernels::seedRandom(0);
}

Session::~Session() = default;

CommandResult Session::execute(std::string const& text) {
    auto isCommandWord = [this](std::string const& word) { return commands_.find(word) != nullptr; };
    auto program = std::make_shared<Block>(parse(text, impl_->interp.workspace(), limits_, isCommandWord));
    impl_->interp.exitRequested = false;
    impl_->interp.run(program);
    if (impl_->interp.exitRequested) {
        impl_->interp.exitRequested = false;
        return CommandResult::Exit;
    }
    return CommandResult::Continue;
}

bool Session::isComplete(std::string const& text) { return !needsMoreInput(text) && openBlocks(text) == 0; }

vxArray const* Session::find(std::string const& name) const {
    Value* v = impl_->interp.workspace().find(name);
    if (!v) return nullptr;
    // Scalars live unboxed; a host asking for the array gets them boxed once.
    return v->isArr() ? v->array() : v->mutableArray();
}

void Session::assign(std::string const& name, ArrayPtr value) {
    Workspace& w = impl_->interp.workspace();
    w.values[w.slot(name)] = value ? Value(std::move(value)) : Value();
}

void Session::clear(std::string const& name) {
    Workspace& w = impl_->interp.workspace();
    auto it = w.slots.find(name);
    if (it != w.slots.end()) w.values[it->second] = Value();
}

void Session::clearAll() {
    for (Value& v : impl_->interp.workspace().values) v = Value();
}

std::vector<std::string> Session::names() const {
    std::vector<std::string> out;
    for (auto const& v : impl_->interp.workspace().slots)
        if (impl_->interp.workspace().values[v.second].isSet()) out.push_back(v.first);
    return out;
}

std::vector<std::pair<std::string, vxArray const*>> Session::variables() const {
    std::vector<std::pair<std::string, vxArray const*>> out;
    for (std::string const& n : names()) out.emplace_back(n, find(n));
    return out;
}

double Session::nextRandom() {
    // 53 random bits, never 0: the open interval (0, 1).
    for (;;) {
        double const v = static_cast<double>(impl_->random() >> 11) * (1.0 / 9007199254740992.0);
        if (v > 0) return v;
    }
}

files::SourcePath& Session::sourcePath() { return impl_->interp.sourcePath(); }
files::Diagnostics& Session::diagnostics() { return impl_->interp.diagnostics; }
files::InputRequest& Session::input() { return impl_->interp.input; }

bool Session::executeReported(std::string const& text, CommandResult* result) {
    Interp& in = impl_->interp;
    std::string reason, id;
    try {
        CommandResult r = execute(text);
        if (result) *result = r;
        return true;
    } catch (vx::Error const& e) {
        reason = e.what();
        id = e.identifier();
    } catch (std::bad_alloc const&) {
        reason = "Out of memory.";
        id = "Calyx:nomem";
    }
    if (result) *result = CommandResult::Continue;
    std::vector<files::Frame> const stack = in.takeErrorStack();
    if (!stack.empty()) {
        in.lastError = reason;
        in.diagnostics.reportUncaught(id, reason, stack);
        return false;
    }
    in.lastError = reason;
    in.diagnostics.setLastError(reason, id);
    // One line: a message with line ends (a syntax error's excerpt) is joined.
    for (char& c : reason)
        if (c == '\n') c = ' ';
    std::string const line = "Error: " + reason + "\n";
    uvPutsn(1, line.data(), line.size());
    return false;
}

void Session::reportError(std::string const& identifier, std::string const& message) {
    Interp& in = impl_->interp;
    in.lastError = message;
    in.diagnostics.reportUncaught(identifier, message, in.takeErrorStack());
}

bool executeAndReport(Session& session, std::string const& text, CommandResult* result) {
    return session.executeReported(text, result);
}

} // namespace qzlang
