// The Java support level: command-line words and their merge rule with its one
// report, setting the level with the hot links, and the fallbacks.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/state/java_support.hpp"
#include "qzservices/state/machine_config.hpp"
#include "state/state_test.hpp"
#include "support/recording_buffers.hpp"

#include "uv/uv.hpp"

using qztest::expectInFreshProcess;

namespace {

std::string const kConflictNone = "You have specified multiple/conflicting Java options.  Using 'None'";

// Captures what reaches CXErr for the rest of the (fresh) process.
boost::shared_ptr<qztest::RecordingBuffer> captureErr() {
    auto buffer = boost::make_shared<qztest::RecordingBuffer>();
    services::io::CXStream::CXErr.push(
        boost::make_shared<services::io::CXSink>(boost::shared_ptr<std::streambuf>(buffer)));
    return buffer;
}

size_t occurrences(std::string const& text, std::string const& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

// Applies the words in order to a level that starts unspecified.
svJavaSupportLevel parseWords(std::initializer_list<char const*> words) {
    svJavaSupportLevel level = svJavaUnspecified;
    for (char const* w : words) svJavaProcessCmdlineArg(w, &level);
    return level;
}

} // namespace

TEST(JavaCmdline, EachWordAsksForItsLevelAndOtherWordsChangeNothing) {
    struct Case { char const* word; svJavaSupportLevel level; } const cases[] = {
        {"nojvm", svJavaNone},  {"jvm", svJavaDesktop},   {"noawt", svJavaJVM},     {"awt", svJavaDesktop},
        {"noswing", svJavaAWT}, {"swing", svJavaDesktop}, {"noqzt", svJavaSwing},   {"qzt", svJavaDesktop},
        {"nodesktop", svJavaQZT}, {"desktop", svJavaDesktop},
    };
    for (Case const& c : cases) {
        svJavaSupportLevel level = svJavaUnspecified;  // from here a word never conflicts
        EXPECT_TRUE(svJavaProcessCmdlineArg(c.word, &level)) << c.word;
        EXPECT_EQ(level, c.level) << c.word;
    }
    for (char const* word : {"NOJVM", "Desktop", "", "nojvm ", "-nojvm", "nojv", "awtx", static_cast<char const*>(nullptr)}) {
        svJavaSupportLevel level = svJavaSwing;
        EXPECT_FALSE(svJavaProcessCmdlineArg(word, &level)) << (word ? word : "(null)");
        EXPECT_EQ(level, svJavaSwing);
    }
    EXPECT_FALSE(svJavaProcessCmdlineArg("nojvm", nullptr));
}

TEST(JavaCmdline, TheFirstConflictIsReportedOnceAndKeepsTheLevelLaterOnesReplaceIt) {
    expectInFreshProcess([] {
        auto err = captureErr();
        int const syncs = err->syncs;
        QZ_CHILD_CHECK(parseWords({"nojvm", "desktop"}) == svJavaNone, 2);
        QZ_CHILD_CHECK(err->text == kConflictNone + "\nWarning: " + kConflictNone + "\n" && err->syncs > syncs, 3);
        QZ_CHILD_CHECK(vx::lastWarningIdentifier() == "CALYX:SERVICES_STATE_CONFLICTING_JAVA_OPTS", 4);
        QZ_CHILD_CHECK(vx::lastWarningMessage() == kConflictNone, 5);
        // Intended asymmetry: the first conflict keeps the held level, later ones replace it, silently.
        QZ_CHILD_CHECK(parseWords({"nojvm", "desktop", "noawt"}) == svJavaJVM, 6);
        QZ_CHILD_CHECK(parseWords({"noswing", "noqzt"}) == svJavaSwing, 7);
        QZ_CHILD_CHECK(occurrences(err->text, "conflicting Java options") == 2, 8);
        return 0;
    });
}

TEST(JavaCmdline, RepeatedOrEqualLevelsAreNoConflict) {
    expectInFreshProcess([] {
        auto err = captureErr();
        QZ_CHILD_CHECK(parseWords({"noawt", "noawt"}) == svJavaJVM, 2);
        QZ_CHILD_CHECK(parseWords({"jvm", "desktop", "swing"}) == svJavaDesktop && err->text.empty(), 3);
        // The flag was never set, so this conflict is still the first.
        QZ_CHILD_CHECK(parseWords({"noqzt", "nodesktop"}) == svJavaSwing, 4);
        QZ_CHILD_CHECK(occurrences(err->text, "Using 'Swing'") == 2, 5);
        return 0;
    });
}

namespace {

// Keeps the level, the link switches and EMACS as they were.
class JavaSetSupport : public ::testing::Test {
protected:
    void TearDown() override {
        services::state::detail::storeJavaSupportLevel(level_);
        uvSetHotLinks(hot_);
        uvSetDocLinks(doc_);
    }
    qztest::EnvGuard env_{"EMACS"};
    int level_ = svJavaGetSupport();
    bool hot_ = uvGetHotLinks(), doc_ = uvGetDocLinks();
};

} // namespace

TEST_F(JavaSetSupport, HotLinksNeedTheDesktopOrEmacsTAndDocLinksTheAwt) {
    struct Case { char const* emacs /* null: unset */; svJavaSupportLevel level; bool hot, doc; } const cases[] = {
        {"1", svJavaDesktop, true, true}, {"t", svJavaAWT, true, true},  {"1", svJavaAWT, false, true},
        {"T", svJavaAWT, false, true},    {"t ", svJavaAWT, false, true}, {"", svJavaAWT, false, true},
        {nullptr, svJavaSwing, false, true}, {"t", svJavaJVM, true, false}, {"t", svJavaQZT, true, true},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.emacs ? c.emacs : "(unset)") + " " + std::to_string(c.level));
        qztest::setOrUnsetEnv("EMACS", c.emacs);
        uvSetHotLinks(!c.hot);
        uvSetDocLinks(!c.doc);
        EXPECT_EQ(svJavaSetSupport(c.level), c.level);
        EXPECT_EQ(svJavaGetSupport(), static_cast<int>(c.level));
        EXPECT_EQ(uvGetHotLinks(), c.hot);
        EXPECT_EQ(uvGetDocLinks(), c.doc);
    }
}

TEST_F(JavaSetSupport, ZeroKeepsTheLevelAndStillSetsTheLinks) {
    unsetenv("EMACS");
    svJavaSetSupport(svJavaAWT);
    EXPECT_FALSE(uvGetHotLinks());
    setenv("EMACS", "t", 1);
    EXPECT_EQ(svJavaSetSupport(svJavaUnspecified), svJavaAWT);
    EXPECT_TRUE(svJavaGetSupport() == 3 && uvGetHotLinks());
    svJavaSupportLevel parsed = parseWords({"-nosplash", "-r"});  // a command line without Java words
    services::state::detail::storeJavaSupportLevel(svJavaDesktop);
    EXPECT_EQ(svJavaSetSupport(parsed), svJavaDesktop);
}

TEST_F(JavaSetSupport, UseAnswersByNameIgnoringCase) {
    svJavaSetSupport(svJavaSwing);
    for (char const* yes : {"swing", "SWING", "jvm", "Awt"}) EXPECT_TRUE(svJavaUse(yes)) << yes;
    for (char const* no : {"qzt", "desktop", "", "Swing2", "None"}) EXPECT_FALSE(svJavaUse(no)) << no;
    EXPECT_FALSE(svJavaUse(nullptr));
    svJavaSetSupport(svJavaNone);
    EXPECT_FALSE(svJavaUse("JVM"));
}

TEST(JavaFallback, NoJavaDropsToNoneWithAMessageOnce) {
    expectInFreshProcess([] {
        auto err = captureErr();
        svJavaSetSupport(svJavaJVM);
        uvSetDocLinks(true);
        QZ_CHILD_CHECK(svNoJava() == svJavaNone && svJavaGetSupport() == 1, 2);
        QZ_CHILD_CHECK(err->text == "Disabling Java support\nWarning: Disabling Java support\n", 3);
        QZ_CHILD_CHECK(vx::lastWarningIdentifier() == "CALYX:SERVICES_STATE_DISABLING_JAVA", 4);
        QZ_CHILD_CHECK(!uvGetDocLinks(), 5);  // the level was set through svJavaSetSupport
        err->text.clear();
        QZ_CHILD_CHECK(svNoJava() == svJavaNone && err->text.empty(), 6);
        return 0;
    });
}

TEST(JavaFallback, NoDisplayDropsTheAwtSilentlyOnlyInStandaloneMode) {
    expectInFreshProcess([] {
        auto err = captureErr();
        QZ_CHILD_CHECK(svIsStandaloneMode(), 2);
        svJavaNoDisplay();
        QZ_CHILD_CHECK(svJavaGetSupport() == 2 && err->text.empty(), 3);
        svSetCXMode(1);
        svJavaSetSupport(svJavaSwing);
        svJavaNoDisplay();
        std::string const text = "No window system found.  Java option 'Swing' ignored";
        QZ_CHILD_CHECK(svJavaGetSupport() == 2 && err->text == text + "\nWarning: " + text + "\n", 4);
        QZ_CHILD_CHECK(vx::lastWarningIdentifier() == "CALYX:SERVICES_STATE_NO_WINDOW_SYSTEM", 5);
        err->text.clear();
        svJavaNoDisplay();  // now below the AWT: nothing
        QZ_CHILD_CHECK(svJavaGetSupport() == 2 && err->text.empty(), 6);
        svJavaSetSupport(svJavaNone);
        svJavaNoDisplay();
        QZ_CHILD_CHECK(svJavaGetSupport() == 1 && err->text.empty(), 7);
        return 0;
    });
}

TEST(JavaSignature, TheVirtualMachineEntryOnlyWhileJavaIsEnabled) {
    services::machine_config& config = services::machine_config::instance();
    bool const wasEnabled = svIsJavaEnabled();
    struct Row { bool enabled; char const* entry; char const* expected; } const rows[] = {
        {false, "Java 1.8.0_202 with Oracle Corporation", "Java is not enabled"},
        {true, "Java 1.8.0_202 with Oracle Corporation", "Java 1.8.0_202 with Oracle Corporation"},
        {true, "", "Java is not enabled"},
        {false, "", "Java is not enabled"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::string(row.enabled ? "enabled, " : "disabled, ") + row.entry);
        config.set("Virtual Machine", row.entry);
        svSetJavaEnabled(row.enabled);
        EXPECT_EQ(svGetJreSignature(), row.expected);
    }
    config.remove("Virtual Machine");
    svSetJavaEnabled(wasEnabled);
}
