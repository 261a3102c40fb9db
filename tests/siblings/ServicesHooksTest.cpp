// uv reaches the services library only through the hooks that library installs
// when it loads: with them, uv's output lands in CXOut and CXErr and a pending
// interrupt throws the services library's exception; without them, output is
// dropped and an interrupt stays pending.
#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/CXStringSink.hpp>
#include <qzservices/orrery/InterruptException.hpp>
#include <uv/services_hooks.hpp>
#include <uv/uv.hpp>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

using services::io::CXStream;

namespace {

// Captures both streams and puts the installed hooks back afterwards.
class ServicesHooks : public ::testing::Test {
protected:
    uvServicesHooks const* installed = uvGetServicesHooks();
    boost::shared_ptr<services::io::CXStringSink> out = boost::make_shared<services::io::CXStringSink>();
    boost::shared_ptr<services::io::CXStringSink> err = boost::make_shared<services::io::CXStringSink>();
    void SetUp() override {
        CXStream::CXOut.push(out);
        CXStream::CXErr.push(err);
    }
    void TearDown() override {
        uvSetServicesHooks(installed);
        uvSetInterruptPending(0);
        CXStream::CXErr.pop();
        CXStream::CXOut.pop();
    }
    std::string flushed(boost::shared_ptr<services::io::CXStringSink> const& sink) {
        CXStream::CXOut.flush();
        CXStream::CXErr.flush();
        return sink->getString();
    }
};

} // namespace

TEST_F(ServicesHooks, LoadingTheLibraryConnectsOutputAndInterrupts) {
    ASSERT_NE(installed, nullptr);
    EXPECT_EQ(uvPrintf("%d %s\n", 7, "out"), 6);
    EXPECT_EQ(uvPutsn(1, "err\n", 4), 4);
    EXPECT_EQ(uvPutsn(0, "more\n", 5), 5);
    EXPECT_EQ(flushed(out), "7 out\nmore\n");
    EXPECT_EQ(flushed(err), "err\n");

    uvSetInterruptPending(1);
    try {
        uvLongjmpIfInterruptPending();
        ADD_FAILURE() << "a pending interrupt did not throw";
    } catch (Orrery::System::InterruptException const& e) {
        EXPECT_TRUE(e.isFromCtrlC());
    }
    EXPECT_EQ(uvIsInterruptPending(), 0);  // consumed by the throw
}

TEST_F(ServicesHooks, WithoutTheHooksOutputIsDroppedAndAnInterruptStaysPending) {
    uvSetServicesHooks(nullptr);
    EXPECT_EQ(uvPrintf("%s\n", "lost"), 5);  // the count is still what was formatted
    EXPECT_EQ(uvPutsn(1, "lost\n", 5), 5);
    EXPECT_FALSE(uvPrintfIsHot());
    uvSetInterruptPending(1);
    EXPECT_NO_THROW(uvLongjmpIfInterruptPending());
    EXPECT_EQ(uvIsInterruptPending(), 1);
    uvSetServicesHooks(installed);
    EXPECT_EQ(flushed(out), "");
    EXPECT_EQ(flushed(err), "");
}
