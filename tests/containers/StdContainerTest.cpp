// The plain family: stats, streams, listings, tilde expansion, and the
// errors a stream raises when asked to.
#include "cat_fixture.hpp"

#include <qzservices/containers/svStdContainer.hpp>

#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <cstring>

using namespace cattest;

namespace {
struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};
} // namespace

using StdFamily = ScratchDir;

TEST_F(StdFamily, StatTellsFilesFromDirectories) {
    write("f.txt", "12345");
    makeDir("d");
    std::unique_ptr<svFile> f(svFindContainerOrContainerFile(path("f.txt").c_str()));
    EXPECT_TRUE(f->isFile());
    EXPECT_EQ(f->getSize(), 5);
    EXPECT_EQ(f->size(), 5);
    std::unique_ptr<svFile> d(svFindContainerOrContainerFile(path("d").c_str()));
    EXPECT_TRUE(d->isDir());
    EXPECT_EQ(d->getSize(), 0);  // whatever the file system says
    // A device is a file as far as this model goes.
    std::unique_ptr<svFile> dev(svFindContainerOrContainerFile("/dev/null"));
    EXPECT_TRUE(dev->isFile());
}

TEST_F(StdFamily, FailedStatInsideEnterLeavesTheRecord) {
    makeDir("d");
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("d").c_str()));
    ASSERT_TRUE(c->stat());
    long const time = c->getTime();
    EXPECT_FALSE(c->enter("missing", 7, true));
    EXPECT_EQ(c->getTime(), time);
    EXPECT_EQ(c->getFileAccess(), 4);
}

TEST_F(StdFamily, MissingFileWithContinueNotFoundGivesNineQuietly) {
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("absent.txt").c_str()));
    ASSERT_NE(f->getFileStream(), nullptr);
    f->getFileStream()->setReturnOnError(true);
    f->getFileStream()->setContinueNotFound(true);
    EXPECT_FALSE(f->getFileStream()->open("rb"));
    EXPECT_EQ(f->getFileStream()->getStreamAccess(), 9);
    // Without the flags, the code comes back the same way.
    f->getFileStream()->setReturnOnError(false);
    EXPECT_FALSE(f->getFileStream()->open("rb"));
    EXPECT_EQ(f->getFileStream()->getStreamAccess(), 9);
    // With returnOnError alone, a missing file raises.
    f->getFileStream()->setReturnOnError(true);
    f->getFileStream()->setContinueNotFound(false);
    EXPECT_THROW(f->getFileStream()->open("rb"), vx::Error);
}

TEST_F(StdFamily, RaisedErrorsAlwaysCarryTheReservedDeviceText) {
    // Writing over a directory fails with EISDIR, even for the superuser.
    makeDir("adir");
    svStdContainerFile object;  // outlives the stream, which does not own it
    object.setName(path("adir").c_str());
    svStdContainerFileBufferIoStream stream;
    stream.setStreamFile(&object);
    stream.setReturnOnError(true);
    try {
        stream.open("wb");
        ADD_FAILURE() << "no error raised";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:legacy_two_part:containerStreamError");
        EXPECT_NE(std::string(e.what()).find("Reserved Unix device"), std::string::npos) << e.what();
        EXPECT_NE(std::string(e.what()).find(path("adir")), std::string::npos) << e.what();
    }
    stream.setReturnOnError(false);
    EXPECT_FALSE(stream.open("wb"));
    EXPECT_EQ(stream.getStreamAccess(), 1);
}

TEST_F(StdFamily, NoPermissionRaisesWithTheReservedDeviceText) {
    if (geteuid() == 0) GTEST_SKIP() << "permissions do not bind the superuser";
    write("locked.txt", "secret");
    ASSERT_EQ(chmod(path("locked.txt").c_str(), 0), 0);
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("locked.txt").c_str()));
    f->getFileStream()->setReturnOnError(true);
    try {
        f->getFileStream()->open("rb");
        ADD_FAILURE() << "no error raised";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:legacy_two_part:containerStreamError");
        EXPECT_NE(std::string(e.what()).find("Reserved Unix device"), std::string::npos) << e.what();
        EXPECT_NE(std::string(e.what()).find(path("locked.txt")), std::string::npos) << e.what();
    }
}

TEST_F(StdFamily, ReadAtTheEndReturnsZeroWithATerminatedBuffer) {
    write("r.txt", "abc");
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("r.txt").c_str()));
    svContainerFileIoStream* s = f->getFileStream();
    ASSERT_TRUE(s->open());
    unsigned char* buffer = nullptr;
    EXPECT_EQ(s->read(&buffer, 3), 3u);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "abc");
    uvFree(buffer);
    EXPECT_EQ(s->getpos(), 3);
    EXPECT_EQ(s->read(&buffer, 0), 0u);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer[0], 0);
    uvFree(buffer);
    EXPECT_TRUE(s->setpos(1));
    EXPECT_EQ(s->read(&buffer, 10), 2u);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "bc");
    uvFree(buffer);
    EXPECT_EQ(s->getStreamAccess(), 0);
}

TEST_F(StdFamily, DirectoryListingHasEveryEntry) {
    makeDir("l");
    write("l/one", "1");
    write("l/two", "2");
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("l").c_str()));
    ASSERT_TRUE(c->getDirStream()->open());
    std::unique_ptr<char, UvFree> list(c->getDirStream()->getDirList());
    c->getDirStream()->close();
    std::set<std::string> names;
    for (char const* p = list.get(); *p; p += std::strlen(p) + 1) names.insert(p);
    EXPECT_EQ(names, (std::set<std::string>{".", "..", "one", "two"}));
    // A directory that cannot be opened reports not found.
    std::unique_ptr<svContainer> gone(svContainer::svFindContainer(path("gone").c_str()));
    EXPECT_FALSE(gone->getDirStream()->open());
    EXPECT_EQ(gone->getDirStream()->getStreamAccess(), 9);
}

TEST_F(StdFamily, TildeBelowTheRootExpandsButNotInAFreshContainer) {
    char const* home = std::getenv("HOME");
    ASSERT_NE(home, nullptr);
    svStdContainer fresh;
    fresh.setPartialPath(static_cast<char*>(uvCalloc(SV_PATH_BUFFER_SIZE, 1)));
    EXPECT_TRUE(fresh.enter("~", 1));
    EXPECT_STREQ(fresh.getName(), "~");  // an empty partial path: no expansion
    EXPECT_STREQ(fresh.getPartialPath(), "");

    svStdContainer below;
    below.setPartialPath(static_cast<char*>(uvCalloc(SV_PATH_BUFFER_SIZE, 1)));
    below.appendToPartialPath("/");
    EXPECT_TRUE(below.enter("~", 1));
    EXPECT_STREQ(below.getPartialPath(), home);
    EXPECT_EQ(below.getName(), nullptr);  // the name stays as it was

    std::unique_ptr<svFile> found(svFindContainerOrContainerFile("/~"));
    std::unique_ptr<char, UvFree> full(found->getFullPath());
    EXPECT_STREQ(full.get(), home);
    EXPECT_TRUE(found->isDir());
}
