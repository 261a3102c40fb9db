// The path manager's text operations.
#include <px/px.hpp>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>

TEST(PathNames, JoinsSplitsAndExpansions) {
    char out[PX_MAX_PATH], dir[PX_MAX_PATH], cwd[PX_MAX_PATH];
    std::string const home = std::getenv("HOME");
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    std::pair<std::string, std::string> const rows[] = {
        {pxCombinePathName(out, "/a", "b"), "/a/b"},  // never a doubled or a missing separator
        {pxCombinePathName(out, "/a/", "b"), "/a/b"},
        {pxCombinePathName(out, "/", "b"), "/b"},
        {pxCombinePathName(out, "/a", nullptr), "/a"},
        {pxCombinePathName(out, "", "b"), "b"},
        {pxCombinePathName(out, std::string(PX_MAX_PATH + 100, 'd').c_str(), "x"), std::string(PX_MAX_PATH - 1, 'd')},
        {std::string(pxSeparatePathName("/tmp/x/*.txt", dir)) + "|" + dir, "*.txt|/tmp/x"},  // at the last slash
        {std::string(pxSeparatePathName("/f", dir)) + "|" + dir, "f|/"},
        {std::string(pxSeparatePathName("f*", dir)) + "|" + dir, "f*|"},
        {pxTildeExpansion(out, "~"), home},
        {pxTildeExpansion(out, "~/a/b"), home + "/a/b"},
        {pxTildeExpansion(out, "~root/x"), "/root/x"},
        {pxTildeExpansion(out, "~no_such_user_zz/x"), "~no_such_user_zz/x"},
        {pxTildeExpansion(out, "a~"), "a~"},
        {pxFullPath(out, "rel/x", PX_MAX_PATH), std::string(cwd) + "/rel/x"},
        {pxFullPath(out, "/abs", PX_MAX_PATH), "/abs"},
        {pxFullPath(out, "rel", 3), ""},  // does not fit
    };
    for (auto const& r : rows) EXPECT_EQ(r.first, r.second);
    char path[PX_MAX_PATH] = "";
    for (char const* part : {"/", "x", "y"}) pxConcatPathSubdir(path, part);
    pxConcatPathName(path, "*");
    EXPECT_STREQ(path, "/x/y/*");
    EXPECT_TRUE(pxIsAbsolutePath("/x"));
    EXPECT_FALSE(pxIsAbsolutePath("x"));
}

TEST(PathNames, CurrentPathExistsFromTheFirstAsk) {
    pxPath current = pxLookupPath(pxGetCurrentPathname());
    ASSERT_NE(current, nullptr);
    EXPECT_EQ(pxCreatePath(pxGetCurrentPathname()), current);
    EXPECT_TRUE(pxSetNotificationHandleWarnings(current, false));
    EXPECT_FALSE(pxSetNotificationHandleWarnings(current, true));
    EXPECT_EQ(pxLookupPath("never-made"), nullptr);
}
