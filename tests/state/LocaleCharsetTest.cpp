// The message language from the environment and by request, the resource
// subdirectory, the default character set and its built-in, the locale report
// and the library's numbered message tables.
#include "qzservices/state/features.hpp"
#include "qzservices/state/locale_charset.hpp"
#include "state/state_test.hpp"

#include <fd/i18n/QzLocale.hpp>
#include <orrery/i18n/UnicodeConverterX.hpp>
#include <uv/messages.hpp>

using qztest::ArrayPtr;
using qztest::expectInFreshProcess;

namespace {

// Restores the language cell after a test that sets it.
class Language : public ::testing::Test {
protected:
    void TearDown() override { svSetLanguage(saved_.c_str()); }
    std::string saved_ = svGetLanguage();
};

struct LanguageCase {
    char const* lang;       // null: unset
    char const* calyxLang;  // null: unset
    char const* expected;
};

class LanguageFromEnvironment : public ::testing::TestWithParam<LanguageCase> {};

} // namespace

// Each case runs in its own process, because the language is chosen once.
TEST_P(LanguageFromEnvironment, JapaneseNeedsBothLangAndCalyxLang) {
    LanguageCase const c = GetParam();
    auto r = qztest::runInFreshProcess([c] {
        qztest::setOrUnsetEnv("LANG", c.lang);
        qztest::setOrUnsetEnv("CALYX_LANG", c.calyxLang);
        std::fputs(svGetLanguage(), stdout);
        return 0;
    });
    EXPECT_EQ(0, r.exitCode);
    EXPECT_EQ(c.expected, r.stdoutText) << (c.lang ? c.lang : "(unset)") << " / " << (c.calyxLang ? c.calyxLang : "(unset)");
}

INSTANTIATE_TEST_SUITE_P(
    Rules, LanguageFromEnvironment,
    ::testing::Values(LanguageCase{nullptr, nullptr, "en"}, LanguageCase{nullptr, "ja", "en"},
                      LanguageCase{"ja_JP.UTF-8", nullptr, "en"}, LanguageCase{"JA", "ja", "ja"},
                      LanguageCase{"ja_JP.eucJP", "ja", "ja"}, LanguageCase{"de_DE", "ja", "en"},
                      // CALYX_LANG must be exactly "ja", and it never chooses another language.
                      LanguageCase{"ja_JP.UTF-8", "JA", "en"}, LanguageCase{"ja_JP.UTF-8", "ja_JP", "en"},
                      LanguageCase{"de_DE.UTF-8", "de", "en"}, LanguageCase{"j", "ja", "en"}),
    // Stable test names: the row's index (gtest would name a struct by its bytes).
    [](::testing::TestParamInfo<LanguageCase> const& info) { return "row" + std::to_string(info.index); });

TEST_F(Language, SetKeepsThirtyOneCharactersIgnoresNullAndTheSubdirectoryFollows) {
    svSetLanguage("de");
    svSetLanguage(nullptr);
    EXPECT_STREQ("de", svGetLanguage());
    svSetLanguage(std::string(4353, 'x').c_str());
    EXPECT_EQ(std::string(31, 'x'), svGetLanguage());
    struct Case { char const* language; char const* subdirectory; } const cases[] = {
        {"de", "de"},          {"x", "en"},           {"en_GB", "en"},    {"eng", "en"}, {"ja", "ja"},
        {"ja_JP.UTF-8", "ja"}, {"zh_CN.GBK", "zh_CN"}, {"fr_FR", "fr_FR"}, {"ko", "ko"}, {"e", "en"},
    };
    for (Case const& c : cases) {
        svSetLanguage(c.language);
        EXPECT_STREQ(c.subdirectory, svLookInSubdirectory()) << c.language;
    }
    svSetLanguage("sv_SE");
    qztest::Builtin const builtin = &svLookInSubdirectory;
    EXPECT_EQ("sv_SE", vxArrayToStdString(qztest::callBuiltin(builtin, 1)[0].get()));
    EXPECT_THROW(qztest::callBuiltin(builtin, 2), vx::Error);
    EXPECT_THROW(qztest::callBuiltin(builtin, 1, {vxCreateString("x")}), vx::Error);
}

TEST(IsoLanguage, MapsByTheFirstTwoBytesOnly) {
    for (auto const& c : {std::make_pair("sp_SP", "es"), {"sp", "es"}, {"ge", "de"}, {"german", "de"}, {"en_US", "en"},
                          {"ja_JP", "ja"}})
        EXPECT_STREQ(c.second, getIsoLang(c.first)) << c.first;
    char const* other = "fr_FR";
    char const* single = "s";
    EXPECT_EQ(other, getIsoLang(other));  // returned as it is, not copied
    EXPECT_EQ(single, getIsoLang(single));
    EXPECT_EQ(nullptr, getIsoLang(nullptr));
}

TEST(LanguageSwitcher, SetsTheLanguageAndTheMessageContextOnlyWhenOneExists) {
    expectInFreshProcess([] {
        QZ_CHILD_CHECK(uvGetMessageContext() == nullptr, 2);
        ioLanguageSwitcher("ja");  // no context yet: only the cell changes
        QZ_CHILD_CHECK(std::strcmp(svGetLanguage(), "ja") == 0, 3);
        uvMessageContext* context = uvCreateMessageContext("en");
        QZ_CHILD_CHECK(std::strcmp(uvGetMessageLanguage(context), "en") == 0, 4);
        ioLanguageSwitcher("de");
        QZ_CHILD_CHECK(!std::strcmp(svGetLanguage(), "de") && !std::strcmp(uvGetMessageLanguage(context), "de"), 5);
        return 0;
    });
}

TEST(MessageTables, RegisteredAtLoadWithTheirExactTexts) {
    char buffer[128];
    EXPECT_EQ(53, uv_sprintm(uvGetMessageContext(), buffer, sizeof buffer, 0x3e0001, "KOI9"));
    EXPECT_STREQ("Error: \"KOI9\" is not a legal IANA character set name.", buffer);
    uv_sprintm(nullptr, buffer, sizeof buffer, 0x3e0002, "None");
    EXPECT_STREQ("\"You have specified multiple/conflicting Java options.  Using 'None'\"", buffer);
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
    for (int past : {0x3e0006, 0x4d0008, 0x3e0000}) EXPECT_EQ(nullptr, uvGetMessageText(past)) << past;
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
        qztest::Capture capture;
        auto out = qztest::callBuiltin(&svSetDefaultCharacterSet, 1, {input});
        return {vxArrayToStdString(out[0].get()), capture.outText()};
    }
    using Result = std::pair<std::string, std::string>;
};

} // namespace

TEST_F(CharacterSet, PlainSetAcceptsIanaNamesOnly) {
    std::string const before = svGetDefaultCharacterSet();
    EXPECT_TRUE(svSetDefaultCharacterSetPlain("ISO-8859-1"));
    EXPECT_TRUE(svSetDefaultCharacterSetPlain("Shift_JIS"));
    // ICU knows the first two, but not as IANA names.
    std::string const longName(4353, 'a');
    for (char const* bad : {"SJIS", "cp1252", "no-such-set", "", longName.c_str(), "\xff\xfe", static_cast<char const*>(nullptr)})
        EXPECT_FALSE(svSetDefaultCharacterSetPlain(bad)) << (bad ? bad : "(null)");
    EXPECT_STREQ("Shift_JIS", svGetDefaultCharacterSet());
    TearDown();
    EXPECT_EQ(before, svGetDefaultCharacterSet());
}

TEST_F(CharacterSet, BuiltinReturnsTheOldNamePrintsARejectedOneAndChecksItsArguments) {
    std::string const start = svGetDefaultCharacterSet();
    EXPECT_EQ(Result(start, ""), callBuiltin(vxCreateDoubleScalar(8859)));  // a number: reads only
    EXPECT_EQ(Result(start, ""), callBuiltin(vxCreateString("UTF-16BE")));
    EXPECT_EQ(Result("UTF-16BE", "Error: \"klingon%s\" is not a legal IANA character set name."),
              callBuiltin(vxCreateString("klingon%s")));
    EXPECT_EQ(Result("UTF-16BE", ""), callBuiltin(nullptr));
    EXPECT_STREQ("UTF-16BE", svGetDefaultCharacterSet());
    auto cut = callBuiltin(vxCreateString(std::string(300, 'q').c_str()));  // cut at the buffer, not overrun
    EXPECT_EQ(127u, cut.second.size());
    EXPECT_EQ(0u, cut.second.find("Error: \"qqqq"));
    EXPECT_THROW(qztest::callBuiltin(&svSetDefaultCharacterSet, 2), vx::Error);
    EXPECT_THROW(qztest::callBuiltin(&svSetDefaultCharacterSet, 1, {vxCreateString("UTF-8"), vxCreateString("UTF-8")}),
                 vx::Error);
}

TEST(CharacterSetPerThread, AThreadsChangeIsItsOwn) {
    std::string const here = svGetDefaultCharacterSet();
    std::string seenThere;
    std::thread([&] {
        svSetDefaultCharacterSetPlain("EUC-JP");
        seenThere = svGetDefaultCharacterSet();
    }).join();
    EXPECT_EQ("EUC-JP", seenThere);
    EXPECT_EQ(here, svGetDefaultCharacterSet());
}

namespace {

// The locale report: one struct of text fields, as {name, text} pairs.
std::vector<std::pair<std::string, std::string>> localeReport() {
    auto out = qztest::callBuiltin(&svLocaleSetting, 1);
    vxArray const* report = out[0].get();
    EXPECT_TRUE(vxGetClassID(report) == vxSTRUCT_CLASS && vxGetNumberOfElements(report) == 1);
    std::vector<std::pair<std::string, std::string>> fields;
    for (int f = 0; f < vxGetNumberOfFields(report); ++f)
        fields.emplace_back(vxGetFieldNameByNumber(report, f), vxArrayToStdString(vxGetFieldByNumber(report, 0, f)));
    return fields;
}

// The report's texts in a new process whose locale variables are all unset but LANG (null: unset too).
std::vector<std::string> localeReportWithLang(char const* lang) {
    unsetenv("LC_ALL");
    for (char const* v : {"LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE", "LC_MONETARY", "LC_MESSAGES"}) unsetenv(v);
    qztest::setOrUnsetEnv("LANG", lang);
    std::vector<std::string> texts;
    for (auto const& f : localeReport()) texts.push_back(f.second);
    return texts;
}

} // namespace

TEST(LocaleReport, ElevenTextFieldsBuiltFromTheGlobalLocale) {
    using fd::i18n::QzLocale;
    QzLocale const& locale = QzLocale::global();
    std::vector<std::pair<std::string, std::string>> expected;
    for (int i = 0; i < 6; ++i) {
        char const* const names[] = {"LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE", "LC_MONETARY", "LC_MESSAGES"};
        std::string text = locale.getLocaleName(i) + "." + locale.getEncoding();
        if (!locale.getModifier(i).empty()) text += "@" + locale.getModifier(i);
        expected.emplace_back(names[i], text);
    }
    expected.emplace_back("encoding", locale.getEncoding());
    expected.emplace_back("terminalEncoding", boost::get<std::string>(locale.getOptionData(QzLocale::TerminalEncoding)));
    expected.emplace_back("jvmEncoding", boost::get<std::string>(locale.getOptionData(QzLocale::JvmEncoding)));
    expected.emplace_back("status", fd::i18n::QzLcUtil::getInitStatusMsg());
    expected.emplace_back("warning", fd::i18n::QzLcUtil::getInitWarningMsg());
    EXPECT_EQ(expected, localeReport());
    EXPECT_FALSE(locale.getEncoding().empty() || fd::i18n::QzLcUtil::getInitStatusMsg().empty());
}

TEST(LocaleReport, NothingSetIsTheCLocaleWithoutWarning) {
    expectInFreshProcess([] {
        std::vector<std::string> const field = localeReportWithLang(nullptr);
        for (int i = 0; i < 6; ++i) QZ_CHILD_CHECK(field[i] == "C.US-ASCII", 2);
        QZ_CHILD_CHECK(field[6] == "US-ASCII" && field[7] == "US-ASCII" && field[10].empty(), 3);
        QZ_CHILD_CHECK(field[9] == "No locale is set in the environment; the \"C\" locale is used.", 4);
        return 0;
    });
}

TEST(LocaleReport, AMissingLocaleFallsBackToCWithAWarningPerCategory) {
    expectInFreshProcess([] {
        std::vector<std::string> const field = localeReportWithLang("xx_YY.UTF-8");
        QZ_CHILD_CHECK(field[0] == "C.US-ASCII", 2);
        QZ_CHILD_CHECK(field[10].find("The locale \"xx_YY.UTF-8\" of LC_CTYPE is not available; \"C\" is used instead.") == 0, 3);
        QZ_CHILD_CHECK(std::count(field[10].begin(), field[10].end(), '\n') == 5, 4);
        QZ_CHILD_CHECK(field[9] == "The locale was initialized from the environment, with fallbacks to \"C\".", 5);
        return 0;
    });
}
