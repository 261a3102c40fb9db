// The plain family: the flags of a file stream, the errors it raises, reading
// at the end, and tilde expansion below the root.
#include "cat_fixture.hpp"

#include <vx/errors.hpp>

using namespace cattest;

using StdFamily = ScratchDir;

TEST_F(StdFamily, MissingFileGivesNineQuietlyUnlessOnlyReturnOnErrorIsSet) {
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("absent.txt").c_str()));
    svContainerFileIoStream* s = f->getFileStream();
    ASSERT_NE(s, nullptr);
    s->setReturnOnError(true);
    s->setContinueNotFound(true);
    EXPECT_FALSE(s->open("rb"));
    EXPECT_EQ(s->getStreamAccess(), 9);
    s->setReturnOnError(false);
    EXPECT_FALSE(s->open("rb"));
    EXPECT_EQ(s->getStreamAccess(), 9);
    s->setReturnOnError(true);
    s->setContinueNotFound(false);
    EXPECT_THROW(s->open("rb"), vx::Error);
    // A failed stat inside enter leaves the record as it was.
    makeDir("d");
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("d").c_str()));
    ASSERT_TRUE(c->stat());
    long const time = c->getTime();
    EXPECT_FALSE(c->enter("missing", 7, true));
    EXPECT_EQ(c->getTime(), time);
    EXPECT_EQ(c->getFileAccess(), 4);
    // A directory that cannot be opened reports not found; a device is a file to this model.
    std::unique_ptr<svContainer> gone(svContainer::svFindContainer(path("gone").c_str()));
    EXPECT_FALSE(gone->getDirStream()->open());
    EXPECT_EQ(gone->getDirStream()->getStreamAccess(), 9);
    EXPECT_TRUE(std::unique_ptr<svFile>(svFindContainerOrContainerFile("/dev/null"))->isFile());
}

TEST_F(StdFamily, RaisedErrorsAlwaysCarryTheReservedDeviceText) {
    makeDir("adir");  // writing over a directory fails with EISDIR, even for the superuser
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

TEST_F(StdFamily, ReadAtTheEndReturnsZeroWithATerminatedBuffer) {
    write("r.txt", "abc");
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("r.txt").c_str()));
    svContainerFileIoStream* s = f->getFileStream();
    ASSERT_TRUE(s->open());
    auto readText = [s](size_t n) {
        unsigned char* buffer = nullptr;
        size_t const got = s->read(&buffer, n);
        Owned owned(reinterpret_cast<char*>(buffer));
        return buffer == nullptr ? "<null>" : std::to_string(got) + ":" + owned.get();
    };
    EXPECT_EQ(readText(3), "3:abc");
    EXPECT_EQ(s->getpos(), 3);
    EXPECT_EQ(readText(0), "0:");
    EXPECT_TRUE(s->setpos(1));
    EXPECT_EQ(readText(10), "2:bc");
    EXPECT_EQ(s->getStreamAccess(), 0);
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
    Owned full(found->getFullPath());
    EXPECT_STREQ(full.get(), home);
    EXPECT_TRUE(found->isDir());
}
