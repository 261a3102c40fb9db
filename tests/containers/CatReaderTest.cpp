// Reading CAT files: both byte orders, directory blocks and their offsets,
// listings, stats, and files that lie about themselves.
#include "cat_fixture.hpp"

#include <qzservices/containers/CxfileReader.hpp>
#include <qzservices/containers/svCatContainer.hpp>
#include <qzservices/containers/svStdContainer.hpp>

#include <uv/uv.hpp>

#include <sys/stat.h>

#include <cstring>
#include <memory>
#include <vector>

using namespace cattest;

namespace {

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};

// The names of a packed list, in order.
std::vector<std::string> unpack(char const* list) {
    std::vector<std::string> names;
    if (list == nullptr) return names;
    for (char const* p = list; *p; p += std::strlen(p) + 1) names.emplace_back(p);
    return names;
}

std::vector<std::string> listing(std::string const& dirPath) {
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(dirPath.c_str()));
    EXPECT_FALSE(c->hasErrorOnContainer()) << dirPath;
    if (c->hasErrorOnContainer() || !c->getDirStream()->open()) return {"<error>"};
    std::unique_ptr<char, UvFree> list(c->getDirStream()->getDirList());
    c->getDirStream()->close();
    return unpack(list.get());
}

// The bytes of a file read through the container model, or "<code N>".
std::string readThrough(std::string const& filePath) {
    ContainerCxfileReader reader;
    unsigned long size = 0;
    ioErrorMessage error = -1;
    std::unique_ptr<char, UvFree> bytes(static_cast<char*>(reader.read(&size, nullptr, filePath.c_str(), &error)));
    if (bytes == nullptr || error != 0) return "<code " + std::to_string(error) + ">";
    EXPECT_EQ(bytes.get()[size], '\0');
    return std::string(bytes.get(), size);
}

std::vector<Node> sampleTree() {
    return {file("top.txt", "top level"),
            dir("sub", {file("a.txt", "alpha"), dir("deeper", {file("b.txt", "bravo!")}), file("c.txt", "")}),
            file("last", "the end")};
}

} // namespace

using CatRead = ScratchDir;

TEST_F(CatRead, BothByteOrdersReadTheSameTree) {
    write("big.cat", catFile(sampleTree(), true));
    write("little.cat", catFile(sampleTree(), false));
    for (char const* name : {"big.cat", "little.cat"}) {
        std::string const base = path(name);
        EXPECT_EQ(readThrough(base + "/top.txt"), "top level") << name;
        EXPECT_EQ(readThrough(base + "/sub/a.txt"), "alpha") << name;
        EXPECT_EQ(readThrough(base + "/sub/deeper/b.txt"), "bravo!") << name;
        EXPECT_EQ(readThrough(base + "/sub/c.txt"), "") << name;
        EXPECT_EQ(readThrough(base + "/last"), "the end") << name;
        EXPECT_EQ(listing(base), (std::vector<std::string>{".", "..", "top.txt", "sub", "last"})) << name;
        EXPECT_EQ(listing(base + "/sub"), (std::vector<std::string>{".", "..", "a.txt", "deeper", "c.txt"})) << name;
    }
}

TEST_F(CatRead, ByteOrderFollowsTheMagic) {
    write("big.cat", catFile({file("f", "x")}, true));
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("big.cat").c_str()));
    EXPECT_EQ(c->getDirStream()->getEndianness(), 0);
    write("little.cat", catFile({file("f", "x")}, false));
    std::unique_ptr<svContainer> d(svContainer::svFindContainer(path("little.cat").c_str()));
    EXPECT_EQ(d->getDirStream()->getEndianness(), 1);
}

TEST_F(CatRead, EmptyDirectoryBlockListsOnlyDotAndDotDot) {
    write("empty.cat", catFile({}, false));
    EXPECT_EQ(listing(path("empty.cat")), (std::vector<std::string>{".", ".."}));
    write("emptysub.cat", catFile({dir("e", {})}, true));
    EXPECT_EQ(listing(path("emptysub.cat/e")), (std::vector<std::string>{".", ".."}));
}

TEST_F(CatRead, SubdirectoryOffsetsAreRelativeToTheirBlock) {
    // The subdirectory's block starts where its entry's content starts.
    std::vector<Node> const tree = {file("pad", std::string(100, 'p')), dir("d", {file("x", "XX"), file("y", "YYY")})};
    write("o.cat", catFile(tree, false));
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("o.cat/d/y").c_str()));
    ASSERT_FALSE(f->hasErrorOnContainerFile());
    // magic 4 + root header (8 + 2 entries of 9 + 3 and 9 + 1) + 100 bytes of "pad"
    long const subBlock = 4 + (8 + 12 + 10) + 100;
    // the block's header: 8 + (9 + 1) * 2, then "XX"
    EXPECT_EQ(f->getOffset(), subBlock + 28 + 2);
    EXPECT_EQ(f->getSize(), 3);
    EXPECT_EQ(readThrough(path("o.cat/d/y")), "YYY");
}

TEST_F(CatRead, MissingEntryGivesFileNotFound) {
    write("m.cat", catFile(sampleTree(), true));
    EXPECT_EQ(readThrough(path("m.cat/nothere")), "<code 9>");
    EXPECT_EQ(readThrough(path("m.cat/sub/nothere")), "<code 9>");
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("m.cat/sub/none/x").c_str()));
    EXPECT_EQ(c->findStreamAccessInError(), 9);
    EXPECT_EQ(svIoStream::getStreamAccessMnenomics(c->findStreamAccessInError()), "fileNotFound");
}

TEST_F(CatRead, StatOfTheContainerAtItsRoot) {
    write("t.cat", catFile(sampleTree(), false));
    struct stat st;
    ASSERT_EQ(::stat(path("t.cat").c_str(), &st), 0);
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("t.cat").c_str()));
    ASSERT_STREQ(c->getName(), ".");
    EXPECT_TRUE(c->stat());
    EXPECT_EQ(c->getSize(), 0);
    EXPECT_EQ(c->getTime(), static_cast<long>(st.st_mtime));
    EXPECT_TRUE(c->isDir());
    EXPECT_TRUE(c->isAccessible());
    // Entries carry the CAT file's time too.
    std::unique_ptr<svFile> leaf(svFindContainerOrContainerFile(path("t.cat/sub/a.txt").c_str()));
    EXPECT_EQ(leaf->getTime(), static_cast<long>(st.st_mtime));
    EXPECT_EQ(leaf->getSize(), 5);
}

TEST_F(CatRead, FileStatAnswersWithoutChangingTheRecord) {
    write("s.cat", catFile(sampleTree(), true));
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("s.cat/sub/a.txt").c_str()));
    long const offset = f->getOffset();
    f->setTime(-1);
    EXPECT_TRUE(f->stat());  // the entry exists
    EXPECT_EQ(f->getTime(), -1);  // and the record is the one it had
    EXPECT_EQ(f->getOffset(), offset);
    f->setName("gone");
    EXPECT_FALSE(f->stat());
}

TEST_F(CatRead, CatInsideACatIsAnEntry) {
    std::string const inner = catFile({file("deep.txt", "deep")}, false);
    write("outer.cat", catFile({dir("d", {file("inner.cat", inner)})}, true));
    EXPECT_EQ(readThrough(path("outer.cat/d/inner.cat")), inner);
    // It is never opened: a path into it looks for a directory entry.
    EXPECT_EQ(readThrough(path("outer.cat/d/inner.cat/deep.txt")), "<code 9>");
}

TEST_F(CatRead, AnyTypeByteButFIsADirectory) {
    write("types.cat", catFile({dir("x", {file("f", "in x")}, 'x'), dir("d", {file("g", "in d")}, 'D')}, false));
    std::unique_ptr<svFile> x(svFindContainerOrContainerFile(path("types.cat/x").c_str()));
    ASSERT_NE(dynamic_cast<svContainer*>(x.get()), nullptr);
    EXPECT_TRUE(x->isDir());
    EXPECT_EQ(readThrough(path("types.cat/x/f")), "in x");
    EXPECT_EQ(readThrough(path("types.cat/d/g")), "in d");
}

TEST_F(CatRead, EntryCountFieldIsIgnored) {
    std::string bytes = "FTAC" + block({file("a", "1"), file("b", "22")}, false, 7);
    write("count.cat", bytes);
    EXPECT_EQ(listing(path("count.cat")), (std::vector<std::string>{".", "..", "a", "b"}));
    EXPECT_EQ(readThrough(path("count.cat/b")), "22");
}

TEST_F(CatRead, FileUsedAsDirectoryFails) {
    write("f.cat", catFile(sampleTree(), false));
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("f.cat/top.txt/x").c_str()));
    EXPECT_EQ(c->findFileAccessInError(), 5);
    EXPECT_EQ(readThrough(path("f.cat/top.txt/x")), "<code 9>");
}

// ---- files that lie ----

namespace {

// Runs every look-up that reads the file: none may read out of bounds (the
// sanitizers watch), each must report an error code.
void expectCorrupt(std::string const& catPath, std::string const& inner, int allowedA, int allowedB = -2) {
    std::unique_ptr<svContainer> c(svContainer::svFindContainer((catPath + inner).c_str()));
    int code = c->findStreamAccessInError();
    if (!c->hasErrorOnContainer() && c->getDirStream()->open()) {
        std::unique_ptr<char, UvFree> list(c->getDirStream()->getDirList());
        code = c->getDirStream()->getStreamAccess();
    }
    EXPECT_TRUE(code == allowedA || code == allowedB) << catPath << inner << " gave " << code;
}

} // namespace

TEST_F(CatRead, LyingHeadersAreCorruptNotRead) {
    std::string const good = catFile(sampleTree(), true);
    // headerLength below 8
    std::string shortHeader = good;
    shortHeader.replace(4, 4, u32(4, true));
    write("short.cat", shortHeader);
    expectCorrupt(path("short.cat"), "", 3);
    // headerLength past the end of the file
    std::string longHeader = good;
    longHeader.replace(4, 4, u32(1u << 30, true));
    write("long.cat", longHeader);
    expectCorrupt(path("long.cat"), "", 3);
    // negative as a signed int
    std::string hugeHeader = good;
    hugeHeader.replace(4, 4, u32(0xfffffff0u, true));
    write("huge.cat", hugeHeader);
    expectCorrupt(path("huge.cat"), "", 3);
}

TEST_F(CatRead, LyingEntriesAreCorruptNotRead) {
    // The first entry's name length runs past the header.
    std::string nameRuns = catFile({file("a", "1"), file("b", "2")}, false);
    nameRuns.replace(4 + 8 + 1, 4, u32(500, false));
    write("name.cat", nameRuns);
    expectCorrupt(path("name.cat"), "", 3);
    EXPECT_EQ(readThrough(path("name.cat/b")), "<code 3>");
    // A name length just one byte too long leaves no room for the size.
    std::string sizeRuns = catFile({file("abc", "1")}, true);
    sizeRuns.replace(4 + 8 + 1, 4, u32(4, true));
    write("size.cat", sizeRuns);
    expectCorrupt(path("size.cat"), "", 3);
    // A content size past the end of the file.
    std::string contentRuns = catFile({file("a", "1")}, false);
    contentRuns.replace(4 + 8 + 1 + 4 + 1, 4, u32(1000, false));
    write("content.cat", contentRuns);
    EXPECT_EQ(readThrough(path("content.cat/a")), "<code 3>");
    // A subdirectory whose block lies about its header.
    std::string subLies = catFile({dir("d", {file("x", "1")})}, true);
    size_t const subBlock = 4 + 8 + 1 + 4 + 1 + 4;
    subLies.replace(subBlock, 4, u32(3, true));
    write("sub.cat", subLies);
    expectCorrupt(path("sub.cat"), "/d", 3);
    EXPECT_EQ(readThrough(path("sub.cat/d/x")), "<code 3>");
}

TEST_F(CatRead, TruncatedFilesAreCorruptOrUnreadable) {
    std::string const good = catFile(sampleTree(), false);
    for (size_t cut : {size_t(0), size_t(2), size_t(4), size_t(6), size_t(10), size_t(20), good.size() - 1}) {
        write("cut.cat", good.substr(0, cut));
        if (cut <= 20) {  // inside the magic or the root header: nothing can be found
            std::unique_ptr<svContainer> c(svContainer::svFindContainer((path("cut.cat") + "/sub/deeper").c_str()));
            int const code = c->findStreamAccessInError();
            EXPECT_TRUE(code == 2 || code == 3) << "cut at " << cut << " gave " << code;
        }
        std::string const last = readThrough(path("cut.cat/last"));
        EXPECT_EQ(last.substr(0, 6), "<code ") << "cut at " << cut;
    }
}

TEST_F(CatRead, BadMagicIsCorrupt) {
    write("magic.cat", "CATX" + block({file("a", "1")}, true));
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path("magic.cat").c_str()));
    EXPECT_EQ(c->findStreamAccessInError(), 3);
    EXPECT_EQ(svIoStream::getStreamAccessStrings(3), "File is corrupt");
}

TEST_F(CatRead, DeepNestingReadsAndItsTruncationIsCaught) {
    // 100 directories inside each other, a file at the bottom.
    Node node = file("bottom.txt", "at the bottom");
    std::string inner;
    for (int i = 0; i < 100; ++i) {
        node = dir("d", {node});
        inner += "/d";
    }
    std::string const bytes = catFile({node}, true);
    write("deep.cat", bytes);
    EXPECT_EQ(readThrough(path("deep.cat") + inner + "/bottom.txt"), "at the bottom");
    // Cut in the middle: the outer blocks claim more than the file holds.
    write("deep.cat", bytes.substr(0, bytes.size() / 2));
    std::unique_ptr<svContainer> c(svContainer::svFindContainer((path("deep.cat") + inner).c_str()));
    int const code = c->findStreamAccessInError();
    EXPECT_TRUE(code == 2 || code == 3) << code;
    EXPECT_EQ(readThrough(path("deep.cat") + inner + "/bottom.txt").substr(0, 6), "<code ");
}
