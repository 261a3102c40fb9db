// Preferences: "calyx.prf" read by key and rewritten in place of one integer,
// the directories of the settings layer as local text, the toolbox cache
// names and the user's work folder.
#include "qzservices/state/preferences.hpp"
#include "qzservices/state/runtime_identity.hpp"
#include "qzservices/state/session_modes.hpp"

#include <cxutil/settings/Settings.hpp>
#include <fd/i18n/convert.hpp>
#include <msg/calyx_messages.hpp>
#include <px/px.hpp>
#include <uv/machine_info.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <boost/thread/tss.hpp>
#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <climits>
#include <cstring>
#include <ctime>
#include <memory>
#include <sstream>

namespace {

char const kPrefFile[] = "calyx.prf";
int const kLineBuffer = 1024;     // a line is at most 1023 characters; the rest is a further line
int const kWorkFolderBuffer = 8194;

std::string local(cxutil::settings::ustring const& text) {
    return text.empty() ? std::string() : fd::i18n::to_string(text);
}

// Keeps `text` in the calling thread's cell and returns it; null for none.
char const* keepInCell(boost::thread_specific_ptr<std::string>& cell, cxutil::settings::ustring const& text) {
    if (text.empty()) return nullptr;
    cell.reset(new std::string(local(text)));
    return cell->c_str();
}

boost::thread_specific_ptr<std::string> gPreferencesDirectoryCell;
boost::thread_specific_ptr<std::string> gDefaultDirectoryCell;
boost::thread_specific_ptr<std::string> gPreviousDirectoryCell;
boost::thread_specific_ptr<std::string> gTimestampCell;

// The preferences file's path, or false when there is no directory.
bool prefFilePath(char (&path)[PX_MAX_PATH]) {
    char const* dir = svGetPreferencesDirectory(false);
    if (dir == nullptr) return false;
    pxCombinePathName(path, dir, kPrefFile);
    return true;
}

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};
typedef std::unique_ptr<FILE, FileCloser> FilePtr;

// Temporary files of a rewrite are named "<file>.XXXXXX" beside the file.
// Leftovers of a rewrite that was killed are removed at a later one; a minute
// of age spares a rewrite that another process is making at this moment.
bool isOurLeftover(char const* entry, std::string const& base) {
    if (std::strncmp(entry, base.c_str(), base.size()) != 0 || entry[base.size()] != '.') return false;
    char const* tail = entry + base.size() + 1;
    if (std::strlen(tail) != 6) return false;
    for (char const* c = tail; *c != '\0'; ++c)
        if (!std::isalnum(static_cast<unsigned char>(*c))) return false;
    return true;
}

void removeLeftovers(std::string const& dir, std::string const& base) {
    DIR* d = opendir(dir.c_str());
    if (d == nullptr) return;
    time_t const now = std::time(nullptr);
    while (struct dirent* e = readdir(d)) {
        if (!isOurLeftover(e->d_name, base)) continue;
        std::string const leftover = dir + "/" + e->d_name;
        struct stat st;
        if (lstat(leftover.c_str(), &st) == 0 && S_ISREG(st.st_mode) && now - st.st_mtime > 60)
            ::unlink(leftover.c_str());
    }
    closedir(d);
}

// Writes `content` to a new file beside `target` and renames it over `target`,
// keeping the old file's permission bits. False, with the old file untouched,
// when any step fails (a folder the user may not write, a full disk).
bool replaceFile(std::string const& target, std::string const& content, mode_t mode) {
    std::string temp = target + ".XXXXXX";
    int fd = mkstemp(&temp[0]);
    if (fd < 0) return false;
    bool ok = fchmod(fd, mode & 07777) == 0;
    for (size_t done = 0; ok && done < content.size();) {
        ssize_t n = ::write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR) continue;
        ok = n > 0;
        if (ok) done += static_cast<size_t>(n);
    }
    // The data must be on disk before the rename makes it the file.
    ok = ok && fsync(fd) == 0;
    ok = ::close(fd) == 0 && ok;
    if (ok && std::rename(temp.c_str(), target.c_str()) == 0) return true;
    std::remove(temp.c_str());
    return false;
}

// The rewrite of the open file itself, for when no file can be made beside it.
// The new text is never shorter than the old, so nothing needs truncating.
void rewriteInPlace(FILE* file, std::string const& content) {
    std::rewind(file);
    std::fwrite(content.data(), 1, content.size(), file);
    std::fflush(file);
}

} // namespace

char* svGetPref(char const* key) {
    if (key == nullptr) return nullptr;
    char path[PX_MAX_PATH];
    if (!prefFilePath(path)) return nullptr;
    FilePtr file(std::fopen(path, "r"));
    if (!file) return nullptr;
    char line[kLineBuffer];
    while (uvFgets(line, sizeof line, file.get()) != nullptr) {
        char* save = nullptr;
        // A read stops only at "\n", so lines that end in "\r" alone share a buffer.
        for (char* text = strtok_r(line, "\n\r", &save); text != nullptr; text = strtok_r(nullptr, "\n\r", &save)) {
            while (std::isspace(static_cast<unsigned char>(*text))) ++text;
            if (*text == '#') continue;
            while (*text == '=') ++text;  // leading "=" never start a key
            if (*text == '\0') continue;
            char* value = nullptr;
            if (char* equals = std::strchr(text, '=')) {
                *equals = '\0';
                if (equals[1] != '\0') value = equals + 1;
            }
            // A line "key=" ends the scan too, with no value: uvStrdup of null is null.
            if (std::strcmp(text, key) == 0) return uvStrdup(value);
        }
    }
    return nullptr;
}

void svSetPref(char const* key, int value) {
    if (key == nullptr || *key == '\0') return;
    char path[PX_MAX_PATH];
    if (!prefFilePath(path)) return;
    // "r+": a file this process may not write is left alone, like a missing key.
    FilePtr file(std::fopen(path, "r+"));
    if (!file) return;
    struct stat st;
    if (fstat(fileno(file.get()), &st) != 0) return;
    // The whole file as one string, NUL bytes and overlong lines included, so
    // that everything but the one value survives byte for byte.
    std::string content;
    char chunk[4096];
    for (size_t n; (n = std::fread(chunk, 1, sizeof chunk, file.get())) > 0;) content.append(chunk, n);
    if (std::ferror(file.get())) return;

    // The first occurrence of the key's text anywhere, even inside a comment
    // or a longer key: the rewrite works on text, not on parsed lines.
    size_t const at = content.find(key);
    if (at == std::string::npos) return;  // keys are never added
    size_t lineEnd = content.find_first_of("\n\r", at);
    if (lineEnd == std::string::npos) lineEnd = content.size();  // a last line without a line end
    size_t const equals = content.find('=', at);
    if (equals == std::string::npos || equals >= lineEnd) return;  // no value on that line
    size_t const oldLength = lineEnd - equals - 1;

    std::ostringstream digits;
    digits << value;
    std::string const number = digits.str();
    std::string text = "I";
    // Zeros keep the old length where they can, so "I120" becomes "I005".
    if (oldLength > number.size() + 1) text.append(oldLength - 1 - number.size(), '0');
    text += number;
    content.replace(equals + 1, oldLength, text);

    // A link stays a link: the file it points to is the one replaced.
    char resolved[PATH_MAX];
    std::string const target = realpath(path, resolved) != nullptr ? resolved : path;
    size_t const slash = target.rfind('/');
    std::string const dir = slash == std::string::npos ? "." : target.substr(0, slash == 0 ? 1 : slash);
    removeLeftovers(dir, target.substr(slash == std::string::npos ? 0 : slash + 1));
    if (!replaceFile(target, content, st.st_mode)) rewriteInPlace(file.get(), content);
}

int svGetCachePreference() {
    if (svIsStandaloneMode()) return 0;
    char* use = svGetPref("GeneralUseToolboxCache");
    bool const off = use != nullptr && strcasecmp(use, "Bfalse") == 0;
    uvFree(use);
    if (off) return 0;
    char* diag = svGetPref("GeneralUseToolboxCacheDiag");
    bool const diagnostics = diag != nullptr && strcasecmp(diag, "Btrue") == 0;
    uvFree(diag);
    return diagnostics ? 2 : 1;
}

char const* svGetPreferencesDirectory(bool create) {
    return keepInCell(gPreferencesDirectoryCell, cxutil::settings::getPreferencesDirectoryUStr(create));
}

bool svSetPreferencesDirectory(char const* dir) {
    std::string const text = dir != nullptr ? dir : "";
    return cxutil::settings::setPreferencesDirectoryUStr(text.empty() ? cxutil::settings::ustring()
                                                                      : fd::i18n::to_ustring(text));
}

std::string svGetStandardPreferencesDirectory() {
    return local(cxutil::settings::getStandardPreferencesDirectoryUStr());
}

char const* svGetDefaultPreferencesDirectory() {
    return keepInCell(gDefaultDirectoryCell, cxutil::settings::getDefaultPreferencesDirectoryUStr());
}

char const* svGetPreviousPreferencesDirectory() {
    return keepInCell(gPreviousDirectoryCell, cxutil::settings::getPreviousPreferencesDirectoryUStr());
}

std::string svCalyxDefaultPrefDirPrefix() { return local(cxutil::settings::calyxDefaultPrefDirPrefixUStr()); }

std::string svCalyxDefaultPrefDirSuffix(char const* text) {
    std::string const release = text != nullptr ? text : "";
    return local(cxutil::settings::calyxDefaultPrefDirSuffixUStr(
        release.empty() ? cxutil::settings::ustring() : fd::i18n::to_ustring(release)));
}

char const* svGetTimestampFileName() {
    return keepInCell(gTimestampCell, cxutil::settings::getTimestampFileNameUStr());
}

char const* svGetToolboxCacheFile() {
    static char buffer[PX_MAX_PATH];
    char const* dir = svGetPreferencesDirectory(true);
    if (dir == nullptr) return nullptr;
    // The root's hash keeps the caches of two installations apart.
    char name[96];
    std::snprintf(name, sizeof name, "toolbox_cache-3.4.0-%u-linux64.xml",
                  static_cast<unsigned>(uv_hash_string(0, svCalyxRoot())));
    pxCombinePathName(buffer, dir, name);
    return buffer;
}

char const* svGetSystemToolboxCacheFile() {
    static char buffer[PX_MAX_PATH];
    pxCombinePathName(buffer, svCalyxRoot(), "toolbox/local/toolbox_cache-linux64.xml");
    return buffer;
}

void cxr_pref_dir(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 1) vxm::detail::error_maxrhs();
    bool create = false;
    if (inCount == 1) {
        vxArray_tag const* in = inArgs[0];
        bool const scalar = in != nullptr && vxIsScalar(in) && !vxIsSparse(in);
        if (!scalar || !(vxIsNumeric(in) || vxGetClassID(in) == vxLOGICAL_CLASS)) vxErrMsgId(CALYX::prefs::BadInput());
        create = vxGetScalar(in) != 0;
    }
    char const* dir = svGetPreferencesDirectory(create);
    if (dir == nullptr) {
        char const* wanted = svGetPreferencesDirectory(false);
        vxErrMsgId(CALYX::prefs::MkdirFailed(wanted != nullptr ? wanted : ""));
    }
    outArgs[0] = vxCreateString(dir);
}

void getDefaultUserFolder(boost::any& value) {
    static char const kDefault[] = "$documents/CALYX";
    value = cxutil::settings::ustring(kDefault, kDefault + sizeof kDefault - 1);
}

void svGetPref_UserWorkFolder(char* rawValue, int rawSize, char* resolved, int resolvedSize, bool useFactory,
                              cxutil::contextmgr::CxrID const& id) {
    using cxutil::settings::Settings;
    if (rawValue == nullptr || resolved == nullptr || rawSize < kWorkFolderBuffer || resolvedSize < kWorkFolderBuffer)
        vxErrMsgId(CALYX::prefs::InsufficientMemory());

    Settings root = Settings::getSettingsRoot(id);
    Settings group = root;
    try {
        group = root.child("calyx");
    } catch (cxutil::settings::FileLoadingError const& error) {
        // The tree works on without the bad file; say so and go on.
        group = root.child("calyx");
        vxWarningMsgId(CALYX::settings::core::FileLoadingError(error.what()));
    }

    bool mayCreate = true;
    std::string value;
    if (useFactory) {
        value = local(group.get("UserPath", "factory"));
    } else {
        mayCreate = !group.hasValue("UserPath", "user");
        value = local(group.get("UserPath", ""));
    }
    if (value.empty()) mayCreate = false;
    std::snprintf(rawValue, static_cast<size_t>(rawSize), "%s", value.c_str());

    static char const kDocuments[] = "$documents";
    size_t const prefixLength = sizeof kDocuments - 1;
    std::string path;
    if (value.compare(0, prefixLength, kDocuments) == 0) {
        if (char const* workDir = std::getenv("CALYX_USERWORKDIR")) {
            path = workDir;  // as it stands, without the rest of the value
        } else {
            char buffer[PX_MAX_PATH];
            std::snprintf(buffer, sizeof buffer, "%s",
                          cxutil::settings::StripFinalPathNameSep(svCalyxDefaultPrefDirPrefix()).c_str());
            pxConcatPathSubdir(buffer, "Documents");
            path = buffer;
            struct stat st;
            if (stat(path.c_str(), &st) != 0)
                mayCreate = false;  // no Documents folder: nothing is made below it
            else
                path += value.substr(prefixLength);
        }
    } else {
        path = value;
    }
    std::snprintf(resolved, static_cast<size_t>(resolvedSize), "%s", path.c_str());

    struct stat st;
    if (mayCreate && stat(resolved, &st) != 0 && mkdir(resolved, 0775) != 0)
        uvPrintf("Warning: Unable to create personal CALYX work folder:%s\n", resolved);
}

namespace {

// The settings layer asks this unit for the factory value of "UserPath".
int registerUserPathFactory() {
    cxutil::settings::Settings::registerFactoryFunction("calyx", "UserPath", &getDefaultUserFolder);
    return 1;
}
int const registeredAtLoad = registerUserPathFactory();

} // namespace
