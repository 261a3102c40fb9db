// The signal slots and the dump-core mode with its gateway.
#include "qzservices/state/signals.hpp"
#include "state/state_test.hpp"

#include <cmath>

using qztest::ArrayPtr;

namespace {

class DumpCore : public ::testing::Test {
protected:
    void SetUp() override { svSetDumpCore(0); }
    void TearDown() override { svSetDumpCore(0); }

    // The gateway with an optional input (owned here) and 0 or 1 outputs:
    // what it printed, and its output (-1 when none).
    std::pair<std::string, double> gateway(int outCount, vxArray* input) {
        qztest::Capture capture;
        auto out = qztest::callBuiltin(&svLocal_setDumpCore, outCount, {input});
        return {capture.outText(), out[0] ? vxGetScalar(out[0].get()) : -1.0};
    }
};

int gLastSignal = 0;
int seeSignal(int signal, siginfo_t*, void*) { return gLastSignal = signal, 7; }

} // namespace

TEST_F(DumpCore, OnlyModesZeroToThreeAreStored) {
    EXPECT_EQ(0, svSetDumpCore(3));
    EXPECT_EQ(-1, svSetDumpCore(4));
    EXPECT_EQ(-1, svSetDumpCore(-1));
    EXPECT_EQ(3, svGetDumpCore());
    EXPECT_STREQ("unrecognized mode", svDumpCoreModeText(4));
}

TEST_F(DumpCore, GatewayTruncatesAndPrintsTheModeWithoutAnOutput) {
    std::string const prefix = "CALYX core dump:  ";
    EXPECT_EQ(prefix + "Exit on fatal error (no core) enabled.\n", gateway(0, vxCreateDoubleScalar(2.9)).first);
    EXPECT_EQ(2, svGetDumpCore());
    EXPECT_EQ(prefix + "Exit on fatal error (no core) enabled.\n", gateway(0, nullptr).first);
    EXPECT_EQ(prefix + "Wait on fatal error (no core) enabled.\n", gateway(0, vxCreateDoubleScalar(3.5)).first);
    EXPECT_EQ(prefix + "Disabled.\n", gateway(0, vxCreateDoubleScalar(-0.5)).first);  // truncates to 0
    vxArray* int8 = vxCreateNumericMatrix(1, 1, vxINT8_CLASS, vxREAL);  // any real numeric class
    static_cast<signed char*>(vxGetData(int8))[0] = 1;
    EXPECT_EQ(prefix + "Core dump on fatal error enabled.\n", gateway(0, int8).first);
    // With an output: the mode, and nothing printed.
    EXPECT_EQ(std::make_pair(std::string(), 1.0), gateway(1, nullptr));
    EXPECT_EQ(std::make_pair(std::string(), 3.0), gateway(1, vxCreateDoubleScalar(3)));
}

TEST_F(DumpCore, GatewayRefusesEverythingButARealScalarInRangeAndChecksCountsFirst) {
    svSetDumpCore(1);
    vxArray* complex = vxCreateDoubleMatrix(1, 1, vxCOMPLEX);
    vxGetPr(complex)[0] = 2;
    for (vxArray* bad : {complex, vxCreateDoubleMatrix(1, 2, vxREAL), vxCreateDoubleMatrix(0, 0, vxREAL),
                         vxCreateString("2"), vxCreateLogicalScalar(true), vxCreateSparse(1, 1, 1, vxREAL),
                         vxCreateDoubleScalar(4), vxCreateDoubleScalar(1e10) /* not wrapped into range */,
                         vxCreateDoubleScalar(std::nan(""))})
        EXPECT_EQ("CALYX:dumpcore:InvalidDumpCoreSetting", qztest::errorIdOf([&] { gateway(0, bad); }));
    EXPECT_THROW(qztest::callBuiltin(&svLocal_setDumpCore, 2), vx::Error);
    EXPECT_THROW(qztest::callBuiltin(&svLocal_setDumpCore, 0, {vxCreateDoubleScalar(2), vxCreateDoubleScalar(2)}), vx::Error);
    vxArray* out[1] = {nullptr};
    EXPECT_THROW(svLocal_setDumpCore(0, out, -1, out), vx::Error);
    EXPECT_EQ(1, svGetDumpCore());
}

TEST(SignalSlots, RegistrationsReturnTheEarlierOne) {
    int runs = 0;
    boost::function<void()> earlier = svRegisterSigInitFcn([&runs] { ++runs; });
    svSigInit();
    svSigInit();
    EXPECT_EQ(2, runs);
    boost::function<void()> mine = svRegisterSigInitFcn(boost::function<void()>());
    ASSERT_FALSE(mine.empty());
    mine();
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
