// Where the user's preferences live (directories.hpp).
#include "cxutil/settings/directories.hpp"

#include <fd/i18n/convert.hpp>

#include <dirent.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

namespace cxutil { namespace settings {

char const* const kReleaseName = "R2031b";

namespace {

std::mutex gOverrideMutex;
std::string gOverride;  // native text; empty when no override is set

std::string envText(char const* name) {
    char const* v = std::getenv(name);
    return v != nullptr ? std::string(v) : std::string();
}

std::string homeFolder() {
    std::string home = envText("HOME");
    if (!home.empty()) return home;
    // No HOME (daemons, stripped environments): ask the password database.
    struct passwd pw;
    struct passwd* found = nullptr;
    char buf[4096];
    if (getpwuid_r(getuid(), &pw, buf, sizeof buf, &found) == 0 && found != nullptr && found->pw_dir != nullptr)
        return found->pw_dir;
    return std::string();
}

bool isDirectory(std::string const& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// mkdir -p: every missing component is made with mode 0755.
bool makeDirectories(std::string const& path) {
    if (path.empty()) return false;
    if (isDirectory(path)) return true;
    for (size_t at = path.find('/', 1); ; at = path.find('/', at + 1)) {
        std::string part = path.substr(0, at);
        if (!part.empty() && mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
        if (at == std::string::npos) break;
    }
    return isDirectory(path);
}

std::string standardDirectory() {
    std::string xdg = envText("XDG_CONFIG_HOME");
    if (!xdg.empty()) return StripFinalPathNameSep(xdg) + "/calyx/" + kReleaseName;
    std::string home = homeFolder();
    if (home.empty()) return std::string();
    return StripFinalPathNameSep(home) + "/.calyx/" + kReleaseName;
}

std::string defaultDirectory() {
    std::string fromEnv = envText("CALYX_PREFDIR");
    return !fromEnv.empty() ? StripFinalPathNameSep(fromEnv) : standardDirectory();
}

std::string currentDirectory() {
    {
        std::lock_guard<std::mutex> lock(gOverrideMutex);
        if (!gOverride.empty()) return gOverride;
    }
    return defaultDirectory();
}

ustring wide(std::string const& s) { return s.empty() ? ustring() : fd::i18n::to_ustring(s); }
std::string narrow(ustring const& s) { return s.empty() ? std::string() : fd::i18n::to_string(s); }

// "R2030a" and the like: "R", four digits, one letter.
bool isReleaseName(std::string const& name) {
    if (name.size() != 6 || name[0] != 'R') return false;
    for (int i = 1; i < 5; ++i)
        if (name[i] < '0' || name[i] > '9') return false;
    return name[5] >= 'a' && name[5] <= 'z';
}

} // namespace

ustring getPreferencesDirectoryUStr(bool create) {
    std::string dir = currentDirectory();
    if (create && !makeDirectories(dir)) return ustring();
    return wide(dir);
}

bool setPreferencesDirectoryUStr(ustring const& directory) {
    std::string dir = StripFinalPathNameSep(narrow(directory));
    if (!dir.empty() && !makeDirectories(dir)) return false;
    std::lock_guard<std::mutex> lock(gOverrideMutex);
    gOverride = dir;
    return true;
}

ustring getStandardPreferencesDirectoryUStr() { return wide(standardDirectory()); }
ustring getDefaultPreferencesDirectoryUStr() { return wide(defaultDirectory()); }

ustring getPreviousPreferencesDirectoryUStr() {
    std::string standard = standardDirectory();
    size_t slash = standard.rfind('/');
    if (slash == std::string::npos) return ustring();
    std::string parent = standard.substr(0, slash);
    DIR* d = opendir(parent.c_str());
    if (d == nullptr) return ustring();
    std::string best;
    while (struct dirent* e = readdir(d)) {
        std::string name = e->d_name;
        if (isReleaseName(name) && name < kReleaseName && name > best && isDirectory(parent + "/" + name))
            best = name;
    }
    closedir(d);
    return best.empty() ? ustring() : wide(parent + "/" + best);
}

ustring calyxDefaultPrefDirPrefixUStr() {
    std::string home = homeFolder();
    if (home.empty()) return ustring();
    return wide(StripFinalPathNameSep(home) + (home == "/" ? "" : "/"));
}

ustring calyxDefaultPrefDirSuffixUStr(ustring const& release) {
    static unsigned short const kCalyx[] = {'.', 'c', 'a', 'l', 'y', 'x', '/'};
    return ustring(kCalyx, kCalyx + 7) + release;
}

ustring getTimestampFileNameUStr() {
    std::string dir = currentDirectory();
    if (dir.empty()) return ustring();
    return wide(dir + "/calyx.timestamp");
}

std::string StripFinalPathNameSep(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

ustring StripFinalPathNameSep(ustring path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

}} // namespace cxutil::settings
