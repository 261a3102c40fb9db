// The stand-ins under the session state: the ICU character-set converter, the
// process locale, the native display library, the numbered message tables,
// case folding and the real-scalar test.
#include <fd/i18n/QzLocale.hpp>
#include <nd/display.hpp>
#include <orrery/i18n/UnicodeConverterX.hpp>
#include <uv/lower_case.hpp>
#include <uv/messages.hpp>
#include <vx/predicates.hpp>

#include <boost/variant/get.hpp>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <thread>

using Orrery::I18N::InvalidCharacterSetException;
using Orrery::I18N::UnicodeConverterX;

TEST(CharacterSetConverter, LegalExactlyWhenIanaListsTheName) {
    for (char const* name : {"UTF-8", "utf-8", "ISO-8859-1", "latin1", "ISO_8859-1:1987", "Shift_JIS", "US-ASCII",
                             "ANSI_X3.4-1968", "windows-1252", "EUC-JP", "UTF-16LE"})
        EXPECT_TRUE(UnicodeConverterX::isLegalName(name)) << name;
    // Names ICU understands only as its own aliases, and nonsense.
    for (char const* name : {"SJIS", "cp1252", "ibm-1252", "utf8x", ""})
        EXPECT_FALSE(UnicodeConverterX::isLegalName(name)) << name;
    EXPECT_FALSE(UnicodeConverterX::isLegalName(nullptr));
    try {
        UnicodeConverterX bad("SJIS");
        ADD_FAILURE() << "SJIS was accepted";
    } catch (InvalidCharacterSetException const& e) {
        EXPECT_EQ("SJIS", e.name());
    }
    EXPECT_THROW(UnicodeConverterX(nullptr), InvalidCharacterSetException);
}

TEST(CharacterSetConverter, KeepsTheGivenNameAndConvertsBothWays) {
    UnicodeConverterX latin("latin1");
    EXPECT_STREQ("latin1", latin.getName());
    EXPECT_STREQ("ISO-8859-1", latin.getCanonicalName());
    EXPECT_EQ(u"caf\u00e9", latin.toUnicode("caf\xe9"));
    EXPECT_EQ("caf\xe9", latin.fromUnicode(u"caf\u00e9"));
    UnicodeConverterX sjis("Shift_JIS");
    std::string const bytes = sjis.fromUnicode(u"\u65e5\u672c");  // two kanji, two bytes each
    EXPECT_EQ(4u, bytes.size());
    EXPECT_EQ(u"\u65e5\u672c", sjis.toUnicode(bytes));
    // A byte that does not decode becomes U+FFFD rather than ending the text.
    UnicodeConverterX utf8("UTF-8");
    EXPECT_EQ(u"a\ufffdb", utf8.toUnicode("a\xff" "b"));
    EXPECT_EQ(u"", utf8.toUnicode(""));
}

TEST(CharacterSetConverter, EachThreadHasItsOwnStackOfDefaults) {
    std::string const native = UnicodeConverterX::nativeDefaultName();
    EXPECT_TRUE(UnicodeConverterX::isLegalName(native.c_str())) << native;
    EXPECT_EQ(native, UnicodeConverterX::getThreadSpecific(nullptr)->getName());
    EXPECT_FALSE(UnicodeConverterX::popTssDefaultConvName());

    UnicodeConverterX::pushTssDefaultConvName("ISO-8859-2");
    UnicodeConverterX::pushTssDefaultConvName("EUC-KR");
    EXPECT_THROW(UnicodeConverterX::pushTssDefaultConvName("klingon"), InvalidCharacterSetException);
    EXPECT_STREQ("EUC-KR", UnicodeConverterX::getThreadSpecific(nullptr)->getName());
    std::string seenElsewhere;
    std::thread([&] { seenElsewhere = UnicodeConverterX::getThreadSpecific(nullptr)->getName(); }).join();
    EXPECT_EQ(native, seenElsewhere);

    EXPECT_TRUE(UnicodeConverterX::popTssDefaultConvName());
    EXPECT_STREQ("ISO-8859-2", UnicodeConverterX::getThreadSpecific(nullptr)->getName());
    EXPECT_TRUE(UnicodeConverterX::popTssDefaultConvName());
    EXPECT_EQ(native, UnicodeConverterX::getThreadSpecific(nullptr)->getName());

    // By name: the same cached converter each time.
    UnicodeConverterX* a = UnicodeConverterX::getThreadSpecific("UTF-16BE");
    EXPECT_EQ(a, UnicodeConverterX::getThreadSpecific("UTF-16BE"));
    EXPECT_THROW(UnicodeConverterX::getThreadSpecific("SJIS"), InvalidCharacterSetException);
}

namespace {

using fd::i18n::QzLocale;

// A locale built from a fixed environment, with every name installed except
// those listed as missing.
QzLocale localeFrom(std::map<std::string, std::string> env, std::vector<std::string> missing = {}) {
    auto lookup = [env](char const* name) -> char const* {
        auto it = env.find(name);
        return it == env.end() ? nullptr : it->second.c_str();
    };
    auto installed = [missing](int, std::string const& full) {
        return std::find(missing.begin(), missing.end(), full) == missing.end();
    };
    return QzLocale::fromEnvironment(lookup, installed);
}

} // namespace

TEST(ProcessLocale, CategoriesResolveLikeSetlocale) {
    QzLocale locale = localeFrom({{"LANG", "de_DE.UTF-8"}, {"LC_TIME", "en_GB.UTF-8"}, {"LC_MESSAGES", "POSIX"}});
    EXPECT_EQ("de_DE", locale.getLocaleName(0));
    EXPECT_EQ("de_DE", locale.getLocaleName(1));
    EXPECT_EQ("en_GB", locale.getLocaleName(2));
    EXPECT_EQ("C", locale.getLocaleName(5));
    EXPECT_EQ("UTF-8", locale.getEncoding());
    // LC_ALL wins over everything.
    QzLocale all = localeFrom({{"LANG", "de_DE.UTF-8"}, {"LC_TIME", "en_GB.UTF-8"}, {"LC_ALL", "fr_FR.ISO-8859-1@euro"}});
    for (int i = 0; i < QzLocale::kNumCategories; ++i) {
        EXPECT_EQ("fr_FR", all.getLocaleName(i));
        EXPECT_EQ("euro", all.getModifier(i));
    }
    EXPECT_EQ("ISO-8859-1", all.getEncoding());
    EXPECT_EQ("The locale was initialized from the environment.", all.statusMessage());
    EXPECT_EQ("", all.warningMessage());
    // An empty variable counts as unset.
    EXPECT_EQ("en_US", localeFrom({{"LC_ALL", ""}, {"LANG", "en_US.UTF-8"}}).getLocaleName(3));
}

TEST(ProcessLocale, EncodingNamesAreNormalisedAndOptionsTyped) {
    QzLocale locale = localeFrom({{"LANG", "ar_EG.utf8"}});
    EXPECT_EQ("UTF-8", locale.getEncoding());
    EXPECT_EQ("UTF-8", boost::get<std::string>(locale.getOptionData(QzLocale::TerminalEncoding)));
    EXPECT_EQ("UTF-8", boost::get<std::string>(locale.getOptionData(QzLocale::JvmEncoding)));
    EXPECT_EQ(fd::i18n::TextDirection::RightToLeft,
              boost::get<fd::i18n::TextDirection>(locale.getOptionData(QzLocale::Direction)));
    EXPECT_THROW(boost::get<std::string>(locale.getOptionData(QzLocale::Direction)), boost::bad_get);
    EXPECT_EQ(fd::i18n::MeasurementSystem::USCustomary,
              boost::get<fd::i18n::MeasurementSystem>(localeFrom({{"LANG", "en_US.UTF-8"}}).getOptionData(3)));
    EXPECT_EQ(fd::i18n::MeasurementSystem::Metric,
              boost::get<fd::i18n::MeasurementSystem>(locale.getOptionData(QzLocale::Measurement)));
    EXPECT_THROW(locale.getOptionData(4), std::out_of_range);
    EXPECT_THROW(locale.getLocaleName(6), std::out_of_range);
    EXPECT_THROW(locale.getModifier(-1), std::out_of_range);
    EXPECT_STREQ("LC_MESSAGES", QzLocale::getLcCategoryName(5));
    EXPECT_EQ(nullptr, QzLocale::getLcCategoryName(6));
}

TEST(ProcessLocale, MissingLocalesFallBackToCWithAWarning) {
    QzLocale locale = localeFrom({{"LANG", "de_DE.UTF-8"}, {"LC_CTYPE", "zz_ZZ.UTF-8"}}, {"zz_ZZ.UTF-8"});
    EXPECT_EQ("C", locale.getLocaleName(0));
    EXPECT_EQ("de_DE", locale.getLocaleName(1));
    EXPECT_EQ("US-ASCII", locale.getEncoding());
    EXPECT_EQ("The locale \"zz_ZZ.UTF-8\" of LC_CTYPE is not available; \"C\" is used instead.", locale.warningMessage());
    EXPECT_EQ("The locale was initialized from the environment, with fallbacks to \"C\".", locale.statusMessage());
    QzLocale empty = localeFrom({});
    EXPECT_EQ("C", empty.getLocaleName(4));
    EXPECT_EQ("No locale is set in the environment; the \"C\" locale is used.", empty.statusMessage());
}

namespace {

// Sets DISPLAY for one test and puts the old value back.
class NativeDisplay : public ::testing::Test {
protected:
    void SetUp() override {
        char const* d = std::getenv("DISPLAY");
        had_ = d != nullptr;
        if (had_) saved_ = d;
    }
    void TearDown() override {
        if (had_) setenv("DISPLAY", saved_.c_str(), 1); else unsetenv("DISPLAY");
        if (!socketPath_.empty()) unlink(socketPath_.c_str());
        if (fd_ >= 0) close(fd_);
    }

    // A listening Unix socket where an X server of `number` would put its own.
    bool listenAsLocalServer(unsigned number) {
        mkdir("/tmp/.X11-unix", 01777);
        socketPath_ = "/tmp/.X11-unix/X" + std::to_string(number);
        unlink(socketPath_.c_str());
        fd_ = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, socketPath_.c_str(), sizeof address.sun_path - 1);
        return fd_ >= 0 && bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && listen(fd_, 1) == 0;
    }

    // A listening TCP socket on 127.0.0.1 at some free port of 6000 + n; returns n, or -1.
    int listenAsTcpServer() {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        for (int n = 4000; n < 4100 && fd_ >= 0; ++n) {
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_port = htons(static_cast<uint16_t>(6000 + n));
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            if (bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 && listen(fd_, 1) == 0) return n;
        }
        return -1;
    }

    std::string socketPath_;
    int fd_ = -1;

private:
    bool had_ = false;
    std::string saved_;
};

} // namespace

TEST_F(NativeDisplay, UnsetEmptyOrMalformedNamesHaveNoDisplay) {
    unsetenv("DISPLAY");
    EXPECT_FALSE(nd::display::isAvailable());
    for (char const* name : {"", "0", ":", ":x", "::", ":1.", ":1.a", "host", ":123456"}) {
        setenv("DISPLAY", name, 1);
        EXPECT_FALSE(nd::display::isAvailable()) << '"' << name << '"';
    }
}

TEST_F(NativeDisplay, LocalDisplayNeedsItsSocket) {
    unsigned const number = 900 + static_cast<unsigned>(getpid() % 90);
    std::string const name = ":" + std::to_string(number);
    setenv("DISPLAY", name.c_str(), 1);
    unlink(("/tmp/.X11-unix/X" + std::to_string(number)).c_str());
    EXPECT_FALSE(nd::display::isAvailable());
    ASSERT_TRUE(listenAsLocalServer(number)) << std::strerror(errno);
    EXPECT_TRUE(nd::display::isAvailable());
    setenv("DISPLAY", (name + ".0").c_str(), 1);
    EXPECT_TRUE(nd::display::isAvailable());
    setenv("DISPLAY", ("unix" + name).c_str(), 1);
    EXPECT_TRUE(nd::display::isAvailable());
    // Another display number has no socket.
    setenv("DISPLAY", (":" + std::to_string(number + 100)).c_str(), 1);
    EXPECT_FALSE(nd::display::isAvailable());
}

TEST_F(NativeDisplay, AFileThatIsNotASocketDoesNotCount) {
    unsigned const number = 990 + static_cast<unsigned>(getpid() % 9);
    mkdir("/tmp/.X11-unix", 01777);
    socketPath_ = "/tmp/.X11-unix/X" + std::to_string(number);
    FILE* f = std::fopen(socketPath_.c_str(), "w");
    ASSERT_NE(nullptr, f);
    std::fclose(f);
    setenv("DISPLAY", (":" + std::to_string(number)).c_str(), 1);
    EXPECT_FALSE(nd::display::isAvailable());
}

TEST_F(NativeDisplay, RemoteDisplayNeedsAListeningPort) {
    int const n = listenAsTcpServer();
    ASSERT_GE(n, 0);
    setenv("DISPLAY", ("127.0.0.1:" + std::to_string(n)).c_str(), 1);
    EXPECT_TRUE(nd::display::isAvailable());
    setenv("DISPLAY", ("127.0.0.1:" + std::to_string(n + 1)).c_str(), 1);
    EXPECT_FALSE(nd::display::isAvailable());  // refused at once
    setenv("DISPLAY", "no-such-host.invalid:0", 1);
    EXPECT_FALSE(nd::display::isAvailable());
}

TEST(NativeDisplayBeep, CountsEveryBeep) {
    unsigned long const before = nd::display::beepCount();
    nd::display::beep();
    nd::display::beep();
    EXPECT_EQ(before + 2, nd::display::beepCount());
}

namespace {
unsigned int const kCodes[] = {0x7f0001, 0x7f0002};
char const* const kNames[] = {"ONE", "TWO"};
char const* const kTexts[] = {"one %s", "two %d and %d"};
unsigned int const kBadCodes[] = {0x7e0001, 0x7e0003};
} // namespace

TEST(MessageTables, RegistrationChecksTheTableAndRefusesASecondFacility) {
    uvMessageTable const table = {2, 0x7f, kCodes, kNames, kTexts};
    uvMessageCatalog* catalog = uvGetMessageCatalog();
    ASSERT_NE(nullptr, catalog);
    EXPECT_EQ(0, uv_mem_add_primary_message_table(catalog, &table));
    EXPECT_EQ(-1, uv_mem_add_primary_message_table(catalog, &table));
    uvMessageTable const gap = {2, 0x7e, kBadCodes, kNames, kTexts};
    EXPECT_EQ(-1, uv_mem_add_primary_message_table(catalog, &gap));
    uvMessageTable const wrongFacility = {2, 0x7d, kCodes, kNames, kTexts};
    EXPECT_EQ(-1, uv_mem_add_primary_message_table(catalog, &wrongFacility));
    EXPECT_EQ(-1, uv_mem_add_primary_message_table(nullptr, &table));
    EXPECT_EQ(-1, uv_mem_add_primary_message_table(catalog, nullptr));
    EXPECT_EQ(nullptr, uvGetMessageText(0x7e0001));

    char buffer[16];
    EXPECT_EQ(14, uv_sprintm(nullptr, buffer, sizeof buffer, 0x7f0002, 12, 345));
    EXPECT_STREQ("two 12 and 345", buffer);
    EXPECT_EQ(12, uv_sprintm(nullptr, buffer, 8, 0x7f0001, "and more"));
    EXPECT_STREQ("one and", buffer);  // cut and terminated
    EXPECT_EQ(8, uv_sprintm(nullptr, nullptr, 0, 0x7f0001, "abcd"));
    std::strcpy(buffer, "stale");
    EXPECT_EQ(-1, uv_sprintm(nullptr, buffer, sizeof buffer, 0x7f0003));
    EXPECT_STREQ("", buffer);
    EXPECT_STREQ("TWO", uvGetMessageName(0x7f0002));
}

TEST(MessageContext, MadeOnceAndCarriesTheLanguage) {
    EXPECT_STREQ("en", uvGetMessageLanguage(nullptr));
    EXPECT_EQ(-1, uv_change_language(nullptr, "ja"));
    uvMessageContext* context = uvCreateMessageContext("en");
    ASSERT_NE(nullptr, context);
    EXPECT_EQ(context, uvGetMessageContext());
    EXPECT_EQ(context, uvCreateMessageContext("fr"));
    EXPECT_EQ(0, uv_change_language(context, "ja"));
    EXPECT_STREQ("ja", uvGetMessageLanguage(context));
    EXPECT_EQ(-1, uv_change_language(context, nullptr));
    std::string const longCode(40, 'z');
    uv_change_language(context, longCode.c_str());
    EXPECT_EQ(std::string(31, 'z'), uvGetMessageLanguage(context));
    uv_change_language(context, "en");
}

TEST(LowerCase, LowersAsciiLettersOnlyInPlace) {
    char text[] = "MiXeD 123 \xc3\x89T\xc3\xa9";  // a UTF-8 "ÉTé" keeps its bytes
    EXPECT_EQ(text, uvLowerCase(text));
    EXPECT_STREQ("mixed 123 \xc3\x89t\xc3\xa9", text);
    EXPECT_EQ(nullptr, uvLowerCase(nullptr));
    char empty[] = "";
    EXPECT_STREQ("", uvLowerCase(empty));
}

TEST(RealScalar, OnlyFullRealNumericSingletons) {
    struct Deleter {
        void operator()(vxArray* a) const { vxDestroyArray(a); }
    };
    auto check = [](vxArray* a, bool expected, char const* what) {
        std::unique_ptr<vxArray, Deleter> hold(a);
        EXPECT_EQ(expected, vxIsRealScalar(a)) << what;
    };
    check(vxCreateDoubleScalar(2.5), true, "double");
    check(vxCreateNumericMatrix(1, 1, vxUINT16_CLASS, vxREAL), true, "uint16");
    check(vxCreateNumericMatrix(1, 1, vxSINGLE_CLASS, vxCOMPLEX), false, "complex single");
    check(vxCreateDoubleMatrix(1, 2, vxREAL), false, "two elements");
    check(vxCreateDoubleMatrix(0, 1, vxREAL), false, "empty");
    check(vxCreateLogicalScalar(true), false, "logical");
    check(vxCreateString("1"), false, "character");
    check(vxCreateSparse(1, 1, 1, vxREAL), false, "sparse");
    check(vxCreateCellMatrix(1, 1), false, "cell");
    EXPECT_FALSE(vxIsRealScalar(nullptr));
}
