// The path manager over both sets of I/O functions: the plain set sees
// directories only, the container-aware set sees into CAT files.
#include "cat_fixture.hpp"

#include <unistd.h>

#include <set>

using namespace cattest;

namespace {

// The names of a packed list, taken over, as a set ({"<null>"} for none).
std::set<std::string> names(char* list) {
    Owned owned(list);
    std::vector<std::string> const v = unpack(list);
    return list == nullptr ? std::set<std::string>{"<null>"} : std::set<std::string>(v.begin(), v.end());
}

class PathManagerSets : public ScratchDir {
protected:
    void SetUp() override {
        ScratchDir::SetUp();
        makeDir("plain");
        write("plain/p.cx", "plain file");
        write("tb.cat", catFile({file("c.cx", "in the cat"), dir("sub", {file("s.cx", "deeper")})}, false));
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

TEST_F(PathManagerSets, ThePlainSetSeesOnlyTheFileSystemTheContainerSetSeesIntoCatFiles) {
    using S = std::set<std::string>;
    EXPECT_EQ(names(svPlainListDirectory(nullptr, path("plain").c_str(), nullptr)), (S{"p.cx"}));
    EXPECT_EQ(names(svPlainListDirectory(nullptr, path("tb.cat").c_str(), nullptr)), (S{"<null>"}));
    EXPECT_EQ(names(svContainerListDirectory(nullptr, path("tb.cat").c_str(), nullptr)), (S{".", "..", "c.cx", "sub"}));
    EXPECT_EQ(names(svContainerListDirectory(nullptr, path("plain").c_str(), nullptr)), (S{".", "..", "p.cx"}));
    EXPECT_EQ(names(svContainerListDirectory(nullptr, path("bad.cat").c_str(), nullptr)), (S{"<null>"}));
    // Damage after two good entries: the third's content runs past the end.
    std::string damaged = catFile({file("a.cx", "aaa"), file("b.cx", "bbb"), file("c.cx", "ccc")}, false);
    damaged.resize(damaged.size() - 2);
    write("damaged.cat", damaged);
    EXPECT_EQ(names(svContainerListDirectory(nullptr, path("damaged.cat").c_str(), nullptr)), (S{"<null>"}));
    struct AccessRow { char const* dir; int access; S listed; } const accessRows[] = {
        {"damaged.cat", 3, S{".", "..", "a.cx", "b.cx"}},
        {"tb.cat", 0, S{".", "..", "c.cx", "sub"}},
        {"bad.cat", 3, S{"<null>"}},
    };
    for (AccessRow const& row : accessRows) {
        SCOPED_TRACE(row.dir);
        int access = -1;
        EXPECT_EQ(names(svContainerListDirectoryAccess(path(row.dir).c_str(), &access)), row.listed);
        EXPECT_EQ(access, row.access);
    }
    ASSERT_EQ(chmod(path("tb.cat").c_str(), 0755), 0);  // searchable, still a file to the plain set
    struct Row {
        char const* path;
        pxDirAccessibility plainDir, containerDir;
        bool plainReadable, containerReadable, plainIsDir, containerIsDir;
    } const rows[] = {
        {"plain", pxDirAccessible, pxDirAccessible, true, false, true, true},
        {"tb.cat", pxDirOther, pxDirAccessible, true, false, false, true},
        {"tb.cat/sub", pxDirNotFound, pxDirAccessible, false, false, false, true},
        {"tb.cat/c.cx", pxDirNotFound, pxDirOther, false, true, false, false},
        {"tb.cat/sub/s.cx", pxDirNotFound, pxDirOther, false, true, false, false},
        {"tb.cat/nosub", pxDirNotFound, pxDirNotFound, false, false, false, false},
        {"bad.cat", pxDirNoPermission, pxDirOther, true, false, false, false},  // corrupt; a file not searchable
        {"plain/p.cx", pxDirNoPermission, pxDirOther, true, true, false, false},
        {"plain/none.cx", pxDirNotFound, pxDirNotFound, false, false, false, false},
    };
    for (Row const& r : rows) {
        SCOPED_TRACE(r.path);
        std::string const p = path(r.path);
        EXPECT_EQ(svPlainDirAccessibility(nullptr, p.c_str()), r.plainDir);
        EXPECT_EQ(svContainerDirAccessibility(nullptr, p.c_str()), r.containerDir);
        EXPECT_EQ(svPlainIsReadableFile(p.c_str()), r.plainReadable);
        EXPECT_EQ(svContainerIsReadableFile(p.c_str()), r.containerReadable);
        EXPECT_EQ(svPlainIsDirectory(nullptr, p.c_str()), r.plainIsDir);
        EXPECT_EQ(svContainerIsDirectory(nullptr, p.c_str()), r.containerIsDir);
    }
    // Entries inside a CAT file carry the CAT file's time.
    struct stat st;
    ASSERT_EQ(::stat(path("tb.cat").c_str(), &st), 0);
    EXPECT_EQ(svContainerModificationTime(nullptr, path("tb.cat/sub/s.cx").c_str()), static_cast<long>(st.st_mtime));
    EXPECT_EQ(svContainerModificationTime(nullptr, path("tb.cat/sub").c_str()), static_cast<long>(st.st_mtime));
    EXPECT_EQ(svContainerModificationTime(nullptr, path("tb.cat/zz").c_str()), 0x7fffffffffffffffL);
    EXPECT_EQ(svPlainModificationTime(nullptr, path("tb.cat/sub/s.cx").c_str()), 0x7fffffffL);
    ASSERT_EQ(::stat(path("plain/p.cx").c_str(), &st), 0);
    EXPECT_EQ(svPlainModificationTime(nullptr, path("plain/p.cx").c_str()), static_cast<long>(st.st_mtime));
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
    EXPECT_EQ(pxGetDirectoryListing(q, 1), (std::vector<std::string>{"s.cx"}));
    char found[PX_MAX_PATH];
    EXPECT_TRUE(pxFindFile(q, "s.cx", found));
    EXPECT_EQ(std::string(found), path("tb.cat/sub/s.cx"));
    EXPECT_TRUE(pxFindFile(q, "p.cx", found));
    EXPECT_EQ(std::string(found), path("plain/p.cx"));
    EXPECT_FALSE(pxFindFile(q, "zz.cx", found));
    EXPECT_FALSE(pxReplacePath(q, text.c_str()));  // the same text again changes nothing
    pxDestroyPath(p);
    pxDestroyPath(q);
}

TEST_F(PathManagerSets, ListingsAreCachedUntilARefresh) {
    pxPath p = pxCreatePath("path-manager-cache-test");
    ASSERT_TRUE(pxReplacePath(p, path("plain").c_str()));
    EXPECT_EQ(pxGetDirectoryListing(p, 0), (std::vector<std::string>{"p.cx"}));
    write("plain/q.cx", "new");
    EXPECT_EQ(pxGetDirectoryListing(p, 0), (std::vector<std::string>{"p.cx"}));  // cached
    char found[PX_MAX_PATH];
    EXPECT_FALSE(pxFindFile(p, "q.cx", found));
    pxRefreshAllDirectories(p, 2);
    EXPECT_EQ(pxGetDirectoryListing(p, 0).size(), 2u);
    EXPECT_TRUE(pxFindFile(p, "q.cx", found));
    write("plain/r.cx", "newer");
    pxChangedUnknownDir(p, path("plain").c_str());
    EXPECT_EQ(pxGetDirectoryListing(p, 0).size(), 3u);
    pxDestroyPath(p);
}
