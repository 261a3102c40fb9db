// Preferences: reading keys from "calyx.prf" (blanks, comments, empty values,
// long lines, binary bytes), rewriting one integer byte for byte, the cache
// preference, the directories, the toolbox cache names, the directory
// built-in and the work folder.
#include "qzservices/state/preferences.hpp"
#include "qzservices/state/runtime_identity.hpp"
#include "qzservices/state/session_modes.hpp"
#include "state/state_test.hpp"

#include <cxutil/contextmgr/CxrID.hpp>
#include <cxutil/settings/directories.hpp>
#include <dirent.h>
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <uv/machine_info.hpp>
#include <uv/uv.hpp>

using qztest::readWholeFile;
using qztest::writeWholeFile;

namespace {

bool exists(std::string const& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

// A preferences directory of its own (through CALYX_PREFDIR), a home folder
// inside the scratch directory, and the environment put back afterwards.
class Preferences : public ::testing::Test {
protected:
    void SetUp() override {
        mkdir(prefs_.c_str(), 0755);
        mkdir(home_.c_str(), 0755);
        setenv("CALYX_PREFDIR", prefs_.c_str(), 1);
        setenv("HOME", home_.c_str(), 1);
        unsetenv("CALYX_USERWORKDIR");
        unsetenv("XDG_CONFIG_HOME");
        svSetPreferencesDirectory("");
    }
    void TearDown() override { svSetCXMode(3); }
    std::string prf() const { return prefs_ + "/calyx.prf"; }
    void writePrf(std::string const& text) { writeWholeFile(prf(), text); }
    // svGetPref as a std::string, "<null>" for null; frees the result.
    std::string pref(char const* key) {
        char* value = svGetPref(key);
        std::string text = value != nullptr ? value : "<null>";
        uvFree(value);
        return text;
    }
    // Points CALYX_PREFDIR below a plain file, where no folder can be made.
    std::string blockPrefDir() {
        writeWholeFile(scratch_.file("blocker"), "x");
        setenv("CALYX_PREFDIR", scratch_.file("blocker/prefs").c_str(), 1);
        return scratch_.file("blocker/prefs");
    }

    qztest::EnvGuard env_{"CALYX_PREFDIR", "HOME", "CALYX_USERWORKDIR", "XDG_CONFIG_HOME"};
    qztest::ScratchDir scratch_;
    std::string const prefs_ = scratch_.file("prefs"), home_ = scratch_.file("home");
};

} // namespace

TEST_F(Preferences, GetPrefFindsKeysPastBlanksCommentsLongLinesAndBinaryBytes) {
    // 1023 characters fill one read; what follows on that line reads as a line of its own.
    writePrf("# GeneralUseToolboxCache=Bfalse\n   \tIndented=I8\nMixed=Btrue\rValue=has=equals in it\nx=\nx=Ilater\n\n" +
             std::string(1023, 'a') + "Split=Ifound\n" + std::string("Bin\0ary=I2\n", 11) + "\x01\xff\xfe=\x80\nLast=I3");
    std::pair<char const*, char const*> const cases[] = {
        {"Indented", "I8"}, {"Mixed", "Btrue"}, {"Value", "has=equals in it"}, {"Split", "Ifound"}, {"\x01\xff\xfe", "\x80"},
        {"Last", "I3"} /* no line end after it */, {"x", "<null>"} /* an empty value ends the scan */,
        {"Bin", "<null>"} /* the NUL ends the line's text */, {"mixed", "<null>"}, {"GeneralUseToolboxCache", "<null>"},
        {"# GeneralUseToolboxCache", "<null>"}, {"Missing", "<null>"}};
    for (auto const& c : cases) EXPECT_EQ(pref(c.first), c.second) << c.first;
    EXPECT_EQ(svGetPref(nullptr), nullptr);
}

TEST_F(Preferences, CachePreferenceFollowsTheTwoKeysOutsideStandaloneMode) {
    struct Case { char const* file /* null: no file */; int expected; } const cases[] = {
        {nullptr, 1}, {"GeneralUseToolboxCache=Bfalse\n", 0}, {"GeneralUseToolboxCache=Btrue\n", 1},
        {"GeneralUseToolboxCacheDiag=bTrue\n", 2}, {"GeneralUseToolboxCache=BFALSE\nGeneralUseToolboxCacheDiag=Btrue\n", 0},
        {"GeneralUseToolboxCache=Btrue\nGeneralUseToolboxCacheDiag=Bfalse\n", 1},
        {"GeneralUseToolboxCache=I0\nGeneralUseToolboxCacheDiag=Btrue\n", 2},
    };
    svSetCXMode(1);
    for (Case const& c : cases) {
        if (c.file) writePrf(c.file);
        EXPECT_EQ(svGetCachePreference(), c.expected) << (c.file ? c.file : "(no file)");
    }
    svSetCXMode(3);  // standalone: off without reading
    writePrf("GeneralUseToolboxCache=Btrue\n");
    EXPECT_EQ(svGetCachePreference(), 0);
}

TEST_F(Preferences, SetPrefRewritesOneValueAndKeepsEverythingElse) {
    struct Case { char const* before; char const* key; int value; char const* after; } const cases[] = {
        {"k=I1\n", "k", 12345, "k=I12345\n"},
        {"a=Btrue\nk=I120\nz=I1\n", "k", 5, "a=Btrue\nk=I005\nz=I1\n"},
        {"k=I120\r\n# k\n", "k", 77, "k=I077\r\n# k\n"},
        {"# old k=I77 setting\nk=I1\n", "k", 5, "# old k=I0000000005\nk=I1\n"},
        {"LongKey=I1\nKey=I2\n", "Key", 9, "LongKey=I9\nKey=I2\n"},  // the first occurrence, inside a longer key
        {"k=Bfalse\n", "k", 1, "k=I00001\n"},
        {"k=\n", "k", 42, "k=I42\n"},
        {"a=I1\nk=I42", "k", 7, "a=I1\nk=I07"},  // no line end after the last line
    };
    for (Case const& c : cases) {
        writePrf(c.before);
        svSetPref(c.key, c.value);
        EXPECT_EQ(readWholeFile(prf()), c.after) << c.before;
    }
    // Long lines, binary bytes and the file's permissions are kept.
    std::string const text = std::string(3000, 'x') + "\n" + std::string("bin\0\xff\x01 line\n", 13) + "k=I100\n" +
                             std::string(2000, 'y');  // a long last line without a line end
    writePrf(text);
    chmod(prf().c_str(), 0640);
    svSetPref("k", 7);
    std::string expected = text;
    expected.replace(expected.find("k=I100"), 6, "k=I007");
    EXPECT_EQ(readWholeFile(prf()), expected);
    struct stat st;
    EXPECT_TRUE(stat(prf().c_str(), &st) == 0 && (st.st_mode & 0777) == 0640u);
}

TEST_F(Preferences, SetPrefKeepsALinkAndWritesInPlaceWhereNoFileCanBeMadeBesideIt) {
    // Through a link: the file pointed to changes, the link stays a link.
    std::string const real = scratch_.file("real.prf");
    writeWholeFile(real, "a=I1\nk=I120\n");
    ASSERT_EQ(symlink(real.c_str(), prf().c_str()), 0);
    svSetPref("k", 5);
    struct stat st;
    ASSERT_EQ(lstat(prf().c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(readWholeFile(real), "a=I1\nk=I005\n");
    std::remove(prf().c_str());

    // A folder the user may not write, a file they may: the rewrite happens in place.
    writePrf("a=I1\nk=I120\n");
    chmod(scratch_.path().c_str(), 0755);  // others may pass through to the file
    chmod(prf().c_str(), 0666);
    chmod(prefs_.c_str(), 0555);
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        // root writes anywhere: the child becomes "nobody" for the rewrite
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(2);
        svSetPref("k", 7);
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    chmod(prefs_.c_str(), 0755);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(readWholeFile(prf()), "a=I1\nk=I007\n");

    // Temporaries a killed rewrite left go at the next one; a fresh one (a
    // rewrite under way elsewhere) and other names stay.
    std::string const stale = prefs_ + "/calyx.prf.Ab12Cd", fresh = prefs_ + "/calyx.prf.Zz98Yy",
                      other = prefs_ + "/calyx.prf.keep";
    for (std::string const& f : {stale, fresh, other}) writeWholeFile(f, "k=I1\n");
    struct timeval const old[2] = {{std::time(nullptr) - 600, 0}, {std::time(nullptr) - 600, 0}};
    ASSERT_EQ(utimes(stale.c_str(), old), 0);
    svSetPref("k", 8);
    EXPECT_EQ(readWholeFile(prf()), "a=I1\nk=I008\n");
    EXPECT_FALSE(exists(stale));
    EXPECT_TRUE(exists(fresh));
    EXPECT_TRUE(exists(other));
}

TEST_F(Preferences, SetPrefWritesNothingForAMissingKeyOrAKeyWithoutValue) {
    std::string const text = "a=I1\n# no equals sign after k here\n";
    writePrf(text);
    struct stat before, after;
    ASSERT_EQ(stat(prf().c_str(), &before), 0);
    for (char const* key : {"missing", "k" /* found, but no "=" follows */, "", static_cast<char const*>(nullptr)})
        svSetPref(key, 3);
    ASSERT_EQ(stat(prf().c_str(), &after), 0);
    EXPECT_EQ(readWholeFile(prf()), text);
    EXPECT_EQ(before.st_ino, after.st_ino);  // not even replaced by a copy
    std::remove(prf().c_str());
    svSetPref("a", 1);  // no file: nothing is made
    EXPECT_FALSE(exists(prf()));
}

TEST_F(Preferences, AKilledWriterLeavesTheOldOrTheNewFile) {
    std::string const padding(256 << 10, '#');
    std::string const first = "k=I1\n" + padding + "\n", second = "k=I2\n" + padding + "\n";
    writePrf(second);
    // How long one rewrite takes here, so that the kills spread over whole rewrites.
    auto const start = std::chrono::steady_clock::now();
    svSetPref("k", 1);
    long const micros = static_cast<long>(
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start).count());
    ASSERT_EQ(readWholeFile(prf()), first);
    int const rounds = 40;
    int partial = 0;
    unsigned seed = 12345;
    for (int round = 0; round < rounds; ++round) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0)
            for (int i = 0;; ++i) svSetPref("k", i % 2 == 0 ? 2 : 1);
        seed = seed * 1103515245u + 12345u;
        usleep(static_cast<useconds_t>(micros + (seed >> 8) % (3 * micros + 1)));
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        std::string const now = readWholeFile(prf());
        ASSERT_TRUE(now == first || now == second) << "round " << round << ": " << now.size() << " bytes";
        // A temporary file left behind shows that this kill came in the middle of a write.
        bool leftOver = false;
        if (DIR* d = opendir(prefs_.c_str())) {
            while (struct dirent* e = readdir(d))
                if (std::strncmp(e->d_name, "calyx.prf.", 10) == 0) {
                    leftOver = true;
                    std::remove((prefs_ + "/" + e->d_name).c_str());
                }
            closedir(d);
        }
        partial += leftOver;
    }
    std::printf("[ info ] one rewrite %ld us; %d of %d kills came during a write\n", micros, partial, rounds);
    EXPECT_GT(partial, 0) << "no kill landed during a write";
}

TEST_F(Preferences, DirectoriesLiveInPerThreadCellsAndCacheNamesCarryTheRootsHash) {
    char const* mine = svGetPreferencesDirectory(false);
    ASSERT_TRUE(mine && mine == prefs_);
    std::string other;
    std::thread([&] {
        ASSERT_TRUE(svSetPreferencesDirectory(scratch_.file("elsewhere").c_str()));
        other = svGetPreferencesDirectory(false);
    }).join();
    EXPECT_EQ(other, scratch_.file("elsewhere"));
    EXPECT_EQ(std::string(mine), prefs_);  // this thread's text is untouched
    EXPECT_EQ(std::string(svGetPreferencesDirectory(false)), scratch_.file("elsewhere"));
    EXPECT_EQ(std::string(svGetDefaultPreferencesDirectory()), prefs_);  // the override aside
    EXPECT_EQ(svGetPreviousPreferencesDirectory(), nullptr);
    svSetPreferencesDirectory("");

    std::string const wanted = scratch_.file("new/prefs");
    setenv("CALYX_PREFDIR", wanted.c_str(), 1);
    char const* cache = svGetToolboxCacheFile();
    ASSERT_NE(cache, nullptr);
    EXPECT_EQ(std::string(cache), wanted + "/toolbox_cache-3.4.0-" +
                                      std::to_string(uv_hash_string(0, svCalyxRoot())) + "-linux64.xml");
    EXPECT_TRUE(exists(wanted));  // created on the way
    blockPrefDir();
    EXPECT_EQ(svGetToolboxCacheFile(), nullptr);
    qztest::expectInFreshProcess([] {
        {
            qztest::Capture quiet;
            svSetCXRoot("/opt/calyx");
        }
        QZ_CHILD_CHECK(!std::strcmp(svGetSystemToolboxCacheFile(), "/opt/calyx/toolbox/local/toolbox_cache-linux64.xml"), 2);
        return 0;
    });
}

TEST_F(Preferences, DirectoryBuiltinMakesTheFolderOnRequestAndChecksItsInput) {
    auto call = [](vxArray* input) {
        return vxArrayToStdString(qztest::callBuiltin(&cxr_pref_dir, 1, {input})[0].get());
    };
    EXPECT_EQ(call(nullptr), prefs_);
    setenv("CALYX_PREFDIR", scratch_.file("made/by/builtin").c_str(), 1);
    EXPECT_EQ(call(vxCreateLogicalScalar(true)), scratch_.file("made/by/builtin"));
    EXPECT_TRUE(exists(scratch_.file("made/by/builtin")));
    EXPECT_EQ("CALYX:prefs:BadInput", qztest::errorIdOf([&] { call(vxCreateString("yes")); }));
    EXPECT_THROW(call(vxCreateDoubleMatrix(1, 2, vxREAL)), vx::Error);
    EXPECT_THROW(qztest::callBuiltin(&cxr_pref_dir, 2), vx::Error);
    EXPECT_THROW(qztest::callBuiltin(&cxr_pref_dir, 1, {vxCreateDoubleScalar(1), vxCreateDoubleScalar(1)}), vx::Error);
    std::string const blocked = blockPrefDir();
    try {
        call(vxCreateDoubleScalar(1));
        ADD_FAILURE() << "no error for a folder that cannot be made";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:prefs:MkdirFailed");
        EXPECT_NE(std::string(e.what()).find(blocked), std::string::npos) << e.what();
    }
}

namespace {

// The work folder as {raw, resolved}, through buffers of the given sizes.
class WorkFolder : public Preferences {
protected:
    std::pair<std::string, std::string> get(bool useFactory, size_t rawSize = 8194, size_t resolvedSize = 8194) {
        svGetPref_UserWorkFolder(buffers_->raw, rawSize, buffers_->resolved, resolvedSize, useFactory,
                                 cxutil::contextmgr::CxrID(0));
        return {buffers_->raw, buffers_->resolved};
    }
    void writeSettings(std::string const& text) { writeWholeFile(prefs_ + "/calyx.settings", text); }
    struct Buffers {
        char raw[8194], resolved[8194];
    };
    std::unique_ptr<Buffers> buffers_ = std::make_unique<Buffers>();
    using Result = std::pair<std::string, std::string>;
};

} // namespace

TEST_F(WorkFolder, TheDefaultIsBelowDocumentsOrTheEnvironmentsFolder) {
    // No Documents folder: the path stops there and nothing is made.
    EXPECT_EQ(get(true), Result("$documents/CALYX", home_ + "/Documents"));
    EXPECT_FALSE(exists(home_ + "/Documents"));
    mkdir((home_ + "/Documents").c_str(), 0755);
    EXPECT_EQ(get(false), Result("$documents/CALYX", home_ + "/Documents/CALYX"));  // no user value: the factory one
    EXPECT_TRUE(exists(home_ + "/Documents/CALYX"));
    setenv("CALYX_USERWORKDIR", scratch_.file("work").c_str(), 1);
    EXPECT_EQ(get(true), Result("$documents/CALYX", scratch_.file("work")));  // without "/CALYX"
    EXPECT_TRUE(exists(scratch_.file("work")));
}

TEST_F(WorkFolder, AUserValueStandsAsItIsAndIsNotMade) {
    writeSettings("user calyx/UserPath=" + scratch_.file("mine") + "\n");
    EXPECT_EQ(get(false), Result(scratch_.file("mine"), scratch_.file("mine")));
    EXPECT_FALSE(exists(scratch_.file("mine")));
    EXPECT_EQ(get(true).first, "$documents/CALYX");  // the factory value ignores the user's
}

TEST_F(WorkFolder, WarnsWhenItCannotBeMadeOrTheSettingsAreBroken) {
    std::string const unreachable = scratch_.file("no/such/parent");
    writeSettings("factory calyx/UserPath=" + unreachable + "\nnot a setting\n");
    qztest::Capture capture;
    EXPECT_EQ(get(true).second, unreachable);
    EXPECT_EQ(vx::lastWarningIdentifier(), "CALYX:settings:core:FileLoadingError");
    EXPECT_EQ(capture.outText(), "Warning: Unable to create personal CALYX work folder:" + unreachable + "\n");
}

TEST_F(WorkFolder, SmallBuffersAreRefusedBeforeAnythingIsTouched) {
    writeSettings("not a setting\n");
    setenv("CALYX_USERWORKDIR", scratch_.file("work").c_str(), 1);
    qztest::Capture capture;
    vxWarningMsgId("test:marker", "%s", "before");
    EXPECT_EQ("CALYX:prefs:InsufficientMemory", qztest::errorIdOf([&] { get(true, 8193); }));
    EXPECT_THROW(get(true, 8194, 100), vx::Error);
    EXPECT_FALSE(exists(scratch_.file("work")));
    EXPECT_EQ(vx::lastWarningIdentifier(), "test:marker");  // the broken settings were not read
}
