// Runtime identity: the build date's long form, the platform table, the root
// above "bin", the root override, the graphics status word and the runtime
// instance. The version texts read from the library file are in tests/library.
#include "qzservices/state/runtime_identity.hpp"
#include "state/state_test.hpp"

#include <px/px.hpp>
#include <uv/uv.hpp>

using services::state::detail::longBuildDate;
using services::state::detail::rootFromBinDir;

TEST(RuntimeVersion, BuildDatesTakeTheirLongFormOnlyWithAKnownMonth) {
    struct Case { char const* date; char const* expected; } const cases[] = {
        {"Feb 15 2031", "February 15, 2031"}, {"Dec  1 2030", "December 1, 2030"}, {"May 31 1999", "May 31, 1999"},
        {"Sep 09 2026", "September 9, 2026"}, {"Foo 15 2031", "Foo 15 2031"},
        {"feb 15 2031", "feb 15 2031"},      // months are matched exactly
        {"Feb 15 2031 x", "Feb 15 2031 x"},  // a fourth field
        {"Feb 15", "Feb 15"},                {"2031-02-15", "2031-02-15"}, {"", ""},
    };
    for (Case const& c : cases) EXPECT_EQ(longBuildDate(c.date), c.expected) << c.date;
}

TEST(RuntimePlatform, TheExtensionListHasEveryPlatformInTableOrder) {
    vxArray* list = nullptr;
    svAllVxeExtensions(&list);
    qztest::ArrayPtr hold(list);
    ASSERT_TRUE(list && vxGetNumberOfElements(list) == 5u);
    EXPECT_STREQ(vxGetFieldNameByNumber(list, 0), "ext");
    EXPECT_STREQ(vxGetFieldNameByNumber(list, 1), "arch");
    auto field = [&](size_t i, int f) { return vxArrayToStdString(vxGetFieldByNumber(list, i, f)); };
    EXPECT_TRUE(field(1, 0) == svVxeExtension() && field(1, 1) == svArch());  // this build's entry is the second
    EXPECT_EQ(field(4, 1), "winx64");
}

TEST(RuntimeRoot, TheRootIsWhatLiesAboveTheBinComponent) {
    for (auto const& c : {std::make_pair("/opt/calyx/bin/linux64", "/opt/calyx"), {"/opt/calyx/bin", "/opt/calyx"},
                          {"/x/bin/y/bin/z", "/x/bin/y"}, {"/opt/calyx/binary/lib", ""} /* only a whole "bin" */,
                          {"/a/b/c", ""}, {"relative", "relative"}, {"", ""}})
        EXPECT_EQ(rootFromBinDir(c.first), c.second) << c.first;
}

TEST(RuntimeRoot, AnOverrideWarnsAndMovesTheToolboxPrefix) {
    qztest::expectInFreshProcess([] {
        qztest::Capture capture;
        svSetCXRoot("/opt/test-root");
        QZ_CHILD_CHECK(capture.outText() ==
                           "\nWARNING: Overriding the value of CALYXROOT with: /opt/test-root\n"
                           "WARNING: This capability exists solely to aid in unit testing\n\n",
                       2);
        QZ_CHILD_CHECK(!std::strcmp(svCalyxRoot(), "/opt/test-root") && !std::strcmp(svGetToolboxPrefix(), "/opt/test-root/toolbox"), 3);
        return 0;
    });
}

TEST(GraphicsStatusWord, OnlyTheLowThreeBitsChangeAndBitSixAlwaysShows) {
    svClearPGStatus(7);
    EXPECT_EQ(svGetPGStatus(), 64);
    EXPECT_EQ(svSetPGStatus(8), 0);  // outside the mask: nothing changes
    EXPECT_EQ(svSetPGStatus(5 | 16), 0);
    EXPECT_EQ(svGetPGStatus(), 64 | 5);
    EXPECT_EQ(svSetPGStatus(2), 5);
    EXPECT_EQ(svClearPGStatus(1 | 32), 7);
    EXPECT_EQ(svGetPGStatus(), 64 | 6);
    EXPECT_EQ(svClearPGStatus(7), 6);
}

namespace {
struct FixedRuntime : svCXRuntime {
    explicit FixedRuntime(int v) : value(v) {}
    int GetCodeBlockStatus() override { return value; }
    int GetInputRequester() override { return value + 1; }
    int value;
};
} // namespace

TEST(RuntimeInstance, TheFirstRuntimeStaysAndTheBaseAnswersZeroUntilThen) {
    qztest::expectInFreshProcess([] {
        QZ_CHILD_CHECK(svGetCodeBlockStatus() == 0 && svGetInputRequester() == 0, 2);
        static FixedRuntime a(10), b(20);
        svSetRuntimeInstance(nullptr);
        QZ_CHILD_CHECK(svGetCodeBlockStatus() == 0, 3);
        svSetRuntimeInstance(&a);
        svSetRuntimeInstance(&b);
        svSetRuntimeInstance(nullptr);
        QZ_CHILD_CHECK(svGetCodeBlockStatus() == 10 && svGetInputRequester() == 11, 4);
        return 0;
    });
}

namespace {
pxDirAccessibility accessibleIfDirectory(pxPath, char const* dir) {
    struct stat st;
    return stat(dir, &st) == 0 && S_ISDIR(st.st_mode) ? pxDirAccessible : pxDirNotFound;
}
char* emptyListing(pxPath, char const*, unsigned int**) { return static_cast<char*>(uvCalloc(2, 1)); }
} // namespace

TEST(RuntimeStartupPath, CalyxPathOrTheLocalToolboxWithoutWarnings) {
    qztest::expectInFreshProcess([] {
        pxSetDefaultIOFcns(&emptyListing, &accessibleIfDirectory, nullptr, nullptr, nullptr);
        qztest::ScratchDir scratch;
        std::string const root = scratch.path(), local = root + "/toolbox/local";
        mkdir((root + "/toolbox").c_str(), 0755);
        mkdir(local.c_str(), 0755);
        {
            qztest::Capture quiet;
            svSetCXRoot(root.c_str());
        }
        pxPath path = pxCreatePath("startup-test");
        pxSetNotificationHandleWarnings(path, true);

        setenv("CALYXPATH", (root + ":" + root + "/missing").c_str(), 1);
        testing::internal::CaptureStderr();
        svSetStartupPath(path);
        std::string const printed = testing::internal::GetCapturedStderr();
        QZ_CHILD_CHECK(pxNumDirectories(path) == 1 && pxGetDirectory(path, 0) == root, 2);
        QZ_CHILD_CHECK(pxGetWarnings(path).size() == 1 && printed.empty(), 3);  // recorded, but not printed
        QZ_CHILD_CHECK(pxSetNotificationHandleWarnings(path, true), 5);  // put back as it was

        setenv("CALYXPATH", "", 1);  // empty counts as unset
        svSetStartupPath(path);
        QZ_CHILD_CHECK(pxNumDirectories(path) == 1 && pxGetDirectory(path, 0) == local, 6);
        svSetStartupPath(path);  // the same list again: the listings are read again
        QZ_CHILD_CHECK(pxNumDirectories(path) == 1, 7);
        return 0;
    });
}
