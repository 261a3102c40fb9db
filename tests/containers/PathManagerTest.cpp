// The path manager over both sets of I/O functions: the plain set sees
// directories only, the container-aware set sees into CAT files.
#include "cat_fixture.hpp"

#include <qzservices/containers/ContainerFeature.hpp>
#include <qzservices/containers/path_manager_fcns.hpp>

#include <px/px.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <set>

using namespace cattest;

namespace {

// The names of a packed list, taken over, as a set.
std::set<std::string> names(char* list) {
    Owned owned(list);
    std::vector<std::string> const v = unpack(list);
    return std::set<std::string>(v.begin(), v.end());
}

class PathManagerSets : public ScratchDir {
protected:
    void SetUp() override {
        ScratchDir::SetUp();
        makeDir("plain");
        write("plain/p.m", "plain file");
        write("tb.cat", catFile({file("c.m", "in the cat"), dir("sub", {file("s.m", "deeper")})}, false));
        write("bad.cat", "junk");
    }
    void TearDown() override {
        getContainerFeature().setState(0);
        svSetPathManagerDefaultIOFcns();
        pxUpdatePathArrayDefaultIOFcns();
        ScratchDir::TearDown();
    }
};

} // namespace

TEST_F(PathManagerSets, PlainSetSeesOnlyTheFileSystem) {
    EXPECT_EQ(names(svPlainListDirectory(nullptr, path("plain").c_str(), nullptr)), (std::set<std::string>{"p.m"}));
    EXPECT_EQ(svPlainListDirectory(nullptr, path("tb.cat").c_str(), nullptr), nullptr);
    EXPECT_EQ(svPlainDirAccessibility(nullptr, path("plain").c_str()), pxDirAccessible);
    EXPECT_EQ(svPlainDirAccessibility(nullptr, path("tb.cat").c_str()), pxDirNoPermission);  // not searchable
    ASSERT_EQ(chmod(path("tb.cat").c_str(), 0755), 0);
    EXPECT_EQ(svPlainDirAccessibility(nullptr, path("tb.cat").c_str()), pxDirOther);  // a file
    EXPECT_EQ(svPlainDirAccessibility(nullptr, path("none").c_str()), pxDirNotFound);
    EXPECT_TRUE(svPlainIsReadableFile(path("plain/p.m").c_str()));
    EXPECT_FALSE(svPlainIsReadableFile(path("tb.cat/c.m").c_str()));
    EXPECT_TRUE(svPlainIsDirectory(nullptr, path("plain").c_str()));
    EXPECT_FALSE(svPlainIsDirectory(nullptr, path("tb.cat").c_str()));
    struct stat st;
    ASSERT_EQ(::stat(path("plain/p.m").c_str(), &st), 0);
    EXPECT_EQ(svPlainModificationTime(nullptr, path("plain/p.m").c_str()), static_cast<long>(st.st_mtime));
    EXPECT_EQ(svPlainModificationTime(nullptr, path("none").c_str()), 0x7fffffffL);
}

TEST_F(PathManagerSets, ContainerSetSeesIntoCatFiles) {
    EXPECT_EQ(names(svContainerListDirectory(nullptr, path("tb.cat").c_str(), nullptr)),
              (std::set<std::string>{".", "..", "c.m", "sub"}));
    EXPECT_EQ(names(svContainerListDirectory(nullptr, path("plain").c_str(), nullptr)),
              (std::set<std::string>{".", "..", "p.m"}));
    EXPECT_EQ(svContainerListDirectory(nullptr, path("bad.cat").c_str(), nullptr), nullptr);

    EXPECT_EQ(svContainerDirAccessibility(nullptr, path("tb.cat").c_str()), pxDirAccessible);
    EXPECT_EQ(svContainerDirAccessibility(nullptr, path("tb.cat/sub").c_str()), pxDirAccessible);
    EXPECT_EQ(svContainerDirAccessibility(nullptr, path("plain").c_str()), pxDirAccessible);
    EXPECT_EQ(svContainerDirAccessibility(nullptr, path("tb.cat/nosub").c_str()), pxDirNotFound);
    EXPECT_EQ(svContainerDirAccessibility(nullptr, path("nothing").c_str()), pxDirNotFound);
    EXPECT_EQ(svContainerDirAccessibility(nullptr, path("bad.cat").c_str()), pxDirOther);  // corrupt
    EXPECT_EQ(svContainerDirAccessibility(nullptr, path("plain/p.m").c_str()), pxDirOther);

    EXPECT_TRUE(svContainerIsReadableFile(path("tb.cat/c.m").c_str()));
    EXPECT_TRUE(svContainerIsReadableFile(path("tb.cat/sub/s.m").c_str()));
    EXPECT_TRUE(svContainerIsReadableFile(path("plain/p.m").c_str()));
    EXPECT_FALSE(svContainerIsReadableFile(path("tb.cat/none.m").c_str()));
    EXPECT_FALSE(svContainerIsReadableFile(path("plain/none.m").c_str()));

    EXPECT_TRUE(svContainerIsDirectory(nullptr, path("tb.cat/sub").c_str()));
    EXPECT_TRUE(svContainerIsDirectory(nullptr, path("tb.cat").c_str()));
    EXPECT_FALSE(svContainerIsDirectory(nullptr, path("tb.cat/c.m").c_str()));
    EXPECT_FALSE(svContainerIsDirectory(nullptr, path("plain/p.m").c_str()));

    struct stat st;
    ASSERT_EQ(::stat(path("tb.cat").c_str(), &st), 0);
    EXPECT_EQ(svContainerModificationTime(nullptr, path("tb.cat/sub/s.m").c_str()), static_cast<long>(st.st_mtime));
    EXPECT_EQ(svContainerModificationTime(nullptr, path("tb.cat/sub").c_str()), static_cast<long>(st.st_mtime));
    EXPECT_EQ(svContainerModificationTime(nullptr, path("tb.cat/zz").c_str()), 0x7fffffffffffffffL);
}

TEST_F(PathManagerSets, PathTakesCatDirectoriesOnlyWithTheFeatureOn) {
    pxPath p = pxCreatePath("path-manager-test");
    pxSetNotificationHandleWarnings(p, false);
    std::string const text = path("plain") + ":" + path("tb.cat/sub");
    EXPECT_FALSE(pxReplacePath(p, text.c_str()));  // the CAT directory is refused
    EXPECT_EQ(pxNumDirectories(p), 1u);
    EXPECT_EQ(pxGetWarnings(p).size(), 1u);

    getContainerFeature().setState(1);
    svSetPathManagerDefaultIOFcns();
    pxUpdatePathArrayDefaultIOFcns();
    pxPath q = pxCreatePath("path-manager-test-on");
    EXPECT_TRUE(pxReplacePath(q, text.c_str()));
    ASSERT_EQ(pxNumDirectories(q), 2u);
    EXPECT_EQ(pxGetDirectoryListing(q, 1), (std::vector<std::string>{"s.m"}));
    char found[PX_MAX_PATH];
    EXPECT_TRUE(pxFindFile(q, "s.m", found));
    EXPECT_EQ(std::string(found), path("tb.cat/sub/s.m"));
    EXPECT_TRUE(pxFindFile(q, "p.m", found));
    EXPECT_EQ(std::string(found), path("plain/p.m"));
    EXPECT_FALSE(pxFindFile(q, "zz.m", found));
    // The same text again changes nothing.
    EXPECT_FALSE(pxReplacePath(q, text.c_str()));
    pxDestroyPath(p);
    pxDestroyPath(q);
}

TEST_F(PathManagerSets, ListingsAreCachedUntilARefresh) {
    pxPath p = pxCreatePath("path-manager-cache-test");
    ASSERT_TRUE(pxReplacePath(p, path("plain").c_str()));
    EXPECT_EQ(pxGetDirectoryListing(p, 0), (std::vector<std::string>{"p.m"}));
    write("plain/q.m", "new");
    EXPECT_EQ(pxGetDirectoryListing(p, 0), (std::vector<std::string>{"p.m"}));  // cached
    char found[PX_MAX_PATH];
    EXPECT_FALSE(pxFindFile(p, "q.m", found));
    pxRefreshAllDirectories(p, 2);
    EXPECT_EQ(pxGetDirectoryListing(p, 0).size(), 2u);
    EXPECT_TRUE(pxFindFile(p, "q.m", found));
    write("plain/r.m", "newer");
    pxChangedUnknownDir(p, path("plain").c_str());
    EXPECT_EQ(pxGetDirectoryListing(p, 0).size(), 3u);
    pxDestroyPath(p);
}
