// Reading CAT files: both byte orders, directory blocks and their offsets,
// listings, stats, and files that lie about themselves.
#include "cat_fixture.hpp"

#include <qzservices/containers/svCatContainer.hpp>

using namespace cattest;

namespace {

std::vector<Node> sampleTree() {
    return {file("top.txt", "top level"),
            dir("sub", {file("a.txt", "alpha"), dir("deeper", {file("b.txt", "bravo!")}), file("c.txt", "")}),
            file("last", "the end")};
}

// The stream-access code of a look-up, or of listing what it found: every
// look-up that reads a lying file must stop with a code, never read outside it
// (the sanitizers watch).
int lookupCode(std::string const& path) {
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(path.c_str()));
    if (c->hasErrorOnContainer() || !c->getDirStream()->open()) return c->findStreamAccessInError();
    Owned list(c->getDirStream()->getDirList());
    return c->getDirStream()->getStreamAccess();
}

} // namespace

using CatRead = ScratchDir;

TEST_F(CatRead, BothByteOrdersReadTheSameTree) {
    for (bool big : {true, false}) {
        SCOPED_TRACE(big ? "big-endian" : "little-endian");
        std::string const name = big ? "big.cat" : "little.cat";
        write(name, catFile(sampleTree(), big));
        std::string const base = path(name);
        std::unique_ptr<svContainer> c(svContainer::svFindContainer(base.c_str()));
        EXPECT_EQ(c->getDirStream()->getEndianness(), big ? 0 : 1);
        EXPECT_EQ(readThrough(base + "/top.txt"), "top level");
        EXPECT_EQ(readThrough(base + "/sub/a.txt"), "alpha");
        EXPECT_EQ(readThrough(base + "/sub/deeper/b.txt"), "bravo!");
        EXPECT_EQ(readThrough(base + "/sub/c.txt"), "");
        EXPECT_EQ(readThrough(base + "/last"), "the end");
        EXPECT_EQ(listing(base), (std::vector<std::string>{".", "..", "top.txt", "sub", "last"}));
        EXPECT_EQ(listing(base + "/sub"), (std::vector<std::string>{".", "..", "a.txt", "deeper", "c.txt"}));
        // A missing entry, at the top or below, is "fileNotFound"; so is a file used as a directory.
        EXPECT_EQ(readThrough(base + "/nothere"), "<code 9>");
        EXPECT_EQ(readThrough(base + "/sub/nothere"), "<code 9>");
        EXPECT_EQ(readThrough(base + "/top.txt/x"), "<code 9>");
        std::unique_ptr<svContainer> missing(svContainer::svFindContainer((base + "/sub/none/x").c_str()));
        EXPECT_EQ(missing->findStreamAccessInError(), 9);
        std::unique_ptr<svContainer> throughFile(svContainer::svFindContainer((base + "/top.txt/x").c_str()));
        EXPECT_EQ(throughFile->findFileAccessInError(), 5);
    }
}

TEST_F(CatRead, EmptyBlocksTypeBytesAndTheIgnoredCount) {
    write("empty.cat", catFile({}, false));
    EXPECT_EQ(listing(path("empty.cat")), (std::vector<std::string>{".", ".."}));
    write("emptysub.cat", catFile({dir("e", {})}, true));
    EXPECT_EQ(listing(path("emptysub.cat/e")), (std::vector<std::string>{".", ".."}));
    // Any type byte but 'F' is a directory.
    write("types.cat", catFile({dir("x", {file("f", "in x")}, 'x'), dir("d", {file("g", "in d")}, 'D')}, false));
    std::unique_ptr<svFile> x(svFindContainerOrContainerFile(path("types.cat/x").c_str()));
    ASSERT_NE(dynamic_cast<svContainer*>(x.get()), nullptr);
    EXPECT_EQ(readThrough(path("types.cat/x/f")), "in x");
    EXPECT_EQ(readThrough(path("types.cat/d/g")), "in d");
    // The entry count field is not trusted: the header length rules.
    write("count.cat", "FTAC" + block({file("a", "1"), file("b", "22")}, false, 7));
    EXPECT_EQ(listing(path("count.cat")), (std::vector<std::string>{".", "..", "a", "b"}));
    EXPECT_EQ(readThrough(path("count.cat/b")), "22");
}

TEST_F(CatRead, SubdirectoryOffsetsAreRelativeToTheirBlock) {
    std::vector<Node> const tree = {file("pad", std::string(100, 'p')), dir("d", {file("x", "XX"), file("y", "YYY")})};
    write("o.cat", catFile(tree, false));
    std::unique_ptr<svContainerFile> f(svContainerFile::svFindContainerFile(path("o.cat/d/y").c_str()));
    ASSERT_FALSE(f->hasErrorOnContainerFile());
    // magic 4 + root header (8 + 2 entries of 9 + 3 and 9 + 1) + 100 bytes of "pad"
    long const subBlock = 4 + (8 + 12 + 10) + 100;
    EXPECT_EQ(f->getOffset(), subBlock + 28 + 2);  // the block's header 8 + (9 + 1) * 2, then "XX"
    EXPECT_EQ(f->getSize(), 3);
    EXPECT_EQ(readThrough(path("o.cat/d/y")), "YYY");
    // Stat answers whether the entry exists without changing the record.
    f->setTime(-1);
    EXPECT_TRUE(f->stat());
    EXPECT_EQ(f->getTime(), -1);
    EXPECT_EQ(f->getOffset(), subBlock + 30);
    f->setName("gone");
    EXPECT_FALSE(f->stat());
}

TEST_F(CatRead, StatOfTheContainerAtItsRootAndOfItsEntries) {
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
    std::unique_ptr<svFile> leaf(svFindContainerOrContainerFile(path("t.cat/sub/a.txt").c_str()));
    EXPECT_EQ(leaf->getTime(), static_cast<long>(st.st_mtime));  // entries carry the CAT file's time
    EXPECT_EQ(leaf->getSize(), 5);
}

TEST_F(CatRead, CatInsideACatIsAnEntry) {
    std::string const inner = catFile({file("deep.txt", "deep")}, false);
    write("outer.cat", catFile({dir("d", {file("inner.cat", inner)})}, true));
    EXPECT_EQ(readThrough(path("outer.cat/d/inner.cat")), inner);
    // It is never opened: a path into it looks for a directory entry.
    EXPECT_EQ(readThrough(path("outer.cat/d/inner.cat/deep.txt")), "<code 9>");
}

TEST_F(CatRead, LyingHeadersAndEntriesAreCorruptNotRead) {
    auto patched = [](std::string bytes, size_t at, std::uint32_t value, bool big) {
        return bytes.replace(at, 4, u32(value, big));
    };
    std::string const good = catFile(sampleTree(), true);
    size_t const firstName = 4 + 8 + 1, subBlock = 4 + 8 + 1 + 4 + 1 + 4;
    struct Row {
        char const* what;
        std::string bytes;
        char const* inner;
        int code;
    } const rows[] = {
        {"header length below 8", patched(good, 4, 4, true), "", 3},
        {"header length past the end", patched(good, 4, 1u << 30, true), "", 3},
        {"header length negative as int", patched(good, 4, 0xfffffff0u, true), "", 3},
        {"name past the header", patched(catFile({file("a", "1"), file("b", "2")}, false), firstName, 500, false), "", 3},
        {"no room for the size", patched(catFile({file("abc", "1")}, true), firstName, 4, true), "", 3},
        {"sub block header", patched(catFile({dir("d", {file("x", "1")})}, true), subBlock, 3, true), "/d", 3},
        {"bad magic", "CATX" + block({file("a", "1")}, true), "", 3},
    };
    for (Row const& r : rows) {
        write("lie.cat", r.bytes);
        EXPECT_EQ(r.code, lookupCode(path("lie.cat") + r.inner)) << r.what;
    }
    EXPECT_EQ(svIoStream::getStreamAccessStrings(3), "File is corrupt");
    write("name.cat", rows[3].bytes);
    EXPECT_EQ(readThrough(path("name.cat/b")), "<code 3>");
    write("sub.cat", rows[5].bytes);
    EXPECT_EQ(readThrough(path("sub.cat/d/x")), "<code 3>");
    write("content.cat", patched(catFile({file("a", "1")}, false), firstName + 4 + 1, 1000, false));
    EXPECT_EQ(readThrough(path("content.cat/a")), "<code 3>");  // content past the end of the file
}

TEST_F(CatRead, TruncatedAndDeeplyNestedFilesAreCorruptOrUnreadable) {
    std::string const good = catFile(sampleTree(), false);
    for (size_t cut : {size_t(0), size_t(2), size_t(4), size_t(6), size_t(10), size_t(20), good.size() - 1}) {
        write("cut.cat", good.substr(0, cut));
        if (cut <= 20) {  // inside the magic or the root header: nothing can be found
            std::unique_ptr<svContainer> c(svContainer::svFindContainer((path("cut.cat") + "/sub/deeper").c_str()));
            int const code = c->findStreamAccessInError();
            EXPECT_TRUE(code == 2 || code == 3) << "cut at " << cut << " gave " << code;
        }
        EXPECT_EQ(readThrough(path("cut.cat/last")).substr(0, 6), "<code ") << "cut at " << cut;
    }
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
    write("deep.cat", bytes.substr(0, bytes.size() / 2));  // the outer blocks claim more than the file holds
    std::unique_ptr<svContainer> c(svContainer::svFindContainer((path("deep.cat") + inner).c_str()));
    int const code = c->findStreamAccessInError();
    EXPECT_TRUE(code == 2 || code == 3) << code;
    EXPECT_EQ(readThrough(path("deep.cat") + inner + "/bottom.txt").substr(0, 6), "<code ");
}
