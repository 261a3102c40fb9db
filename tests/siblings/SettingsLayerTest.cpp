// The settings stand-in: where the preferences directory lies and its
// creation, and settings groups with their two levels, their file and their
// factory functions.
#include <cxutil/settings/Settings.hpp>
#include <fd/i18n/convert.hpp>

#include <boost/any.hpp>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

namespace cs = cxutil::settings;

namespace {

std::string narrow(cs::ustring const& u) { return fd::i18n::to_string(u); }
cs::ustring wide(std::string const& s) { return fd::i18n::to_ustring(s); }

std::string current() { return narrow(cs::getPreferencesDirectoryUStr(false)); }

bool isDirectory(std::string const& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// A scratch folder as HOME, the other variables of the settings layer unset;
// all put back afterwards.
class SettingsLayer : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/qzsettings-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
        for (char const* name : {"CALYX_PREFDIR", "XDG_CONFIG_HOME", "HOME"})
            if (char const* v = std::getenv(name)) saved_[name] = v;
        unsetenv("CALYX_PREFDIR");
        unsetenv("XDG_CONFIG_HOME");
        setenv("HOME", (dir_ + "/home").c_str(), 1);
        cs::setPreferencesDirectoryUStr(cs::ustring());
    }
    void TearDown() override {
        cs::setPreferencesDirectoryUStr(cs::ustring());
        for (char const* name : {"CALYX_PREFDIR", "XDG_CONFIG_HOME", "HOME"}) unsetenv(name);
        for (auto const& s : saved_) setenv(s.first.c_str(), s.second.c_str(), 1);
        EXPECT_EQ(0, std::system(("rm -rf '" + dir_ + "'").c_str()));
    }
    std::string dir_;
    std::map<std::string, std::string> saved_;
};

void exampleFactory(boost::any& value) { value = std::string("factory default"); }

} // namespace

TEST_F(SettingsLayer, DirectoryFollowsOverrideThenEnvironmentThenXdgThenHome) {
    EXPECT_EQ(current(), dir_ + "/home/.calyx/R2031b");
    EXPECT_EQ(narrow(cs::getStandardPreferencesDirectoryUStr()), dir_ + "/home/.calyx/R2031b");
    setenv("XDG_CONFIG_HOME", (dir_ + "/xdg/").c_str(), 1);
    EXPECT_EQ(current(), dir_ + "/xdg/calyx/R2031b");
    setenv("XDG_CONFIG_HOME", "", 1);  // empty counts as unset
    EXPECT_EQ(current(), dir_ + "/home/.calyx/R2031b");
    setenv("CALYX_PREFDIR", (dir_ + "/env").c_str(), 1);
    EXPECT_EQ(current(), dir_ + "/env");
    EXPECT_EQ(narrow(cs::getDefaultPreferencesDirectoryUStr()), dir_ + "/env");
    EXPECT_EQ(narrow(cs::getStandardPreferencesDirectoryUStr()), dir_ + "/home/.calyx/R2031b");
    ASSERT_TRUE(cs::setPreferencesDirectoryUStr(wide(dir_ + "/chosen")));
    EXPECT_TRUE(isDirectory(dir_ + "/chosen"));
    EXPECT_EQ(current(), dir_ + "/chosen");
    EXPECT_EQ(narrow(cs::getDefaultPreferencesDirectoryUStr()), dir_ + "/env");
    EXPECT_EQ(narrow(cs::getTimestampFileNameUStr()), dir_ + "/chosen/calyx.timestamp");
}

TEST_F(SettingsLayer, CreationIsOnRequestAndAFailureGivesNoDirectory) {
    std::string const wanted = dir_ + "/home/.calyx/R2031b";
    EXPECT_EQ(current(), wanted);
    EXPECT_FALSE(isDirectory(wanted));
    EXPECT_EQ(narrow(cs::getPreferencesDirectoryUStr(true)), wanted);
    EXPECT_TRUE(isDirectory(wanted));

    // A plain file where a parent directory should be: nothing can be made.
    std::ofstream(dir_ + "/blocker") << "x";
    setenv("CALYX_PREFDIR", (dir_ + "/blocker/prefs").c_str(), 1);
    EXPECT_TRUE(cs::getPreferencesDirectoryUStr(true).empty());
    EXPECT_EQ(current(), dir_ + "/blocker/prefs");
    EXPECT_FALSE(cs::setPreferencesDirectoryUStr(wide(dir_ + "/blocker/other")));
    EXPECT_EQ(current(), dir_ + "/blocker/prefs");
}

TEST_F(SettingsLayer, PreviousReleaseIsTheNewestOlderSibling) {
    std::string const parent = dir_ + "/home/.calyx";
    EXPECT_TRUE(cs::getPreviousPreferencesDirectoryUStr().empty());
    mkdir((dir_ + "/home").c_str(), 0755);
    for (char const* name : {"", "/R2029a", "/R2030b", "/R2031b", "/R2032a", "/notes"})
        mkdir((parent + name).c_str(), 0755);
    EXPECT_EQ(narrow(cs::getPreviousPreferencesDirectoryUStr()), parent + "/R2030b");
}

TEST_F(SettingsLayer, GroupsKeepUserAndFactoryLevelsInTheirFileAndFactoryFunctionsAnswer) {
    setenv("CALYX_PREFDIR", (dir_ + "/prefs").c_str(), 1);
    cs::Settings group = cs::Settings::getSettingsRoot(cxutil::contextmgr::CxrID(41)).child("calyx");
    EXPECT_EQ(group.path(), "calyx");
    EXPECT_FALSE(group.hasValue("Key", ""));
    EXPECT_TRUE(group.get("Key", "").empty());
    ASSERT_TRUE(group.set("Key", wide("factory text"), "factory"));
    EXPECT_EQ(narrow(group.get("Key", "")), "factory text");
    EXPECT_FALSE(group.hasValue("Key", "user"));
    ASSERT_TRUE(group.set("Key", wide("caf\xC3\xA9"), "user"));
    EXPECT_EQ(narrow(group.get("Key", "")), "caf\xC3\xA9");
    EXPECT_EQ(narrow(group.get("Key", "factory")), "factory text");
    EXPECT_FALSE(group.set("Key", wide("x"), "session"));  // no such level
    EXPECT_TRUE(group.get("Key", "session").empty());

    std::stringstream text;
    text << std::ifstream(dir_ + "/prefs/calyx.settings").rdbuf();
    EXPECT_EQ(text.str(), "factory calyx/Key=factory text\nuser calyx/Key=caf\xC3\xA9\n");

    EXPECT_TRUE(group.remove("Key", "user"));
    EXPECT_EQ(narrow(group.get("Key", "")), "factory text");

    // A factory function answers for the factory level of its key.
    cs::Settings::registerFactoryFunction("calyx", "Registered", &exampleFactory);
    EXPECT_TRUE(group.hasValue("Registered", "factory"));
    EXPECT_FALSE(group.hasValue("Registered", "user"));
    EXPECT_EQ(narrow(group.get("Registered", "")), "factory default");
    group.set("Registered", wide("mine"), "user");
    EXPECT_EQ(narrow(group.get("Registered", "")), "mine");
    EXPECT_EQ(narrow(group.get("Registered", "factory")), "factory default");
}

TEST_F(SettingsLayer, AMalformedFileFailsOnceThenTheGoodLinesServe) {
    mkdir((dir_ + "/prefs").c_str(), 0755);
    std::ofstream(dir_ + "/prefs/calyx.settings") << "user calyx/Good=kept\nthis line is not a setting\nuser calyx/Late=lost\n";
    setenv("CALYX_PREFDIR", (dir_ + "/prefs").c_str(), 1);
    cs::Settings root = cs::Settings::getSettingsRoot(cxutil::contextmgr::CxrID(43));
    EXPECT_THROW(root.child("calyx"), cs::FileLoadingError);
    cs::Settings group = root.child("calyx");
    EXPECT_EQ(narrow(group.get("Good", "user")), "kept");
    EXPECT_FALSE(group.hasValue("Late", "user"));
}
