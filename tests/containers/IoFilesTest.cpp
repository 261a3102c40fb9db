// The io* helpers: opening with the path search, the open-error table, names
// with extensions, listings and the questions about paths.
#include "cat_fixture.hpp"

#include <qzservices/containers/io_files.hpp>
#include <qzservices/io/callbacks.hpp>

#include <dirent.h>
#include <unistd.h>

#include <cerrno>

using namespace cattest;

namespace {

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
        ScratchDir::TearDown();
    }
    bool (*saved)(char const*, bool, char*) = nullptr;
};

} // namespace

TEST_F(IoFiles, ReadingSearchesThePathWhenTheNameIsADirectoryWritingNever) {
    makeDir("lib");
    write("lib/found.cx", "found it");
    makeDir("work");
    makeDir("work/found.cx");  // a directory of that name where we stand
    ASSERT_TRUE(pxReplacePath(gSearchPath, path("lib").c_str()));
    char outPath[IO_PATH_BUFFER];
    int outErrno = -1;
    FILE* f = ioFopenPathName("found.cx", "r", outPath, &outErrno);
    ASSERT_NE(f, nullptr);  // not in the process's directory: found on the path
    ioFclose(f);
    EXPECT_STREQ(outPath, path("lib/found.cx").c_str());
    gSearches = 0;
    f = ioFopenPathName(path("work/found.cx").c_str(), "r", outPath, &outErrno);
    EXPECT_EQ(gSearches, 1);  // a directory's name is never opened, it is searched for
    if (f) ioFclose(f);

    gSearches = 0;
    std::string const missing = path("no/such/dir/x");
    EXPECT_EQ(ioFopenPathName(missing.c_str(), "wb", outPath, &outErrno), nullptr);
    EXPECT_EQ(outErrno, ENOENT);
    EXPECT_STREQ(outPath, missing.c_str());
    EXPECT_EQ(ioFopenPathName("", "r", outPath, &outErrno), nullptr);  // opens nothing, touches nothing
    EXPECT_EQ(gSearches, 0);
}

TEST_F(IoFiles, QuietRaisingAndUpdateOpens) {
    write("u.txt", "abc");
    FILE* f = ioFopenPath(path("u.txt").c_str(), "rb+");
    ASSERT_NE(f, nullptr);  // the binary flag is dropped: opened for update, as "r+"
    EXPECT_EQ(std::fputs("X", f), 1);
    ioFclose(f);
    std::ifstream in(path("u.txt"));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "Xbc");

    std::string const missing = path("missing.txt");
    char outPath[IO_PATH_BUFFER];
    EXPECT_EQ(ioFopenErrorChk(missing.c_str(), "r"), nullptr);
    try {
        ioFopenErrorChkPath(missing.c_str(), "r");
        ADD_FAILURE() << "no error for a missing file";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:fileio:fileNotFound");
        EXPECT_NE(std::string(e.what()).find(missing), std::string::npos) << e.what();
    }
    // A path through a file is not a missing file: the quiet form raises too.
    EXPECT_EQ(errorIdOf([&] { ioFopenErrorChk(path("u.txt/below").c_str(), "r"); }), "CALYX:fileio:cantOpenFile");
    f = ioFopenErrorChkPathName(path("u.txt").c_str(), "r", outPath);
    ASSERT_NE(f, nullptr);
    ioFclose(f);
}

TEST(IoOpenErrors, EachErrnoHasItsIdentifierAndItsCheck) {
    struct Row {
        int err;
        char const* id;
        int check;
    } const rows[] = {
        {EACCES, "CALYX:fileio:cantOpenFileNoPermission", -2}, {EMFILE, "CALYX:fileio:tooManyFilesOpen", -1},
        {ENOSPC, "CALYX:fileio:noDiskSpace", 0},               {EISDIR, "CALYX:fileio:cantOpenFile", 0},
        {ENOENT, "CALYX:fileio:fileNotFound", 0},
    };
    for (Row const& r : rows) {
        errno = r.err;
        EXPECT_EQ(errorIdOf([] { ioReportOpenError(false, "name.txt"); }), r.id);
        errno = r.err;
        EXPECT_EQ(ioErrnoChk(), r.check) << r.id;
    }
    errno = ENOENT;
    EXPECT_NO_THROW(ioReportOpenError(true, "name.txt"));
}

TEST(IoFileNames, AddFilenameExtAndTilde) {
    char dst[IO_PATH_BUFFER];
    char const* withExt = "a/b.c";
    EXPECT_EQ(ioAddFilenameExt(dst, withExt, ".txt"), withExt + 3);  // into the name, not dst
    EXPECT_STREQ(dst, "a/b.c");
    EXPECT_EQ(ioAddFilenameExt(dst, "a/b", ".txt"), dst);
    EXPECT_STREQ(dst, "a/b.txt");
    EXPECT_EQ(ioAddFilenameExt(dst, "a/", ".txt"), nullptr);
    EXPECT_STREQ(dst, "a/");
    EXPECT_EQ(ioAddFilenameExt(dst, "x.d/y.e/name", ".cx"), dst);  // the dot counts behind the last "/" only
    EXPECT_STREQ(dst, "x.d/y.e/name.cx");
    std::strcpy(dst, "in/place");
    EXPECT_EQ(ioAddFilenameExt(dst, dst, ".cx"), dst);
    EXPECT_STREQ(dst, "in/place.cx");
    char const* home = std::getenv("HOME");
    ASSERT_NE(home, nullptr);
    EXPECT_EQ(std::string(ioExpandFileName("~/x", dst)), std::string(home) + "/x");
    EXPECT_STREQ(ioExpandFileName("plain/~x", dst), "plain/~x");
}

TEST_F(IoFiles, FileStatusAndAccessibility) {
    QZFstat st{1, 1, 1};
    EXPECT_EQ(ioGetFileStatus(path("absent").c_str(), &st), -1);  // failure values
    EXPECT_EQ(st.time, 0x7fffffff);
    EXPECT_EQ(st.isDir + st.size, 0);
    write("seven", "1234567");
    EXPECT_EQ(ioGetFileStatus(path("seven").c_str(), &st), 0);
    EXPECT_EQ(st.size, 7);
    EXPECT_EQ(st.isDir, 0);
    EXPECT_EQ(ioGetFileStatus(root.c_str(), &st), 0);
    EXPECT_EQ(st.isDir, 1);
    EXPECT_EQ(ioIsDirAccessible("/"), 1);
    EXPECT_EQ(ioIsDirAccessible(path("seven").c_str()), 3);  // a file that cannot be searched
    ASSERT_EQ(chmod(path("seven").c_str(), 0755), 0);
    EXPECT_EQ(ioIsDirAccessible(path("seven").c_str()), 2);
    EXPECT_EQ(ioIsDirAccessible(path("seven/below").c_str()), 4);  // ENOTDIR
    EXPECT_EQ(ioIsFileReadable(path("seven").c_str()), 7);
    EXPECT_EQ(ioIs_DOS_name("C:\\x"), 0);
    EXPECT_EQ(ioGetCDroot(1, nullptr), 0);
}

TEST_F(IoFiles, ListingsAreSortedWithTheirModesAndAnEmptyResultIsNull) {
    makeDir("l");
    for (char const* name : {"l/b.txt", "l/a.txt", "l/B.txt", "l/c.dat", "l/.hidden.txt"}) write(name, "x");
    makeDir("l/dir.txt");
    unsigned int* modes = nullptr;
    Owned list(ioGetDirListWithModes(path("l/*.txt").c_str(), 0, &modes));
    std::unique_ptr<unsigned int, UvFree> ownedModes(modes);
    EXPECT_EQ(unpack(list.get()), (std::vector<std::string>{"B.txt", "a.txt", "b.txt", "dir.txt"}));  // no hidden
    ASSERT_NE(modes, nullptr);
    EXPECT_EQ(modes[0], static_cast<unsigned>(DT_REG) * 4096u);
    EXPECT_EQ(modes[3] & S_IFMT, static_cast<unsigned>(S_IFDIR));
    Owned dotted(ioGetDirList(path("l/.h*").c_str(), 0));
    EXPECT_EQ(unpack(dotted.get()), (std::vector<std::string>{".hidden.txt"}));

    makeDir("empty");  // a pattern relative to the current directory
    pxPath current = pxLookupPath(pxGetCurrentPathname());
    char old[IO_PATH_BUFFER];
    pxGetCWDName(current, old, sizeof old);
    ASSERT_TRUE(pxSetCWDName(current, path("empty").c_str()));
    unsigned int* untouched = reinterpret_cast<unsigned int*>(0x1);
    EXPECT_EQ(ioGetDirListWithModes("*.txt", 0, &untouched), nullptr);
    EXPECT_EQ(untouched, reinterpret_cast<unsigned int*>(0x1));
    write("empty/x.txt", "x");
    Owned one(ioGetDirList("*.txt", 0));
    EXPECT_EQ(unpack(one.get()), (std::vector<std::string>{"x.txt"}));
    pxSetCWDName(current, old);
    EXPECT_EQ(ioGetDirList(path("nowhere/*").c_str(), 0), nullptr);

    Owned empty(ioPackListIntoCharArray({}));
    EXPECT_EQ(std::memcmp(empty.get(), "\0\0", 2), 0);
    Owned packed(ioPackListIntoCharArray({"z", "a", "mid"}));
    EXPECT_EQ(std::memcmp(packed.get(), "z\0a\0mid\0\0", 9), 0);  // kept in the given order
}

TEST_F(IoFiles, CdRootComesFromTheMountTable) {
    // A "mount" of our own, first on the PATH, prints a known table.
    makeDir("bin");
    write("bin/mount", "#!/bin/sh\ncat <<'EOF'\nproc on /proc type proc (rw)\n/dev/sda1 on / type ext4 (rw)\n"
                       "not-a-device on /x type iso9660 (ro)\n/dev/sr0 on /media/cd0 type iso9660 (ro)\n"
                       "/dev/sr1 on /media/cd1 type iso9660 (ro)\nEOF\n");
    ASSERT_EQ(chmod(path("bin/mount").c_str(), 0755), 0);
    std::string const oldPath = std::getenv("PATH");
    setenv("PATH", (path("bin") + ":" + oldPath).c_str(), 1);
    std::string roots;
    for (int n = 1; n <= 3; ++n) {
        char rootName[IO_PATH_BUFFER] = "";
        roots += std::to_string(ioGetCDroot(n, rootName)) + rootName + ";";
    }
    setenv("PATH", oldPath.c_str(), 1);
    EXPECT_EQ(roots, "1/media/cd0;1/media/cd1;0;");  // lines not starting with "/" are skipped
}
