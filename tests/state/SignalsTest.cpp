// The signal slots and the dump-core mode with its gateway.
#include "qzservices/state/signals.hpp"
#include "support/capture.hpp"
#include "support/child_process.hpp"

#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>

namespace {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray, ArrayDeleter> ArrayPtr;

class DumpCore : public ::testing::Test {
protected:
    void SetUp() override { svSetDumpCore(0); }
    void TearDown() override { svSetDumpCore(0); }

    // The gateway with an optional input (owned here) and 0 or 1 outputs:
    // what it printed, and its output (-1 when none).
    std::pair<std::string, double> gateway(int outCount, vxArray* input) {
        ArrayPtr holdInput(input);
        qztest::Capture capture;
        vxArray* out[1] = {nullptr};
        vxArray* in[1] = {input};
        svLocal_setDumpCore(outCount, out, input ? 1 : 0, in);
        ArrayPtr result(out[0]);
        return {capture.outText(), result ? vxGetScalar(result.get()) : -1.0};
    }

    std::string errorIdOf(vxArray* input) {
        try {
            gateway(0, input);
        } catch (vx::Error const& e) {
            return e.identifier();
        }
        return "";
    }
};

int gLastSignal = 0;
int seeSignal(int signal, siginfo_t*, void*) {
    gLastSignal = signal;
    return 7;
}

} // namespace

TEST_F(DumpCore, OnlyModesZeroToThreeAreStored) {
    EXPECT_EQ(0, svSetDumpCore(3));
    EXPECT_EQ(3, svGetDumpCore());
    EXPECT_EQ(-1, svSetDumpCore(4));
    EXPECT_EQ(-1, svSetDumpCore(-1));
    EXPECT_EQ(3, svGetDumpCore());
    EXPECT_EQ(0, svSetDumpCore(0));
    EXPECT_EQ(0, svGetDumpCore());
}

TEST_F(DumpCore, GatewayTruncatesAndPrintsTheModeWithoutAnOutput) {
    auto set = gateway(0, vxCreateDoubleScalar(2.9));
    EXPECT_EQ("CALYX core dump:  Exit on fatal error (no core) enabled.\n", set.first);
    EXPECT_EQ(2, svGetDumpCore());
    EXPECT_EQ("CALYX core dump:  Exit on fatal error (no core) enabled.\n", gateway(0, nullptr).first);
    EXPECT_EQ("CALYX core dump:  Core dump on fatal error enabled.\n", gateway(0, vxCreateDoubleScalar(1)).first);
    EXPECT_EQ("CALYX core dump:  Wait on fatal error (no core) enabled.\n", gateway(0, vxCreateDoubleScalar(3.5)).first);
    // -0.5 truncates to 0.
    EXPECT_EQ("CALYX core dump:  Disabled.\n", gateway(0, vxCreateDoubleScalar(-0.5)).first);
    // Other numeric classes count as real scalars too.
    vxArray* int8 = vxCreateNumericMatrix(1, 1, vxINT8_CLASS, vxREAL);
    static_cast<signed char*>(vxGetData(int8))[0] = 1;
    EXPECT_EQ("CALYX core dump:  Core dump on fatal error enabled.\n", gateway(0, int8).first);
}

TEST_F(DumpCore, GatewayWithAnOutputReturnsTheModeAndPrintsNothing) {
    auto read = gateway(1, nullptr);
    EXPECT_EQ("", read.first);
    EXPECT_EQ(0.0, read.second);
    auto set = gateway(1, vxCreateDoubleScalar(3));
    EXPECT_EQ("", set.first);
    EXPECT_EQ(3.0, set.second);
}

TEST_F(DumpCore, GatewayRefusesEverythingButARealScalarInRange) {
    svSetDumpCore(1);
    vxArray* complex = vxCreateDoubleMatrix(1, 1, vxCOMPLEX);
    vxGetPr(complex)[0] = 2;
    vxArray* sparse = vxCreateSparse(1, 1, 1, vxREAL);
    std::string const id = "CALYX:dumpcore:InvalidDumpCoreSetting";
    EXPECT_EQ(id, errorIdOf(complex));
    EXPECT_EQ(id, errorIdOf(vxCreateDoubleMatrix(1, 2, vxREAL)));
    EXPECT_EQ(id, errorIdOf(vxCreateDoubleMatrix(0, 0, vxREAL)));
    EXPECT_EQ(id, errorIdOf(vxCreateString("2")));
    EXPECT_EQ(id, errorIdOf(vxCreateLogicalScalar(true)));
    EXPECT_EQ(id, errorIdOf(sparse));
    EXPECT_EQ(id, errorIdOf(vxCreateDoubleScalar(4)));
    EXPECT_EQ(id, errorIdOf(vxCreateDoubleScalar(1e10)));  // beyond int, not wrapped into range
    EXPECT_EQ(id, errorIdOf(vxCreateDoubleScalar(std::nan(""))));
    EXPECT_EQ(1, svGetDumpCore());
}

TEST_F(DumpCore, GatewayChecksItsArgumentCountsFirst) {
    vxArray* out[2] = {nullptr, nullptr};
    vxArray* in[2] = {vxCreateDoubleScalar(1), vxCreateDoubleScalar(2)};
    ArrayPtr a(in[0]), b(in[1]);
    EXPECT_THROW(svLocal_setDumpCore(2, out, 0, in), vx::Error);
    EXPECT_THROW(svLocal_setDumpCore(0, out, 2, in), vx::Error);
    EXPECT_THROW(svLocal_setDumpCore(0, out, -1, in), vx::Error);
    EXPECT_EQ(0, svGetDumpCore());
    EXPECT_STREQ("unrecognized mode", svDumpCoreModeText(4));
}

TEST(SignalSlots, FreshLibraryDeclinesEverySignalAndHasNoSetUp) {
    auto r = qztest::runInFreshProcess([] {
        for (int s : {SIGINT, SIGSEGV, SIGTERM, 0, 999}) QZ_CHILD_CHECK(svRunFirstCrackSignalHandler(s, nullptr, nullptr) == 0, 2);
        svSigInit();  // nothing registered: nothing happens
        QZ_CHILD_CHECK(svGetDumpCore() == 0, 3);
        return 0;
    });
    EXPECT_EQ(0, r.exitCode);
}

TEST(SignalSlots, RegistrationsReturnTheEarlierOne) {
    int runs = 0;
    boost::function<void()> earlier = svRegisterSigInitFcn([&runs] { ++runs; });
    svSigInit();
    svSigInit();
    EXPECT_EQ(2, runs);
    boost::function<void()> mine = svRegisterSigInitFcn(boost::function<void()>());
    EXPECT_FALSE(mine.empty());
    mine();
    EXPECT_EQ(3, runs);
    svSigInit();  // cleared
    EXPECT_EQ(3, runs);
    svRegisterSigInitFcn(earlier);

    svFirstCrackSignalHandler builtin = svRegisterFirstCrackSignalHandler(&seeSignal);
    ASSERT_NE(nullptr, builtin);
    EXPECT_EQ(0, builtin(SIGINT, nullptr, nullptr));
    EXPECT_EQ(7, svRunFirstCrackSignalHandler(SIGUSR1, nullptr, nullptr));
    EXPECT_EQ(SIGUSR1, gLastSignal);
    EXPECT_EQ(&seeSignal, svRegisterFirstCrackSignalHandler(nullptr));
    EXPECT_EQ(-1, svRunFirstCrackSignalHandler(SIGUSR1, nullptr, nullptr));  // declines rather than crash
    svRegisterFirstCrackSignalHandler(builtin);
}
