// A session of the statement language: its variables, its command table, and
// the evaluation of statement text. Text is parsed once into a resolved tree
// and run by the evaluator; results are shown through the services library's
// array display (ioPrintArray), so they take the whole output road of the
// host: sinks, paging, diary. One session runs on one thread (the host's
// interpreter thread).
#pragma once
#include "qzlang/ArrayOps.hpp"
#include "qzlang/Parser.hpp"
#include "qzlang/files/Diagnostics.hpp"
#include "qzlang/files/InputRequest.hpp"
#include "qzlang/files/SourcePath.hpp"

#include <memory>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace qzlang {

class Session;

enum class CommandResult { Continue, Exit };

// A command takes the words after its name. Commands are registered by name,
// so that a host adds its own beside the language's (format, more, feature,
// features, clc, home, clear).
struct Command {
    std::string name;
    std::string usage;  // one line for a help listing
    std::function<CommandResult(Session&, std::vector<std::string> const&)> run;
};

class CommandTable {
public:
    // Replaces a command of the same name.
    void add(Command command);
    Command const* find(std::string const& name) const;
    std::vector<Command> const& all() const { return commands_; }

private:
    std::vector<Command> commands_;
};

class Session {
public:
    Session();
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    // Runs the statements of `text` in order, showing what each makes unless
    // it ends in ";". The first failure raises (vx::Error); the statements
    // before it have run. A user interrupt passes through. Returns Exit when a
    // command asked to leave; the statements after it are not run.
    CommandResult execute(std::string const& text);

    // False while `text` is an unfinished statement: an open bracket, a
    // continuation "..." on its last line, or a block (if, for, while,
    // switch, try) without its "end". A host reads more lines, with a
    // continuation prompt, until it is complete.
    static bool isComplete(std::string const& text);

    CommandTable& commands() { return commands_; }
    ParseLimits& limits() { return limits_; }

    // The variable, still owned by the session (valid until the variable next
    // changes), or null.
    vxArray const* find(std::string const& name) const;
    void assign(std::string const& name, ArrayPtr value);
    void clear(std::string const& name);
    void clearAll();
    std::vector<std::string> names() const;  // sorted
    // Every variable with its value (still owned by the session), by name.
    std::vector<std::pair<std::string, vxArray const*>> variables() const;

    // The next number of the session's generator, uniform in (0, 1). The
    // generator starts from the same seed in every session, so that output is
    // repeatable.
    double nextRandom();

    // Programs in files: the search path (made at its first use), the
    // reports of errors and warnings, and the reader of input() and pause.
    files::SourcePath& sourcePath();
    files::Diagnostics& diagnostics();
    files::InputRequest& input();

    // Runs `text` like execute; a failure is reported through diagnostics()
    // with the frames of the files it passed ("Error in f (line 3)"), or as
    // one line "Error: ..." when it passed none. False after a failure.
    bool executeReported(std::string const& text, CommandResult* result = nullptr);
    // Reports an error that execute raised, through diagnostics() always:
    // "Error: ..." alone, or with the frames of the files it passed.
    void reportError(std::string const& identifier, std::string const& message);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
    CommandTable commands_;
    ParseLimits limits_;
};

// Runs `text` (session.executeReported) and writes a failure as one line, "Error: " and the reason, on
// the error stream. False when a statement failed. `result` (if given) says
// whether a command asked to leave.
bool executeAndReport(Session& session, std::string const& text, CommandResult* result = nullptr);

// The print format of a `format` word ("long", "shortE", ...), case ignored;
// 0 for a word that names none.
int printFormatOfWord(std::string const& word);

} // namespace qzlang
