// The shared library as a host loads it: the version texts come from the
// library file's own symbols, under whichever of its names it was loaded by,
// and the library's folder is the one that holds it.
#include "qzservices/state/runtime_identity.hpp"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/stat.h>

#include <string>

extern "C" {
extern char const* const libqzservices_version;
extern char const* const libqzservices_build_date;
}

TEST(LibraryFile, VersionTextsComeFromTheLibrarysVersionSymbols) {
    std::string const version = libqzservices_version;
    ASSERT_FALSE(version.empty());
    EXPECT_EQ(std::string(svCalyxVersion()), version + " (R2031b)");
    EXPECT_EQ(std::string(svCalyxSplashVersion()), "R2031b (" + version + ")");
    EXPECT_STREQ(svCalyxSplashArch(), "64-bit (linux64)");
    EXPECT_STREQ(svCalyxRelease(), "2031b");
    // The build writes the date as "Mon DD YYYY", which has a long form "Month D, YYYY".
    std::string const date = svCalyxImageDate();
    EXPECT_NE(date, std::string(libqzservices_build_date));
    EXPECT_NE(date.find(", "), std::string::npos) << date;
}

// A host may open the library by its development link, its soname or its full
// file name; the prefix of the version symbols is the name up to its last dot.
TEST(LibraryFile, EveryNameOfTheFileFindsTheVersionSymbols) {
    std::string const bin = svGetBinArchDir();
    ASSERT_TRUE(!bin.empty() && bin[0] == '/');
    struct Case { char const* file; char const* prefix; } const cases[] = {
        {"libqzservices.so", "libqzservices"},
        {"libqzservices.so." QZ_SOVERSION, "libqzservices.so"},
        {"libqzservices.so." QZ_VERSION, "libqzservices.so." QZ_VERSION_MAJOR_MINOR},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.file);
        std::string const path = bin + "/" + c.file;
        struct stat st;
        ASSERT_EQ(stat(path.c_str(), &st), 0) << path;
        void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
        ASSERT_NE(library, nullptr) << dlerror();  // the same file, already loaded by this test
        for (char const* suffix : {"_version", "_build_date"}) {
            void* symbol = dlsym(library, (std::string(c.prefix) + suffix).c_str());
            ASSERT_NE(symbol, nullptr) << c.prefix << suffix;
            EXPECT_STREQ(*static_cast<char const* const*>(symbol),
                         suffix[1] == 'v' ? libqzservices_version : libqzservices_build_date);
        }
        dlclose(library);
    }
}
