// Session mode cells and the Java support level as read at load.
#include "qzservices/state/session_modes.hpp"
#include "support/child_process.hpp"

#include <gtest/gtest.h>

using qztest::runInFreshProcess;

TEST(SessionModes, FreshProcessIsStandaloneAtTheDesktopLevelWithJavaOff) {
    auto r = runInFreshProcess([] {
        QZ_CHILD_CHECK(svGetCXMode() == 3, 2);
        QZ_CHILD_CHECK(svIsStandaloneMode(), 3);
        QZ_CHILD_CHECK(svJavaGetSupport() == 6, 4);
        QZ_CHILD_CHECK(svJavaUseDesktop() && svJavaUseQZT() && svJavaUseJVM(), 5);
        QZ_CHILD_CHECK(!svJavaUseLevel(7), 6);
        QZ_CHILD_CHECK(!svIsJavaEnabled(), 7);
        QZ_CHILD_CHECK(!svIsDCXWorkerMode() && !svIsDebugDCXWorkerMode() && !svIsEngineEvalMode(), 8);
        QZ_CHILD_CHECK(!svGetProfilerStatus(), 9);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(SessionModes, SettersReportAndStore) {
    auto r = runInFreshProcess([] {
        QZ_CHILD_CHECK(svSetEngineEvalMode(1) == 0, 2);
        QZ_CHILD_CHECK(svSetEngineEvalMode(1) == 1, 3);
        QZ_CHILD_CHECK(svIsEngineEvalMode(), 4);
        svSetCXMode(1);
        QZ_CHILD_CHECK(!svIsStandaloneMode() && svGetCXMode() == 1, 5);
        svSetDebugDCXWorkerModeOn();
        QZ_CHILD_CHECK(svIsDebugDCXWorkerMode(), 6);
        svSetDCXWorkerMode(1);
        QZ_CHILD_CHECK(svIsDCXWorkerMode(), 7);
        svSetProfilerStatus(true);
        QZ_CHILD_CHECK(svGetProfilerStatus(), 8);
        svSetJavaEnabled(true);
        QZ_CHILD_CHECK(svIsJavaEnabled() && svJavaGetSupport() == 6, 9);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(JavaLevels, EachTestIsTrueAtOrAboveItsLevel) {
    auto r = runInFreshProcess([] {
        services::state::detail::storeJavaSupportLevel(svJavaAWT);
        QZ_CHILD_CHECK(svJavaUseJVM() && svJavaUseAWT(), 2);
        QZ_CHILD_CHECK(!svJavaUseSwing() && !svJavaUseQZT() && !svJavaUseDesktop(), 3);
        QZ_CHILD_CHECK(svJavaUseLevel(3) && !svJavaUseLevel(4), 4);
        services::state::detail::storeJavaSupportLevel(svJavaNone);
        QZ_CHILD_CHECK(!svJavaUseJVM() && svJavaUseLevel(1), 5);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(JavaLevels, NamesOfTheLevels) {
    EXPECT_STREQ(svJavaSupportLevelName(0), "Unspecified");
    EXPECT_STREQ(svJavaSupportLevelName(2), "JVM");
    EXPECT_STREQ(svJavaSupportLevelName(5), "QZT");
    EXPECT_STREQ(svJavaSupportLevelName(6), "Desktop");
    EXPECT_EQ(svJavaSupportLevelName(7), nullptr);
    EXPECT_EQ(svJavaSupportLevelName(-1), nullptr);
}
