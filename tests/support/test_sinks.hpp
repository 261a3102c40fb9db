// A host-like command-window sink and factory for tests. The sink records what
// reaches it and which host operations were called.
#pragma once
#include "qzservices/io/CmdWinSink.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "support/recording_buffers.hpp"

#include <boost/make_shared.hpp>

namespace qztest {

class TestCmdWinSink : public CmdWinSink {
public:
    explicit TestCmdWinSink(boost::shared_ptr<RecordingBuffer> buffer = boost::make_shared<RecordingBuffer>())
        : CmdWinSink(boost::shared_ptr<std::streambuf>(buffer)), buffer_(std::move(buffer)) {}

    std::string const& text() const { return buffer_->text; }
    int syncs() const { return buffer_->syncs; }
    void clear() { buffer_->text.clear(); }

    bool isInputRequestNecessary() override { return inputNecessary; }
    void requestInput() override { ++inputRequests; }
    void doClc() override { ++clcs; }
    void doHome() override { ++homes; }
    bool supportsMore() const override { return more; }

    bool inputNecessary = true;
    bool more = true;
    int inputRequests = 0;
    int clcs = 0;
    int homes = 0;

private:
    boost::shared_ptr<RecordingBuffer> buffer_;
};

class TestFactory : public CmdWinSinkFactory {
public:
    boost::shared_ptr<TestCmdWinSink> out = boost::make_shared<TestCmdWinSink>();
    boost::shared_ptr<TestCmdWinSink> err = boost::make_shared<TestCmdWinSink>();
    boost::shared_ptr<CmdWinSink> getCmdWinSink(bool isErrorStream) const override {
        return isErrorStream ? err : out;
    }
};

// Leaves the handle with no factory at the end of a scope, whatever the test did.
struct NoFactoryAtExit {
    ~NoFactoryAtExit() {
        services::io::CmdWinSinkHandle::setFactoryPair(services::io::CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
    }
};

} // namespace qztest
