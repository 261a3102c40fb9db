// The proxy's write path to a function sink: with log and diary off a write
// makes no heap allocation (counted by replacing the global operator new in
// this binary), and lines written while other threads replace the factory and
// register and unregister shutdown objects arrive whole at one sink or the
// other, none lost and none doubled. The writer's thread looks the sink up
// under the handle's lock after each change and holds it while it writes.
#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/io/PutsFnSink.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/state/ShutdownRegistry.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <sstream>
#include <thread>

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

// A factory whose one sink counts the bytes it receives and, if asked, keeps
// them. The sink is written by one thread at a time and read after.
class PutsFactory : public CmdWinSinkFactory {
public:
    explicit PutsFactory(bool keepText) : keepText_(keepText) {}
    boost::shared_ptr<CmdWinSink> getCmdWinSink(bool) const override { return sink; }
    boost::shared_ptr<PutsFnSink> sink = boost::make_shared<PutsFnSink>([this](char const* s) {
        bytes += static_cast<long>(std::char_traits<char>::length(s));
        if (keepText_) text += s;
        return 0;
    });
    long bytes = 0;
    std::string text;
private:
    bool keepText_;
};

// The output proxy on CXOut with paging off, for the length of a scope.
struct OnProxy {
    explicit OnProxy(PutsFactory* f) {
        CmdWinSinkHandle::setFactory(f);
        CXStream::CXOut.push(CmdWinSinkHandle::getInstance(false));
        MoreControl(false);
    }
    ~OnProxy() {
        CXStream::CXOut.pop();
        CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
    }
};

class QuietObject : public ShutdownObject {
public:
    explicit QuietObject(std::string const& name) : ShutdownObject(name.c_str()) {}
};

} // namespace

TEST(WritePath, NoHeapAllocationWithLogAndDiaryOff) {
    PutsFactory factory(false);
    OnProxy on(&factory);
    std::string line = std::string(79, 'x') + '\n';
    CXStream::CXOut << line << std::flush;  // warm-up: one-time set-up may allocate
    gAllocations = 0;
    gCounting = true;
    for (int i = 0; i < 200; ++i) CXStream::CXOut.write(line.data(), static_cast<std::streamsize>(line.size()));
    CXStream::CXOut.flush();
    gCounting = false;
    EXPECT_EQ(gAllocations.load(), 0);
    EXPECT_EQ(factory.bytes, 201 * 80);
}

TEST(PipelineStress, LinesSurviveFactorySwapsAndShutdownRegistrations) {
    PutsFactory a(true), b(true);
    constexpr int kLines = 20000;
    {
        OnProxy on(&a);
        std::atomic<bool> done{false};
        std::thread writer([&] {
            for (int i = 0; i < kLines; ++i) {
                // One write per line: one lookup of the sink.
                std::string line = "line " + std::to_string(i) + "\n";
                CXStream::CXOut.write(line.data(), static_cast<std::streamsize>(line.size()));
                if (i % 64 == 0) CXStream::CXOut.flush();
            }
            done = true;
        });
        std::thread swapper([&] {
            for (bool toB = true; !done; toB = !toB) CmdWinSinkHandle::setFactory(toB ? &b : &a);
        });
        std::thread registrar([&] {
            for (int i = 0; !done; ++i) {
                std::string name = "stress" + std::to_string(i % 8);
                ShutdownRegistry::RegisterObject(new QuietObject(name));
                ShutdownRegistry::UnregisterObject(name.c_str());
            }
        });
        writer.join();
        swapper.join();
        registrar.join();
    }
    // A sink that was swapped out may still hold text in its store.
    a.sink->getOutStreamBuffer()->pubsync();
    b.sink->getOutStreamBuffer()->pubsync();
    // Every line, exactly once, across the two sinks.
    std::vector<int> seen(kLines, 0);
    for (PutsFactory const* f : {&a, &b}) {
        std::istringstream in(f->text);
        std::string word;
        int n;
        while (in >> word >> n) {
            ASSERT_EQ(word, "line");
            ASSERT_TRUE(n >= 0 && n < kLines) << n;
            ++seen[n];
        }
    }
    for (int i = 0; i < kLines; ++i) ASSERT_EQ(seen[i], 1) << "line " << i;
}
