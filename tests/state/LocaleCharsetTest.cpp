// The message language from the environment and by request, the resource
// subdirectory, the default character set and its built-in, the locale report
// and the library's numbered message tables.
#include "qzservices/state/features.hpp"
#include "qzservices/state/locale_charset.hpp"
#include "support/capture.hpp"
#include "support/child_process.hpp"

#include <fd/i18n/QzLocale.hpp>
#include <orrery/i18n/UnicodeConverterX.hpp>
#include <uv/messages.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <thread>
#include <cstring>
#include <memory>
#include <string>

using qztest::runInFreshProcess;

namespace {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray, ArrayDeleter> ArrayPtr;

// The language chosen from the environment in a new process with LANG and
// CALYX_LANG as given (null: unset). Written to the pipe for the parent.
std::string languageChosenWith(char const* lang, char const* calyxLang) {
    auto r = runInFreshProcess([lang, calyxLang] {
        if (lang) setenv("LANG", lang, 1); else unsetenv("LANG");
        if (calyxLang) setenv("CALYX_LANG", calyxLang, 1); else unsetenv("CALYX_LANG");
        std::fputs(svGetLanguage(), stdout);
        return 0;
    });
    EXPECT_EQ(0, r.exitCode);
    return r.stdoutText;
}

// Restores the language cell after a test that sets it.
class Language : public ::testing::Test {
protected:
    void SetUp() override { saved_ = svGetLanguage(); }
    void TearDown() override { svSetLanguage(saved_.c_str()); }
private:
    std::string saved_;
};

} // namespace

struct LanguageCase {
    char const* lang;       // null: unset
    char const* calyxLang;  // null: unset
    char const* expected;
};

class LanguageFromEnvironment : public ::testing::TestWithParam<LanguageCase> {};

// Each case runs in its own process, because the language is chosen once.
TEST_P(LanguageFromEnvironment, JapaneseNeedsBothLangAndCalyxLang) {
    LanguageCase const c = GetParam();
    EXPECT_EQ(c.expected, languageChosenWith(c.lang, c.calyxLang))
        << (c.lang ? c.lang : "(unset)") << " / " << (c.calyxLang ? c.calyxLang : "(unset)");
}

INSTANTIATE_TEST_SUITE_P(
    Rules, LanguageFromEnvironment,
    ::testing::Values(LanguageCase{nullptr, nullptr, "en"}, LanguageCase{nullptr, "ja", "en"},
                      LanguageCase{"ja_JP.UTF-8", nullptr, "en"}, LanguageCase{"JA", "ja", "ja"},
                      LanguageCase{"ja_JP.eucJP", "ja", "ja"}, LanguageCase{"de_DE", "ja", "en"},
                      // CALYX_LANG must be exactly "ja", and it never chooses another language.
                      LanguageCase{"ja_JP.UTF-8", "JA", "en"}, LanguageCase{"ja_JP.UTF-8", "ja_JP", "en"},
                      LanguageCase{"de_DE.UTF-8", "de", "en"}, LanguageCase{"j", "ja", "en"}));

TEST_F(Language, SetLanguageKeepsThirtyOneCharactersAndIgnoresNull) {
    svSetLanguage("de");
    EXPECT_STREQ("de", svGetLanguage());
    svSetLanguage(nullptr);
    EXPECT_STREQ("de", svGetLanguage());
    std::string const longCode(40, 'x');
    svSetLanguage(longCode.c_str());
    EXPECT_EQ(std::string(31, 'x'), svGetLanguage());
}

TEST_F(Language, SubdirectoryFollowsTheLanguage) {
    struct Case {
        char const* language;
        char const* subdirectory;
    } const cases[] = {
        {"de", "de"},         {"x", "en"},      {"en_GB", "en"},     {"eng", "en"},    {"ja", "ja"},
        {"ja_JP.UTF-8", "ja"}, {"zh_CN.GBK", "zh_CN"}, {"fr_FR", "fr_FR"}, {"ko", "ko"}, {"e", "en"},
    };
    for (Case const& c : cases) {
        svSetLanguage(c.language);
        EXPECT_STREQ(c.subdirectory, svLookInSubdirectory()) << c.language;
    }
}

TEST_F(Language, SubdirectoryBuiltinReturnsTheNameAndChecksItsArguments) {
    svSetLanguage("sv_SE");
    vxArray* out[1] = {nullptr};
    svLookInSubdirectory(1, out, 0, nullptr);
    ArrayPtr name(out[0]);
    EXPECT_EQ("sv_SE", vxArrayToStdString(name.get()));

    vxArray* in[1] = {vxCreateString("x")};
    ArrayPtr holdIn(in[0]);
    vxArray* two[2] = {nullptr, nullptr};
    EXPECT_THROW(svLookInSubdirectory(2, two, 0, nullptr), vx::Error);
    EXPECT_THROW(svLookInSubdirectory(1, two, 1, in), vx::Error);
    EXPECT_EQ(nullptr, two[0]);
}

TEST(IsoLanguage, MapsByTheFirstTwoBytesOnly) {
    EXPECT_STREQ("es", getIsoLang("sp_SP"));
    EXPECT_STREQ("es", getIsoLang("sp"));
    EXPECT_STREQ("de", getIsoLang("ge"));
    EXPECT_STREQ("de", getIsoLang("german"));
    EXPECT_STREQ("en", getIsoLang("en_US"));
    EXPECT_STREQ("ja", getIsoLang("ja_JP"));
    char const* other = "fr_FR";
    EXPECT_EQ(other, getIsoLang(other));  // returned as it is, not copied
    char const* single = "s";
    EXPECT_EQ(single, getIsoLang(single));
    EXPECT_EQ(nullptr, getIsoLang(nullptr));
}

TEST_F(Language, SwitcherSetsTheLanguageAndTheMessageContextOnlyWhenOneExists) {
    auto r = runInFreshProcess([] {
        // No context yet: only the cell changes.
        QZ_CHILD_CHECK(uvGetMessageContext() == nullptr, 2);
        ioLanguageSwitcher("ja");
        QZ_CHILD_CHECK(std::strcmp(svGetLanguage(), "ja") == 0, 3);
        uvMessageContext* context = uvCreateMessageContext("en");
        QZ_CHILD_CHECK(std::strcmp(uvGetMessageLanguage(context), "en") == 0, 4);
        ioLanguageSwitcher("de");
        QZ_CHILD_CHECK(std::strcmp(svGetLanguage(), "de") == 0, 5);
        QZ_CHILD_CHECK(std::strcmp(uvGetMessageLanguage(context), "de") == 0, 6);
        return 0;
    });
    EXPECT_EQ(0, r.exitCode);
}

TEST(MessageTables, RegisteredAtLoadWithTheirExactTexts) {
    char buffer[128];
    EXPECT_EQ(53, uv_sprintm(uvGetMessageContext(), buffer, sizeof buffer, 0x3e0001, "KOI9"));
    EXPECT_STREQ("Error: \"KOI9\" is not a legal IANA character set name.", buffer);
    uv_sprintm(nullptr, buffer, sizeof buffer, 0x3e0002, "None");
    EXPECT_STREQ("\"You have specified multiple/conflicting Java options.  Using 'None'\"", buffer);
    uv_sprintm(nullptr, buffer, sizeof buffer, 0x3e0005);
    EXPECT_STREQ("\"Disabling Java support\"", buffer);
    uv_sprintm(nullptr, buffer, sizeof buffer, 0x4d0004, "a", "b", 10, 7);
    EXPECT_STREQ("Failed copying 'a' to 'b'. Should have written 10 bytes to destination file, but actually wrote 7 bytes",
                 buffer);
    uv_sprintm(nullptr, buffer, sizeof buffer, 0x4d0007, "/nowhere", "No such file or directory");
    EXPECT_STREQ("Could not open directory '/nowhere'. Reason: 'No such file or directory'", buffer);

    EXPECT_STREQ("SERVICES_STATE_NO_WINDOW_SYSTEM", uvGetMessageName(0x3e0004));
    EXPECT_STREQ("SERVICES_CONFIG_CANT_DETERMINE_FILE_TYPE", uvGetMessageName(0x4d0006));
    EXPECT_STREQ("\"Unsupported Java option '%s' may cause problems\"", uvGetMessageText(0x3e0003));
    EXPECT_STREQ("Could not write to file '%s'. The file exists, and overwrite permission has been denied",
                 uvGetMessageText(0x4d0003));
    // Each table ends at its count.
    EXPECT_EQ(nullptr, uvGetMessageText(0x3e0006));
    EXPECT_EQ(nullptr, uvGetMessageText(0x4d0008));
    EXPECT_EQ(nullptr, uvGetMessageText(0x3e0000));
}

namespace {

// Keeps the calling thread's default character set as it was.
class CharacterSet : public ::testing::Test {
protected:
    void TearDown() override {
        while (Orrery::I18N::UnicodeConverterX::popTssDefaultConvName()) {
        }
    }

    // The built-in's output and what it printed.
    std::pair<std::string, std::string> callBuiltin(vxArray* input) {
        ArrayPtr holdInput(input);
        qztest::Capture capture;
        vxArray* out[1] = {nullptr};
        vxArray* in[1] = {input};
        svSetDefaultCharacterSet(1, out, input ? 1 : 0, in);
        ArrayPtr result(out[0]);
        return {vxArrayToStdString(result.get()), capture.outText()};
    }
};

} // namespace

TEST_F(CharacterSet, PlainSetAcceptsIanaNamesOnly) {
    std::string const before = svGetDefaultCharacterSet();
    EXPECT_TRUE(svSetDefaultCharacterSetPlain("ISO-8859-1"));
    EXPECT_STREQ("ISO-8859-1", svGetDefaultCharacterSet());
    EXPECT_TRUE(svSetDefaultCharacterSetPlain("Shift_JIS"));
    EXPECT_STREQ("Shift_JIS", svGetDefaultCharacterSet());
    // ICU knows these, but not as IANA names.
    EXPECT_FALSE(svSetDefaultCharacterSetPlain("SJIS"));
    EXPECT_FALSE(svSetDefaultCharacterSetPlain("cp1252"));
    EXPECT_FALSE(svSetDefaultCharacterSetPlain("no-such-set"));
    EXPECT_FALSE(svSetDefaultCharacterSetPlain(""));
    EXPECT_FALSE(svSetDefaultCharacterSetPlain(nullptr));
    EXPECT_STREQ("Shift_JIS", svGetDefaultCharacterSet());
    TearDown();
    EXPECT_EQ(before, svGetDefaultCharacterSet());
}

TEST_F(CharacterSet, BuiltinReturnsTheOldNameAndPrintsARejectedOne) {
    std::string const start = svGetDefaultCharacterSet();
    auto first = callBuiltin(vxCreateString("UTF-16BE"));
    EXPECT_EQ(start, first.first);
    EXPECT_EQ("", first.second);
    auto second = callBuiltin(vxCreateString("klingon%s"));
    EXPECT_EQ("UTF-16BE", second.first);
    EXPECT_EQ("Error: \"klingon%s\" is not a legal IANA character set name.", second.second);
    EXPECT_STREQ("UTF-16BE", svGetDefaultCharacterSet());
    // No input: reads only.
    auto third = callBuiltin(nullptr);
    EXPECT_EQ("UTF-16BE", third.first);
    EXPECT_EQ("", third.second);
}

TEST_F(CharacterSet, BuiltinWithANumberReturnsTheNameAndDoesNothingElse) {
    std::string const start = svGetDefaultCharacterSet();
    auto result = callBuiltin(vxCreateDoubleScalar(8859));
    EXPECT_EQ(start, result.first);
    EXPECT_EQ("", result.second);
    EXPECT_EQ(start, svGetDefaultCharacterSet());
}

TEST_F(CharacterSet, RejectedNameLongerThanTheBufferIsCutNotOverrun) {
    std::string const name(300, 'q');
    auto result = callBuiltin(vxCreateString(name.c_str()));
    EXPECT_EQ(127u, result.second.size());
    EXPECT_EQ(0u, result.second.find("Error: \"qqqq"));
}

TEST_F(CharacterSet, BuiltinChecksItsArgumentCounts) {
    vxArray* out[2] = {nullptr, nullptr};
    vxArray* in[2] = {vxCreateString("UTF-8"), vxCreateString("UTF-8")};
    ArrayPtr a(in[0]), b(in[1]);
    EXPECT_THROW(svSetDefaultCharacterSet(2, out, 0, in), vx::Error);
    EXPECT_THROW(svSetDefaultCharacterSet(1, out, 2, in), vx::Error);
    EXPECT_EQ(nullptr, out[0]);
}

TEST(CharacterSetPerThread, AThreadsChangeIsItsOwn) {
    std::string const here = svGetDefaultCharacterSet();
    std::string seenThere, afterThere;
    std::thread other([&] {
        svSetDefaultCharacterSetPlain("EUC-JP");
        seenThere = svGetDefaultCharacterSet();
    });
    other.join();
    EXPECT_EQ("EUC-JP", seenThere);
    EXPECT_EQ(here, svGetDefaultCharacterSet());
}

TEST(LocaleReport, ElevenTextFieldsBuiltFromTheGlobalLocale) {
    using fd::i18n::QzLocale;
    vxArray* out[1] = {nullptr};
    svLocaleSetting(1, out, 0, nullptr);
    ArrayPtr report(out[0]);
    ASSERT_EQ(vxSTRUCT_CLASS, vxGetClassID(report.get()));
    ASSERT_EQ(1u, vxGetNumberOfElements(report.get()));
    char const* const names[] = {"LC_CTYPE",   "LC_NUMERIC", "LC_TIME",          "LC_COLLATE",  "LC_MONETARY", "LC_MESSAGES",
                                 "encoding", "terminalEncoding", "jvmEncoding", "status",      "warning"};
    ASSERT_EQ(11, vxGetNumberOfFields(report.get()));
    for (int f = 0; f < 11; ++f) EXPECT_STREQ(names[f], vxGetFieldNameByNumber(report.get(), f));
    auto field = [&](int f) { return vxArrayToStdString(vxGetFieldByNumber(report.get(), 0, f)); };

    QzLocale const& locale = QzLocale::global();
    for (int i = 0; i < 6; ++i) {
        std::string expected = locale.getLocaleName(i) + "." + locale.getEncoding();
        if (!locale.getModifier(i).empty()) expected += "@" + locale.getModifier(i);
        EXPECT_EQ(expected, field(i)) << names[i];
    }
    EXPECT_EQ(locale.getEncoding(), field(6));
    EXPECT_FALSE(field(6).empty());
    EXPECT_EQ(boost::get<std::string>(locale.getOptionData(QzLocale::TerminalEncoding)), field(7));
    EXPECT_EQ(boost::get<std::string>(locale.getOptionData(QzLocale::JvmEncoding)), field(8));
    EXPECT_EQ(fd::i18n::QzLcUtil::getInitStatusMsg(), field(9));
    EXPECT_FALSE(field(9).empty());
    EXPECT_EQ(fd::i18n::QzLcUtil::getInitWarningMsg(), field(10));
}

namespace {

// The report's fields in a new process whose locale variables are all unset
// except LANG (null: unset too).
int checkReportWithLang(char const* lang, std::function<int(std::function<std::string(int)> const&)> const& check) {
    unsetenv("LC_ALL");
    for (char const* v : {"LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE", "LC_MONETARY", "LC_MESSAGES"}) unsetenv(v);
    if (lang) setenv("LANG", lang, 1); else unsetenv("LANG");
    vxArray* out[1] = {nullptr};
    svLocaleSetting(1, out, 0, nullptr);
    ArrayPtr report(out[0]);
    return check([&](int f) { return vxArrayToStdString(vxGetFieldByNumber(report.get(), 0, f)); });
}

} // namespace

TEST(LocaleReport, NothingSetIsTheCLocaleWithoutWarning) {
    auto r = runInFreshProcess([] {
        return checkReportWithLang(nullptr, [](std::function<std::string(int)> const& field) {
            for (int i = 0; i < 6; ++i) QZ_CHILD_CHECK(field(i) == "C.US-ASCII", 2);
            QZ_CHILD_CHECK(field(6) == "US-ASCII", 3);
            QZ_CHILD_CHECK(field(7) == "US-ASCII", 4);
            QZ_CHILD_CHECK(field(9) == "No locale is set in the environment; the \"C\" locale is used.", 5);
            QZ_CHILD_CHECK(field(10).empty(), 6);
            return 0;
        });
    });
    EXPECT_EQ(0, r.exitCode);
}

TEST(LocaleReport, AMissingLocaleFallsBackToCWithAWarningPerCategory) {
    auto r = runInFreshProcess([] {
        return checkReportWithLang("xx_YY.UTF-8", [](std::function<std::string(int)> const& field) {
            QZ_CHILD_CHECK(field(0) == "C.US-ASCII", 2);
            std::string const warning = field(10);
            QZ_CHILD_CHECK(warning.find("The locale \"xx_YY.UTF-8\" of LC_CTYPE is not available; \"C\" is used instead.") == 0, 3);
            QZ_CHILD_CHECK(std::count(warning.begin(), warning.end(), '\n') == 5, 4);
            QZ_CHILD_CHECK(field(9) == "The locale was initialized from the environment, with fallbacks to \"C\".", 5);
            return 0;
        });
    });
    EXPECT_EQ(0, r.exitCode);
}

