// Session mode cells and the Java support level as read at load.
#include "qzservices/state/session_modes.hpp"
#include "state/state_test.hpp"

TEST(SessionModes, FreshProcessIsStandaloneAtTheDesktopLevelWithJavaOff) {
    qztest::expectInFreshProcess([] {
        QZ_CHILD_CHECK(svGetCXMode() == 3 && svIsStandaloneMode(), 2);
        QZ_CHILD_CHECK(svJavaGetSupport() == 6 && svJavaUseDesktop() && !svJavaUseLevel(7), 3);
        QZ_CHILD_CHECK(!svIsJavaEnabled() && !svGetProfilerStatus(), 4);
        QZ_CHILD_CHECK(!svIsDCXWorkerMode() && !svIsDebugDCXWorkerMode() && !svIsEngineEvalMode(), 5);
        QZ_CHILD_CHECK(svSetEngineEvalMode(1) == 0 && svSetEngineEvalMode(1) == 1, 6);  // the earlier mode
        svSetJavaEnabled(true);
        QZ_CHILD_CHECK(svIsJavaEnabled() && svJavaGetSupport() == 6, 7);
        return 0;
    });
}

TEST(JavaLevels, NamesRunFromUnspecifiedToDesktopAndNoFurther) {
    EXPECT_STREQ(svJavaSupportLevelName(0), "Unspecified");
    EXPECT_STREQ(svJavaSupportLevelName(6), "Desktop");
    EXPECT_EQ(svJavaSupportLevelName(7), nullptr);
    EXPECT_EQ(svJavaSupportLevelName(-1), nullptr);
}
