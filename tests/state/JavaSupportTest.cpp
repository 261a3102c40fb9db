// The Java support level: command-line words and their merge rule with its one
// report, setting the level with the hot links, and the fallbacks.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/state/java_support.hpp"
#include "support/child_process.hpp"
#include "support/recording_buffers.hpp"

#include "uv/uv.hpp"
#include "vx/errors.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

using services::io::CXSink;
using services::io::CXStream;
using qztest::runInFreshProcess;

namespace {

std::string const kConflictNone = "You have specified multiple/conflicting Java options.  Using 'None'";

// Captures what reaches CXErr for the rest of the (fresh) process.
boost::shared_ptr<qztest::RecordingBuffer> captureErr() {
    auto buffer = boost::make_shared<qztest::RecordingBuffer>();
    CXStream::CXErr.push(boost::make_shared<CXSink>(boost::shared_ptr<std::streambuf>(buffer)));
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

TEST(JavaCmdline, EachWordAsksForItsLevel) {
    struct Case {
        char const* word;
        svJavaSupportLevel level;
    } const cases[] = {
        {"nojvm", svJavaNone},  {"jvm", svJavaDesktop},     {"noawt", svJavaJVM}, {"awt", svJavaDesktop},
        {"noswing", svJavaAWT}, {"swing", svJavaDesktop},   {"noqzt", svJavaSwing}, {"qzt", svJavaDesktop},
        {"nodesktop", svJavaQZT}, {"desktop", svJavaDesktop},
    };
    for (Case const& c : cases) {
        // From "unspecified" a word never conflicts, so no report can be made here.
        svJavaSupportLevel level = svJavaUnspecified;
        EXPECT_TRUE(svJavaProcessCmdlineArg(c.word, &level)) << c.word;
        EXPECT_EQ(level, c.level) << c.word;
    }
}

TEST(JavaCmdline, OtherWordsAreRefusedAndChangeNothing) {
    for (char const* word : {"NOJVM", "Desktop", "", "nojvm ", "-nojvm", "nojv", "awtx"}) {
        svJavaSupportLevel level = svJavaSwing;
        EXPECT_FALSE(svJavaProcessCmdlineArg(word, &level)) << word;
        EXPECT_EQ(level, svJavaSwing) << word;
    }
    svJavaSupportLevel level = svJavaAWT;
    EXPECT_FALSE(svJavaProcessCmdlineArg(nullptr, &level));
    EXPECT_EQ(level, svJavaAWT);
    EXPECT_FALSE(svJavaProcessCmdlineArg("nojvm", nullptr));
}

TEST(JavaCmdline, FirstConflictIsReportedNamingTheHeldLevelAndKeepsIt) {
    auto r = runInFreshProcess([] {
        auto err = captureErr();
        int syncs = err->syncs;
        svJavaSupportLevel level = parseWords({"nojvm", "desktop"});
        QZ_CHILD_CHECK(level == svJavaNone, 2);
        QZ_CHILD_CHECK(err->text == kConflictNone + "\nWarning: " + kConflictNone + "\n", 3);
        QZ_CHILD_CHECK(err->syncs > syncs, 4);
        QZ_CHILD_CHECK(vx::lastWarningIdentifier() == "CALYX:SERVICES_STATE_CONFLICTING_JAVA_OPTS", 5);
        QZ_CHILD_CHECK(vx::lastWarningMessage() == kConflictNone, 6);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(JavaCmdline, LaterConflictsReplaceTheLevelWithoutAWord) {
    auto r = runInFreshProcess([] {
        auto err = captureErr();
        // Intended asymmetry: the first conflict keeps 1, the second replaces it.
        svJavaSupportLevel level = parseWords({"nojvm", "desktop", "noawt"});
        QZ_CHILD_CHECK(level == svJavaJVM, 2);
        QZ_CHILD_CHECK(occurrences(err->text, "conflicting Java options") == 2, 3);  // text and warning, once
        level = parseWords({"noswing", "noqzt"});
        QZ_CHILD_CHECK(level == svJavaSwing, 4);
        QZ_CHILD_CHECK(occurrences(err->text, "conflicting Java options") == 2, 5);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(JavaCmdline, RepeatedOrEqualLevelsAreNoConflict) {
    auto r = runInFreshProcess([] {
        auto err = captureErr();
        QZ_CHILD_CHECK(parseWords({"noawt", "noawt"}) == svJavaJVM, 2);
        QZ_CHILD_CHECK(parseWords({"jvm", "desktop", "swing"}) == svJavaDesktop, 3);
        QZ_CHILD_CHECK(err->text.empty(), 4);
        // The flag was never set, so this conflict is still the first.
        QZ_CHILD_CHECK(parseWords({"noqzt", "nodesktop"}) == svJavaSwing, 5);
        QZ_CHILD_CHECK(occurrences(err->text, "Using 'Swing'") == 2, 6);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

namespace {

// Keeps the level, the link switches and EMACS as they were.
class JavaSetSupport : public ::testing::Test {
protected:
    void SetUp() override {
        level_ = svJavaGetSupport();
        hot_ = uvGetHotLinks();
        doc_ = uvGetDocLinks();
        char const* emacs = std::getenv("EMACS");
        hadEmacs_ = emacs != nullptr;
        if (hadEmacs_) emacs_ = emacs;
        unsetenv("EMACS");
    }
    void TearDown() override {
        services::state::detail::storeJavaSupportLevel(level_);
        uvSetHotLinks(hot_);
        uvSetDocLinks(doc_);
        if (hadEmacs_) setenv("EMACS", emacs_.c_str(), 1); else unsetenv("EMACS");
    }
private:
    int level_ = 0;
    bool hot_ = false, doc_ = false, hadEmacs_ = false;
    std::string emacs_;
};

} // namespace

TEST_F(JavaSetSupport, DesktopTurnsBothLinksOnWhateverEmacsSays) {
    setenv("EMACS", "1", 1);
    uvSetHotLinks(false);
    uvSetDocLinks(false);
    EXPECT_EQ(svJavaSetSupport(svJavaDesktop), svJavaDesktop);
    EXPECT_TRUE(uvGetHotLinks());
    EXPECT_TRUE(uvGetDocLinks());
}

TEST_F(JavaSetSupport, EmacsTAtAwtTurnsHotLinksOn) {
    setenv("EMACS", "t", 1);
    EXPECT_EQ(svJavaSetSupport(svJavaAWT), svJavaAWT);
    EXPECT_EQ(svJavaGetSupport(), 3);
    EXPECT_TRUE(uvGetHotLinks());
    EXPECT_TRUE(uvGetDocLinks());
}

TEST_F(JavaSetSupport, EmacsOtherThanTLeavesHotLinksOff) {
    for (char const* value : {"1", "T", "t ", ""}) {
        setenv("EMACS", value, 1);
        uvSetHotLinks(true);
        svJavaSetSupport(svJavaAWT);
        EXPECT_FALSE(uvGetHotLinks()) << '"' << value << '"';
        EXPECT_TRUE(uvGetDocLinks());
    }
    unsetenv("EMACS");
    uvSetHotLinks(true);
    svJavaSetSupport(svJavaSwing);
    EXPECT_FALSE(uvGetHotLinks());
}

TEST_F(JavaSetSupport, DocLinksFollowTheAwt) {
    setenv("EMACS", "t", 1);
    svJavaSetSupport(svJavaJVM);
    EXPECT_TRUE(uvGetHotLinks());
    EXPECT_FALSE(uvGetDocLinks());
    svJavaSetSupport(svJavaQZT);
    EXPECT_TRUE(uvGetDocLinks());
}

TEST_F(JavaSetSupport, ZeroKeepsTheLevelAndStillSetsTheLinks) {
    svJavaSetSupport(svJavaAWT);
    EXPECT_FALSE(uvGetHotLinks());
    setenv("EMACS", "t", 1);
    EXPECT_EQ(svJavaSetSupport(svJavaUnspecified), svJavaAWT);
    EXPECT_EQ(svJavaGetSupport(), 3);
    EXPECT_TRUE(uvGetHotLinks());
    // A command line without Java words keeps the start level.
    svJavaSupportLevel parsed = parseWords({"-nosplash", "-r"});
    services::state::detail::storeJavaSupportLevel(svJavaDesktop);
    EXPECT_EQ(svJavaSetSupport(parsed), svJavaDesktop);
}

TEST_F(JavaSetSupport, UseAnswersByNameIgnoringCase) {
    svJavaSetSupport(svJavaSwing);
    EXPECT_TRUE(svJavaUse("swing"));
    EXPECT_TRUE(svJavaUse("SWING"));
    EXPECT_TRUE(svJavaUse("jvm"));
    EXPECT_TRUE(svJavaUse("Awt"));
    EXPECT_FALSE(svJavaUse("qzt"));
    EXPECT_FALSE(svJavaUse("desktop"));
    EXPECT_FALSE(svJavaUse(""));
    EXPECT_FALSE(svJavaUse(nullptr));
    EXPECT_FALSE(svJavaUse("Swing2"));
    EXPECT_FALSE(svJavaUse("None"));
    svJavaSetSupport(svJavaNone);
    EXPECT_FALSE(svJavaUse("JVM"));
}

TEST(JavaFallback, NoJavaDropsToNoneWithAMessageOnce) {
    auto r = runInFreshProcess([] {
        auto err = captureErr();
        uvSetDocLinks(true);
        QZ_CHILD_CHECK(svNoJava() == svJavaNone, 2);
        QZ_CHILD_CHECK(svJavaGetSupport() == 1, 3);
        QZ_CHILD_CHECK(err->text == "Disabling Java support\nWarning: Disabling Java support\n", 4);
        QZ_CHILD_CHECK(vx::lastWarningIdentifier() == "CALYX:SERVICES_STATE_DISABLING_JAVA", 5);
        QZ_CHILD_CHECK(!uvGetDocLinks(), 6);  // the level was set through svJavaSetSupport
        err->text.clear();
        QZ_CHILD_CHECK(svNoJava() == svJavaNone, 7);
        QZ_CHILD_CHECK(err->text.empty(), 8);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(JavaFallback, NoJavaFromTheVirtualMachineLevel) {
    auto r = runInFreshProcess([] {
        auto err = captureErr();
        svJavaSetSupport(svJavaJVM);
        QZ_CHILD_CHECK(svNoJava() == svJavaNone, 2);
        QZ_CHILD_CHECK(occurrences(err->text, "Disabling Java support") == 2, 3);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(JavaFallback, NoDisplayIsSilentInStandaloneMode) {
    auto r = runInFreshProcess([] {
        auto err = captureErr();
        QZ_CHILD_CHECK(svIsStandaloneMode(), 2);
        svJavaNoDisplay();
        QZ_CHILD_CHECK(svJavaGetSupport() == 2, 3);
        QZ_CHILD_CHECK(err->text.empty(), 4);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(JavaFallback, NoDisplayOutsideStandaloneNamesTheLevelItDrops) {
    auto r = runInFreshProcess([] {
        auto err = captureErr();
        svSetCXMode(1);
        svJavaSetSupport(svJavaSwing);
        svJavaNoDisplay();
        QZ_CHILD_CHECK(svJavaGetSupport() == 2, 2);
        std::string const text = "No window system found.  Java option 'Swing' ignored";
        QZ_CHILD_CHECK(err->text == text + "\nWarning: " + text + "\n", 3);
        QZ_CHILD_CHECK(vx::lastWarningIdentifier() == "CALYX:SERVICES_STATE_NO_WINDOW_SYSTEM", 4);
        err->text.clear();
        svJavaNoDisplay();  // now below the AWT: nothing
        QZ_CHILD_CHECK(svJavaGetSupport() == 2 && err->text.empty(), 5);
        svJavaSetSupport(svJavaNone);
        svJavaNoDisplay();
        QZ_CHILD_CHECK(svJavaGetSupport() == 1 && err->text.empty(), 6);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}
