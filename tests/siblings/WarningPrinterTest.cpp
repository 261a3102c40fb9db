// The host's warning printer: it replaces the default line on the error
// stream, sees the whole line, and leaves the remembered warning as it was.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CXStringSink.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <vx/errors.hpp>
#include <vx/warning_printer.hpp>

#include <string>
#include <vector>

using services::io::CXStream;
using services::io::CXStringSink;

namespace {

std::vector<std::string> gLines;
void collect(char const* line) { gLines.push_back(line); }
void other(char const*) {}

struct CaptureStreams {
    boost::shared_ptr<CXStringSink> out = boost::make_shared<CXStringSink>();
    boost::shared_ptr<CXStringSink> err = boost::make_shared<CXStringSink>();
    CaptureStreams() {
        CXStream::CXOut.push(out);
        CXStream::CXErr.push(err);
    }
    ~CaptureStreams() {
        CXStream::CXErr.pop();
        CXStream::CXOut.pop();
    }
};

} // namespace

TEST(WarningPrinter, TakesTheWholeLineInsteadOfTheErrorStream) {
    CaptureStreams c;
    gLines.clear();
    EXPECT_EQ(vxSetWarningPrinter(&collect), nullptr);
    vxWarningMsgId("CALYX:test:printer", "%d%% of %s", 50, "it");
    vxWarningMsgId("CALYX:test:printer2", "second");
    CXStream::CXErr.flush();
    CXStream::CXOut.flush();
    ASSERT_EQ(gLines.size(), 2u);
    EXPECT_EQ(gLines[0], "Warning: 50% of it");  // no line end: the printer decides
    EXPECT_EQ(gLines[1], "Warning: second");
    EXPECT_EQ(c.err->getString(), "");
    EXPECT_EQ(c.out->getString(), "");
    // Still remembered for whoever asks for the last warning.
    EXPECT_EQ(vx::lastWarningIdentifier(), "CALYX:test:printer2");
    EXPECT_EQ(vx::lastWarningMessage(), "second");

    // Replacing hands back the one before; null restores the default line.
    EXPECT_EQ(vxSetWarningPrinter(&other), &collect);
    EXPECT_EQ(vxGetWarningPrinter(), &other);
    EXPECT_EQ(vxSetWarningPrinter(nullptr), &other);
    vxWarningMsgId("CALYX:test:printer", "back");
    CXStream::CXErr.flush();
    EXPECT_EQ(c.err->getString(), "Warning: back\n");
    EXPECT_EQ(gLines.size(), 2u);
}
