// Walking paths: components, extensions, the machine's priorities, and the
// chains that the look-ups hand back.
#include "cat_fixture.hpp"

#include <unistd.h>

using namespace cattest;

namespace {

std::vector<std::string> components(char const* path) {
    std::string text(path);
    std::vector<std::string> out;
    int len = 0;
    char* at = RFSMwalker::nextPathName(&text[0], &len);
    while (len != 0) {
        out.emplace_back(at, static_cast<size_t>(len));
        at = RFSMwalker::nextPathName(at + len, &len);
    }
    return out;
}

std::string extension(char const* name) {
    std::string text(name);
    int len = static_cast<int>(text.size());
    char* ext = RFSMwalker::nameExtension(&text[0], &len);
    return std::string(ext, static_cast<size_t>(len));
}

// One walk of the machine: whether it resolved the path, the tail (the
// caller's) and the last state.
struct Walked {
    bool resolved;
    std::unique_ptr<svContainer> tail;
    ContainerState* last;
};
Walked walk(std::string const& path, bool statLast) {
    RFSMwalker walker;
    bool const resolved = walker.walkRFSM(path.c_str(), statLast);
    return {resolved, std::unique_ptr<svContainer>(walker.getTail()), walker.getLast()};
}

std::string fullPath(svFile* f) {
    std::unique_ptr<char, void (*)(void*)> p(f->getFullPath(), std::free);
    return p.get();
}

} // namespace

TEST(PathText, ComponentsSkipRepeatedSlashesAndExtensionsFollowTheLastDot) {
    EXPECT_EQ(components("//a///b"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(components("/x/y.cat/z/"), (std::vector<std::string>{"x", "y.cat", "z"}));
    EXPECT_TRUE(components("/").empty());
    int len = -1;
    EXPECT_STREQ(RFSMwalker::rootPathName("/a", &len), "/a");
    EXPECT_EQ(len, 1);
    RFSMwalker::rootPathName("a/b", &len);
    EXPECT_EQ(len, 0);
    // A leading dot starts no extension, a trailing dot gives none.
    std::pair<char const*, char const*> const rows[] = {
        {"foo.cat", "cat"}, {"a.b.cat", "cat"}, {".cat", ""}, {"foo.", ""}, {"foo", ""}, {"x.c", "c"}};
    for (auto const& r : rows) EXPECT_EQ(extension(r.first), r.second) << r.first;
}

TEST(Machine, TheCatMatchIsCaseSensitiveAndACatFileIsTriedFirst) {
    CatContainerState catState;
    char lower[] = "cat", upper[] = "CAT", longer[] = "cats";
    EXPECT_TRUE(catState.matchesContainerType(lower, 3));
    EXPECT_FALSE(catState.matchesContainerType(upper, 3));
    EXPECT_FALSE(catState.matchesContainerType(longer, 4));
    EXPECT_FALSE(catState.matchesContainerType(lower, 0));
    // The priorities show in walking: a CAT file is tried before a directory
    // (a directory named "foo.cat" fails below), CAT subdirectories follow
    // each other (deep nesting reads in the CAT reader's tests).
    ContainerState* head = getContainerFeature().getStartRFSM();
    ASSERT_EQ(head->getNextSize(), 4);
    EXPECT_EQ(head->getNext(0)->getNext(0), head->getNext(2));
    EXPECT_EQ(head->getNext(3)->getNext(0), head->getNext(3));
}

using Walk = ScratchDir;

TEST_F(Walk, RootAloneSucceedsWithAnUnnamedRoot) {
    Walked w = walk("/", false);
    EXPECT_TRUE(w.resolved);
    EXPECT_EQ(w.tail->getName(), nullptr);
    EXPECT_STREQ(w.tail->getPartialPath(), "/");
    EXPECT_EQ(w.tail->getType(), 1);
}

TEST_F(Walk, RelativePathsAreMadeAbsoluteAndDoubledSlashesWalkTheSameSteps) {
    makeDir("a");
    write("a/b", "bee");
    char old[4096];
    ASSERT_NE(getcwd(old, sizeof old), nullptr);
    ASSERT_EQ(chdir(root.c_str()), 0);
    std::unique_ptr<svFile> relative(svFindContainerOrContainerFile("a/b"));
    ASSERT_EQ(chdir(old), 0);
    std::unique_ptr<svFile> odd(svFindContainerOrContainerFile(("/" + root + "//a///b").c_str()));
    for (svFile* found : {relative.get(), odd.get()}) {
        auto* f = dynamic_cast<svContainerFile*>(found);
        ASSERT_NE(f, nullptr);
        EXPECT_EQ(fullPath(f), path("a/b"));
        EXPECT_EQ(f->getSize(), 3);
        EXPECT_EQ(f->getFileType(), 1);
        EXPECT_FALSE(f->hasErrorOnContainerFile());
    }
    // Short enough to be taken, too long once the current directory is in front: no root.
    Walked w = walk(std::string(SV_PATH_BUFFER_SIZE - 2, 'r'), false);
    EXPECT_FALSE(w.resolved);
    EXPECT_EQ(w.tail->getFileAccess(), 4);
}

TEST_F(Walk, CatFileAsLastComponentIsOpenedEvenWithoutStat) {
    write("good.cat", catFile({file("f.txt", "x")}, false));
    write("bad.cat", "not a cat file at all");
    Walked good = walk(path("good.cat"), false);
    EXPECT_TRUE(good.resolved);
    EXPECT_EQ(good.tail->getType(), 2);
    EXPECT_STREQ(good.tail->getName(), ".");
    EXPECT_EQ(good.tail->getOffset(), 4);  // behind the magic
    EXPECT_NE(dynamic_cast<CatContainerState*>(good.last), nullptr);
    Walked bad = walk(path("bad.cat"), false);
    EXPECT_FALSE(bad.resolved);
    EXPECT_EQ(bad.tail->getDirStream()->getStreamAccess(), 3);
    EXPECT_EQ(bad.tail->findStreamAccessInError(), 3);
}

TEST_F(Walk, UpperCaseAndLeadingDotNamesAreDirectoryStepsALowerCaseDirectoryIsNot) {
    for (char const* name : {"foo.CAT", ".cat", "foo.cat"}) {
        makeDir(name);
        write(std::string(name) + "/y", "inside");
    }
    for (char const* inner : {"foo.CAT/y", ".cat/y"}) {
        Walked w = walk(path(inner), true);
        EXPECT_TRUE(w.resolved) << inner;
        EXPECT_EQ(w.tail->getType(), 1) << inner;
        EXPECT_EQ(w.tail->getFileType(), 1) << inner;
        EXPECT_NE(dynamic_cast<StdContainerSubDirState*>(w.last), nullptr) << inner;
    }
    Walked w = walk(path("foo.cat/y"), false);  // a directory named like a CAT file is tried as one, and fails
    EXPECT_FALSE(w.resolved);
    EXPECT_TRUE(w.tail->hasErrorOnContainer());
}

TEST_F(Walk, MissingParentIsFoundOnlyWhenStattedAndOverlongPathsAreRefused) {
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("nope/x").c_str()));
    // A plain step does not stat: the walk succeeds, the file is not there.
    ASSERT_NE(f, nullptr);
    EXPECT_FALSE(f->isReadable());
    EXPECT_EQ(f->getFileAccess(), 4);
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(("/" + std::string(5000, 'a')).c_str()));
    EXPECT_TRUE(c->hasErrorOnContainer());  // longer than the full-path buffer
}

TEST_F(Walk, LookupsReportTheWrongKindOfObject) {
    write("plain.txt", "text");
    makeDir("d");
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("plain.txt").c_str()));
    EXPECT_EQ(c->getFileAccess(), 5);
    ASSERT_NE(c->getFile(), nullptr);
    EXPECT_STREQ(c->getFile()->getName(), "plain.txt");

    std::unique_ptr<svFile> dirAsFile(svFindContainerOrContainerFile(path("d").c_str()));
    auto* container = dynamic_cast<svContainer*>(dirAsFile.get());
    ASSERT_NE(container, nullptr);
    EXPECT_TRUE(container->isDir());
    EXPECT_EQ(fullPath(container), path("d"));

    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("d").c_str()));
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(f->getFileType(), 2);
    EXPECT_EQ(f->getFileAccess(), 5);
    write("a.cat", catFile({dir("sub", {file("f", "1")})}, true));  // the same inside a CAT file
    std::unique_ptr<svContainerFile> g(svContainerFile::svFindContainerFile(path("a.cat/sub").c_str()));
    EXPECT_EQ(g->getFileType(), 2);
    EXPECT_EQ(g->getFileAccess(), 5);
}
