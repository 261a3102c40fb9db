// The console's command window: a sink over a file descriptor, and the factory
// that hands the library one sink for output and one for errors.
#pragma once
#include <qzservices/io/CmdWinSink.hpp>
#include <qzservices/io/CmdWinSinkHandle.hpp>

#include <streambuf>

namespace qzconsole {

// Collects text and writes it to the descriptor at sync or when full.
class FdStreamBuffer : public std::streambuf {
public:
    explicit FdStreamBuffer(int fd);
    ~FdStreamBuffer() override;

protected:
    int_type overflow(int_type c) override;
    int sync() override;

private:
    bool drain();
    int fd_;
    char store_[4096];
};

class TerminalSink : public CmdWinSink {
public:
    explicit TerminalSink(int fd);
    // Pages only where someone reads them and can answer: the output and the
    // keys are both on a terminal. A pipe gets its text whole.
    bool supportsMore() const override { return pages_; }
    bool isInputRequestNecessary() override { return false; }
    void requestInput() override {}
    // Clear the screen and home the cursor on a terminal; into a pipe or a
    // file they write nothing.
    void doClc() override;
    void doHome() override;

private:
    bool terminal_;
    bool pages_;
};

class TerminalSinkFactory : public CmdWinSinkFactory {
public:
    TerminalSinkFactory();
    boost::shared_ptr<CmdWinSink> getCmdWinSink(bool isErrorStream) const override;

private:
    boost::shared_ptr<CmdWinSink> out_;
    boost::shared_ptr<CmdWinSink> err_;
};

} // namespace qzconsole
