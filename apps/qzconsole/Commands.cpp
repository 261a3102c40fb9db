// The console's commands exit, quit, help, echo and lines, and the check
// shared by the commands that take no words.
#include "Commands.hpp"

#include <qzlang/Session.hpp>
#include <qzservices/io/more.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <cstdlib>

namespace qzconsole {

void requireNoWords(Words const& words, char const* name) {
    if (!words.empty()) vxErrMsgId((std::string("qzconsole:") + name).c_str(), "%s takes no words.", name);
}

namespace {

using qzlang::CommandResult;
using qzlang::Session;

CommandResult leave(Session&, Words const&) { return CommandResult::Exit; }

CommandResult lines(Session&, Words const& w) {
    long n = 20;
    if (w.size() > 1) vxErrMsgId("qzconsole:lines", "Use: lines [N]");
    if (w.size() == 1) {
        char* end = nullptr;
        n = std::strtol(w[0].c_str(), &end, 10);
        if (*end != '\0' || n < 0 || n > 100000000) vxErrMsgId("qzconsole:lines", "lines takes a count.");
    }
    ioStopPrinting();  // a stale stop request must not end this listing
    for (long i = 1; i <= n; ++i) {
        if (ioStopPrinting()) break;
        uvPrintf("line %ld\n", i);
    }
    return CommandResult::Continue;
}

CommandResult echo(Session&, Words const& w) {
    std::string text;
    for (size_t i = 0; i < w.size(); ++i) text += (i ? " " : "") + w[i];
    uvPrintf("%s\n", text.c_str());
    return CommandResult::Continue;
}

CommandResult help(Session& s, Words const& w) {
    // help NAME: the help text of the source file that NAME finds.
    if (!w.empty()) {
        if (w.size() > 1 || !qzlang::files::isValidName(w[0]))
            vxErrMsgId("qzconsole:help", "Use: help NAME, NAME the name of a function or script.");
        s.execute("help('" + w[0] + "')");
        return CommandResult::Continue;
    }
    uvPuts("Statements: name = expression, or an expression (shown as ans); end one with ';' to show nothing.\n"
           "  operators + - * / \\ ^ .* ./ .^ ' < == & | && || ~, indexing a(2, end), c{1}, s.f, ranges a:s:b,\n"
           "  if/elseif/else, for, while, switch, try/catch, functions in NAME.cx files on the path (addpath),\n"
           "  @(x) x.^2, and functions such as zeros rand size sum max sort inv eig sprintf regexp cellfun\n"
           "Commands:\n");
    for (auto const& c : s.commands().all()) uvPrintf("  %s\n", c.usage.c_str());
    return CommandResult::Continue;
}

} // namespace

void addConsoleCommands(qzlang::CommandTable& table) {
    table.add({"exit", "exit, quit        leave", &leave});
    table.add({"quit", "quit              leave", &leave});
    table.add({"help", "help [NAME]       this list, or the help text of a function or script", &help});
    table.add({"echo", "echo TEXT         print TEXT", &echo});
    table.add({"lines", "lines [N]         print N numbered lines (20 by default)", &lines});
}

} // namespace qzconsole
