// The service log: choosing and opening targets, failing opens, refused
// streams, and the copy of the command window's output that the log receives.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CmdWinSinkHandle.hpp"
#include "qzservices/state/service_log.hpp"
#include "state/state_test.hpp"
#include "support/test_sinks.hpp"

#include <fcntl.h>

using services::io::CXStream;
using services::io::CmdWinSinkHandle;

namespace {

class ServiceLog : public ::testing::Test {
protected:
    void TearDown() override { svReleaseLog(); }
    void expectNoLog() {
        EXPECT_FALSE(svGetLogStream());
        EXPECT_FALSE(CXStream::logStreamPtr_);
    }
    qztest::ScratchDir dir_;
};

} // namespace

TEST_F(ServiceLog, NothingChosenOpensQuietlyAndAFailingOpenDropsTheChoice) {
    EXPECT_EQ(svOpenLog(), 0);
    expectNoLog();
    svLogToFile(dir_.file("missing-folder/log.txt"), false);
    EXPECT_EQ(svGetLogFileName(), dir_.file("missing-folder/log.txt"));
    EXPECT_EQ(svOpenLog(), -1);
    expectNoLog();
    EXPECT_EQ(svGetLogFileName(), "");
    EXPECT_EQ(svOpenLog(), 0);  // the mode went back to "nothing chosen" too
}

TEST_F(ServiceLog, AppendKeepsAFileTruncateEmptiesItAndStandardDescriptorsStayOpen) {
    std::string const path = dir_.file("log.txt");
    qztest::writeWholeFile(path, "earlier\n");
    svLogToFile(path, true);
    ASSERT_EQ(svOpenLog(), 0);
    *svGetLogStream() << "more\n";
    svReleaseLog();  // flushes and closes
    EXPECT_EQ(qztest::readWholeFile(path), "earlier\nmore\n");
    svLogToFile(path, false);
    ASSERT_EQ(svOpenLog(), 0);
    EXPECT_EQ(CXStream::logStreamPtr_, svGetLogStream());
    EXPECT_EQ(qztest::readWholeFile(path), "");
    *svGetLogStream() << "fresh\n";
    svReleaseLog();
    EXPECT_EQ(qztest::readWholeFile(path), "fresh\n");
    EXPECT_EQ(svGetLogFileName(), "");

    svLogToOutput(true);
    EXPECT_EQ(svGetLogFileName(), "stderr");
    svLogToOutput(false);
    EXPECT_EQ(svGetLogFileName(), "stdout");
    ASSERT_EQ(svOpenLog(), 0);
    ASSERT_TRUE(svGetLogStream());
    svReleaseLog();
    EXPECT_NE(fcntl(1, F_GETFD), -1);  // the descriptor was not closed with the stream
}

TEST_F(ServiceLog, AStreamInABadStateIsRefusedAndTheEarlierOneReleased) {
    auto earlier = boost::make_shared<std::ostringstream>();
    svSetLogStream(earlier);
    EXPECT_EQ(svGetLogStream(), earlier);
    for (auto bad : {std::ios_base::failbit, std::ios_base::eofbit}) {
        auto stream = boost::make_shared<std::ostringstream>();
        stream->setstate(bad);
        svSetLogStream(stream);
        expectNoLog();
    }
    EXPECT_EQ(earlier.use_count(), 1);  // nobody but this test holds it now
}

TEST_F(ServiceLog, TheCommandWindowsOutputIsCopiedUntilTheLogIsReleased) {
    qztest::NoFactoryAtExit noFactory;
    qztest::TestFactory factory;
    CmdWinSinkHandle::setFactory(&factory);
    CXStream::CXOut.push(CmdWinSinkHandle::getInstance(false));
    std::string const path = dir_.file("session.log");
    svLogToFile(path, false);
    ASSERT_EQ(svOpenLog(), 0);
    CXStream::CXOut << "logged\n" << std::flush;
    svReleaseLog();
    CXStream::CXOut << "not logged\n" << std::flush;
    CXStream::CXOut.pop();
    EXPECT_EQ(factory.out->text(), "logged\nnot logged\n");
    EXPECT_EQ(qztest::readWholeFile(path), "logged\n");
}
