// The command-window proxies on both streams for the length of a scope, with
// no factory and paging off. At the end a factory is installed for a moment so
// that the proxies hand on what they kept, and the streams are as before.
#pragma once
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/io/more.hpp"
#include "support/test_sinks.hpp"

namespace qztest {

struct ProxyStreams {
    ProxyStreams() {
        using services::io::CmdWinSinkHandle;
        CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
        services::io::CXStream::CXOut.push(CmdWinSinkHandle::getInstance(false));
        services::io::CXStream::CXErr.push(CmdWinSinkHandle::getInstance(true));
        services::io::MoreControl(false);
    }
    ~ProxyStreams() {
        using services::io::CmdWinSinkHandle;
        using services::io::CXStream;
        CXStream::diaryStreamPtr_.reset();
        CXStream::logStreamPtr_.reset();
        CmdWinSinkHandle::setFactory(&flusher);
        CXStream::CXOut.flush();
        CXStream::CXErr.flush();
        CXStream::CXErr.pop();
        CXStream::CXOut.pop();
        CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
        services::io::MoreControl(false);
    }
    ProxyStreams(ProxyStreams const&) = delete;
    ProxyStreams& operator=(ProxyStreams const&) = delete;
    TestFactory flusher;
};

} // namespace qztest
