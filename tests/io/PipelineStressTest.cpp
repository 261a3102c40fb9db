// One thread writes many lines through CXOut while others replace the factory
// and register and unregister shutdown objects. The sink is looked up under the
// handle's lock and kept alive by its reference count, so every line must
// arrive whole at one sink or the other, none lost and none doubled.
#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/io/PutsFnSink.hpp"
#include "qzservices/io/more.hpp"
#include "qzservices/state/ShutdownRegistry.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <sstream>
#include <thread>

using namespace services::io;

namespace {

// A factory whose sinks count the lines they receive. Each sink is written by
// the one writer thread only; the counters are read after it has finished.
class CountingFactory : public CmdWinSinkFactory {
public:
    CountingFactory() {
        sink_ = boost::make_shared<PutsFnSink>([this](char const* s) {
            text_ += s;
            return 0;
        });
    }
    boost::shared_ptr<CmdWinSink> getCmdWinSink(bool) const override { return sink_; }
    std::string const& text() const { return text_; }
private:
    boost::shared_ptr<PutsFnSink> sink_;
    std::string text_;
};

class QuietObject : public ShutdownObject {
public:
    explicit QuietObject(std::string const& name) : ShutdownObject(name.c_str()) {}
};

} // namespace

TEST(PipelineStress, LinesSurviveFactorySwapsAndShutdownRegistrations) {
    CountingFactory a, b;
    CmdWinSinkHandle::setFactory(&a);
    CXStream::CXOut.push(CmdWinSinkHandle::getInstance(false));
    MoreControl(false);

    constexpr int kLines = 20000;
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
        bool toB = true;
        while (!done) {
            CmdWinSinkHandle::setFactory(toB ? &b : &a);
            toB = !toB;
        }
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
    CXStream::CXOut.pop();
    // A sink that was swapped out may still hold text in its store.
    a.getCmdWinSink(false)->getOutStreamBuffer()->pubsync();
    b.getCmdWinSink(false)->getOutStreamBuffer()->pubsync();
    CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));

    // Every line, exactly once, across the two sinks.
    std::vector<int> seen(kLines, 0);
    for (CountingFactory const* f : {&a, &b}) {
        std::istringstream in(f->text());
        std::string word;
        int n;
        while (in >> word >> n) {
            ASSERT_EQ(word, "line");
            ASSERT_GE(n, 0);
            ASSERT_LT(n, kLines);
            ++seen[n];
        }
    }
    for (int i = 0; i < kLines; ++i) ASSERT_EQ(seen[i], 1) << "line " << i;
}
