// The graphics state: the display and no-figures questions with their
// overrides and features, the session beep, the graphics version and its
// read-only features, the root language, the factory font and the hooks.
#include "qzservices/io/callbacks.hpp"
#include "qzservices/state/features.hpp"
#include "qzservices/state/graphics.hpp"
#include "qzservices/state/java_support.hpp"
#include "qzservices/state/locale_charset.hpp"
#include "state/state_test.hpp"

#include <nd/display.hpp>

#include <sys/socket.h>
#include <sys/un.h>

using qztest::ArrayPtr;
using qztest::errorIdOf;
using namespace services;

namespace {

int recordValue(char const* name) { return svFindFeatureEntry(name)->value; }

// A feature's built-in called with the given inputs (owned here); the logical it returns.
bool callLogical(svFeatureBuiltin builtin, std::vector<vxArray*> inputs = {}) {
    auto out = qztest::callBuiltin(builtin, 1, inputs);
    EXPECT_EQ(vxLOGICAL_CLASS, vxGetClassID(out[0].get()));
    return vxGetScalar(out[0].get()) != 0;
}

// What svSysBeep printed, and whether it rang the display.
std::pair<std::string, bool> beep() {
    qztest::Capture capture;
    unsigned long const beeps = nd::display::beepCount();
    svSysBeep();
    return {capture.outText(), nd::display::beepCount() == beeps + 1};
}

// Puts back DISPLAY, the Java state and the display and figure questions.
class GraphicsDisplay : public ::testing::Test {
protected:
    void TearDown() override {
        svSetJavaEnabled(javaEnabled_);
        state::detail::storeJavaSupportLevel(javaLevel_);
        svGraphicsResetHasDisplay();
        svGraphicsResetNoFigures();
    }
    qztest::EnvGuard env_{"DISPLAY"};
    bool javaEnabled_ = svIsJavaEnabled();
    int javaLevel_ = svJavaGetSupport();
};

} // namespace

TEST(GraphicsAtLoad, WithoutDisplayNoFiguresAndTheBeepIsTheGraphicsOne) {
    qztest::EnvGuard env{"DISPLAY"};
    unsetenv("DISPLAY");  // inherited by the new process, before its load
    qztest::expectInFreshProcess([] {
        QZ_CHILD_CHECK(recordValue("NoFigureWindows") == 1 && callLogical(&svGraphicsNoFiguresBuiltin), 2);
        QZ_CHILD_CHECK(recordValue("HasDisplay") == 0 && !callLogical(&svGraphicsHasDisplayBuiltin), 3);
        QZ_CHILD_CHECK(_sv_iocb.sysBeep == &svSysBeep, 4);
        return 0;
    });
}

TEST(GraphicsAtLoad, AReachableDisplayIsFoundAtLoadButFiguresStillNeedJava) {
    // A listening socket where the X server of an unused display number would be.
    unsigned const number = 800 + static_cast<unsigned>(getpid() % 90);
    std::string const path = "/tmp/.X11-unix/X" + std::to_string(number);
    mkdir("/tmp/.X11-unix", 01777);
    unlink(path.c_str());
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(0, bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address)) << std::strerror(errno);
    ASSERT_EQ(0, listen(fd, 1));
    qztest::EnvGuard env{"DISPLAY"};
    setenv("DISPLAY", (":" + std::to_string(number)).c_str(), 1);
    qztest::expectInFreshProcess([] {
        QZ_CHILD_CHECK(recordValue("HasDisplay") == 1 && svGraphicsHasDisplay(), 2);
        QZ_CHILD_CHECK(recordValue("NoFigureWindows") == 1, 3);  // no Java runs yet
        QZ_CHILD_CHECK(beep() == std::make_pair(std::string(), true), 4);
        return 0;
    });
    close(fd);
    unlink(path.c_str());
}

TEST_F(GraphicsDisplay, SettingTheDisplayOnCannotCreateOneAndOffWins) {
    unsetenv("DISPLAY");
    svGraphicsResetHasDisplay();
    EXPECT_FALSE(Graphics::displayQueried());
    svGraphicsSetHasDisplay(true);
    EXPECT_TRUE(!svGraphicsHasDisplay() && recordValue("HasDisplay") == 0);
    EXPECT_TRUE(Graphics::displayQueried() && Graphics::displayOverridden());
    EXPECT_EQ(std::make_pair(std::string("\a"), false), beep());
    svGraphicsSetIsDisplayAvailableFcn([] { return true; });
    EXPECT_TRUE(svGraphicsHasDisplay() && recordValue("HasDisplay") == 1);
    EXPECT_EQ(std::make_pair(std::string(), true), beep());
    svGraphicsSetHasDisplay(false);
    EXPECT_TRUE(!svGraphicsHasDisplay() && recordValue("HasDisplay") == 0 && !callLogical(&svGraphicsHasDisplayBuiltin));
    // The reset forgets the override and returns to the native library, which finds no display here.
    svGraphicsResetHasDisplay();
    EXPECT_FALSE(Graphics::displayQueried() || Graphics::displayOverridden());
    callLogical(&svGraphicsHasDisplayBuiltin);
    EXPECT_FALSE(Graphics::displayQueried());  // the feature does not count as a query
    EXPECT_FALSE(svGraphicsHasDisplay());
    // An empty display function throws only when it is asked.
    EXPECT_NO_THROW(svGraphicsSetIsDisplayAvailableFcn(boost::function<bool()>()));
    EXPECT_THROW(svGraphicsHasDisplay(), boost::bad_function_call);
    svGraphicsSetHasDisplay(false);
    EXPECT_FALSE(svGraphicsHasDisplay());
}

TEST_F(GraphicsDisplay, ForcingNoFiguresWinsAndReleasingReturnsTheDecision) {
    Graphics::setHasDisplayFcn([] { return true; });
    Graphics::updateFeatureValue();
    EXPECT_TRUE(!svGraphicsGetNoFigures() && recordValue("NoFigureWindows") == 0);
    svGraphicsSetNoFigures(true);
    EXPECT_TRUE(svGraphicsGetNoFigures() && recordValue("NoFigureWindows") == 1 && callLogical(&svGraphicsNoFiguresBuiltin));
    EXPECT_TRUE(Graphics::noFiguresQueried() && Graphics::noFiguresOverridden());
    svGraphicsSetNoFigures(false);
    EXPECT_TRUE(!svGraphicsGetNoFigures() && recordValue("NoFigureWindows") == 0);
    Graphics::setHasDisplayFcn([] { return false; });
    EXPECT_TRUE(svGraphicsGetNoFigures());  // the same release without a display
    svGraphicsResetNoFigures();
    EXPECT_FALSE(Graphics::noFiguresQueried() || Graphics::noFiguresOverridden());
}

TEST_F(GraphicsDisplay, FiguresNeedDisplayVariableJavaAndTheAwt) {
    setenv("DISPLAY", "not-even-a-display-name", 1);
    EXPECT_TRUE(svGraphicsHasDisplayStub());  // any text counts
    svSetJavaEnabled(true);
    state::detail::storeJavaSupportLevel(svJavaAWT);
    EXPECT_TRUE(graphicsHasDisplayProductionImpl());
    svGraphicsResetNoFigures();
    EXPECT_TRUE(!svGraphicsGetNoFigures() && recordValue("NoFigureWindows") == 0);
    state::detail::storeJavaSupportLevel(svJavaJVM);
    EXPECT_FALSE(graphicsHasDisplayProductionImpl());
    state::detail::storeJavaSupportLevel(svJavaDesktop);
    svSetJavaEnabled(false);
    EXPECT_FALSE(graphicsHasDisplayProductionImpl());
    svSetJavaEnabled(true);
    unsetenv("DISPLAY");
    EXPECT_FALSE(svGraphicsHasDisplayStub() || graphicsHasDisplayProductionImpl());
    EXPECT_TRUE(svGraphicsGetNoFigures());
}

namespace {

// Starts each test from the load state of the graphics version and features.
class GraphicsVersion : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        Graphics::State::initializePGState();
        for (char const* name : {UsePG2Str(), UseGBT2Str(), PGUsingCALYXClassesStr(), CALYXUsingSingleGraphicsStr()})
            svFindFeatureEntry(name)->value = 0;
    }
};

} // namespace

TEST_F(GraphicsVersion, OnlyVersionsOneAndTwoAreAccepted) {
    pgSetVersion(2);
    EXPECT_TRUE(pgGetVersion() == 2 && pgUsingCalyxClasses());
    qztest::Capture capture;  // the warnings' text on CXErr
    for (int bad : {3, 0, -1}) {
        pgSetVersion(bad);
        EXPECT_EQ(2, pgGetVersion()) << bad;
        EXPECT_EQ("CALYX:pg:InvalidPGVersion", vx::lastWarningIdentifier());
        EXPECT_NE(std::string::npos, vx::lastWarningMessage().find(std::to_string(bad))) << vx::lastWarningMessage();
    }
    pgSetVersion(1);
    EXPECT_FALSE(pgUsingCalyxClasses());
}

TEST_F(GraphicsVersion, FeaturesFollowTheStateOnlyOnceInitialisedAndOnlyUsePG2TakesAnInput) {
    pgSetVersion(2);
    pgSetSingleGraphics(true);
    pgValidateFeatures();
    EXPECT_TRUE(recordValue(UsePG2Str()) == 0 && recordValue(CALYXUsingSingleGraphicsStr()) == 0);
    EXPECT_FALSE(callLogical(&isPG2Enabled));
    pgSetInitialized();
    EXPECT_TRUE(callLogical(&isPG2Enabled, {vxCreateDoubleScalar(0)}) && callLogical(&isCALYXUsingSingleGraphics));
    for (char const* name : {UsePG2Str(), UseGBT2Str(), PGUsingCALYXClassesStr(), CALYXUsingSingleGraphicsStr()})
        EXPECT_EQ(1, recordValue(name)) << name;
    for (svFeatureBuiltin readOnly : {&isGBT2Enabled, &isPGUsingCALYXClasses, &isCALYXUsingSingleGraphics})
        EXPECT_EQ("CALYX:pg:ReadOnlyFeature", errorIdOf([&] { callLogical(readOnly, {vxCreateDoubleScalar(1)}); }));
    try {
        callLogical(&isGBT2Enabled, {vxCreateString("on")});
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("UseGBT2")) << e.what();
    }
    EXPECT_EQ(2, pgGetVersion());  // the refused calls changed nothing
    pgSetSingleGraphics(false);
    pgSetVersion(1);
    EXPECT_FALSE(callLogical(&isGBT2Enabled) || callLogical(&isPGUsingCALYXClasses) ||
                 callLogical(&isCALYXUsingSingleGraphics));
    EXPECT_TRUE(pgIsMixedMode());
}

TEST(RootLanguage, CKeepsItsCaseOthersAreLoweredCutAt32AndEqualTextChangesNothing) {
    std::string const saved = svGetLanguage();
    Graphics::State::clearLanguage();
    svSetRootLanguage("C");
    EXPECT_STREQ("C", svGetRootLanguage());
    EXPECT_STREQ("C", svGetLanguage());
    svSetRootLanguage("JA");
    EXPECT_STREQ("ja", svGetRootLanguage());
    EXPECT_STREQ("JA", svGetLanguage());  // the switcher is told the text as given
    svSetLanguage("marker");
    svSetRootLanguage("jA");  // equal ignoring case: not switched
    svSetRootLanguage(nullptr);
    EXPECT_STREQ("ja", svGetRootLanguage());
    EXPECT_STREQ("marker", svGetLanguage());
    svSetRootLanguage((std::string(32, 'A') + "TAIL").c_str());
    EXPECT_EQ(std::string(32, 'a'), svGetRootLanguage());
    svSetLanguage("marker");
    svSetRootLanguage((std::string(32, 'a') + "other").c_str());  // compared over 32 characters
    EXPECT_STREQ("marker", svGetLanguage());
    Graphics::State::clearLanguage();
    svSetLanguage(saved.c_str());
}

TEST(FactoryFont, NameIsCopiedAndResetZeroesBoth) {
    using namespace Graphics::FactoryFont;
    EXPECT_EQ(nullptr, getFactoryControlFontName());
    std::string name = "Helvetica";
    setFactoryControlFontName(name.c_str());
    name[0] = 'X';
    setFactoryControlFontName(getFactoryControlFontName());  // its own text
    EXPECT_STREQ("Helvetica", getFactoryControlFontName());
    setFactoryControlFontSize(10.5);
    resetFactoryControlfont();
    EXPECT_TRUE(getFactoryControlFontName() == nullptr && getFactoryControlFontSize() == 0.0);
}

namespace {
void* gUnregistered = nullptr;
void unregisterFigure(void* p) { gUnregistered = p; }
int setBridge(double h, char const* property, vxArray*) { return static_cast<int>(h) + static_cast<int>(std::strlen(property)); }
} // namespace

TEST(GraphicsHooks, UnsetHooksThrowInsteadOfCallingNull) {
    using namespace Graphics::CxrHooks;
    int figure = 0;
    pg_set_cxr_hooks(nullptr, nullptr, nullptr, nullptr, &unregisterFigure, nullptr);
    unregisteFigureFcn(&figure);
    EXPECT_EQ(&figure, gUnregistered);
    EXPECT_THROW(registerFigureFcn(&figure), boost::bad_function_call);
    resetCxrCallbacks();
    EXPECT_THROW(unregisteFigureFcn(&figure), boost::bad_function_call);
    using namespace Graphics::VxeHooks;
    setVxeCallbacks(&setBridge, nullptr);
    EXPECT_EQ(7 + 5, vxeSetBridge(7.0, "Color", nullptr));
    EXPECT_THROW(vxeGetBridge(1.0, "Color"), boost::bad_function_call);
    resetCallbacks();
    EXPECT_THROW(vxeSetBridge(1.0, "Color", nullptr), boost::bad_function_call);
}
