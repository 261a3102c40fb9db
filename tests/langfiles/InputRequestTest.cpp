// input() and pause: the request is announced, then the prompt shows, then
// the line or key is read.
#include <qzlang/files/InputRequest.hpp>

#include "support/capture.hpp"
#include "support/io_proxy_streams.hpp"
#include "support/test_sinks.hpp"

#include <qzservices/prompt/prompt.hpp>

#include <cxutil/eventmgr/EventMgr.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <limits>

using qzlang::files::InputRequest;
using services::prompt::InputRequestEvent;

namespace {

// The write end of a pipe closed behind `text`: standard input as a pipe gives it.
FILE* pipeHolding(std::string const& text) {
    int fds[2];
    if (pipe(fds) != 0) return nullptr;
    if (write(fds[1], text.data(), text.size()) != static_cast<ssize_t>(text.size())) return nullptr;
    close(fds[1]);
    return fdopen(fds[0], "r");
}

} // namespace

TEST(InputRequest, AnnouncesThenPromptsThenReadsLinesFromAPipe) {
    std::vector<std::string> order;
    auto conn = cxutil::eventmgr::EventMgr::instance()->subscribe<InputRequestEvent>(
        [&order](InputRequestEvent const& e) { order.push_back("requester " + std::to_string(e.getRequester())); },
        "InputRequestEvent");
    FILE* stream = pipeHolding("12\r\nname here\n\nlast");
    ASSERT_NE(nullptr, stream);
    InputRequest::LineReader const fromPipe = InputRequest::streamReader(stream);
    qztest::Capture capture;
    InputRequest in;
    in.setLineReader([&](std::string const& prompt, std::string& line) {
        order.push_back("prompt '" + prompt + "' after '" + capture.outText() + "'" +
                        (svIsReadingKeyboardInput() ? " reading" : ""));
        return fromPipe(prompt, line);
    });
    uvPuts("on its way; ");
    EXPECT_EQ("12", in.readLine("x = "));
    EXPECT_EQ("name here", in.readLine(""));
    EXPECT_EQ("", in.readLine(""));
    EXPECT_EQ("last", in.readLine("? "));
    EXPECT_FALSE(svIsReadingKeyboardInput());
    try {
        in.readLine("more? ");
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        EXPECT_EQ("CALYX:input:endOfInput", e.identifier());
        EXPECT_STREQ("The input ended before a line was read.", e.what());
    }
    EXPECT_EQ("on its way; x = ? more? ", capture.outText());
    conn->disconnect();
    std::fclose(stream);
    std::string const requested = "requester 1";
    std::string const back = "requester " + std::to_string(services::prompt::getInputRequester());
    EXPECT_EQ((std::vector<std::string>{
                  requested, "prompt 'x = ' after 'on its way; ' reading", back,
                  requested, "prompt '' after 'on its way; x = ' reading", back,
                  requested, "prompt '' after 'on its way; x = ' reading", back,
                  requested, "prompt '? ' after 'on its way; x = ' reading", back,
                  requested, "prompt 'more? ' after 'on its way; x = ? ' reading", back,
              }),
              order);
}

TEST(InputRequest, PauseReadsOneKeyOrSleeps) {
    std::vector<int> requesters;
    auto conn = cxutil::eventmgr::EventMgr::instance()->subscribe<InputRequestEvent>(
        [&requesters](InputRequestEvent const& e) { requesters.push_back(e.getRequester()); }, "InputRequestEvent");
    InputRequest in;
    // With no host to read a key, none is read: -1.
    EXPECT_EQ(-1, in.readKey());
    in.setKeyReader([] { return static_cast<int>('q'); });
    EXPECT_EQ('q', in.readKey());
    in.pauseFor(std::numeric_limits<double>::infinity());  // waits for a key
    conn->disconnect();
    int const before = services::prompt::getInputRequester();
    EXPECT_EQ((std::vector<int>{services::prompt::PAUSE, before, services::prompt::PAUSE, before,
                                services::prompt::PAUSE, before}),
              requesters);
    for (double bad : {-1.0, std::nan("")}) {
        try {
            in.pauseFor(bad);
            ADD_FAILURE() << "no error for " << bad;
        } catch (vx::Error const& e) {
            EXPECT_EQ("CALYX:input:badPause", e.identifier());
        }
    }
    in.pauseFor(0);
}

// Through a host's command window: text kept on its way is in the window, and
// the window has been asked for input, before the line is read.
TEST(InputRequest, TheWindowHasTheTextAndTheRequestBeforeTheRead) {
    qztest::NoFactoryAtExit cleanup;
    qztest::ProxyStreams streams;
    qztest::TestFactory window;
    services::io::CmdWinSinkHandle::setFactory(&window);
    uvPuts("partial line, ");
    std::string seenText;
    int seenRequests = -1;
    InputRequest in;
    in.setLineReader([&](std::string const&, std::string& line) {
        seenText = window.out->text();
        seenRequests = window.out->inputRequests;
        line = "typed";
        return true;
    });
    EXPECT_EQ("typed", in.readLine("name: "));
    EXPECT_EQ("partial line, ", seenText);
    EXPECT_EQ(1, seenRequests);
    EXPECT_EQ(2, window.out->inputRequests);  // the end of the request is announced too
}
