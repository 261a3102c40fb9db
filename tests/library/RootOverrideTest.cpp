// The root override in a library loaded by a relative path: the override's
// warnings come first even where the bin directory cannot be resolved. It
// needs the shared library itself, which the white-box state suite does not load.
#include "qzservices/state/runtime_identity.hpp"
#include "state/state_test.hpp"

#include <climits>
#include <dlfcn.h>
#include <uv/modules.hpp>

TEST(RuntimeRoot, AnOverrideWarnsFirstEvenWhereTheBinDirectoryCannotBeResolved) {
    // The child loads this library by a relative path and then leaves the
    // folder it is relative to, so that the bin directory cannot be resolved.
    Dl_info info;
    ASSERT_NE(dladdr(reinterpret_cast<void const*>(&svSetCXRoot), &info), 0);
    char resolved[PATH_MAX];
    ASSERT_NE(realpath(info.dli_fname, resolved), nullptr);
    std::string const library = resolved;
    std::string const dir = library.substr(0, library.rfind('/'));
    std::string const parent = dir.substr(0, dir.rfind('/')), leaf = dir.substr(dir.rfind('/') + 1);
    qztest::EnvGuard env{"LD_LIBRARY_PATH"};
    char const* old = std::getenv("LD_LIBRARY_PATH");
    setenv("LD_LIBRARY_PATH", (leaf + (old != nullptr && *old != '\0' ? ":" + std::string(old) : "")).c_str(), 1);
    char cwd[PATH_MAX];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(parent.c_str()), 0);
    qztest::ChildResult const result = qztest::runInFreshProcess([] {
        char const* loaded = uvModuleNameFromAddress(reinterpret_cast<void const*>(&svSetCXRoot));
        QZ_CHILD_CHECK(loaded != nullptr && loaded[0] != '/', 2);  // else the setting-up failed
        QZ_CHILD_CHECK(chdir("/") == 0, 3);
        qztest::Capture capture;
        svSetCXRoot("/opt/test-root");
        QZ_CHILD_CHECK(capture.outText() ==
                           "\nWARNING: Overriding the value of CALYXROOT with: /opt/test-root\n"
                           "WARNING: This capability exists solely to aid in unit testing\n\n",
                       4);
        QZ_CHILD_CHECK(!std::strcmp(svCalyxRoot(), "/opt/test-root"), 5);
        return 0;
    });
    ASSERT_EQ(chdir(cwd), 0);
    EXPECT_EQ(result.exitCode, 0);
}
