#include "scratch.hpp"

#include <qzlang/files/SourcePath.hpp>

#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>

using langfiles_test::Scratch;
using qzlang::files::SourcePath;

namespace {

// Each test works on a path of its own name in the path manager.
std::string freshPathName() {
    static int count = 0;
    return "langfiles-test-" + std::to_string(++count);
}

std::string textOf(SourcePath& sp, std::string const& name) {
    auto file = sp.locate(name);
    return file ? file->text : std::string("<none>");
}

} // namespace

TEST(SourcePath, CurrentFolderFirstThenPathInOrder) {
    Scratch s;
    s.write("a/f.cx", "% a\n");
    s.write("b/f.cx", "% b\n");
    s.write("b/g.cx", "% g of b\n");
    s.write("work/f.cx", "% here\n");
    s.folder("empty");
    ASSERT_EQ(0, chdir((s.root + "/empty").c_str()));
    SourcePath sp(freshPathName().c_str());
    sp.cd(s.root + "/empty");

    EXPECT_TRUE(sp.addpath({s.root + "/a", s.root + "/b"}).empty());
    EXPECT_EQ((std::vector<std::string>{s.root + "/a", s.root + "/b"}), sp.folders());
    EXPECT_EQ("% a\n", textOf(sp, "f"));
    EXPECT_EQ("% g of b\n", textOf(sp, "g"));

    // addpath puts a folder that is on the path already first again.
    sp.addpath({s.root + "/b"});
    EXPECT_EQ("% b\n", textOf(sp, "f"));
    // '-end' moves it last.
    sp.addpath({s.root + "/b"}, true);
    EXPECT_EQ("% a\n", textOf(sp, "f"));
    EXPECT_EQ(s.root + "/a:" + s.root + "/b", sp.pathText());

    // The current folder hides the path.
    sp.cd("../work");
    EXPECT_EQ(s.root + "/work", sp.pwd());
    EXPECT_EQ("% here\n", textOf(sp, "f"));
    EXPECT_EQ(s.root + "/work/f.cx", sp.which("f"));

    sp.rmpath({s.root + "/a"});
    sp.cd(s.root);
    EXPECT_EQ("% b\n", textOf(sp, "f"));
    EXPECT_EQ((std::vector<std::string>{"\"" + s.root + "/a\" not found in path."}), sp.rmpath({s.root + "/a"}));
    // A file written into the current folder hides the path's at the next
    // epoch, without a cd; removed, it shows the path's again.
    EXPECT_EQ("% b\n", textOf(sp, "f"));
    std::string const mine = s.write("f.cx", "% mine\n");
    EXPECT_EQ("% b\n", textOf(sp, "f"));
    sp.newEpoch();
    EXPECT_EQ("% mine\n", textOf(sp, "f"));
    std::remove(mine.c_str());
    sp.newEpoch();
    EXPECT_EQ("% b\n", textOf(sp, "f"));
    sp.setPath({});
    EXPECT_EQ(nullptr, sp.locate("f"));
    EXPECT_EQ("'f' not found.", sp.which("f"));
}

TEST(SourcePath, FoldersLeftOutComeBackAsWarningTexts) {
    Scratch s;
    s.write("a/f.cx", "x");
    s.write("plain.txt", "x");
    s.folder("odd:name");
    SourcePath sp(freshPathName().c_str());
    std::vector<std::string> const warnings =
        sp.addpath({s.root + "/none", s.root + "/a", s.root + "/plain.txt", s.root + "/odd:name"});
    EXPECT_EQ((std::vector<std::string>{
                  "Name is nonexistent or not a directory: " + s.root + "/none",
                  "Name is nonexistent or not a directory: " + s.root + "/plain.txt",
                  "The folder '" + s.root + "/odd:name' has a ':' in its name and cannot be on the path.",
              }),
              warnings);
    EXPECT_EQ((std::vector<std::string>{s.root + "/a"}), sp.folders());
}

TEST(SourcePath, FunctionFoundOnlyInsideAnArchive) {
    Scratch s;
    s.write("toolbox/tb/mymean.cx", "function m = mymean(x)\nm = sum(x) / numel(x);\n");
    s.write("toolbox/tb/helper.txt", "not a function");
    std::string const cat = s.pack("toolbox", "tb.cat");
    std::string const folder = cat + "/tb";
    SourcePath sp(freshPathName().c_str());
    sp.cd(s.root);
    ASSERT_TRUE(sp.addpath({"tb.cat/tb"}).empty());
    EXPECT_EQ((std::vector<std::string>{folder}), sp.folders());

    auto file = sp.locate("mymean");
    ASSERT_NE(nullptr, file);
    EXPECT_TRUE(file->inArchive);
    EXPECT_EQ("mymean", file->name);
    EXPECT_EQ(folder + "/mymean.cx", file->path);
    EXPECT_EQ("function m = mymean(x)\nm = sum(x) / numel(x);\n", file->text);
    EXPECT_EQ(folder + "/mymean.cx", sp.which("mymean"));
    EXPECT_EQ(2, sp.exist("mymean"));
    EXPECT_EQ(7, sp.exist("tb.cat/tb"));
    EXPECT_EQ(0, sp.exist("nothing"));
    EXPECT_EQ((std::vector<std::string>{"mymean"}), sp.what("tb.cat/tb"));
    EXPECT_EQ(file->text, sp.type("mymean"));

    // With the feature off the archive is a plain file: nothing inside it.
    Scratch::setContainerFeature(0);
    sp.newEpoch();
    EXPECT_EQ(nullptr, sp.locate("mymean"));
    Scratch::setContainerFeature(1);
    sp.newEpoch();
    EXPECT_NE(nullptr, sp.locate("mymean"));
}

TEST(SourcePath, CachedUntilTheNextEpochThenReadAgainOnlyWhenChanged) {
    Scratch s;
    std::string const f = s.write("lib/f.cx", "% one\n");
    Scratch::touch(f, 1000000);
    SourcePath sp(freshPathName().c_str());
    sp.cd(s.root);
    sp.addpath({"lib"});
    EXPECT_EQ("% one\n", textOf(sp, "f"));
    EXPECT_EQ(1u, sp.readCount());
    sp.locate("f")->parsed = std::make_shared<int const>(1);  // the interpreter's parse, kept with the text

    // Within an epoch nothing is asked of the file system: a rewrite, even a
    // removal, is not seen.
    s.write("lib/f.cx", "% two\n");
    Scratch::touch(f, 1000001);
    EXPECT_EQ("% one\n", textOf(sp, "f"));
    std::remove(f.c_str());
    EXPECT_EQ("% one\n", textOf(sp, "f"));
    EXPECT_EQ(1u, sp.readCount());

    s.write("lib/f.cx", "% two\n");
    Scratch::touch(f, 1000001);
    sp.newEpoch();
    EXPECT_EQ("% two\n", textOf(sp, "f"));
    EXPECT_EQ(2u, sp.readCount());
    EXPECT_EQ(nullptr, sp.locate("f")->parsed);  // a new text has no parse yet
    sp.locate("f")->parsed = std::make_shared<int const>(2);
    // Unchanged: checked, not read, and the parse stays.
    sp.newEpoch();
    EXPECT_EQ("% two\n", textOf(sp, "f"));
    EXPECT_EQ(2u, sp.readCount());
    EXPECT_NE(nullptr, sp.locate("f")->parsed);

    // The same second and the same size, another text: the nanoseconds tell.
    struct timespec times[2] = {{1000001, 5}, {1000001, 5}};
    s.write("lib/f.cx", "% 3rd\n");
    utimensat(AT_FDCWD, f.c_str(), times, 0);
    sp.newEpoch();
    EXPECT_EQ("% 3rd\n", textOf(sp, "f"));

    std::remove(f.c_str());
    sp.newEpoch();
    EXPECT_EQ(nullptr, sp.locate("f"));
    EXPECT_EQ(0, sp.exist("f"));
}

TEST(SourcePath, ChangedArchiveIsReadAgain) {
    Scratch s;
    s.write("toolbox/tb/f.cx", "% old\n");
    std::string const cat = s.pack("toolbox", "tb.cat");
    Scratch::touch(cat, 2000000);
    SourcePath sp(freshPathName().c_str());
    sp.addpath({cat + "/tb"});
    EXPECT_EQ("% old\n", textOf(sp, "f"));
    s.write("toolbox/tb/f.cx", "% new text\n");
    s.pack("toolbox", "tb.cat");
    Scratch::touch(cat, 2000001);
    sp.newEpoch();
    EXPECT_EQ("% new text\n", textOf(sp, "f"));
    EXPECT_EQ(2u, sp.readCount());
}

TEST(SourcePath, HostileFilesGiveClearErrors) {
    Scratch s;
    s.write("lib/big.cx", std::string(10 * 1000 * 1000, 'a'));
    s.write("lib/bin.cx", std::string("% ok\n\x7f" "ELF\0\0\1", 11));
    s.write("lib/caf\xc3\xa9.cx", "% accent\n");
    s.write("arch/tb/inner.cx", "% inner\n");
    std::string const tinyArchive = s.pack("arch", "small.cat");
    s.write("broken.cat", "NOPE this is no archive");
    s.write("lib/folder.cx/x", "");  // a folder named like a file

    struct Row {
        char const* what;
        std::function<void(SourcePath&)> act;
        char const* identifier;
        std::string message;
    };
    std::vector<Row> const rows = {
        {"10 MB file", [](SourcePath& sp) { sp.locate("big"); }, "CALYX:files:fileTooLarge",
         "The file '" + s.root + "/lib/big.cx' has 10000000 bytes; a source file may have at most 8388608."},
        {"binary file", [](SourcePath& sp) { sp.locate("bin"); }, "CALYX:files:binaryFile",
         "The file '" + s.root + "/lib/bin.cx' is not a text file: it holds a NUL byte at offset 9."},
        {"non-ASCII name", [](SourcePath& sp) { sp.locate("caf\xc3\xa9"); }, "CALYX:files:invalidName",
         "'caf\xc3\xa9' is not a valid function name: a name is a letter followed by letters, digits or "
         "underscores, at most 63 characters."},
        {"name of 64 characters", [](SourcePath& sp) { sp.locate(std::string(64, 'a')); }, "CALYX:files:invalidName",
         "'" + std::string(64, 'a') + "' is not a valid function name: a name is a letter followed by letters, "
         "digits or underscores, at most 63 characters."},
        {"damaged archive on addpath", [&](SourcePath& sp) { sp.addpath({s.root + "/broken.cat/tb"}); },
         "CALYX:files:damagedArchive", "The CAT archive '" + s.root + "/broken.cat' is damaged (File is corrupt)."},
        {"damaged archive listed", [&](SourcePath& sp) { sp.what(s.root + "/broken.cat"); },
         "CALYX:files:damagedArchive", "The CAT archive '" + s.root + "/broken.cat' is damaged (File is corrupt)."},
        {"damaged after use", [&](SourcePath& sp) {
             sp.addpath({tinyArchive + "/tb"});
             ASSERT_NE(nullptr, sp.locate("inner"));
             s.write("small.cat", "CATF\xff\xff");
             sp.newEpoch();
             sp.locate("inner");
         },
         "CALYX:files:damagedArchive", "The CAT archive '" + s.root + "/small.cat' is damaged (File is corrupt)."},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.what);
        SourcePath sp(freshPathName().c_str());
        sp.addpath({s.root + "/lib"});
        try {
            row.act(sp);
            ADD_FAILURE() << "no error";
        } catch (vx::Error const& e) {
            EXPECT_EQ(row.identifier, e.identifier());
            EXPECT_EQ(row.message, e.what());
        }
        // The session goes on: the path still works.
        sp.newEpoch();
        EXPECT_EQ(nullptr, sp.locate("folder"));
        EXPECT_EQ(nullptr, sp.locate("absent"));
        auto const folders = sp.folders();
        EXPECT_NE(folders.end(), std::find(folders.begin(), folders.end(), s.root + "/lib"));
    }
}

TEST(SourcePath, WhatListsTheSourceFilesOfAFolder) {
    Scratch s;
    s.write("w/zeta.cx", "");
    s.write("w/alpha.cx", "x = 1");
    s.write("w/notes.txt", "");
    s.write("w/2bad.cx", "");
    SourcePath sp(freshPathName().c_str());
    sp.cd(s.root + "/w");
    EXPECT_EQ((std::vector<std::string>{"alpha", "zeta"}), sp.what());
    EXPECT_EQ(7, sp.exist(s.root));
    EXPECT_EQ(2, sp.exist("notes.txt"));
    try {
        sp.what("nowhere");
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        EXPECT_EQ("CALYX:files:noFolder", e.identifier());
        EXPECT_STREQ("The folder 'nowhere' does not exist.", e.what());
    }
    EXPECT_EQ("x = 1\n", sp.type("alpha"));  // a line end added where the file has none
    EXPECT_EQ("", sp.type("zeta.cx"));
}

TEST(SourcePath, ArchiveDamagedWhileOnThePathIsReportedOnce) {
    Scratch s;
    s.write("tree/tb/f.cx", "% f\n");
    std::string const cat = s.pack("tree", "tb.cat");
    SourcePath sp(freshPathName().c_str());
    ASSERT_TRUE(sp.addpath({cat + "/tb"}).empty());
    EXPECT_TRUE(sp.takePathWarnings().empty());
    s.write("tb.cat", std::string("CATF\0\0\0\x20", 8));  // a header length past the end
    sp.newEpoch();
    EXPECT_EQ(nullptr, sp.locate("g"));
    EXPECT_EQ((std::vector<std::string>{"The CAT archive '" + cat + "' is damaged (File is corrupt). Its folder " +
                                        cat + "/tb gives no functions."}),
              sp.takePathWarnings());
    sp.newEpoch();
    EXPECT_EQ(nullptr, sp.locate("g"));
    EXPECT_TRUE(sp.takePathWarnings().empty());
}

TEST(SourcePath, FilesByPathAndTheStartUpFile) {
    Scratch s;
    s.write("scripts/run me.cx", "x = 1;\n");
    s.write("tree/tb/inside.cx", "y = 2;\n");
    std::string const cat = s.pack("tree", "tb.cat");
    SourcePath sp(freshPathName().c_str());
    sp.cd(s.root);
    auto script = sp.readPath("scripts/run me.cx");
    EXPECT_EQ("run me", script->name);
    EXPECT_EQ(s.root + "/scripts/run me.cx", script->path);
    EXPECT_EQ("x = 1;\n", script->text);
    auto inside = sp.readPath(cat + "/tb/inside.cx");
    EXPECT_TRUE(inside->inArchive);
    EXPECT_EQ("y = 2;\n", inside->text);
    EXPECT_THROW(sp.readPath("scripts/none.cx"), vx::Error);

    std::string const work = s.folder("work");
    setenv("CALYX_PREFDIR", s.folder("prefs").c_str(), 1);
    setenv("CALYX_USERWORKDIR", work.c_str(), 1);
    EXPECT_EQ(work, SourcePath::userWorkFolder());
    EXPECT_EQ("", SourcePath::startupFile());
    s.write("work/startup.cx", "disp('hello')\n");
    EXPECT_EQ(work + "/startup.cx", SourcePath::startupFile());
    unsetenv("CALYX_USERWORKDIR");
    unsetenv("CALYX_PREFDIR");
}

TEST(SourcePath, ADamagedArchiveAlreadyOnThePathDoesNotBlockAddpath) {
    Scratch s;
    s.write("tree/tb/f.cx", "% f\n");
    s.write("other/g.cx", "% g\n");
    std::string const cat = s.pack("tree", "tb.cat");
    SourcePath sp(freshPathName().c_str());
    ASSERT_TRUE(sp.addpath({cat + "/tb"}).empty());
    s.write("tb.cat", "garbage");
    EXPECT_EQ((std::vector<std::string>{"The CAT archive '" + cat + "' is damaged (File is corrupt). Its folder " +
                                        cat + "/tb leaves the path."}),
              sp.addpath({s.root + "/other"}));
    EXPECT_EQ((std::vector<std::string>{s.root + "/other"}), sp.folders());
    EXPECT_NE(nullptr, sp.locate("g"));
}
