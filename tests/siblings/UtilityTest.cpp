// The utility layer, the array library's errors and the message catalogue.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CXStringSink.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <msg/calyx_messages.hpp>
#include "qzservices/orrery/InterruptException.hpp"
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <thread>

using services::io::CXStream;
using services::io::CXStringSink;

namespace {

struct Capture {
    boost::shared_ptr<CXStringSink> out = boost::make_shared<CXStringSink>();
    boost::shared_ptr<CXStringSink> err = boost::make_shared<CXStringSink>();
    Capture() {
        CXStream::CXOut.push(out);
        CXStream::CXErr.push(err);
    }
    ~Capture() {
        CXStream::CXErr.pop();
        CXStream::CXOut.pop();
    }
};

} // namespace

TEST(UtilityOutput, PrintFunctionsEndInTheStreams) {
    Capture c;
    EXPECT_EQ(uvPrintf("%d-%s", 42, "x"), 4);
    uvPuts(" puts");
    uvPutsn(0, "ab\0cd", 5);
    uvPutsn(1, "to err", 6);
    std::string longText(2000, 'z');
    EXPECT_EQ(uvPrintf("%s", longText.c_str()), 2000);
    CXStream::CXOut.flush();
    EXPECT_EQ(c.out->getString(), std::string("42-x putsab\0cd", 14) + longText);
    EXPECT_EQ(c.err->getString(), "to err");
    EXPECT_EQ(uvPrintf(nullptr), -1);
}

TEST(UtilityMemory, AllocationsAndDuplicates) {
    char* s = uvStrdup("copy");
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s, "copy");
    uvFree(s);
    EXPECT_EQ(uvStrdup(nullptr), nullptr);
    int* zeros = static_cast<int*>(uvCalloc(4, sizeof(int)));
    ASSERT_NE(zeros, nullptr);
    EXPECT_EQ(zeros[0] + zeros[3], 0);
    zeros = static_cast<int*>(uvReallocWithCheck(zeros, 8 * sizeof(int)));
    uvFree(zeros);
    uvFree(nullptr);
    EXPECT_THROW(uvMallocWithCheck(static_cast<size_t>(-1) / 2), std::bad_alloc);
}

TEST(UtilityInterrupts, PendingInterruptThrowsOnceWhenEnabled) {
    uvSetInterruptPending(0);
    EXPECT_NO_THROW(uvLongjmpIfInterruptPending());
    uvSetInterruptPending(1);
    EXPECT_EQ(uvSetInterruptEnabled(0), 1);
    EXPECT_NO_THROW(uvLongjmpIfInterruptPending());  // disabled: stays pending
    EXPECT_TRUE(uvIsInterruptPending());
    uvSetInterruptEnabled(1);
    EXPECT_THROW(uvLongjmpIfInterruptPending(), Orrery::System::InterruptException);
    EXPECT_FALSE(uvIsInterruptPending());
}

TEST(UtilityThreads, SignalThreadIsTheLoadingThreadUntilRenamed) {
    EXPECT_TRUE(uvIsSignalThread());
    bool other = true;
    std::thread([&] { other = uvIsSignalThread(); }).join();
    EXPECT_FALSE(other);
}

TEST(ArrayErrors, ArgumentCountErrorsCarryIdentifierAndText) {
    try {
        vxm::detail::error_maxlhs();
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:maxlhs");
        EXPECT_STREQ(e.what(), "Too many output arguments.");
    }
    EXPECT_THROW(vxm::detail::error_maxrhs(), vx::Error);
    EXPECT_THROW(vxm::detail::error_minrhs(), vx::Error);
}

TEST(ArrayErrors, ExplicitIdentifierAndFormattedText) {
    try {
        vxErrMsgId("CALYX:fileio:fileNotFound", "File \"%s\" not found.", "a.txt");
        FAIL();
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:fileio:fileNotFound");
        EXPECT_STREQ(e.what(), "File \"a.txt\" not found.");
    }
    try {
        vxErrMsgId("CALYX:explicit", CALYX::services::filenameTooLong());
        FAIL();
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:explicit");
        EXPECT_STREQ(e.what(), "The file name is too long.");
    }
}

TEST(ArrayErrors, NumberedErrorsUseTheirOwnTextWhereTheCatalogueHasOne) {
    try {
        vxErrMsg(15);
        FAIL();
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:vx:error15");
        EXPECT_STREQ(e.what(), "Invalid input argument.");
    }
    try {
        vxErrMsg(99);
        FAIL();
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:vx:numberedError");
        EXPECT_STREQ(e.what(), "Internal array library error 99.");
    }
}

TEST(ArrayWarnings, PrintedOnTheErrorStreamAndRemembered) {
    Capture c;
    vxWarningMsgId("CALYX:test:warn", "watch %d", 3);
    CXStream::CXErr.flush();
    EXPECT_EQ(c.err->getString(), "Warning: watch 3\n");
    EXPECT_EQ(vx::lastWarningIdentifier(), "CALYX:test:warn");
    EXPECT_EQ(vx::lastWarningMessage(), "watch 3");
}

TEST(MessageCatalogue, HolesTakeArgumentsAndUnknownIdentifiersStayReadable) {
    EXPECT_EQ(msg_core::expand("{1} and {2}, {3}", {"a", "b"}), "a and b, {3}");
    EXPECT_EQ(msg_core::expand("{x}{", {"a"}), "{x}{");
    EXPECT_EQ(CALYX::vx::numberedError("16").text(), "Internal array library error 16.");
    EXPECT_EQ(msg_core::Message("CALYX:none:here", {"p"}).text(), "CALYX:none:here p");
    EXPECT_EQ(msg_core::lookupTemplate("CALYX:none:here"), nullptr);
}
