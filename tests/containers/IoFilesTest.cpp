// The io* helpers: opening with the path search, the open-error table, names
// with extensions, listings and the questions about paths.
#include "cat_fixture.hpp"

#include <qzservices/containers/io_files.hpp>
#include <qzservices/io/callbacks.hpp>

#include <px/px.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

using namespace cattest;

namespace {

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};

std::vector<std::string> unpack(char const* list) {
    std::vector<std::string> names;
    if (list == nullptr) return names;
    for (char const* p = list; *p; p += std::strlen(p) + 1) names.emplace_back(p);
    return names;
}

// The session's file search, answered by a path-manager path over one folder.
int gSearches = 0;
pxPath gSearchPath = nullptr;
bool searchPath(char const* name, bool, char* out) {
    ++gSearches;
    return pxFindFile(gSearchPath, name, out);
}

class IoFiles : public ScratchDir {
protected:
    void SetUp() override {
        ScratchDir::SetUp();
        saved = _sv_iocb.findFirstFileName;
        gSearches = 0;
        gSearchPath = pxCreatePath("io-files-test");
        _sv_iocb.findFirstFileName = &searchPath;
    }
    void TearDown() override {
        _sv_iocb.findFirstFileName = saved;
        pxDestroyPath(gSearchPath);
        gSearchPath = nullptr;
        ScratchDir::TearDown();
    }
    bool (*saved)(char const*, bool, char*) = nullptr;
};

} // namespace

TEST_F(IoFiles, ReadingSearchesThePathWhenTheNameIsADirectory) {
    makeDir("lib");
    write("lib/found.m", "found it");
    makeDir("work");
    makeDir("work/found.m");  // a directory of that name where we stand
    ASSERT_TRUE(pxReplacePath(gSearchPath, path("lib").c_str()));

    char outPath[IO_PATH_BUFFER];
    int outErrno = -1;
    std::string const name = path("work/found.m");
    FILE* f = ioFopenPathName("found.m", "r", outPath, &outErrno);
    ASSERT_NE(f, nullptr);  // not in the process's directory: found on the path
    ioFclose(f);
    EXPECT_STREQ(outPath, path("lib/found.m").c_str());

    gSearches = 0;
    f = ioFopenPathName(name.c_str(), "r", outPath, &outErrno);
    EXPECT_EQ(gSearches, 1);  // a directory's name is never opened, it is searched for
    if (f) ioFclose(f);
}

TEST_F(IoFiles, WritingNeverSearches) {
    char outPath[IO_PATH_BUFFER];
    int outErrno = 0;
    std::string const name = path("no/such/dir/x");
    EXPECT_EQ(ioFopenPathName(name.c_str(), "wb", outPath, &outErrno), nullptr);
    EXPECT_EQ(outErrno, ENOENT);
    EXPECT_EQ(gSearches, 0);
    EXPECT_STREQ(outPath, name.c_str());
    // An empty name opens nothing and touches nothing.
    EXPECT_EQ(ioFopenPathName("", "r", outPath, &outErrno), nullptr);
    EXPECT_EQ(gSearches, 0);
}

TEST_F(IoFiles, BinaryFlagIsDroppedFromTheMode) {
    write("u.txt", "abc");
    FILE* f = ioFopenPath(path("u.txt").c_str(), "rb+");
    ASSERT_NE(f, nullptr);  // opened for update, as "r+"
    EXPECT_EQ(std::fputs("X", f), 1);
    ioFclose(f);
    FILE* g = std::fopen(path("u.txt").c_str(), "r");
    char text[8] = {};
    ASSERT_NE(std::fgets(text, sizeof text, g), nullptr);
    std::fclose(g);
    EXPECT_STREQ(text, "Xbc");
}

TEST_F(IoFiles, QuietAndRaisingOpens) {
    std::string const missing = path("missing.txt");
    EXPECT_EQ(ioFopenErrorChk(missing.c_str(), "r"), nullptr);
    try {
        ioFopenErrorChkPath(missing.c_str(), "r");
        ADD_FAILURE() << "no error for a missing file";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:fileio:fileNotFound");
        EXPECT_NE(std::string(e.what()).find(missing), std::string::npos);
    }
    // A path through a file is not a missing file: the quiet form raises too.
    write("plain", "x");
    try {
        ioFopenErrorChk(path("plain/below").c_str(), "r");
        ADD_FAILURE() << "no error for a path through a file";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:fileio:cantOpenFile");
    }
    char outPath[IO_PATH_BUFFER];
    write("here.txt", "x");
    FILE* f = ioFopenErrorChkPathName(path("here.txt").c_str(), "r", outPath);
    ASSERT_NE(f, nullptr);
    ioFclose(f);
}

TEST(IoOpenErrors, EachErrnoHasItsIdentifier) {
    struct Row { int err; char const* id; } const rows[] = {
        {EACCES, "CALYX:fileio:cantOpenFileNoPermission"},
        {EMFILE, "CALYX:fileio:tooManyFilesOpen"},
        {ENOSPC, "CALYX:fileio:noDiskSpace"},
        {EISDIR, "CALYX:fileio:cantOpenFile"},
        {ENOENT, "CALYX:fileio:fileNotFound"}};
    for (Row const& r : rows) {
        errno = r.err;
        try {
            ioReportOpenError(false, "name.txt");
            ADD_FAILURE() << r.id;
        } catch (vx::Error const& e) {
            EXPECT_EQ(e.identifier(), r.id);
        }
    }
    errno = ENOENT;
    EXPECT_NO_THROW(ioReportOpenError(true, "name.txt"));
    errno = EMFILE;
    EXPECT_EQ(ioErrnoChk(), -1);
    errno = EACCES;
    EXPECT_EQ(ioErrnoChk(), -2);
    errno = ENOENT;
    EXPECT_EQ(ioErrnoChk(), 0);
}

TEST(IoFileNames, AddFilenameExt) {
    char dst[IO_PATH_BUFFER];
    char const* withExt = "a/b.c";
    EXPECT_EQ(ioAddFilenameExt(dst, withExt, ".txt"), withExt + 3);  // into the name, not dst
    EXPECT_STREQ(dst, "a/b.c");
    EXPECT_EQ(ioAddFilenameExt(dst, "a/b", ".txt"), dst);
    EXPECT_STREQ(dst, "a/b.txt");
    EXPECT_EQ(ioAddFilenameExt(dst, "a/", ".txt"), nullptr);
    EXPECT_STREQ(dst, "a/");
    // The dot is looked for behind the last "/" only.
    EXPECT_EQ(ioAddFilenameExt(dst, "x.d/name", ".m"), dst);
    EXPECT_STREQ(dst, "x.d/name.m");
    // In place.
    std::strcpy(dst, "in/place");
    EXPECT_EQ(ioAddFilenameExt(dst, dst, ".m"), dst);
    EXPECT_STREQ(dst, "in/place.m");
    std::string const tooLong(IO_PATH_BUFFER - 3, 'n');
    EXPECT_THROW(ioAddFilenameExt(dst, tooLong.c_str(), ".txt"), vx::Error);
}

TEST_F(IoFiles, FileStatusAndAccessibility) {
    QZFstat st{1, 1, 1};
    EXPECT_EQ(ioGetFileStatus(path("absent").c_str(), &st), -1);
    EXPECT_EQ(st.time, 0x7fffffff);
    EXPECT_EQ(st.isDir, 0);
    EXPECT_EQ(st.size, 0);
    write("seven", "1234567");
    EXPECT_EQ(ioGetFileStatus(path("seven").c_str(), &st), 0);
    EXPECT_EQ(st.size, 7);
    EXPECT_EQ(st.isDir, 0);
    EXPECT_EQ(ioGetFileStatus(root.c_str(), &st), 0);
    EXPECT_EQ(st.isDir, 1);
    EXPECT_EQ(st.size, 0);

    EXPECT_EQ(ioIsDirAccessible("/"), 1);
    EXPECT_EQ(ioIsDirAccessible((root + "/").c_str()), 1);
    EXPECT_EQ(ioIsDirAccessible(path("seven").c_str()), 3);  // a file that cannot be searched
    ASSERT_EQ(chmod(path("seven").c_str(), 0755), 0);
    EXPECT_EQ(ioIsDirAccessible(path("seven").c_str()), 2);
    EXPECT_EQ(ioIsDirAccessible(path("absent").c_str()), 4);
    EXPECT_EQ(ioIsDirAccessible(path("seven/below").c_str()), 4);  // ENOTDIR

    EXPECT_EQ(ioIsFileReadable(path("seven").c_str()), 7);
    EXPECT_EQ(ioIsFileReadable(path("absent").c_str()), 4);
    if (geteuid() != 0) {
        ASSERT_EQ(chmod(path("seven").c_str(), 0), 0);
        EXPECT_EQ(ioIsFileReadable(path("seven").c_str()), 3);
    }
    EXPECT_EQ(ioIs_DOS_name("C:\\x"), 0);
    EXPECT_EQ(ioGetCDroot(1, nullptr), 0);
}

TEST_F(IoFiles, ListingsAreSortedWithTheirModes) {
    makeDir("l");
    write("l/b.txt", "b");
    write("l/a.txt", "a");
    write("l/B.txt", "B");
    write("l/c.dat", "c");
    makeDir("l/dir.txt");
    unsigned int* modes = nullptr;
    std::unique_ptr<char, UvFree> list(ioGetDirListWithModes(path("l/*.txt").c_str(), 0, &modes));
    std::unique_ptr<unsigned int, UvFree> ownedModes(modes);
    EXPECT_EQ(unpack(list.get()), (std::vector<std::string>{"B.txt", "a.txt", "b.txt", "dir.txt"}));
    ASSERT_NE(modes, nullptr);
    EXPECT_EQ(modes[0], static_cast<unsigned>(DT_REG) * 4096u);
    EXPECT_EQ(modes[3] & S_IFMT, static_cast<unsigned>(S_IFDIR));
    // Hidden files need an explicit dot.
    write("l/.hidden.txt", "h");
    std::unique_ptr<char, UvFree> again(ioGetDirList(path("l/*.txt").c_str(), 0));
    EXPECT_EQ(unpack(again.get()).size(), 4u);
    std::unique_ptr<char, UvFree> dotted(ioGetDirList(path("l/.h*").c_str(), 0));
    EXPECT_EQ(unpack(dotted.get()), (std::vector<std::string>{".hidden.txt"}));
}

TEST_F(IoFiles, EmptyPatternResultIsNullInTheCurrentDirectory) {
    makeDir("empty");
    pxPath current = pxLookupPath(pxGetCurrentPathname());
    char old[IO_PATH_BUFFER];
    pxGetCWDName(current, old, sizeof old);
    ASSERT_TRUE(pxSetCWDName(current, path("empty").c_str()));
    unsigned int* modes = reinterpret_cast<unsigned int*>(0x1);
    EXPECT_EQ(ioGetDirListWithModes("*.txt", 0, &modes), nullptr);
    EXPECT_EQ(modes, reinterpret_cast<unsigned int*>(0x1));  // not written
    write("empty/x.txt", "x");
    std::unique_ptr<char, UvFree> one(ioGetDirList("*.txt", 0));
    EXPECT_EQ(unpack(one.get()), (std::vector<std::string>{"x.txt"}));
    pxSetCWDName(current, old);
    EXPECT_EQ(ioGetDirList(path("nowhere/*").c_str(), 0), nullptr);
}

TEST(IoPackedLists, EmptyAndOrdered) {
    std::unique_ptr<char, UvFree> empty(ioPackListIntoCharArray({}));
    EXPECT_EQ(empty.get()[0], '\0');
    EXPECT_EQ(empty.get()[1], '\0');
    std::unique_ptr<char, UvFree> list(ioPackListIntoCharArray({"z", "a", "mid"}));
    EXPECT_EQ(std::memcmp(list.get(), "z\0a\0mid\0\0", 9), 0);
}

TEST(IoExpand, TildeIsTheHomeDirectory) {
    char buffer[IO_PATH_BUFFER];
    char const* home = std::getenv("HOME");
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(std::string(ioExpandFileName("~/x", buffer)), std::string(home) + "/x");
    EXPECT_STREQ(ioExpandFileName("plain/~x", buffer), "plain/~x");
}

TEST_F(IoFiles, OverlongNamesRaise) {
    std::string const name(IO_MAX_FILENAME + 1, 'n');
    char outPath[IO_PATH_BUFFER];
    int outErrno = 0;
    try {
        ioFopenPathName(name.c_str(), "r", outPath, &outErrno);
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:fileio:filenameTooLong");
    }
}

TEST_F(IoFiles, CdRootComesFromTheMountTable) {
    // A "mount" of our own, first on the PATH, prints a known table.
    makeDir("bin");
    write("bin/mount",
          "#!/bin/sh\n"
          "echo 'proc on /proc type proc (rw)'\n"
          "echo '/dev/sda1 on / type ext4 (rw)'\n"
          "echo 'not-a-device on /x type iso9660 (ro)'\n"
          "echo '/dev/sr0 on /media/cd0 type iso9660 (ro)'\n"
          "echo '/dev/sr1 on /media/cd1 type iso9660 (ro)'\n");
    ASSERT_EQ(chmod(path("bin/mount").c_str(), 0755), 0);
    std::string const oldPath = std::getenv("PATH");
    setenv("PATH", (path("bin") + ":" + oldPath).c_str(), 1);
    char rootName[IO_PATH_BUFFER] = "";
    int const first = ioGetCDroot(1, rootName);
    std::string const firstRoot = rootName;
    int const second = ioGetCDroot(2, rootName);
    std::string const secondRoot = rootName;
    int const third = ioGetCDroot(3, rootName);
    setenv("PATH", oldPath.c_str(), 1);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(firstRoot, "/media/cd0");  // lines not starting with "/" are skipped
    EXPECT_EQ(second, 1);
    EXPECT_EQ(secondRoot, "/media/cd1");
    EXPECT_EQ(third, 0);
}
