// The desktop's command window: the page. Text of the output and the error
// stream collects in one outbox and leaves in WebSocket messages of up to a
// batch each ("o" or "e" and the text), so that a large display is a few
// hundred messages and not one per line. The sink's events (clear, home, the
// key and the line that the session waits for) become messages of their own,
// after the text written before them.
//
// Main thread only: the library writes to its sinks on the interpreter's thread.
#pragma once
#include <qzservices/io/CmdWinSink.hpp>
#include <qzservices/io/CmdWinSinkHandle.hpp>

#include <functional>
#include <memory>
#include <streambuf>
#include <string>

namespace qzdesktop {

class Outbox {
public:
    using Send = std::function<void(std::shared_ptr<std::string const>)>;
    static constexpr std::size_t kBatch = 64 * 1024;

    explicit Outbox(Send send) : send_(std::move(send)) {}
    // Text of one stream ('o' output, 'e' errors); it leaves when the stream
    // changes, when a batch is full, or at flush.
    void write(char stream, char const* text, std::size_t n);
    void flush();
    // A message of its own, after the text before it.
    void control(std::string message);

private:
    Send send_;
    std::string pending_;  // the kind letter and the text, while not empty
};

class PageSink : public CmdWinSink {
public:
    PageSink(Outbox& outbox, char stream);

    bool supportsHotlinks() const override { return true; }  // the page shows them as links
    // The page asks for a line only while a program waits for one.
    bool isInputRequestNecessary() override;
    void requestInput() override;
    void doClc() override;
    void doHome() override;
    // The more prompt's key: the page shows its sign; other keys: the page
    // sends the next key it is given.
    void keyStrokeRequested(services::prompt::InputRequester const& requester) const override;

private:
    Outbox& outbox_;
};

class PageSinkFactory : public CmdWinSinkFactory {
public:
    explicit PageSinkFactory(Outbox& outbox);
    boost::shared_ptr<CmdWinSink> getCmdWinSink(bool isErrorStream) const override;

private:
    boost::shared_ptr<CmdWinSink> out_;
    boost::shared_ptr<CmdWinSink> err_;
};

} // namespace qzdesktop
