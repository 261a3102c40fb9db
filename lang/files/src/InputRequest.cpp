// input() and pause through the prompt and input-request services.
#include "qzlang/files/InputRequest.hpp"

#include <qzservices/io/callbacks.hpp>
#include <qzservices/io/ioFlush.hpp>
#include <qzservices/prompt/prompt.hpp>

#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <cmath>

namespace qzlang { namespace files {

namespace {

using services::prompt::InputRequester;
using services::prompt::InputRequesterGuard;

// The session reads the keyboard for the life of one read.
class ReadingKeyboard {
public:
    ReadingKeyboard() : previous_(svSetReadingKeyboardInput(true)) {}
    ~ReadingKeyboard() { svSetReadingKeyboardInput(previous_); }
    ReadingKeyboard(ReadingKeyboard const&) = delete;
    ReadingKeyboard& operator=(ReadingKeyboard const&) = delete;

private:
    bool previous_;
};

// The announcement comes first, so that the sink brings out what is still
// on its way before the prompt; the prompt then goes out at once.
void showPrompt(std::string const& prompt) {
    if (!prompt.empty()) uvPutsn(0, prompt.data(), prompt.size());
    ioFlush();
}

} // namespace

InputRequest::InputRequest()
    : lineReader_(streamReader(stdin)), keyReader_([] { return services::io::flushRead(); }) {}

void InputRequest::setLineReader(LineReader reader) { lineReader_ = reader ? reader : streamReader(stdin); }

void InputRequest::setKeyReader(KeyReader reader) {
    keyReader_ = reader ? reader : KeyReader([] { return services::io::flushRead(); });
}

InputRequest::LineReader InputRequest::streamReader(FILE* stream) {
    return [stream](std::string const& prompt, std::string& line) {
        showPrompt(prompt);
        line.clear();
        int c;
        bool any = false;
        while ((c = std::fgetc(stream)) != EOF) {
            any = true;
            if (c == '\n') break;
            line += static_cast<char>(c);
        }
        if (!line.empty() && line.back() == '\r') line.pop_back();
        return any;
    };
}

std::string InputRequest::readLine(std::string const& prompt) {
    InputRequesterGuard request(services::prompt::INPUT_FUNCTION, true);
    ioFlush();
    std::string line;
    bool got;
    {
        ReadingKeyboard reading;
        got = lineReader_(prompt, line);
    }
    if (!got) vxErrMsgId("CALYX:input:endOfInput", "The input ended before a line was read.");
    return line;
}

int InputRequest::readKey(std::string const& prompt) {
    InputRequesterGuard request(services::prompt::PAUSE, true);
    showPrompt(prompt);
    ReadingKeyboard reading;
    return keyReader_();
}

void InputRequest::pauseFor(double seconds) {
    if (std::isnan(seconds) || seconds < 0)
        vxErrMsgId("CALYX:input:badPause", "The time to pause must be a number of seconds, 0 or more.");
    if (std::isinf(seconds)) {
        readKey();
        return;
    }
    ioFlush();
    svWS_Sleep(seconds);
}

}} // namespace qzlang::files
