// With log and diary off, a write through the proxy to a function sink makes no
// heap allocation. Counted by replacing the global operator new in this binary.
#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/io/PutsFnSink.hpp"
#include "qzservices/io/more.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<bool> gCounting{false};
std::atomic<long> gAllocations{0};
} // namespace

void* operator new(std::size_t size) {
    if (gCounting.load(std::memory_order_relaxed)) ++gAllocations;
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

using namespace services::io;

namespace {

class PutsFactory : public CmdWinSinkFactory {
public:
    boost::shared_ptr<PutsFnSink> sink = boost::make_shared<PutsFnSink>([this](char const* s) {
        bytes += static_cast<long>(std::char_traits<char>::length(s));
        return 0;
    });
    boost::shared_ptr<CmdWinSink> getCmdWinSink(bool) const override { return sink; }
    long bytes = 0;
};

} // namespace

TEST(WritePath, NoHeapAllocationWithLogAndDiaryOff) {
    PutsFactory factory;
    CmdWinSinkHandle::setFactory(&factory);
    CXStream::CXOut.push(CmdWinSinkHandle::getInstance(false));
    MoreControl(false);
    std::string line(79, 'x');
    line += '\n';
    CXStream::CXOut << line << std::flush;  // warm-up: one-time set-up may allocate

    gAllocations = 0;
    gCounting = true;
    for (int i = 0; i < 200; ++i) CXStream::CXOut.write(line.data(), static_cast<std::streamsize>(line.size()));
    CXStream::CXOut.flush();
    gCounting = false;

    EXPECT_EQ(gAllocations.load(), 0);
    EXPECT_EQ(factory.bytes, 201 * 80);
    CXStream::CXOut.pop();
    CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
}
