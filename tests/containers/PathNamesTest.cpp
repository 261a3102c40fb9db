// The path manager's text operations.
#include <px/px.hpp>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>

TEST(PathNames, JoinsNeverDoubleOrDropTheSeparator) {
    char out[PX_MAX_PATH];
    EXPECT_STREQ(pxCombinePathName(out, "/a", "b"), "/a/b");
    EXPECT_STREQ(pxCombinePathName(out, "/a/", "b"), "/a/b");
    EXPECT_STREQ(pxCombinePathName(out, "/", "b"), "/b");
    EXPECT_STREQ(pxCombinePathName(out, "/a", nullptr), "/a");
    EXPECT_STREQ(pxCombinePathName(out, "", "b"), "b");
    char path[PX_MAX_PATH] = "";
    EXPECT_EQ(pxConcatPathSubdir(path, "/"), path);
    EXPECT_STREQ(path, "/");
    pxConcatPathSubdir(path, "x");
    pxConcatPathSubdir(path, "y");
    EXPECT_STREQ(path, "/x/y");
    pxConcatPathName(path, "*");
    EXPECT_STREQ(path, "/x/y/*");
}

TEST(PathNames, JoinsStopAtTheBufferSize) {
    char out[PX_MAX_PATH];
    std::string const longDir(PX_MAX_PATH + 100, 'd');
    pxCombinePathName(out, longDir.c_str(), "name");
    EXPECT_EQ(std::string(out).size(), static_cast<size_t>(PX_MAX_PATH - 1));
}

TEST(PathNames, SeparateSplitsAtTheLastSlash) {
    char dir[PX_MAX_PATH];
    EXPECT_STREQ(pxSeparatePathName("/tmp/x/*.txt", dir), "*.txt");
    EXPECT_STREQ(dir, "/tmp/x");
    EXPECT_STREQ(pxSeparatePathName("/f", dir), "f");
    EXPECT_STREQ(dir, "/");
    EXPECT_STREQ(pxSeparatePathName("f*", dir), "f*");
    EXPECT_STREQ(dir, "");
}

TEST(PathNames, TildeAndAbsolutePaths) {
    char out[PX_MAX_PATH];
    std::string const home = std::getenv("HOME");
    EXPECT_EQ(std::string(pxTildeExpansion(out, "~")), home);
    EXPECT_EQ(std::string(pxTildeExpansion(out, "~/a/b")), home + "/a/b");
    EXPECT_STREQ(pxTildeExpansion(out, "~root/x"), "/root/x");
    EXPECT_STREQ(pxTildeExpansion(out, "~no_such_user_zz/x"), "~no_such_user_zz/x");
    EXPECT_STREQ(pxTildeExpansion(out, "a~"), "a~");
    EXPECT_TRUE(pxIsAbsolutePath("/x"));
    EXPECT_FALSE(pxIsAbsolutePath("x"));
    char cwd[PX_MAX_PATH];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    EXPECT_EQ(std::string(pxFullPath(out, "rel/x", PX_MAX_PATH)), std::string(cwd) + "/rel/x");
    EXPECT_STREQ(pxFullPath(out, "/abs", PX_MAX_PATH), "/abs");
    EXPECT_STREQ(pxFullPath(out, "rel", 3), "");  // does not fit
}

TEST(PathNames, CurrentPathExistsFromTheFirstAsk) {
    pxPath current = pxLookupPath(pxGetCurrentPathname());
    ASSERT_NE(current, nullptr);
    EXPECT_EQ(pxCreatePath(pxGetCurrentPathname()), current);
    EXPECT_TRUE(pxSetNotificationHandleWarnings(current, false));
    EXPECT_FALSE(pxSetNotificationHandleWarnings(current, true));
    EXPECT_EQ(pxLookupPath("never-made"), nullptr);
}
