// The graphics state: the display and no-figures questions with their
// overrides and features, the session beep, the graphics version and its
// read-only features, the root language, the factory font and the hooks.
#include "qzservices/io/callbacks.hpp"
#include "qzservices/state/features.hpp"
#include "qzservices/state/graphics.hpp"
#include "qzservices/state/java_support.hpp"
#include "qzservices/state/locale_charset.hpp"
#include "support/capture.hpp"
#include "support/child_process.hpp"

#include <nd/display.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using qztest::runInFreshProcess;

namespace {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray, ArrayDeleter> ArrayPtr;

int recordValue(char const* name) { return svFindFeatureEntry(name)->value; }

// A feature's built-in called with the given inputs; the logical it returns.
bool callLogical(svFeatureBuiltin builtin, std::vector<vxArray*> inputs = {}) {
    std::vector<ArrayPtr> hold;
    for (vxArray* a : inputs) hold.emplace_back(a);
    vxArray* out[1] = {nullptr};
    builtin(1, out, static_cast<int>(inputs.size()), inputs.data());
    ArrayPtr result(out[0]);
    EXPECT_EQ(vxLOGICAL_CLASS, vxGetClassID(result.get()));
    return vxGetScalar(result.get()) != 0;
}

// Restores DISPLAY, the Java state and the display and figure questions.
class GraphicsDisplay : public ::testing::Test {
protected:
    void SetUp() override {
        char const* display = std::getenv("DISPLAY");
        hadDisplay_ = display != nullptr;
        if (hadDisplay_) display_ = display;
        javaEnabled_ = svIsJavaEnabled();
        javaLevel_ = svJavaGetSupport();
    }
    void TearDown() override {
        if (hadDisplay_) setenv("DISPLAY", display_.c_str(), 1); else unsetenv("DISPLAY");
        svSetJavaEnabled(javaEnabled_);
        services::state::detail::storeJavaSupportLevel(javaLevel_);
        svGraphicsResetHasDisplay();
        svGraphicsResetNoFigures();
    }

private:
    bool hadDisplay_ = false;
    std::string display_;
    bool javaEnabled_ = false;
    int javaLevel_ = 0;
};

} // namespace

TEST(GraphicsAtLoad, NoFigureWindowsIsTrueWithoutDisplay) {
    char const* display = std::getenv("DISPLAY");
    std::string const saved = display ? display : "";
    unsetenv("DISPLAY");  // inherited by the new process, before its load
    auto r = runInFreshProcess([] {
        QZ_CHILD_CHECK(recordValue("NoFigureWindows") == 1, 2);
        QZ_CHILD_CHECK(callLogical(&svGraphicsNoFiguresBuiltin), 3);
        QZ_CHILD_CHECK(recordValue("HasDisplay") == 0, 4);
        QZ_CHILD_CHECK(!callLogical(&svGraphicsHasDisplayBuiltin), 5);
        // The session's beep is the graphics one from the start.
        QZ_CHILD_CHECK(_sv_iocb.sysBeep == &svSysBeep, 6);
        return 0;
    });
    if (display) setenv("DISPLAY", saved.c_str(), 1);
    EXPECT_EQ(0, r.exitCode);
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
    char const* display = std::getenv("DISPLAY");
    std::string const saved = display ? display : "";
    setenv("DISPLAY", (":" + std::to_string(number)).c_str(), 1);

    auto r = runInFreshProcess([] {
        QZ_CHILD_CHECK(recordValue("HasDisplay") == 1, 2);
        QZ_CHILD_CHECK(svGraphicsHasDisplay(), 3);
        // DISPLAY is set, but no Java runs yet: still no figures.
        QZ_CHILD_CHECK(recordValue("NoFigureWindows") == 1, 4);
        qztest::Capture capture;
        unsigned long const beeps = nd::display::beepCount();
        svSysBeep();
        QZ_CHILD_CHECK(nd::display::beepCount() == beeps + 1 && capture.outText().empty(), 5);
        return 0;
    });
    if (display) setenv("DISPLAY", saved.c_str(), 1); else unsetenv("DISPLAY");
    close(fd);
    unlink(path.c_str());
    EXPECT_EQ(0, r.exitCode);
}

TEST_F(GraphicsDisplay, SettingTheDisplayOnCannotCreateOne) {
    unsetenv("DISPLAY");
    svGraphicsResetHasDisplay();
    EXPECT_FALSE(svGraphicsHasDisplay());
    svGraphicsSetHasDisplay(true);
    EXPECT_FALSE(svGraphicsHasDisplay());
    EXPECT_EQ(0, recordValue("HasDisplay"));

    // With a display, taking it away wins, and the record follows each step.
    svGraphicsSetIsDisplayAvailableFcn([] { return true; });
    EXPECT_EQ(1, recordValue("HasDisplay"));
    EXPECT_TRUE(svGraphicsHasDisplay());
    svGraphicsSetHasDisplay(false);
    EXPECT_FALSE(svGraphicsHasDisplay());
    EXPECT_EQ(0, recordValue("HasDisplay"));
    EXPECT_FALSE(callLogical(&svGraphicsHasDisplayBuiltin));
    // The reset returns to the native library, which finds no display here.
    svGraphicsResetHasDisplay();
    EXPECT_FALSE(svGraphicsHasDisplay());
}

TEST_F(GraphicsDisplay, QueriesAndOverridesAreMarkedAndResetClearsThem) {
    svGraphicsResetHasDisplay();
    EXPECT_FALSE(services::Graphics::displayQueried());
    callLogical(&svGraphicsHasDisplayBuiltin);
    EXPECT_FALSE(services::Graphics::displayQueried());  // the feature does not count as a query
    svGraphicsHasDisplay();
    EXPECT_TRUE(services::Graphics::displayQueried());
    svGraphicsSetHasDisplay(true);
    EXPECT_TRUE(services::Graphics::displayOverridden());
    svGraphicsResetHasDisplay();
    EXPECT_FALSE(services::Graphics::displayQueried());
    EXPECT_FALSE(services::Graphics::displayOverridden());

    svGraphicsGetNoFigures();
    svGraphicsSetNoFigures(false);
    EXPECT_TRUE(services::Graphics::noFiguresQueried());
    EXPECT_TRUE(services::Graphics::noFiguresOverridden());
    svGraphicsResetNoFigures();
    EXPECT_FALSE(services::Graphics::noFiguresQueried());
    EXPECT_FALSE(services::Graphics::noFiguresOverridden());
}

TEST_F(GraphicsDisplay, AnEmptyDisplayFunctionThrowsOnlyWhenAsked) {
    EXPECT_NO_THROW(svGraphicsSetIsDisplayAvailableFcn(boost::function<bool()>()));
    EXPECT_EQ(0, recordValue("HasDisplay"));
    EXPECT_THROW(svGraphicsHasDisplay(), boost::bad_function_call);
    // A display taken away is not asked for at all.
    svGraphicsSetHasDisplay(false);
    EXPECT_FALSE(svGraphicsHasDisplay());
}

TEST_F(GraphicsDisplay, BeepRingsTheDisplayOrPrintsTheBell) {
    svGraphicsSetIsDisplayAvailableFcn([] { return false; });
    {
        qztest::Capture capture;
        unsigned long const beeps = nd::display::beepCount();
        svSysBeep();
        EXPECT_EQ("\a", capture.outText());
        EXPECT_EQ(beeps, nd::display::beepCount());
    }
    svGraphicsSetIsDisplayAvailableFcn([] { return true; });
    {
        qztest::Capture capture;
        unsigned long const beeps = nd::display::beepCount();
        svSysBeep();
        EXPECT_EQ("", capture.outText());
        EXPECT_EQ(beeps + 1, nd::display::beepCount());
    }
}

TEST_F(GraphicsDisplay, ForcingNoFiguresWinsAndReleasingReturnsTheDecision) {
    services::Graphics::setHasDisplayFcn([] { return true; });
    services::Graphics::updateFeatureValue();
    EXPECT_FALSE(svGraphicsGetNoFigures());
    EXPECT_EQ(0, recordValue("NoFigureWindows"));
    svGraphicsSetNoFigures(true);
    EXPECT_TRUE(svGraphicsGetNoFigures());
    EXPECT_EQ(1, recordValue("NoFigureWindows"));
    EXPECT_TRUE(callLogical(&svGraphicsNoFiguresBuiltin));
    svGraphicsSetNoFigures(false);
    EXPECT_FALSE(svGraphicsGetNoFigures());
    EXPECT_EQ(0, recordValue("NoFigureWindows"));
    // Without a display the same release leaves no figures.
    services::Graphics::setHasDisplayFcn([] { return false; });
    EXPECT_TRUE(svGraphicsGetNoFigures());
}

TEST_F(GraphicsDisplay, FiguresNeedDisplayVariableJavaAndTheAwt) {
    setenv("DISPLAY", "not-even-a-display-name", 1);
    EXPECT_TRUE(svGraphicsHasDisplayStub());  // any text counts
    svSetJavaEnabled(true);
    services::state::detail::storeJavaSupportLevel(svJavaAWT);
    EXPECT_TRUE(graphicsHasDisplayProductionImpl());
    svGraphicsResetNoFigures();
    EXPECT_FALSE(svGraphicsGetNoFigures());
    EXPECT_EQ(0, recordValue("NoFigureWindows"));

    services::state::detail::storeJavaSupportLevel(svJavaJVM);
    EXPECT_FALSE(graphicsHasDisplayProductionImpl());
    services::state::detail::storeJavaSupportLevel(svJavaDesktop);
    svSetJavaEnabled(false);
    EXPECT_FALSE(graphicsHasDisplayProductionImpl());
    svSetJavaEnabled(true);
    unsetenv("DISPLAY");
    EXPECT_FALSE(svGraphicsHasDisplayStub());
    EXPECT_FALSE(graphicsHasDisplayProductionImpl());
    EXPECT_TRUE(svGraphicsGetNoFigures());
}

namespace {

// Starts each test from the load state of the graphics version and features.
class GraphicsVersion : public ::testing::Test {
protected:
    void SetUp() override { reset(); }
    void TearDown() override { reset(); }
    static void reset() {
        services::Graphics::State::initializePGState();
        for (char const* name : {UsePG2Str(), UseGBT2Str(), PGUsingCALYXClassesStr(), CALYXUsingSingleGraphicsStr()})
            svFindFeatureEntry(name)->value = 0;
    }
};

std::string errorIdOf(std::function<void()> const& f) {
    try {
        f();
    } catch (vx::Error const& e) {
        return e.identifier();
    }
    return "";
}

} // namespace

TEST_F(GraphicsVersion, OnlyVersionsOneAndTwoAreAccepted) {
    EXPECT_EQ(1, pgGetVersion());
    pgSetVersion(2);
    EXPECT_EQ(2, pgGetVersion());
    EXPECT_TRUE(pgUsingCalyxClasses());
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

TEST_F(GraphicsVersion, FeaturesFollowTheStateOnlyOnceInitialised) {
    pgSetVersion(2);
    pgSetSingleGraphics(true);
    pgValidateFeatures();
    EXPECT_EQ(0, recordValue(UsePG2Str()));
    EXPECT_EQ(0, recordValue(CALYXUsingSingleGraphicsStr()));
    EXPECT_FALSE(callLogical(&isPG2Enabled));

    pgSetInitialized();
    EXPECT_TRUE(callLogical(&isPG2Enabled));
    EXPECT_EQ(1, recordValue(UsePG2Str()));
    EXPECT_EQ(1, recordValue(UseGBT2Str()));
    EXPECT_EQ(1, recordValue(PGUsingCALYXClassesStr()));
    EXPECT_EQ(1, recordValue(CALYXUsingSingleGraphicsStr()));
    EXPECT_TRUE(callLogical(&isCALYXUsingSingleGraphics));
    pgSetSingleGraphics(false);
    pgSetVersion(1);
    EXPECT_FALSE(callLogical(&isGBT2Enabled));
    EXPECT_FALSE(callLogical(&isPGUsingCALYXClasses));
    EXPECT_FALSE(callLogical(&isCALYXUsingSingleGraphics));
    EXPECT_TRUE(pgIsMixedMode());
}

TEST_F(GraphicsVersion, OnlyUsePG2AcceptsAnInput) {
    pgSetVersion(2);
    pgSetInitialized();
    EXPECT_TRUE(callLogical(&isPG2Enabled, {vxCreateDoubleScalar(0)}));
    EXPECT_EQ("CALYX:pg:ReadOnlyFeature", errorIdOf([] { callLogical(&isGBT2Enabled, {vxCreateDoubleScalar(1)}); }));
    EXPECT_EQ("CALYX:pg:ReadOnlyFeature",
              errorIdOf([] { callLogical(&isPGUsingCALYXClasses, {vxCreateDoubleScalar(1)}); }));
    EXPECT_EQ("CALYX:pg:ReadOnlyFeature",
              errorIdOf([] { callLogical(&isCALYXUsingSingleGraphics, {vxCreateString("on")}); }));
    try {
        callLogical(&isGBT2Enabled, {vxCreateDoubleScalar(1)});
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        EXPECT_NE(std::string::npos, std::string(e.what()).find("UseGBT2")) << e.what();
    }
    // The refused call changed nothing.
    EXPECT_EQ(2, pgGetVersion());
}

namespace {

class RootLanguage : public ::testing::Test {
protected:
    void SetUp() override {
        savedLanguage_ = svGetLanguage();
        services::Graphics::State::clearLanguage();
    }
    void TearDown() override {
        services::Graphics::State::clearLanguage();
        svSetLanguage(savedLanguage_.c_str());
    }
private:
    std::string savedLanguage_;
};

} // namespace

TEST_F(RootLanguage, CKeepsItsCaseOtherTextsAreLowered) {
    svSetRootLanguage("C");
    EXPECT_STREQ("C", svGetRootLanguage());
    EXPECT_STREQ("C", svGetLanguage());
    svSetRootLanguage("JA");
    EXPECT_STREQ("ja", svGetRootLanguage());
    EXPECT_STREQ("JA", svGetLanguage());  // the switcher is told the text as given
    svSetRootLanguage("Cx");
    EXPECT_STREQ("cx", svGetRootLanguage());
}

TEST_F(RootLanguage, EqualTextIgnoringCaseChangesNothing) {
    svSetRootLanguage("de");
    svSetLanguage("marker");
    svSetRootLanguage("DE");
    EXPECT_STREQ("de", svGetRootLanguage());
    EXPECT_STREQ("marker", svGetLanguage());  // not switched
    svSetRootLanguage(nullptr);
    EXPECT_STREQ("de", svGetRootLanguage());
}

TEST_F(RootLanguage, LongTextIsCutAtThirtyTwoAndComparedOverThirtyTwo) {
    std::string const longText = std::string(32, 'A') + "TAIL";
    svSetRootLanguage(longText.c_str());
    EXPECT_EQ(std::string(32, 'a'), svGetRootLanguage());
    svSetLanguage("marker");
    // Same first 32 characters, ignoring case: no change.
    svSetRootLanguage((std::string(32, 'a') + "other").c_str());
    EXPECT_STREQ("marker", svGetLanguage());
}

TEST(FactoryFont, NameIsCopiedAndFreedAndResetZeroesBoth) {
    using namespace services::Graphics::FactoryFont;
    EXPECT_EQ(nullptr, getFactoryControlFontName());
    std::string name = "Helvetica";
    setFactoryControlFontName(name.c_str());
    name[0] = 'X';
    EXPECT_STREQ("Helvetica", getFactoryControlFontName());
    setFactoryControlFontName(getFactoryControlFontName());  // its own text
    EXPECT_STREQ("Helvetica", getFactoryControlFontName());
    setFactoryControlFontSize(10.5);
    EXPECT_EQ(10.5, getFactoryControlFontSize());
    resetFactoryControlfont();
    EXPECT_EQ(nullptr, getFactoryControlFontName());
    EXPECT_EQ(0.0, getFactoryControlFontSize());
}

namespace {
int gFigure = 0;
void* gUnregistered = nullptr;
void unregisterFigure(void* p) { gUnregistered = p; }
int setBridge(double h, char const* property, vxArray_tag*) { return static_cast<int>(h) + static_cast<int>(std::string(property).size()); }
} // namespace

TEST(GraphicsHooks, UnsetHooksThrowInsteadOfCallingNull) {
    using namespace services::Graphics::CxrHooks;
    pg_set_cxr_hooks(nullptr, nullptr, nullptr, nullptr, &unregisterFigure, nullptr);
    unregisteFigureFcn(&gFigure);
    EXPECT_EQ(&gFigure, gUnregistered);
    EXPECT_THROW(registerFigureFcn(&gFigure), boost::bad_function_call);
    resetCxrCallbacks();
    EXPECT_THROW(getCurrentCxrFcn(), boost::bad_function_call);
    EXPECT_THROW(unregisteFigureFcn(&gFigure), boost::bad_function_call);

    using namespace services::Graphics::VxeHooks;
    setVxeCallbacks(&setBridge, nullptr);
    EXPECT_EQ(7 + 5, vxeSetBridge(7.0, "Color", nullptr));
    EXPECT_THROW(vxeGetBridge(1.0, "Color"), boost::bad_function_call);
    resetCallbacks();
    EXPECT_THROW(vxeSetBridge(1.0, "Color", nullptr), boost::bad_function_call);
}
