// Input from the user for input() and pause: the prompt goes out through the
// output stream after an input request has been announced (the command
// window's sink then brings out text still on its way to the screen and asks
// its host for input), and the line or key is read by a reader the host
// chooses: its line editor or desktop for lines, its one-key function for
// keys. Without one, lines come from standard input, as from a pipe.
//
// Main thread only.
#pragma once
#include <cstdio>
#include <functional>
#include <string>

namespace qzlang { namespace files {

class InputRequest {
public:
    // Shows `prompt` (a line editor shows it itself), fills `line` without
    // its line end and answers true, or answers false at the end of input.
    typedef std::function<bool(std::string const& prompt, std::string& line)> LineReader;
    // One key's code, or -1 when none can be read.
    typedef std::function<int()> KeyReader;

    // Lines from standard input; keys through the host's one-key callback
    // (the one the more prompt uses).
    InputRequest();
    void setLineReader(LineReader reader);
    void setKeyReader(KeyReader reader);

    // input(prompt) and input(prompt, 's'): announces the request (requester
    // INPUT_FUNCTION), flushes the output, and has the reader show the prompt
    // and read one line while the session says it reads the keyboard. The
    // caller evaluates the line or keeps it as text. Raises
    // CALYX:input:endOfInput at the end of input.
    std::string readLine(std::string const& prompt);
    // pause: the same road with requester PAUSE; the key's code, or -1 when
    // there is no key to read (no host reader: a pipe is not read, so that
    // the statements that follow in it stay where they are).
    int readKey(std::string const& prompt = std::string());
    // pause(n): sleeps through the host's sleep function; a negative or NaN
    // `seconds` raises CALYX:input:badPause, and Inf waits for a key.
    void pauseFor(double seconds);

    // A line reader over an open C stream, such as stdin: the prompt goes
    // out through the output stream, then "\n" or "\r\n" ends a line, and a
    // last line without one counts.
    static LineReader streamReader(FILE* stream);

private:
    LineReader lineReader_;
    KeyReader keyReader_;
};

}} // namespace qzlang::files
