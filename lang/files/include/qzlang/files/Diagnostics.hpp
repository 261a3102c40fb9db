// Errors and warnings as a user reads them: the arguments of error() and
// warning() taken apart, the warning switches with lastwarn and lasterr, and
// the text of an uncaught error or a warning with the frames it passed
// through, printed by the library's wrapper (ioPrintWrapped) between its
// error or warning markers so that long messages wrap to the window. Where
// hot links are on, a frame's name links to its file at its line.
//
// Main thread only, like the interpreter that owns the one Diagnostics.
#pragma once
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace qzlang { namespace files {

// One frame of the call stack, innermost first in every list.
struct Frame {
    std::string name;  // as shown: "f", or "f>helper" for a local function
    std::string file;  // the full path of its source file; empty for a built-in
    int line = 0;      // the line being run, from 1
    bool script = false;  // a script runs in its caller's workspace: no "Error using" for it
};

// The identifier and the message of error(...) or warning(...).
struct MessageParts {
    std::string identifier;  // empty when none was given
    std::string message;     // empty: error() raises nothing
};

// Words of letters, digits and "_" joined by ":" (at least two words).
bool isMessageIdentifier(std::string const& text);
// Takes error(a1, a2, ...) apart. `count` is the number of arguments,
// `first` the text of the first. One argument is the message as it stands;
// with more, the first is the identifier when isMessageIdentifier says so,
// and `format(i)` formats the message as sprintf does, with argument i as the
// format and those behind it as its values.
MessageParts splitMessageArguments(std::size_t count, std::string const& first,
                                   std::function<std::string(std::size_t formatIndex)> const& format);

// The href of a link to a file at a line: "calyx:openAtLine PATH LINE", the
// path percent-encoded (every byte outside letters, digits and "/._-~+,=@"),
// so that it holds neither blanks nor quotes.
std::string fileLinkTarget(std::string const& file, int line);
// Its inverse, for the host that follows the link; false for another href.
bool parseFileLinkTarget(std::string const& href, std::string& file, int& line);

// "Error using NAME" and the message on the next line when the innermost
// frame is a function (a file's or a built-in), else (the prompt, a script)
// "Error: " and the message; then "Error in NAME
// (line N)" for each frame with a file. Of more than 2 * kReportEndFrames + 1
// such frames only the first and the last kReportEndFrames are shown, with
// the line "... N frames left out ..." between them. With `hotLinks` each
// NAME of a frame with a file links to it. No line end at the end.
std::size_t const kReportEndFrames = 5;
std::string errorReport(std::string const& message, std::vector<Frame> const& frames, bool hotLinks);
// "Warning: " and the message; then "> In NAME (line N)" for the innermost
// frame with a file.
std::string warningReport(std::string const& message, std::vector<Frame> const& frames, bool hotLinks);
// A syntax error in a file: "Error: File: PATH Line: N Column: C" and the
// message on the next line, PATH linked to the place.
std::string syntaxErrorReport(std::string const& message, std::string const& file, int line, int column,
                              bool hotLinks);
// Whether reports carry hot links now: the session's switch is on (the
// desktop host, EMACS=t), or the command window shows links. A terminal's
// window does neither and gets plain names.
bool hotLinksOn();

class Diagnostics {
public:
    // Hands a report to the screen: `braces` for an error. The default
    // prints with ioPrintWrapped; a host that sends errors to another stream
    // puts its own around that.
    typedef std::function<void(std::string const& report, bool braces)> Printer;

    Diagnostics();

    // warning('on'|'off', id), id "all" for every warning: "all" clears
    // the switches of single identifiers.
    void setWarningState(std::string const& identifier, bool on);
    // A warning without identifier follows "all".
    bool isWarningEnabled(std::string const& identifier) const;
    // The forms of warning() that switch: ("on"|"off") or ("on"|"off", id);
    // applies them and answers true, or answers false for a real warning.
    bool applyWarningCommand(std::vector<std::string> const& args);

    // A warning: printed and remembered for lastwarn, unless it is off, when
    // nothing happens. Returns whether it was shown.
    bool warn(std::string const& identifier, std::string const& message, std::vector<Frame> const& frames);
    // An error that reached the prompt: printed and remembered for lasterr.
    void reportUncaught(std::string const& identifier, std::string const& message, std::vector<Frame> const& frames);
    // A syntax error in a file, printed and remembered.
    void reportSyntaxError(std::string const& message, std::string const& file, int line, int column);

    // lasterr and lastwarn; a caught error sets lasterr too.
    void setLastError(std::string const& message, std::string const& identifier = std::string());
    std::string const& lastError() const { return lastError_; }
    std::string const& lastErrorIdentifier() const { return lastErrorId_; }
    void setLastWarning(std::string const& message, std::string const& identifier = std::string());
    std::string const& lastWarning() const { return lastWarning_; }
    std::string const& lastWarningIdentifier() const { return lastWarningId_; }

    void setPrinter(Printer printer);

private:
    bool allOn_ = true;
    std::map<std::string, bool> single_;  // identifiers switched apart from "all"
    std::string lastError_, lastErrorId_, lastWarning_, lastWarningId_;
    Printer printer_;
};

}} // namespace qzlang::files
