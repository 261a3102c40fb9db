// The paging state and the built-in `more`.
#include "qzservices/io/more.hpp"
#include "qzservices/io/window.hpp"

#include <gtest/gtest.h>
#include <memory>
#include <vx/array.hpp>
#include <vx/errors.hpp>

using namespace services::io;

namespace {

class MoreState : public ::testing::Test {
protected:
    void SetUp() override {
        oldRows_ = ioSetNumWindowRows(25);
        MoreControl(false);
    }
    void TearDown() override {
        MoreControl(false);
        ioSetNumWindowRows(oldRows_);
        while (!isMoreOnWhenEnabled()) resumeMore();
        setStopPrintingFlag(false);
    }
    // Clears any suspension left by a failing test.
    static bool isMoreOnWhenEnabled() {
        MoreControl(true);
        bool on = isMoreOn();
        MoreControl(false);
        return on;
    }
    size_t oldRows_ = 0;
};

struct ArrayDeleter {
    void operator()(vxArray_tag* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray_tag, ArrayDeleter> ArrayPtr;

// Runs the built-in with one argument (or none), which it takes over, and
// returns its result if asked.
double callMore(vxArray_tag* argument, bool wantResult = true) {
    ArrayPtr arg(argument);
    vxArray_tag* in = arg.get();
    vxArray_tag* out = nullptr;
    ioFullMoreFcn(wantResult ? 1 : 0, &out, in ? 1 : 0, &in);
    ArrayPtr result(out);
    return out ? vxGetScalar(out) : -1;
}

void expectRefused(vxArray_tag* arg) {
    size_t before = getTotalMoreCount();
    bool on = isMoreOn();
    EXPECT_THROW(callMore(arg, false), vx::Error);
    EXPECT_EQ(getTotalMoreCount(), before);
    EXPECT_EQ(isMoreOn(), on);
}

} // namespace

TEST_F(MoreState, WindowSizeLeavesTwoRowsForThePrompt) {
    EXPECT_EQ(getWindowSize(), 23u);
    ioSetNumWindowRows(2);
    EXPECT_EQ(getWindowSize(), 1u);
    ioSetNumWindowRows(3);
    EXPECT_EQ(getWindowSize(), 1u);
    ioSetNumWindowRows(0);
    EXPECT_EQ(getWindowSize(), 1u);
}

TEST_F(MoreState, NumberSetsTheLimitAndOnGoesBackToTheWindow) {
    EXPECT_EQ(callMore(vxCreateDoubleScalar(10)), 23.0);  // the page length before
    EXPECT_TRUE(isMoreOn());
    EXPECT_EQ(getTotalMoreCount(), 10u);
    EXPECT_EQ(callMore(vxCreateString("on")), 10.0);
    EXPECT_EQ(getTotalMoreCount(), 23u);
    EXPECT_EQ(callMore(nullptr), 23.0);
}

TEST_F(MoreState, WordsIgnoreCaseOverTheWholeLength) {
    callMore(vxCreateString("ON"), false);
    EXPECT_TRUE(isMoreOn());
    callMore(vxCreateString("Off"), false);
    EXPECT_FALSE(isMoreOn());
    expectRefused(vxCreateString("o"));
    expectRefused(vxCreateString(""));
    expectRefused(vxCreateString("ont"));
    expectRefused(vxCreateString("of"));
}

TEST_F(MoreState, CountsMustBePositiveSingleNumbers) {
    expectRefused(vxCreateDoubleScalar(0));
    expectRefused(vxCreateDoubleScalar(-1));
    expectRefused(vxCreateDoubleMatrix(1, 2, vxREAL));
    try {
        callMore(vxCreateDoubleScalar(-3), false);
    } catch (vx::Error const& e) {
        EXPECT_STREQ(e.what(), "Invalid input argument.");
    }
}

TEST_F(MoreState, ArgumentCountsAreChecked) {
    vxArray_tag* out[2] = {nullptr, nullptr};
    vxArray_tag* in[2] = {nullptr, nullptr};
    EXPECT_THROW(ioFullMoreFcn(2, out, 0, in), vx::Error);
    EXPECT_THROW(ioFullMoreFcn(0, out, 2, in), vx::Error);
    EXPECT_THROW(ioFullMoreFcn(0, out, -1, in), vx::Error);
}

TEST_F(MoreState, SuspensionsNest) {
    MoreControl(true);
    suspendMore();
    suspendMore();
    resumeMore();
    EXPECT_FALSE(isMoreOn());
    resumeMore();
    EXPECT_TRUE(isMoreOn());
}

TEST_F(MoreState, SetTotalReturnsTheOldLengthAndTurnsPagingOn) {
    EXPECT_EQ(setTotalMoreCount(7), 23u);
    EXPECT_TRUE(isMoreOn());
    EXPECT_EQ(setTotalMoreCount(4), 7u);
    incrementMoreCount();
    incrementMoreCount();
    EXPECT_EQ(getMoreCount(), 2u);
    MoreControl(true);
    EXPECT_EQ(getMoreCount(), 0u);
    EXPECT_EQ(getTotalMoreCount(), 23u);
}

TEST_F(MoreState, StopRequestIsReadAndCleared) {
    setStopPrintingFlag(true);
    EXPECT_TRUE(getStopPrintingFlag());
    EXPECT_EQ(ioStopPrinting(), 1);
    EXPECT_EQ(ioStopPrinting(), 0);
    EXPECT_FALSE(stopPrinting());
}
