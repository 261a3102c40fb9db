// Hostile values at the public functions that take text, a path or an array:
// null where the contract allows it, empty text, names of 4352 and 4353
// characters, invalid UTF-8, unpaired UTF-16 surrogates, paths through missing
// and unreadable directories, and arrays of every class with zero and huge
// dimensions, preferences files that are garbage, cut short or one huge line.
// Each row names the documented outcome; the sanitizers of the test build
// catch anything that goes wrong on the way there.
#include "containers/cat_fixture.hpp"
#include "display/display_support.hpp"

#include <qzservices/containers/io_files.hpp>
#include <qzservices/containers/path_manager_fcns.hpp>
#include <qzservices/display/number_formats.hpp>
#include <qzservices/display/sizes.hpp>
#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/callbacks.hpp>
#include <qzservices/io/diary.hpp>
#include <qzservices/io/wrapping.hpp>
#include <qzservices/state/preferences.hpp>
#include <qzservices/state/service_log.hpp>

#include <boost/make_shared.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

using cattest::ScratchDir;
using qztest::ArrayPtr;
using qztest::DisplayTest;

namespace {

std::string const kLongest(IO_MAX_FILENAME, 'a');        // the longest name allowed
std::string const kTooLong(IO_MAX_FILENAME + 1, 'a');    // one past it
std::string const kBadUtf8 = "bad\xff\xfe\xc3(name";     // stray bytes and a cut sequence

bool runningAsRoot() { return ::geteuid() == 0; }

// ---- the questions about paths ----

struct PathRow {
    char const* what;
    std::function<std::string(std::string const& root)> path;
    int readable;       // ioIsFileReadable
    int dirAccessible;  // ioIsDirAccessible
    bool statOk;        // ioGetFileStatus returns 0
    bool isDir;         // and finds a directory
    bool needsNonRoot;  // permission bits do not stop root
};

class HostilePaths : public ScratchDir {
protected:
    void SetUp() override {
        ScratchDir::SetUp();
        write("file", "x");
        write(kBadUtf8, "y");
        makeDir("locked");
        write("locked/inside", "z");
        ASSERT_EQ(::chmod(path("locked").c_str(), 0), 0);
    }
};

TEST_F(HostilePaths, QuestionsAboutPathsGiveTheirStatusCodes) {
    std::vector<PathRow> const rows = {
        {"empty path", [](std::string const&) { return std::string(); }, 4, 4, false, false, false},
        {"4352 characters", [](std::string const&) { return kLongest; }, 5, 5, false, false, false},
        {"4353 characters", [](std::string const&) { return kTooLong; }, 5, 5, false, false, false},
        {"through a missing directory", [](std::string const& r) { return r + "/missing/child"; }, 4, 4, false,
         false, false},
        {"through a plain file", [](std::string const& r) { return r + "/file/child"; }, 4, 4, false, false, false},
        // A plain file cannot be searched (no execute bit), so it is not an
        // accessible directory: permission denied, even for root.
        {"invalid UTF-8 that exists", [](std::string const& r) { return r + "/" + kBadUtf8; }, 7, 3, true, false,
         false},
        {"invalid UTF-8 that does not", [](std::string const& r) { return r + "/\xff\xff"; }, 4, 4, false, false,
         false},
        {"through an unreadable directory", [](std::string const& r) { return r + "/locked/inside"; }, 3, 3, false,
         false, true},
        {"an unreadable directory", [](std::string const& r) { return r + "/locked"; }, 3, 3, true, true, true},
        {"a readable directory with a slash", [](std::string const& r) { return r + "/"; }, 7, 1, true, true, false},
    };
    for (PathRow const& row : rows) {
        SCOPED_TRACE(row.what);
        if (row.needsNonRoot && runningAsRoot()) continue;  // root reads through any permission bits
        std::string const p = row.path(root);
        EXPECT_EQ(ioIsFileReadable(p.c_str()), row.readable);
        EXPECT_EQ(ioIsDirAccessible(p.c_str()), row.dirAccessible);
        QZFstat st{};
        EXPECT_EQ(ioGetFileStatus(p.c_str(), &st), row.statOk ? 0 : -1);
        if (!row.statOk) {
            EXPECT_EQ(st.time, 0x7fffffff);
            EXPECT_EQ(st.isDir, 0);
            EXPECT_EQ(st.size, 0);
        }
        // The path manager's plain questions answer from the same codes:
        // accessible, no permission and not found pass through, a path that
        // is no directory and every other failure are "other".
        int const dir = row.dirAccessible;
        int const expectedDir = dir == 1 || dir == 3 || dir == 4 ? dir : 5;
        EXPECT_EQ(static_cast<int>(svPlainDirAccessibility(nullptr, p.c_str())), expectedDir);
        EXPECT_EQ(svPlainIsReadableFile(p.c_str()), row.readable == 7);
        EXPECT_EQ(svPlainIsDirectory(nullptr, p.c_str()), row.isDir);
        if (!row.statOk) {
            EXPECT_EQ(svPlainModificationTime(nullptr, p.c_str()), 0x7fffffff);
        }
    }
}

TEST_F(HostilePaths, OpeningRefusesOnlyNamesPastTheLimit) {
    std::vector<char> outPath(IO_PATH_BUFFER, '\0');
    int err = -1;

    // An empty name opens nothing and reports no error.
    EXPECT_EQ(ioFopenPathName("", "r", outPath.data(), &err), nullptr);
    EXPECT_EQ(err, 0);

    // The longest name is tried and fails as the system says, without raising.
    EXPECT_EQ(ioFopenPathName(kLongest.c_str(), "r", outPath.data(), &err), nullptr);
    EXPECT_EQ(err, ENAMETOOLONG);
    EXPECT_EQ(std::string(outPath.data()), kLongest);

    // One character more raises the identified error.
    try {
        ioFopenPathName(kTooLong.c_str(), "r", outPath.data(), &err);
        ADD_FAILURE() << "a name of 4353 characters was accepted";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:fileio:filenameTooLong");
    }

    // A missing file is quiet for the checked open; a missing directory too.
    EXPECT_EQ(ioFopenErrorChk(path("missing/child").c_str(), "r"), nullptr);
    EXPECT_EQ(ioFopenErrorChk(path("nofile").c_str(), "r"), nullptr);
    // A name with invalid UTF-8 opens the file of exactly those bytes.
    FILE* f = ioFopen(path(kBadUtf8).c_str(), "r");
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(std::fgetc(f), 'y');
    EXPECT_EQ(ioFclose(f), 0);
}

TEST(HostileNames, AddingAnExtensionChecksTheCombinedLength) {
    std::vector<char> dst(2 * IO_PATH_BUFFER, '\0');
    // 4349 + 3 = 4352: accepted, the extension is appended.
    std::string const fits(IO_MAX_FILENAME - 3, 'b');
    EXPECT_EQ(ioAddFilenameExt(dst.data(), fits.c_str(), ".cx"), dst.data());
    EXPECT_EQ(std::strlen(dst.data()), static_cast<size_t>(IO_MAX_FILENAME));
    // 4350 + 3 = 4353: refused before anything is copied.
    std::string const over(IO_MAX_FILENAME - 2, 'b');
    std::fill(dst.begin(), dst.end(), '\0');
    EXPECT_THROW(ioAddFilenameExt(dst.data(), over.c_str(), ".cx"), vx::Error);
    EXPECT_EQ(dst[0], '\0');
    // An empty name, like one ending in a slash, has no last part to extend.
    EXPECT_EQ(ioAddFilenameExt(dst.data(), "", ".cx"), nullptr);
    EXPECT_STREQ(dst.data(), "");
    // Invalid UTF-8 is copied and extended as bytes.
    EXPECT_EQ(ioAddFilenameExt(dst.data(), "dir/", ".cx"), nullptr);
    EXPECT_EQ(ioAddFilenameExt(dst.data(), "\xff\xfe", ".cx"), dst.data());
    EXPECT_STREQ(dst.data(), "\xff\xfe.cx");
}

TEST_F(HostilePaths, ListingsOfMissingOrEmptyPlacesAreNull) {
    EXPECT_EQ(ioGetDirList(path("missing/*").c_str(), 0), nullptr);
    EXPECT_EQ(ioGetDirList(path("file/*").c_str(), 0), nullptr);
    EXPECT_EQ(ioGetDirList((kTooLong + "/*").c_str(), 0), nullptr);
    unsigned int* modes = nullptr;
    EXPECT_EQ(ioGetDirListWithModes(path("missing/x*").c_str(), 0, &modes), nullptr);
    EXPECT_EQ(modes, nullptr);
    // The file with invalid UTF-8 in its name is listed byte for byte.
    char* list = ioGetDirList(path("bad*").c_str(), 0);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(std::string(list), kBadUtf8);
    EXPECT_EQ(list[kBadUtf8.size() + 1], '\0');  // one name, then the closing zero
    uvFree(list);
}

// ---- files the session writes: the service log and the diary ----

struct TargetRow {
    char const* what;
    std::function<std::string(std::string const& root)> path;
    char const* error;  // the diary's error identifier; null: the file opens
    bool needsNonRoot;
};

std::vector<TargetRow> const kTargets = {
    {"empty name", [](std::string const&) { return std::string(); }, "CALYX:fileio:cantOpenFile", false},
    {"4352 characters", [](std::string const&) { return kLongest; }, "CALYX:fileio:cantOpenFile", false},
    {"4353 characters", [](std::string const&) { return kTooLong; }, "CALYX:fileio:filenameTooLong", false},
    {"a directory", [](std::string const& r) { return r; }, "CALYX:fileio:cantOpenFile", false},
    {"through a missing directory", [](std::string const& r) { return r + "/missing/f"; },
     "CALYX:fileio:fileNotFound", false},
    {"in an unwritable directory", [](std::string const& r) { return r + "/locked/f"; },
     "CALYX:fileio:cantOpenFileNoPermission", true},
    {"invalid UTF-8", [](std::string const& r) { return r + "/new\xff\xfe"; }, nullptr, false},
};

TEST_F(HostilePaths, ALogThatCannotBeOpenedDropsTheChoice) {
    for (TargetRow const& row : kTargets) {
        for (bool append : {false, true}) {
            SCOPED_TRACE(std::string(row.what) + (append ? ", appended" : ", truncated"));
            if (row.needsNonRoot && runningAsRoot()) continue;
            std::string const p = row.path(root);
            svLogToFile(p, append);
            bool const opens = row.error == nullptr;
            EXPECT_EQ(svOpenLog(), opens ? 0 : -1);
            EXPECT_EQ(svGetLogStream() != nullptr, opens);
            EXPECT_EQ(services::io::CXStream::logStreamPtr_ != nullptr, opens);
            EXPECT_EQ(svGetLogFileName(), opens ? p : "");
            svReleaseLog();
        }
    }
    EXPECT_EQ(::access(path("new\xff\xfe").c_str(), F_OK), 0);
}

TEST_F(HostilePaths, DiaryNamesThatCannotBeOpenedLeaveTheDiaryOff) {
    for (TargetRow const& row : kTargets) {
        SCOPED_TRACE(row.what);
        if (row.needsNonRoot && runningAsRoot()) continue;
        std::string const p = row.path(root);
        nmSetDiaryFile("before");
        auto switchOn = [&p] {
            nmSetDiaryFile(p.c_str());
            nmDiaryFcn("on");
        };
        if (row.error == nullptr) {
            switchOn();
            EXPECT_TRUE(nmIsDiaryEnabled());
            nmDiaryFcn("off");
            EXPECT_EQ(::access(p.c_str(), F_OK), 0);
        } else {
            try {
                switchOn();
                ADD_FAILURE() << "the diary opened";
            } catch (vx::Error const& e) {
                EXPECT_EQ(e.identifier(), row.error);
            }
            EXPECT_FALSE(nmIsDiaryEnabled());
            EXPECT_TRUE(services::io::CXStream::diaryStreamPtr_ == nullptr);
        }
        // A name past the limit is refused before it is stored.
        EXPECT_EQ(std::string(nmGetDiaryFile()), p.size() > IO_MAX_FILENAME ? "before" : p);
    }
    EXPECT_THROW(nmSetDiaryFile(nullptr), vx::Error);
    nmSetDiaryFile("diary");
}

// ---- preferences ----

// The preferences folder is the scratch directory for the length of a test.
class HostilePreferences : public ScratchDir {
protected:
    void SetUp() override {
        ScratchDir::SetUp();
        ASSERT_TRUE(svSetPreferencesDirectory(root.c_str()));
    }
    void TearDown() override {
        svSetPreferencesDirectory("");
        ScratchDir::TearDown();
    }
    void writePrf(std::string const& bytes) { write("calyx.prf", bytes); }
    std::string readPrf() const {
        std::ifstream in(path("calyx.prf"), std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        return text.str();
    }
    // svGetPref as text, "<null>" for null.
    static std::string pref(char const* key) {
        char* value = svGetPref(key);
        std::string const text = value != nullptr ? value : "<null>";
        uvFree(value);
        return text;
    }
};

// Bytes 0x80 to 0xff and NULs: no line end and no "=" anywhere.
std::string garbage() {
    std::string bytes;
    for (int i = 0; i < 5000; ++i) bytes += static_cast<char>(i % 3 == 0 ? 0 : 0x80 + i % 128);
    return bytes;
}

struct GetPrefRow {
    char const* what;
    std::string file;
    char const* key;
    std::string expected;
};

TEST_F(HostilePreferences, ReadingHostileKeysAndFilesGivesAValueOrNull) {
    std::string const hugeValue(100000, 'v');
    std::vector<GetPrefRow> const rows = {
        {"empty key", "=I1\nA=I2\n", "", "<null>"},
        // A read takes at most 1023 characters: a longer key is never whole.
        {"4352-character key", kLongest + "=I1\n", kLongest.c_str(), "<null>"},
        {"4353-character key", kTooLong + "=I1\n", kTooLong.c_str(), "<null>"},
        {"invalid UTF-8 key and value", kBadUtf8 + "=\xff\xfe\n", kBadUtf8.c_str(), "\xff\xfe"},
        {"garbage", garbage(), "A", "<null>"},
        {"cut after the equals sign", "A=", "A", "<null>"},
        {"cut inside the key", "B=I1\nA", "A", "<null>"},
        {"huge line: its first read", "A=" + hugeValue + "\n", "A", std::string(1021, 'v')},
        {"a key after a huge line", std::string(100000, 'x') + "\nA=I3\n", "A", "I3"},
    };
    for (GetPrefRow const& row : rows) {
        SCOPED_TRACE(row.what);
        writePrf(row.file);
        EXPECT_EQ(pref(row.key), row.expected);
    }
}

struct SetPrefRow {
    char const* what;
    std::string before;
    char const* key;
    int value;
    std::string after;
};

TEST_F(HostilePreferences, RewritingChangesOnlyTheOneValue) {
    std::string const noise("\0\xff\x80\n", 4);
    std::vector<SetPrefRow> const rows = {
        {"4353-character key", "A=I1\n", kTooLong.c_str(), 5, "A=I1\n"},
        {"invalid UTF-8 key", kBadUtf8 + "=I10\n", kBadUtf8.c_str(), 7, kBadUtf8 + "=I07\n"},
        {"smallest integer", "A=I1\n", "A", INT_MIN, "A=I-2147483648\n"},
        {"cut inside the key", "B=I1\nA", "A", 5, "B=I1\nA"},
        {"huge line: the whole line is the old value", "A=" + std::string(100000, 'v') + "\nB=I1\n", "A", 1,
         "A=I" + std::string(99998, '0') + "1\nB=I1\n"},
        {"garbage around the key", noise + "A=I1\n" + noise, "A", 2, noise + "A=I2\n" + noise},
    };
    for (SetPrefRow const& row : rows) {
        SCOPED_TRACE(row.what);
        writePrf(row.before);
        svSetPref(row.key, row.value);
        EXPECT_EQ(readPrf(), row.after);
    }
}

TEST_F(HostilePreferences, FilesAndFoldersThatCannotServeGiveNothing) {
    // A folder where the file should be: nothing to read, nothing rewritten.
    makeDir("calyx.prf");
    EXPECT_EQ(pref("A"), "<null>");
    svSetPref("A", 1);
    struct stat st;
    ASSERT_EQ(::stat(path("calyx.prf").c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    ASSERT_EQ(::rmdir(path("calyx.prf").c_str()), 0);

    if (!runningAsRoot()) {
        writePrf("A=I1\n");
        ASSERT_EQ(::chmod(path("calyx.prf").c_str(), 0), 0);
        EXPECT_EQ(pref("A"), "<null>");
        svSetPref("A", 2);  // cannot be opened for writing: left alone
        ASSERT_EQ(::chmod(path("calyx.prf").c_str(), 0600), 0);
        EXPECT_EQ(readPrf(), "A=I1\n");
    }

    // Folders that cannot be made are refused and the folder in use stays.
    write("file", "x");
    for (std::string const& dir : {path("file/sub"), kTooLong, "/" + kLongest}) {
        SCOPED_TRACE(dir.substr(0, 24));
        EXPECT_FALSE(svSetPreferencesDirectory(dir.c_str()));
        EXPECT_STREQ(svGetPreferencesDirectory(false), root.c_str());
    }
}

// ---- wrapped messages ----

class HostileWrapping : public DisplayTest {
protected:
    static std::string wrapped(char const* text) {
        qztest::Capture capture;
        capture.out->setNeedsFormattingForDisplay(true);
        ioPrintWrapped(text, false);
        return capture.outText();
    }
    static std::string wrapped(unsigned short const* text, size_t length) {
        qztest::Capture capture;
        capture.out->setNeedsFormattingForDisplay(true);
        ioPrintWrapped(text, length, false);
        return capture.outText();
    }
};

TEST_F(HostileWrapping, HostileTextKeepsItsMarkersAndItsValidParts) {
    std::string const replaced = "\xEF\xBF\xBD";  // U+FFFD in the native UTF-8
    struct Row {
        char const* what;
        char const* text;
        std::string expected;
    } const rows[] = {
        {"null", nullptr, ""},
        {"empty", "", "[\b]\b \n"},
        // A word longer than the line stays whole on a line of its own.
        {"4352-character word", kLongest.c_str(), "[\b" + kLongest + "]\b \n"},
        {"4353-character word", kTooLong.c_str(), "[\b" + kTooLong + "]\b \n"},
        // Each malformed sequence becomes one U+FFFD: 0xff, 0xfe, and 0xc3 cut short by "(".
        {"invalid UTF-8", kBadUtf8.c_str(), "[\bbad" + replaced + replaced + replaced + "(name]\b \n"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(wrapped(row.text), row.expected);
    }

    // UTF-16: a null text is an empty one whatever its length; an unpaired
    // surrogate, even the last unit, becomes the substitute and its
    // neighbours stay.
    EXPECT_EQ(wrapped(nullptr, 9), "[\b]\b \n");
    unsigned short const units[] = {'a', 0xD800, 'b', 0xDC00, 'c', 0xDBFF};
    EXPECT_EQ(wrapped(units, 6), "[\ba" + replaced + "b" + replaced + "c" + replaced + "]\b \n");
}

// ---- translation ----

TEST(HostileTranslation, TranslationHandsBackTheSameText) {
    for (char const* text : {"", "\xff\xfe", kTooLong.c_str()}) {
        EXPECT_EQ(svXlate(text), text);
        EXPECT_EQ(ioXlate(text), text);
        EXPECT_EQ(ioXlateContextWindow(text, XLATE_CONTEXT_DEFAULT, XLATE_WINDOW_DEFAULT), text);
    }
}

// ---- arrays ----

size_t const kHuge = size_t(1) << 62;

struct EmptyRow {
    vxClassID cls;
    std::vector<size_t> dims;
    char const* expected;    // the whole display under the name "x"
    char const* unnamed;     // the whole display under the empty name; null: not checked
};

ArrayPtr emptyOf(vxClassID cls, std::vector<size_t> const& dims) {
    switch (cls) {
    case vxLOGICAL_CLASS:
        return ArrayPtr(vxCreateLogicalArray(dims.size(), dims.data()));
    case vxCHAR_CLASS:
        return ArrayPtr(vxCreateCharArray(dims.size(), dims.data()));
    case vxCELL_CLASS:
        return ArrayPtr(vxCreateCellArray(dims.size(), dims.data()));
    default:
        return ArrayPtr(vxCreateNumericArray(dims.size(), dims.data(), cls, vxREAL));
    }
}

class HostileArrays : public DisplayTest {};

TEST_F(HostileArrays, EmptyArraysWithHugeDimensionsShowTheirShape) {
    vxClassID const numeric[] = {vxDOUBLE_CLASS, vxSINGLE_CLASS, vxINT8_CLASS,   vxUINT8_CLASS,
                                 vxINT16_CLASS,  vxUINT16_CLASS, vxINT32_CLASS,  vxUINT32_CLASS,
                                 vxINT64_CLASS,  vxUINT64_CLASS, vxLOGICAL_CLASS};
    std::vector<EmptyRow> rows;
    for (vxClassID cls : numeric) {
        rows.push_back({cls, {0, 0}, "\nx =\n\n     []\n\n", ""});
        rows.push_back({cls, {0, kHuge}, "\nx =\n\n   Empty matrix: 0-by-4611686018427387904\n\n", ""});
        rows.push_back({cls, {kHuge, 0}, "\nx =\n\n   Empty matrix: 4611686018427387904-by-0\n\n", ""});
        rows.push_back({cls, {3, 0, kHuge}, "\nx =\n\n   Empty array: 3-by-0-by-4611686018427387904\n\n", ""});
    }
    // Strings say so even without a name, and a named one ends with one more
    // line feed; the cell heading has a blank after its "=".
    rows.push_back({vxCHAR_CLASS, {0, 0}, "\nx =\n\n     ''\n\n\n", "     ''\n\n"});
    rows.push_back({vxCHAR_CLASS, {0, kHuge}, "\nx =\n\n   Empty string: 0-by-4611686018427387904\n\n\n",
                    "   Empty string: 0-by-4611686018427387904\n\n"});
    rows.push_back({vxCELL_CLASS, {0, 0}, "\nx = \n\n     {}\n\n", nullptr});
    rows.push_back({vxCELL_CLASS, {0, 3}, "\nx = \n\n   Empty cell array: 0-by-3\n\n", nullptr});
    for (EmptyRow const& row : rows) {
        SCOPED_TRACE(std::to_string(row.cls) + " with " + std::to_string(row.dims.size()) + " dimensions, last " +
                     std::to_string(row.dims.back()));
        ArrayPtr a = emptyOf(row.cls, row.dims);
        ASSERT_NE(a, nullptr);
        EXPECT_EQ(show("x", a.get()), row.expected);
        // Without a name an empty matrix shows nothing at all.
        if (row.unnamed != nullptr) {
            EXPECT_EQ(show("", a.get()), row.unnamed);
        }
    }
}

TEST_F(HostileArrays, ClassesWithoutANumberFormAreRefusedBeforeWriting) {
    size_t const one[2] = {1, 1};
    char const* field[] = {"f"};
    std::vector<ArrayPtr> refused;
    refused.emplace_back(vxCreateCellArray(2, one));
    refused.emplace_back(vxCreateStructArray(2, one, 1, field));
    for (ArrayPtr const& a : refused) {
        SCOPED_TRACE(vxGetClassName(a.get()));
        qztest::Capture capture;
        EXPECT_THROW(ioPrintMatrix("x", a.get()), vx::Error);
        EXPECT_EQ(capture.outText(), "");
        std::vector<char> dst(IO_FORMAT_ELEMENT_SIZE, '\0');
        EXPECT_THROW(ioFormatElement(dst.data(), a.get(), 0), vx::Error);
    }
}

TEST_F(HostileArrays, NullArraysAndNamesTakeTheirDocumentedForms) {
    // A null array shows as [] under its name; a null name gives the bare values.
    EXPECT_EQ(show("x", nullptr), "\nx =\n\n     []\n\n");
    ArrayPtr three = qztest::doubles({{1, 2, 3}});
    std::string const bare = show(nullptr, three.get());
    EXPECT_EQ(bare.find('='), std::string::npos);
    EXPECT_NE(bare.find("1     2     3"), std::string::npos);
}

TEST_F(HostileArrays, NamesOfAnyLengthOrEncodingAreShownWhole) {
    ArrayPtr one = qztest::doubles({{7}});
    for (std::string const& name : {kLongest, kTooLong}) {
        std::string const out = show(name.c_str(), one.get());
        EXPECT_EQ(out, "\n" + name + " =\n\n     7\n\n");
    }
    // A name with invalid UTF-8 keeps its valid parts, in order, on one
    // heading line; the stray bytes do not reach the sink as they are.
    std::string const out = show(kBadUtf8.c_str(), one.get());
    EXPECT_EQ(out.rfind("\nbad", 0), 0u) << testing::PrintToString(out);
    size_t const end = out.find("(name =\n\n     7\n\n");
    ASSERT_NE(end, std::string::npos) << testing::PrintToString(out);
    EXPECT_EQ(out.substr(1, end).find('\n'), std::string::npos);
    EXPECT_EQ(out.find('\xff'), std::string::npos);
    EXPECT_EQ(out.find('\xfe'), std::string::npos);
}

TEST_F(HostileArrays, UnpairedSurrogatesDoNotSwallowTheirNeighbours) {
    // Units: 'a', a lone high surrogate, 'b', a lone low surrogate, 'c', a high
    // surrogate at the very end.
    vxChar const units[] = {'a', 0xD800, 'b', 0xDC00, 'c', 0xDBFF};
    size_t const dims[2] = {1, sizeof units / sizeof units[0]};
    ArrayPtr s(vxCreateCharArray(2, dims));
    std::memcpy(vxGetData(s.get()), units, sizeof units);
    std::string const out = show("s", s.get());
    size_t const a = out.find('a'), b = out.find('b'), c = out.find('c');
    ASSERT_NE(a, std::string::npos) << out;
    ASSERT_NE(b, std::string::npos) << out;
    ASSERT_NE(c, std::string::npos) << out;
    EXPECT_LT(a, b);
    EXPECT_LT(b, c);
    EXPECT_EQ(out.rfind("\ns =\n\n", 0), 0u) << out;

    // Invalid UTF-8 in a string made from bytes still displays, one row.
    ArrayPtr bytes = qztest::text("x\xffy");
    std::string const shown = show("t", bytes.get());
    EXPECT_NE(shown.find('x'), std::string::npos);
    EXPECT_NE(shown.find('y'), std::string::npos);
}

TEST_F(HostileArrays, SizeTextsStayInsideTheirBuffers) {
    // The largest dimensions print in full and within IO_SIZE_STRING_SIZE.
    size_t const dims[3] = {0, SIZE_MAX, SIZE_MAX};
    ArrayPtr a(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxREAL));
    ASSERT_NE(a, nullptr);
    std::vector<char> dst(IO_SIZE_STRING_SIZE, '\0');
    std::string const size = ioSizeString(a.get(), dst.data());
    EXPECT_EQ(size, "      0x18446744073709551615x18446744073709551615");
    EXPECT_EQ(ioSizeDisplay(a.get()), "[0x18446744073709551615x18446744073709551615 double]");
    EXPECT_TRUE(ioIsAllZero(0, nullptr));
}

} // namespace
