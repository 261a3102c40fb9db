// qzconsole: the reference host of the services library on a plain terminal.
//
// Start-up is what every host does, in its order (qzhost::Host), with the
// terminal's key reader, beep and window size. The console then reads
// statements of the language (qzlang) and runs each as every host does
// (qzhost::runPromptStatement); results go through the library's array
// display, so that output takes the library's whole road: proxy, taps and
// "--more--" paging. It waits for input in the library's user event queue, so
// that events and callbacks posted by other threads run while the prompt
// stands; callbacks also run between statements. At the end it walks the
// shutdown phases.
#include "Commands.hpp"
#include "ConsoleShutdown.hpp"
#include "Demo.hpp"
#include "DemoEvents.hpp"
#include "EventLoop.hpp"
#include "LineEditor.hpp"
#include "Terminal.hpp"
#include "TerminalSink.hpp"

#include <qzhost/Host.hpp>
#include <qzhost/Messages.hpp>
#include <qzhost/Statements.hpp>
#include <qzhost/UserEvents.hpp>
#include <qzlang/Session.hpp>
#include <qzservices/containers/ContainerFeature.hpp>
#include <qzservices/containers/path_manager_fcns.hpp>
#include <qzservices/qzservices.hpp>
#include <px/px.hpp>
#include <uv/uv.hpp>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>
#include <unistd.h>

namespace {

char const kUsage[] =
    "Usage: qzconsole [--demo | --version | --help] [--log FILE | --log-append FILE] [-WORD...]\n"
    "                 [-batch STATEMENTS | FILE.cx]\n"
    "\n"
    "Reads statements and shows their results as the services library displays them.\n"
    "On a terminal: a \">> \" prompt with line editing and history. Otherwise statements\n"
    "are read line by line with no prompt; the exit status is 1 if one of them failed.\n"
    "\n"
    "  --demo      print a tour of array display and leave\n"
    "  --version   print the version and leave\n"
    "  --help      print this text and leave\n"
    "  --log FILE  copy the session's output into FILE (emptied first)\n"
    "  --log-append FILE  the same, added to what FILE holds\n"
    "  -WORD       a start-up word for the session, such as -nodesktop or -nojvm\n"
    "  -batch STATEMENTS  run the statements with no prompt and leave: status 0, or 1 after an error\n"
    "  FILE.cx     run the file's statements with no prompt and leave, as -batch does\n"
    "startup.cx in the user's work folder (CALYX_USERWORKDIR) runs first.\n"
    "\n"
    "Type help at the prompt for the statements and commands.\n";

bool isLogOption(char const* word) {
    return std::strcmp(word, "--log") == 0 || std::strcmp(word, "--log-append") == 0;
}

// The start-up words, handed over without their dash ("-nojvm" is the word
// "nojvm"); "nodesktop" when none is given.
void takeStartupWords(int argc, char** argv) {
    std::vector<std::string> words, given;
    for (int i = 1; i < argc; ++i) {
        if (isLogOption(argv[i])) {
            ++i;  // and its file
        } else if (std::strncmp(argv[i], "--", 2) != 0) {
            words.push_back(argv[i][0] == '-' ? argv[i] + 1 : argv[i]);
            given.push_back(argv[i]);
        }
    }
    for (std::string const& word : qzhost::Host::takeStartupWords(words, "nodesktop")) {
        // Said as it was given, with its dash or without.
        for (size_t i = 0; i < words.size(); ++i) {
            if (words[i] != word) continue;
            std::fprintf(stderr, "qzconsole: the start-up word %s is not known; it is ignored\n", given[i].c_str());
            break;
        }
    }
}

// What only the console does at start, once the signals stand.
void installConsoleParts() {
    qzconsole::installKeyReader();
    qzhost::installMessagePrinters();
    qzconsole::installEventLoop();
}

qzhost::HostCallbacks consoleCallbacks() {
    static qzconsole::TerminalSinkFactory factory;
    qzhost::HostCallbacks c;
    c.beep = &qzconsole::beep;
    c.readKey = &qzconsole::readOneKey;
    c.deleteCurrentLine = &qzconsole::deleteCurrentLine;
    // SIGINT marks an interrupt as pending, SIGWINCH a new window size.
    c.installSignalHandlers = &qzconsole::installInterruptHandler;
    c.installHostParts = &installConsoleParts;
    c.factory = &factory;
    return c;
}

// One statement, which may run over several lines while a bracket is open,
// a line ends in "...", or a block (if, for, while, switch, try) waits for
// its end; the later lines get no prompt of their own, as a continuation.
// False at the end of input with nothing read.
bool readStatement(std::string& text, bool interactive) {
    std::string const prompt = interactive ? std::string(services::PromptHolder::getString()) + " " : std::string();
    std::string line;
    if (!qzconsole::readLine(line, prompt.c_str())) return false;
    text = line;
    while (!qzlang::Session::isComplete(text)) {
        if (!qzconsole::readLine(line, "")) break;  // the end of input: the statement's error shows
        text += "\n" + line;
    }
    return true;
}

// What runs instead of the prompt: -batch's statements or a ".cx" file,
// taken out of the arguments so that the rest reads as before.
struct BatchRequest {
    bool batch = false;
    std::string statements;
    std::string file;
    bool any() const { return batch || !file.empty(); }
};

// False, with the reason said, for a -batch without its statements.
bool takeBatchRequest(int& argc, char** argv, BatchRequest& request) {
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        std::size_t const length = std::strlen(argv[i]);
        if (std::strcmp(argv[i], "-batch") == 0) {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "qzconsole: -batch needs its statements\n\n%s", kUsage);
                return false;
            }
            request.batch = true;
            request.statements = argv[++i];
        } else if (argv[i][0] != '-' && length > 3 && std::strcmp(argv[i] + length - 3, ".cx") == 0) {
            request.file = argv[i];
        } else {
            argv[kept++] = argv[i];
        }
    }
    argc = kept;
    argv[argc] = nullptr;
    return true;
}

// The text of a statement that runs `file`: run('FILE') with quotes doubled.
std::string runStatementFor(std::string const& file) {
    std::string quoted;
    for (char c : file) quoted += c == '\'' ? std::string("''") : std::string(1, c);
    return "run('" + quoted + "')";
}

// Options that end the program before the session starts; -1 when none.
int handleOptions(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--version") == 0) {
            std::printf("qzconsole %s\n", QZCONSOLE_VERSION);  // built with the library, so one version
            return 0;
        }
        if (std::strcmp(argv[i], "--help") == 0) {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (isLogOption(argv[i])) {
            if (i + 1 >= argc || argv[i + 1][0] == '\0') {
                std::fprintf(stderr, "qzconsole: %s needs a file name\n\n%s", argv[i], kUsage);
                return 2;
            }
            ++i;
            continue;
        }
        if (std::strncmp(argv[i], "--", 2) == 0 && std::strcmp(argv[i], "--demo") != 0) {
            std::fprintf(stderr, "qzconsole: unknown option %s\n\n%s", argv[i], kUsage);
            return 2;
        }
    }
    return -1;
}

// --log FILE, --log-append FILE: the service log copies the session from
// here on. False, with the reason said, when the file cannot be opened.
bool openLog(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; ++i) {
        if (!isLogOption(argv[i])) continue;
        if (!qzhost::Host::openLog(argv[i + 1], std::strcmp(argv[i], "--log-append") == 0)) {
            std::fprintf(stderr, "qzconsole: cannot open the log file %s\n", argv[i + 1]);
            return false;
        }
        ++i;
    }
    return true;
}

// A failed statement's report, wrapped on the error stream by the session's
// printer, names the frames of the files the error passed.
void reportToSession(qzlang::Session& language, std::string const& identifier, std::string const& message) {
    language.reportError(identifier, message);
}

// The session's reports through the console's wrapped error stream; input()
// and pause read through the console's own reader, which holds what is
// typed (or piped) ahead; the feature "container" on, so that a folder inside
// a CAT archive can be on the search path.
void connectLanguage(qzlang::Session& language, bool interactive) {
    language.diagnostics().setPrinter(&qzhost::printReport);
    language.input().setLineReader([interactive](std::string const& prompt, std::string& line) {
        if (interactive) return qzconsole::readLine(line, prompt.c_str());
        uvPutsn(0, prompt.data(), prompt.size());
        ioFlush();
        return qzconsole::readLine(line, "");
    });
    getContainerFeature().setState(1);
    svSetPathManagerDefaultIOFcns();
    pxUpdatePathArrayDefaultIOFcns();
}

} // namespace

int main(int argc, char** argv) {
    BatchRequest batch;
    if (!takeBatchRequest(argc, argv, batch)) return 2;
    int const early = handleOptions(argc, argv);
    if (early >= 0) return early;

    qzhost::Host host(consoleCallbacks());
    qzconsole::installDemoEvents();
    if (!openLog(argc, argv)) return 2;
    takeStartupWords(argc, argv);

    // --demo: the tour of array display, then leave.
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--demo") == 0) {
            qzconsole::runDemo();
            ioFlush();
            return 0;
        }
    }

    qzlang::Session language;
    qzconsole::addConsoleCommands(language.commands());
    qzconsole::addDemoCommands(language.commands());
    qzconsole::addStateCommands(language.commands());
    qzconsole::addFileCommands(language.commands());
    qzconsole::addDiaryCommands(language.commands());
    qzconsole::registerConsoleShutdown();

    bool const interactive = ::isatty(0) && !batch.any();
    connectLanguage(language, interactive);
    if (interactive) {
        qzconsole::lineEditorInit();
        qzconsole::useLineEditor();
    }
    int status = 0;
    bool exitAccepted = false;
    std::string text;
    // startup.cx of the user's work folder, then -batch or a file instead of the prompt.
    std::vector<std::string> first;
    std::string const startup = qzlang::files::SourcePath::startupFile();
    if (!startup.empty()) first.push_back(runStatementFor(startup));
    if (batch.batch) first.push_back(batch.statements);
    if (!batch.file.empty()) first.push_back(runStatementFor(batch.file));
    for (std::string const& statements : first) {
        qzhost::StatementOutcome const outcome = qzhost::runStatement(language, statements, &reportToSession);
        if ((outcome.failed || outcome.interrupted) && batch.any()) status = 1;
        ioFlush();
        if (outcome.exitAsked) {
            exitAccepted = qzconsole::mayExit();
            if (exitAccepted) break;
        }
    }
    for (;;) {
        if (batch.any() || exitAccepted) break;
        ioUpdateWindowSize();  // a resized window counts from the next display
        ioFlush();
        try {
            if (!readStatement(text, interactive)) break;
        } catch (Orrery::System::InterruptException const& e) {
            // ctrl-C at the prompt drops the line and asks again, on a fresh line.
            qzhost::clearInterrupt(e);
            continue;
        }
        ioUpdateWindowSize();
        // "q" at the more prompt, or ctrl-C: the statement ends, the session goes on.
        qzhost::StatementOutcome const outcome = qzhost::runPromptStatement(language, text, &reportToSession);
        if (outcome.failed && !interactive) status = 1;
        if (outcome.exitAsked) {
            exitAccepted = qzconsole::mayExit();
            if (exitAccepted) break;
            uvPuts("The exit was refused; the session goes on.\n");
        }
    }
    // Whatever the demo thread posted still runs before the console goes.
    qzconsole::finishDemoEvents();
    try {
        qzhost::runPendingEvents();
        mtServiceCallbackRequestsInterlaced();
    } catch (Orrery::System::InterruptException const& e) {
        qzhost::clearInterrupt(e);
    }
    if (!exitAccepted) qzconsole::askAtEndOfInput();
    qzconsole::shutDown();
    if (interactive) uvPuts("\n");
    ioFlush();
    svReleaseLog();
    return status;
}
