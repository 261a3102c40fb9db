/// @file
/// The command window as a sink. A host derives its own and installs it through
/// a factory; the library asks it for paging, beeps, echo, and when to prompt.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/io/CXSink.hpp"
#include "qzservices/prompt/InputRequester.hpp"

QZSERVICES_API_BEGIN

/// The sink of the command window; a host supplies the input requests.
class CmdWinSink : public services::io::CXSink {
public:
    explicit CmdWinSink(boost::shared_ptr<std::streambuf> const& buffer);  ///< narrow primary
    explicit CmdWinSink(boost::shared_ptr<services::io::ustreambuf> const& buffer);  ///< UTF-16 primary

    bool supportsBuzz() const override;  ///< true
    bool supportsMore() const override;  ///< true
    bool supportsHotlinks() const override;  ///< false
    bool needsFormattingForDisplay() const override;  ///< true
    bool useDiary() const override;  ///< false while isInEvalC_
    bool useEcho() const override;  ///< true
    bool useLogging() const override;  ///< false while isInEvalC_
    ~CmdWinSink() override;  ///< nothing of its own to release

    ///@{
    /// After an interrupt was handled: one line feed, synced, so that the next
    /// prompt stands on a fresh line; marks the sink dirty.
    virtual void ctrlCProcessed();
    virtual void doClc();  ///< clears the window (CLCEvent); does nothing here
    virtual void doHome();  ///< homes the cursor (HomeEvent); does nothing here
    ///@}
    ///@{
    /// One key is wanted; does nothing here.
    virtual void keyStrokeRequested(services::prompt::InputRequester const& requester) const;
    virtual bool isInputRequestNecessary() = 0;  ///< whether the host must be asked for input
    virtual void requestInput() = 0;  ///< asks the host for input
    ///@}

    /// Requests input from the host if it says a request is necessary.
    void inputRequested();
    void invariants() const {}  ///< a hook for checks; none here

    /// While true (one switch for all sinks), text still reaches the sink but is
    /// neither logged nor put in the diary. Returns the previous value.
    static bool setIsInEvalC(bool value);

private:
    int reserved_;  ///< kept for hosts; the library never reads it
    static bool isInEvalC_;
};

QZSERVICES_API_END
