// The settings groups and their file "calyx.settings" (Settings.hpp).
#include "cxutil/settings/Settings.hpp"

#include <fd/i18n/convert.hpp>

#include <boost/make_shared.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

namespace cxutil { namespace settings {

namespace {

char const kFileName[] = "calyx.settings";

std::string utf8(ustring const& s) { return s.empty() ? std::string() : fd::i18n::to_string(s, "UTF-8"); }
ustring fromUtf8(std::string const& s) { return s.empty() ? ustring() : fd::i18n::to_ustring(s, "UTF-8"); }
std::string narrow(ustring const& s) { return s.empty() ? std::string() : fd::i18n::to_string(s); }

bool knownLevel(std::string const& level) { return level == "user" || level == "factory"; }

std::mutex gFactoryMutex;
std::map<std::string, Settings::FactoryFunction>& factories() {
    static std::map<std::string, Settings::FactoryFunction> table;
    return table;
}

std::string joinPath(std::string const& group, std::string const& name) {
    return group.empty() ? name : group + "/" + name;
}

} // namespace

// One context's values: "<level> <group>/<key>" -> value, with the file they
// came from. Reloaded when the preferences directory moves.
struct Settings::Tree {
    std::mutex mutex;
    std::string loadedFrom;  // the file last loaded (or tried); empty before the first load
    std::map<std::string, ustring> values;

    static std::string fileNow() {
        std::string dir = narrow(getPreferencesDirectoryUStr(false));
        return dir.empty() ? std::string() : dir + "/" + kFileName;
    }

    // Under the mutex. Throws FileLoadingError for a malformed file, after
    // recording it as loaded so that the next access works on.
    void loadIfMoved() {
        std::string file = fileNow();
        if (!loadedFrom.empty() && file == loadedFrom) return;
        loadedFrom = file.empty() ? std::string("-") : file;
        values.clear();
        std::ifstream in(file, std::ios::binary);
        if (!in) return;  // no file yet: no values
        std::string line;
        for (unsigned lineNumber = 1; std::getline(in, line); ++lineNumber) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty()) continue;
            size_t blank = line.find(' ');
            size_t equals = line.find('=', blank == std::string::npos ? 0 : blank);
            if (blank == std::string::npos || equals == std::string::npos || !knownLevel(line.substr(0, blank)) ||
                equals == blank + 1) {
                std::ostringstream text;
                text << "The settings file " << file << " is malformed at line " << lineNumber << ".";
                throw FileLoadingError(text.str());
            }
            values[line.substr(0, equals)] = fromUtf8(line.substr(equals + 1));
        }
    }

    // Under the mutex: the values into a temporary file beside the real one,
    // renamed over it, so that a reader sees the old or the new file.
    bool save() {
        std::string dir = narrow(getPreferencesDirectoryUStr(true));
        if (dir.empty()) return false;
        std::string file = dir + "/" + kFileName;
        std::string temp = file + ".XXXXXX";
        int fd = mkstemp(&temp[0]);
        if (fd < 0) return false;
        std::string text;
        for (auto const& v : values) text += v.first + "=" + utf8(v.second) + "\n";
        bool ok = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        ok = ::close(fd) == 0 && ok;
        if (!ok || std::rename(temp.c_str(), file.c_str()) != 0) {
            std::remove(temp.c_str());
            return false;
        }
        loadedFrom = file;
        return true;
    }
};

Settings Settings::getSettingsRoot(contextmgr::CxrID const& id) {
    static std::mutex mutex;
    static std::map<contextmgr::CxrID, boost::shared_ptr<Tree>> roots;
    std::lock_guard<std::mutex> lock(mutex);
    boost::shared_ptr<Tree>& tree = roots[id];
    if (!tree) tree = boost::make_shared<Tree>();
    return Settings(tree, std::string());
}

Settings Settings::child(std::string const& name) const {
    {
        std::lock_guard<std::mutex> lock(tree_->mutex);
        tree_->loadIfMoved();
    }
    return Settings(tree_, joinPath(path_, name));
}

ustring Settings::get(std::string const& key, std::string const& level) const {
    if (level.empty()) return hasValue(key, "user") ? get(key, "user") : get(key, "factory");
    if (!knownLevel(level)) return ustring();
    std::string const name = joinPath(path_, key);
    {
        std::lock_guard<std::mutex> lock(tree_->mutex);
        auto it = tree_->values.find(level + " " + name);
        if (it != tree_->values.end()) return it->second;
    }
    if (level != "factory") return ustring();
    FactoryFunction function = nullptr;
    {
        std::lock_guard<std::mutex> lock(gFactoryMutex);
        auto it = factories().find(name);
        if (it != factories().end()) function = it->second;
    }
    if (function == nullptr) return ustring();
    // Called without any lock: a factory function may read settings itself.
    boost::any value;
    function(value);
    if (ustring const* u = boost::any_cast<ustring>(&value)) return *u;
    if (std::string const* s = boost::any_cast<std::string>(&value)) return fromUtf8(*s);
    return ustring();
}

bool Settings::hasValue(std::string const& key, std::string const& level) const {
    if (level.empty()) return hasValue(key, "user") || hasValue(key, "factory");
    if (!knownLevel(level)) return false;
    std::string const name = joinPath(path_, key);
    {
        std::lock_guard<std::mutex> lock(tree_->mutex);
        if (tree_->values.count(level + " " + name) != 0) return true;
    }
    if (level != "factory") return false;
    std::lock_guard<std::mutex> lock(gFactoryMutex);
    return factories().count(name) != 0;
}

bool Settings::set(std::string const& key, ustring const& value, std::string const& level) {
    if (!knownLevel(level) || key.empty()) return false;
    std::lock_guard<std::mutex> lock(tree_->mutex);
    try {
        tree_->loadIfMoved();
    } catch (FileLoadingError const&) {
        // The good lines are kept; writing replaces the bad file with them.
    }
    tree_->values[level + " " + joinPath(path_, key)] = value;
    return tree_->save();
}

bool Settings::remove(std::string const& key, std::string const& level) {
    if (!knownLevel(level)) return false;
    std::lock_guard<std::mutex> lock(tree_->mutex);
    if (tree_->values.erase(level + " " + joinPath(path_, key)) == 0) return true;
    return tree_->save();
}

void Settings::registerFactoryFunction(std::string const& group, std::string const& key, FactoryFunction function) {
    std::lock_guard<std::mutex> lock(gFactoryMutex);
    factories()[joinPath(group, key)] = function;
}

}} // namespace cxutil::settings
