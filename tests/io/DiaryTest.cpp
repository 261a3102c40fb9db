// The diary: switching, names, the file it fills from the command window's
// copy of the text, and the history's dates. Each test works in a fresh
// folder of its own, with the streams on the command-window proxies.
#include "qzservices/io/diary.hpp"
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/UnicodeStreams.hpp"
#include "io/display_date.hpp"
#include "support/io_proxy_streams.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <unistd.h>

using namespace services::io;

namespace {

std::string fileText(std::string const& name) {
    std::stringstream text;
    text << std::ifstream(name).rdbuf();
    return text.str();
}

bool exists(std::string const& name) { return access(name.c_str(), F_OK) == 0; }

std::string here() {
    char buffer[4096];
    return getcwd(buffer, sizeof buffer) ? buffer : "/";
}

class Diary : public ::testing::Test {
protected:
    void SetUp() override {
        char folder[] = "/tmp/qz_diary_XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(folder));
        folder_ = folder;
        ASSERT_EQ(0, chdir(folder_.c_str()));
    }
    void TearDown() override {
        if (nmIsDiaryEnabled()) nmDiaryFcn("off");
        nmSetDiaryFile("diary");
        EXPECT_EQ(0, chdir(home_.c_str()));
        std::system(("rm -rf " + folder_).c_str());
    }
    // What the diary file holds once everything is written out.
    static std::string diaryText(std::string const& name) {
        CXStream::CXOut.flush();
        CXStream::CXErr.flush();
        if (FILE* f = ioGetDiaryFilePointer()) std::fflush(f);
        return fileText(name);
    }
    std::string folder_, home_ = here();
    qztest::ProxyStreams streams_;
};

} // namespace

TEST_F(Diary, TextAppendsAndANameChangeWhileOnMovesTheDiary) {
    { std::ofstream("diary") << "before\n"; }
    nmDiaryFcn("on");
    CXStream::CXOut << "caf\xC3\xA9\n";
    nmDiaryFcn("x.txt");
    EXPECT_TRUE(nmIsDiaryEnabled());
    EXPECT_STREQ("x.txt", nmGetDiaryFile());
    CXStream::CXOut << "two\n";
    EXPECT_EQ("before\ncaf\xC3\xA9\n", diaryText("diary"));
    EXPECT_EQ("two\n", diaryText("x.txt"));
    // Off keeps the name, so that "on" reopens the same file.
    nmDiaryFcn("off");
    nmDiaryFcn("on");
    CXStream::CXOut << "three\n";
    EXPECT_EQ("two\nthree\n", diaryText("x.txt"));
}

TEST_F(Diary, NamesUpTo4352CharactersAndSettingOneNeverSwitches) {
    EXPECT_STREQ("y.txt", nmSetDiaryFile("y.txt"));
    EXPECT_FALSE(nmIsDiaryEnabled() || exists("y.txt"));
    std::string const longest(4352, 'n');
    EXPECT_EQ(longest, nmSetDiaryFile(longest.c_str()));
    try {
        nmSetDiaryFile(std::string(4353, 'n').c_str());
        FAIL() << "a name of 4353 characters was accepted";
    } catch (vx::Error const& e) {
        EXPECT_EQ("CALYX:fileio:filenameTooLong", e.identifier());
    }
    EXPECT_EQ(longest, nmGetDiaryFile());
    // A file that cannot be opened leaves the diary off with the new name.
    EXPECT_THROW(nmDiaryFcn("no-such-folder/d.txt"), vx::Error);
    EXPECT_FALSE(nmIsDiaryEnabled());
    EXPECT_TRUE(CXStream::diaryStreamPtr_ == nullptr);
    EXPECT_STREQ("no-such-folder/d.txt", nmGetDiaryFile());
}

TEST_F(Diary, TextWrittenBeforeASinkExistsReachesTheFileOnce) {
    nmDiaryFcn("on");
    CXStream::CXOut << "kept until a window exists\n";
    EXPECT_EQ("kept until a window exists\n", diaryText("diary"));
    qztest::TestFactory window;
    CmdWinSinkHandle::setFactory(&window);
    CXStream::CXOut << "shown\n";
    CXStream::CXOut.flush();
    EXPECT_EQ("kept until a window exists\nshown\n", window.out->text());
    EXPECT_EQ("kept until a window exists\nshown\n", diaryText("diary"));
}

TEST_F(Diary, PrintfWritesOnlyToAnOpenDiaryThatTheSinkKeeps) {
    nmDiaryPrintf("off %d\n", 1);
    nmDiaryFcn("on");
    nmDiaryPrintf("on %d\n", 2);
    CXStream::CXOut.push(boost::make_shared<CXStringSink>());
    nmDiaryPrintf("not kept %d\n", 3);
    CXStream::CXOut.pop();
    EXPECT_EQ("on 2\n", diaryText("diary"));
    EXPECT_FALSE(exists("off"));
}

TEST_F(Diary, BuiltInChecksItsArguments) {
    vxArray_tag* name = vxCreateString("b.txt");
    vxArray_tag* number = vxCreateDoubleScalar(3);
    vxArray_tag* args[2] = {name, name};
    EXPECT_THROW(nmFullDiaryFcn(1, nullptr, 0, nullptr), vx::Error);
    EXPECT_THROW(nmFullDiaryFcn(0, nullptr, 2, args), vx::Error);
    EXPECT_THROW(nmFullDiaryFcn(0, nullptr, -1, args), vx::Error);
    try {
        nmFullDiaryFcn(0, nullptr, 1, &number);
        ADD_FAILURE() << "a number was taken as a file name";
    } catch (vx::Error const& e) {
        EXPECT_EQ("CALYX:vx:error16", e.identifier());
    }
    EXPECT_FALSE(nmIsDiaryEnabled());
    nmFullDiaryFcn(0, nullptr, 1, &name);
    EXPECT_TRUE(nmIsDiaryEnabled());
    EXPECT_STREQ("b.txt", nmGetDiaryFile());
    nmFullDiaryFcn(0, nullptr, 0, nullptr);  // toggles off
    EXPECT_FALSE(nmIsDiaryEnabled());
    vxDestroyArray(name);
    vxDestroyArray(number);
}

namespace {

// UTC and the C locale's formats ("%m/%d/%y", "%I:%M:%S %p") for a test.
class DisplayDate : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
    }
    void TearDown() override {
        if (savedTz_) setenv("TZ", savedTz_->c_str(), 1);
        else unsetenv("TZ");
        tzset();
    }
private:
    std::optional<std::string> savedTz_ =
        std::getenv("TZ") ? std::optional<std::string>(std::getenv("TZ")) : std::nullopt;
};

} // namespace

TEST_F(DisplayDate, HalfASecondRoundsUpAndTwentyFourHoursServeWithoutAmPm) {
    EXPECT_EQ("01/01/70 12:00:02 AM", svGetDisplayDate(1500));
    EXPECT_EQ("01/01/70 12:00:01 AM", svGetDisplayDate(1499));
    EXPECT_EQ("11/14/23 10:13:20 PM", svGetDisplayDate(1700000000000L));
    for (char const* amPm : {"", static_cast<char const*>(nullptr)})
        EXPECT_EQ("1970-01-01 13:00:00", services::io::detail::displayDate(46800000, "%Y-%m-%d", amPm, "%H:%M:%S"));
}

TEST_F(DisplayDate, WithoutTimeFormatsThePresentTimeCarriesItsOwnMarks) {
    std::string const text = services::io::detail::displayDate(1500, "%m/%d/%y", "", "");
    EXPECT_TRUE(std::regex_match(text, std::regex("%-- \\d{1,2}/\\d\\d/\\d\\d [ 1]\\d:\\d\\d (AM|PM) --%"))) << text;
    // Not the time given (1970) but now.
    std::time_t const now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char year[8];
    std::snprintf(year, sizeof year, "/%02d ", parts.tm_year % 100);
    EXPECT_NE(std::string::npos, text.find(year)) << text;
}

TEST_F(DisplayDate, HistoryStampIsNowBetweenDoubledPercentMarks) {
    std::time_t const before = std::time(nullptr);
    std::string const stamp = svHistoryDate();
    std::time_t const after = std::time(nullptr);
    ASSERT_GT(stamp.size(), 10u);
    EXPECT_EQ("%%-- ", stamp.substr(0, 5));
    EXPECT_EQ(" --%%", stamp.substr(stamp.size() - 5));
    std::string const date = stamp.substr(5, stamp.size() - 10);
    EXPECT_TRUE(date == svGetDisplayDate(static_cast<long>(before) * 1000) ||
                date == svGetDisplayDate(static_cast<long>(after) * 1000))
        << date;
}
