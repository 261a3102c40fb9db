// A display through the command window's proxy with paging on: the more
// prompt comes after the same lines as for any other output, and its quit
// key ends the display.
#include "display/display_support.hpp"
#include "qzservices/io/ActiveCmdWinSinkProxy.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/orrery/InterruptException.hpp"
#include "qzservices/state/java_support.hpp"
#include "support/keys.hpp"
#include "support/test_sinks.hpp"

using namespace qztest;
using services::io::CmdWinSinkHandle;

class PagedDisplay : public DisplayTest {
protected:
    void SetUp() override {
        DisplayTest::SetUp();
        CmdWinSinkHandle::setFactory(&factory_);
        push_.reset(new CXPushDefaultSink());
        services::state::detail::storeJavaSupportLevel(svJavaNone);  // below the desktop: "--more--" shows
        keys().clear();
    }
    void TearDown() override {
        push_.reset();
        CmdWinSinkHandle::setFactoryPair(CmdWinSinkHandle::FactoryPair(nullptr, nullptr));
        services::io::MoreControl(false);
        services::state::detail::storeJavaSupportLevel(svJavaDesktop);
        DisplayTest::TearDown();
    }
    std::string windowText() {
        services::io::CXStream::CXOut.flush();
        std::string const text = factory_.out->text();
        factory_.out->clear();
        return text;
    }

    TestFactory factory_;
    std::unique_ptr<CXPushDefaultSink> push_;
};

TEST_F(PagedDisplay, SpaceShowsTheNextPageOfRowsAndQuitEndsTheDisplay) {
    services::io::setTotalMoreCount(4);  // heading, name, blank line and the first row
    keys().script = {' '};
    ioPrintArray("A", doubles({{1}, {2}, {3}}).get());
    EXPECT_EQ(windowText(), "\nA =\n\n     1\n--more--     2\n     3\n\n");
    EXPECT_EQ(keys().reads, 1);

    ArrayPtr a = doubles({{1}, {2}, {3}, {4}, {5}});
    services::io::MoreControl(false);
    services::io::setTotalMoreCount(3);
    keys().script = {' ', 'q'};
    EXPECT_THROW(ioPrintArray("A", a.get()), Orrery::System::InterruptException);
    EXPECT_EQ(windowText(), "\nA =\n\n--more--     1\n     2\n     3\n--more--");
    EXPECT_EQ(ioStopPrinting(), 1);
    uvSetInterruptPending(0);
    // The next display is whole, its count starting afresh.
    services::io::MoreControl(false);
    ioPrintArray("B", a.get());
    EXPECT_EQ(windowText(), "\nB =\n\n     1\n     2\n     3\n     4\n     5\n\n");
}
