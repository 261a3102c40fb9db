// The command window as a sink. A host derives its own and installs it through
// a factory; the library asks it for paging, beeps, echo, and when to prompt.
#pragma once
#include "qzservices/io/CXSink.hpp"
#include "qzservices/prompt/InputRequester.hpp"

class CmdWinSink : public services::io::CXSink {
public:
    explicit CmdWinSink(boost::shared_ptr<std::streambuf> const& buffer);
    explicit CmdWinSink(boost::shared_ptr<services::io::ustreambuf> const& buffer);

    bool supportsBuzz() const override;
    bool supportsMore() const override;
    bool supportsHotlinks() const override;
    bool needsFormattingForDisplay() const override;
    bool useDiary() const override;    // false while isInEvalC_
    bool useEcho() const override;
    bool useLogging() const override;  // false while isInEvalC_
    ~CmdWinSink() override;

    // After an interrupt was handled: one line feed, synced, so that the next
    // prompt stands on a fresh line; marks the sink dirty.
    virtual void ctrlCProcessed();
    virtual void doClc();
    virtual void doHome();
    virtual void keyStrokeRequested(services::prompt::InputRequester const& requester) const;
    virtual bool isInputRequestNecessary() = 0;
    virtual void requestInput() = 0;

    // Requests input from the host if it says a request is necessary.
    void inputRequested();
    void invariants() const {}

    // While true (one switch for all sinks), text still reaches the sink but is
    // neither logged nor put in the diary. Returns the previous value.
    static bool setIsInEvalC(bool value);

private:
    int reserved_;  // kept for hosts; the library never reads it
    static bool isInEvalC_;
};
