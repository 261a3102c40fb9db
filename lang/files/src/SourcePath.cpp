// The search path and its cache of source files.
#include "qzlang/files/SourcePath.hpp"

#include <qzservices/containers/ContainerFeature.hpp>
#include <qzservices/containers/CxfileReader.hpp>
#include <qzservices/containers/svFile.hpp>
#include <qzservices/containers/svIoStream.hpp>
#include <qzservices/state/preferences.hpp>

#include <cxutil/contextmgr/CxrID.hpp>
#include <px/px.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>

namespace qzlang { namespace files {

namespace {

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};
typedef std::unique_ptr<char, UvFree> UvText;

char const kExtension[] = ".cx";

bool endsWith(std::string const& text, std::string const& tail) {
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isWordChar(char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '_'; }

// "a/./b/../c" as "a/c": the path manager compares folders as text, so one
// folder must have one spelling.
std::string normalised(std::string const& path) {
    std::vector<std::string> parts;
    size_t start = 1;
    while (start <= path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string::npos) end = path.size();
        std::string const part = path.substr(start, end - start);
        if (part == "..") {
            if (!parts.empty()) parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = end + 1;
    }
    std::string out;
    for (auto const& p : parts) out += "/" + p;
    return out.empty() ? "/" : out;
}

// "~" expanded, made absolute against the current folder, normalised.
std::string absolute(std::string const& text) {
    if (text.size() >= PX_MAX_PATH)
        vxErrMsgId("CALYX:files:pathTooLong", "The path '%.60s...' is longer than %d characters.", text.c_str(),
                   PX_MAX_PATH - 1);
    char expanded[PX_MAX_PATH];
    pxTildeExpansion(expanded, text.c_str());
    char full[PX_MAX_PATH];
    pxFullPath(full, expanded, sizeof full);
    if (full[0] == '\0')
        vxErrMsgId("CALYX:files:pathTooLong", "The path '%.60s...' is longer than %d characters.", text.c_str(),
                   PX_MAX_PATH - 1);
    return normalised(full);
}

bool readsThroughArchive(char const* path) { return svIsContainerFeatureOn() && !archiveOf(path).empty(); }

// Plain files through the file system, files inside CAT archives through the
// container model; both buffers are released with uvFree.
CxfileReader& sourceReader() {
    static SwitchableCxfileReader reader(new ContainerCxfileReader, new PlaintextCxfileReader,
                                         boost::function1<bool, char const*>(&readsThroughArchive));
    return reader;
}

std::string stemOf(std::string const& name) {
    return endsWith(name, kExtension) ? name.substr(0, name.size() - (sizeof kExtension - 1)) : name;
}

// The base name of a path without its extension: the function's name.
std::string functionNameOf(std::string const& path) {
    size_t const slash = path.rfind('/');
    return stemOf(slash == std::string::npos ? path : path.substr(slash + 1));
}

} // namespace

bool isValidName(std::string const& name) {
    if (name.empty() || name.size() > 63 || !isLetter(name[0])) return false;
    return std::all_of(name.begin(), name.end(), isWordChar);
}

std::string archiveOf(std::string const& path) {
    // The walker opens the first component whose extension is exactly "cat"
    // (after a dot that does not start the name) as an archive.
    size_t start = 0;
    while (start < path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string::npos) return std::string();  // the last component is the file itself
        std::string const part = path.substr(start, end - start);
        size_t const dot = part.rfind('.');
        if (dot != std::string::npos && dot >= 1 && part.compare(dot + 1, std::string::npos, "cat") == 0)
            return path.substr(0, end);
        start = end + 1;
    }
    return std::string();
}

SourcePath::SourcePath(char const* pathName) {
    path_ = pxCreatePath(pathName ? pathName : pxGetCurrentPathname());
    pxSetNotificationHandleWarnings(path_, false);
    for (size_t i = 0; i < pxNumDirectories(path_); ++i) folders_.push_back(pxGetDirectory(path_, i));
    cwd_ = pwd();
    pxSetCWDName(path_, cwd_.c_str());
}

std::string SourcePath::pwd() const {
    char buffer[PX_MAX_PATH];
    if (getcwd(buffer, sizeof buffer) == nullptr)
        vxErrMsgId("CALYX:files:noCurrentFolder", "The current folder cannot be read: %s.", std::strerror(errno));
    return buffer;
}

void SourcePath::cd(std::string const& folder) {
    if (folder.empty()) vxErrMsgId("CALYX:files:cdFailed", "Cannot change the current folder: no folder was given.");
    std::string const target = absolute(folder);
    if (chdir(target.c_str()) != 0)
        vxErrMsgId("CALYX:files:cdFailed", "Cannot change the current folder to '%s': %s.", folder.c_str(),
                   std::strerror(errno));
    cwd_ = pwd();
    pxSetCWDName(path_, cwd_.c_str());
    invalidate();
}

std::string SourcePath::userWorkFolder() {
    std::vector<char> raw(8194), resolved(8194);
    try {
        svGetPref_UserWorkFolder(raw.data(), static_cast<int>(raw.size()), resolved.data(),
                                 static_cast<int>(resolved.size()), false, cxutil::contextmgr::CxrID());
    } catch (vx::Error const&) {
        return std::string();  // no settings to read: no work folder, and start-up goes on
    }
    return resolved.data();
}

std::string SourcePath::pathText() const {
    std::string text;
    for (auto const& f : folders_) text += (text.empty() ? "" : ":") + f;
    return text;
}

// The damage of the archive that `path` runs through, as a sentence; empty
// when it reads, or when there is no archive.
std::string SourcePath::archiveDamage(std::string const& path) const {
    std::string const archive = archiveOf(path);
    if (archive.empty() || !svIsContainerFeatureOn()) return std::string();
    std::unique_ptr<svContainer> found(svContainer::svFindContainer(archive.c_str()));
    if (!found) return std::string();
    // A bad magic shows at once; a bad directory block only when it is read.
    int code = found->findStreamAccessInError();
    svContainerDirIoStream* const stream = found->getDirStream();
    if (code != 3 && !found->hasErrorOnContainer() && stream && stream->open()) {
        UvText list(stream->getDirList());
        code = stream->getStreamAccess();
        stream->close();
    }
    if (code != 3) return std::string();
    return "The CAT archive '" + archive + "' is damaged (" + svIoStream::getStreamAccessStrings(3) + ").";
}

void SourcePath::raiseIfArchiveDamaged(std::string const& path) const {
    std::string const damage = archiveDamage(path);
    if (!damage.empty()) vxErrMsgId("CALYX:files:damagedArchive", "%s", damage.c_str());
}

// Keeps the folders that the path manager accepts, in the order given, and
// says why each other one was left out. A damaged archive under a folder
// the caller gives raises; one under a folder that was on the path already
// leaves it out with a warning, so that the damage does not block the call.
std::vector<std::string> SourcePath::applyFolders(std::vector<std::string> const& wanted,
                                                  std::vector<std::string> const& given) {
    std::vector<std::string> warnings;
    std::vector<std::string> kept;
    pxIOFcns const io = pxGetIOFcns(path_);
    for (auto const& folder : wanted) {
        if (folder.find(':') != std::string::npos) {
            warnings.push_back("The folder '" + folder + "' has a ':' in its name and cannot be on the path.");
            continue;
        }
        if (std::find(kept.begin(), kept.end(), folder) != kept.end()) continue;
        if (io.dirAccessibility == nullptr || io.dirAccessibility(path_, folder.c_str()) != pxDirAccessible) {
            if (std::find(given.begin(), given.end(), folder) != given.end()) raiseIfArchiveDamaged(folder + "/");
            std::string const damage = archiveDamage(folder + "/");
            warnings.push_back(damage.empty() ? "Name is nonexistent or not a directory: " + folder
                                              : damage + " Its folder " + folder + " leaves the path.");
            continue;
        }
        kept.push_back(folder);
    }
    std::string text;
    for (auto const& f : kept) text += (text.empty() ? "" : ":") + f;
    pxReplacePath(path_, text.c_str());
    folders_.clear();
    for (size_t i = 0; i < pxNumDirectories(path_); ++i) folders_.push_back(pxGetDirectory(path_, i));
    invalidate();
    return warnings;
}

std::vector<std::string> SourcePath::addpath(std::vector<std::string> const& folders, bool atEnd) {
    std::vector<std::string> added;
    for (auto const& f : folders) added.push_back(absolute(f));
    std::vector<std::string> wanted;
    if (atEnd) {
        for (auto const& f : folders_)
            if (std::find(added.begin(), added.end(), f) == added.end()) wanted.push_back(f);
        wanted.insert(wanted.end(), added.begin(), added.end());
    } else {
        wanted = added;
        for (auto const& f : folders_)
            if (std::find(added.begin(), added.end(), f) == added.end()) wanted.push_back(f);
    }
    // A damaged archive raises from here, before anything changed.
    return applyFolders(wanted, added);
}

std::vector<std::string> SourcePath::rmpath(std::vector<std::string> const& folders) {
    std::vector<std::string> warnings;
    std::vector<std::string> wanted = folders_;
    for (auto const& f : folders) {
        std::string const target = absolute(f);
        auto const it = std::find(wanted.begin(), wanted.end(), target);
        if (it == wanted.end()) {
            warnings.push_back("\"" + f + "\" not found in path.");
            continue;
        }
        wanted.erase(it);
    }
    std::vector<std::string> const more = applyFolders(wanted, {});
    warnings.insert(warnings.end(), more.begin(), more.end());
    return warnings;
}

std::vector<std::string> SourcePath::setPath(std::vector<std::string> const& folders) {
    std::vector<std::string> wanted;
    for (auto const& f : folders) wanted.push_back(absolute(f));
    return applyFolders(wanted, wanted);
}

void SourcePath::invalidate() {
    ++epoch_;
    ++generation_;
    // Every folder is listed again at its next use.
    listed_.clear();
    for (auto const& f : folders_) pxChangedUnknownDir(path_, f.c_str());
}

// Once per epoch: a folder whose stamp moved is listed again, and the
// generation of the listings grows, so that every cached answer is looked up
// afresh. A folder inside an archive takes the archive's stamp. A folder
// listed within a second of its last change may change again within the
// clock's resolution, unseen: it is listed again at each epoch of that second.
void SourcePath::refreshListings() {
    if (listingsEpoch_ == epoch_) return;
    // Switching the feature "container" changes what every folder holds.
    bool const containers = svIsContainerFeatureOn();
    if (containers != containersSeen_) {
        containersSeen_ = containers;
        invalidate();
    }
    listingsEpoch_ = epoch_;
    long long const now = static_cast<long long>(std::time(nullptr));
    for (auto const& f : folders_) {
        std::string const archive = svIsContainerFeatureOn() ? archiveOf(f + "/") : std::string();
        Stamp stamp;
        statStamp(archive.empty() ? f : archive, stamp);
        auto found = listed_.find(f);
        if (found != listed_.end() && found->second.stamp == stamp && !found->second.racy) continue;
        pxChangedUnknownDir(path_, f.c_str());
        ++generation_;
        // An archive that changed is read once here to tell a damaged one,
        // whose functions would otherwise just be missing.
        if (!archive.empty() && (found == listed_.end() || !(found->second.stamp == stamp))) {
            std::string const damage = archiveDamage(f + "/");
            if (!damage.empty()) pathWarnings_.push_back(damage + " Its folder " + f + " gives no functions.");
        }
        Listed& l = listed_[f];
        l.stamp = stamp;
        l.racy = stamp.time / 1000000000LL >= now - 1;
    }
}

std::string SourcePath::find(std::string const& fileName) {
    refreshListings();
    char out[PX_MAX_PATH];
    if (!pxFindFile(path_, fileName.c_str(), out)) return std::string();
    return out;
}

// A path's modification time to the nanosecond and its size; time -1 when
// the path is not there.
void SourcePath::statStamp(std::string const& path, Stamp& stamp) {
    struct stat st;
    if (::stat(path.c_str(), &st) != 0) {
        stamp = Stamp();
        return;
    }
    stamp.time = static_cast<long long>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
    stamp.size = S_ISDIR(st.st_mode) ? -2 : static_cast<long long>(st.st_size);
}

// What tells a changed file: its stamp; for a member of an archive the
// archive's, which keeps no time of its own per member. A folder that
// carries the name is no file.
void SourcePath::stampOf(std::string const& path, Stamp& stamp) const {
    bool const inArchive = svIsContainerFeatureOn() && !archiveOf(path).empty();
    statStamp(inArchive ? archiveOf(path) : path, stamp);
    if (stamp.size == -2) stamp = Stamp();
}

std::shared_ptr<SourceFile const> SourcePath::read(std::string const& name, std::string const& path,
                                                     Stamp const& stamp) {
    bool const inArchive = svIsContainerFeatureOn() && !archiveOf(path).empty();
    if (!inArchive && stamp.time == -1) return nullptr;  // gone, or a folder named like a file
    // A plain file too large is refused before it is read; a member of an
    // archive once it is (its stamp holds the archive's size).
    if (!inArchive && stamp.size > static_cast<long long>(maxFileBytes_))
        vxErrMsgId("CALYX:files:fileTooLarge", "The file '%s' has %lld bytes; a source file may have at most %zu.",
                   path.c_str(), stamp.size, maxFileBytes_);
    unsigned long length = 0;
    ioErrorMessage error = 0;
    ++readCount_;
    UvText bytes(static_cast<char*>(sourceReader().read(&length, nullptr, path.c_str(), &error)));
    if (!bytes) {
        if (!inArchive) return nullptr;  // vanished since it was found; other failures raised in the reader
        if (error == 9) return nullptr;
        if (error == 3)
            vxErrMsgId("CALYX:files:damagedArchive", "The CAT archive '%s' is damaged (%s).", archiveOf(path).c_str(),
                       svIoStream::getStreamAccessStrings(3).c_str());
        vxErrMsgId("CALYX:files:cantRead", "The file '%s' cannot be read (%s).", path.c_str(),
                   svIoStream::getStreamAccessStrings(error >= 0 && error < 12 ? error : 2).c_str());
    }
    if (length > maxFileBytes_)
        vxErrMsgId("CALYX:files:fileTooLarge", "The file '%s' has %lu bytes; a source file may have at most %zu.",
                   path.c_str(), length, maxFileBytes_);
    if (void const* nul = std::memchr(bytes.get(), '\0', length))
        vxErrMsgId("CALYX:files:binaryFile",
                   "The file '%s' is not a text file: it holds a NUL byte at offset %ld.", path.c_str(),
                   static_cast<long>(static_cast<char const*>(nul) - bytes.get()));
    auto file = std::make_shared<SourceFile>();
    file->name = name;
    file->path = path;
    file->text.assign(bytes.get(), length);
    file->inArchive = inArchive;
    return file;
}

std::vector<std::string> SourcePath::takePathWarnings() {
    std::vector<std::string> warnings;
    warnings.swap(pathWarnings_);
    return warnings;
}

std::shared_ptr<SourceFile const> SourcePath::readPath(std::string const& file) {
    std::string const full = absolute(file);
    Stamp stamp;
    stampOf(full, stamp);
    std::shared_ptr<SourceFile const> found = read(functionNameOf(full), full, stamp);
    if (!found) vxErrMsgId("CALYX:files:notFound", "The file '%s' does not exist.", file.c_str());
    return found;
}

std::string SourcePath::startupFile() {
    std::string const folder = userWorkFolder();
    if (folder.empty()) return std::string();
    std::string const file = folder + "/startup" + kExtension;
    struct stat st;
    return ::stat(file.c_str(), &st) == 0 && S_ISREG(st.st_mode) ? file : std::string();
}

std::shared_ptr<SourceFile const> SourcePath::locate(std::string const& name) {
    auto it = cache_.find(name);
    if (it != cache_.end() && it->second.epoch == epoch_) return it->second.file;
    if (it == cache_.end()) {
        if (!isValidName(name))
            vxErrMsgId("CALYX:files:invalidName",
                       "'%s' is not a valid function name: a name is a letter followed by letters, digits or "
                       "underscores, at most 63 characters.",
                       name.c_str());
        it = cache_.emplace(name, Entry()).first;
    }
    Entry& e = it->second;
    refreshListings();
    if (e.epoch != 0 && e.generation == generation_) {
        // No listing changed since the entry was checked: only a file in the
        // current folder can hide it now, and only the file itself can have
        // changed. One stat each, instead of a look-up along the path.
        std::string const here = cwd_ + "/" + name + kExtension;
        Stamp local;
        statStamp(here, local);
        bool const hereNow = local.time != -1 && local.size != -2;
        if (e.path.empty() && !hereNow) {
            e.epoch = epoch_;
            return nullptr;
        }
        if (!e.path.empty() && (e.path == here || !hereNow)) {
            Stamp stamp;
            if (e.path == here) {
                stamp = local;
            } else {
                stampOf(e.path, stamp);
            }
            if (stamp == e.stamp) {
                e.epoch = epoch_;
                return e.file;
            }
        }
    }
    std::string const found = find(name + kExtension);
    if (found.empty()) {
        bool const wasInArchive = e.file && e.file->inArchive;
        std::string const was = e.path;
        e = Entry();
        e.epoch = epoch_;
        e.generation = generation_;
        // A function that was in an archive and is gone: say so if the
        // archive itself broke, rather than leave an unknown name.
        if (wasInArchive) raiseIfArchiveDamaged(was);
        return nullptr;
    }
    Stamp stamp;
    stampOf(found, stamp);
    if (e.file && e.path == found && e.stamp == stamp) {
        e.epoch = epoch_;
        e.generation = generation_;
        return e.file;
    }
    // A read that raises leaves the entry unchecked, so that the next call
    // reports the same trouble instead of a stale text.
    e.epoch = 0;
    std::shared_ptr<SourceFile const> file = read(name, found, stamp);
    e.epoch = epoch_;
    e.generation = generation_;
    e.path = file ? found : std::string();
    e.stamp = stamp;
    e.file = file;
    return file;
}

std::string SourcePath::resolve(std::string const& name) {
    std::string const stem = stemOf(name);
    if (isValidName(stem)) {
        auto it = cache_.find(stem);
        if (it != cache_.end() && it->second.epoch == epoch_) return it->second.path;
        return find(stem + kExtension);
    }
    if (name.empty() || name.size() >= PX_MAX_PATH - 4) return std::string();
    // A path: as given when it names a file, else with the extension added.
    std::string found = find(name);
    if (found.empty() && !endsWith(name, kExtension)) found = find(name + kExtension);
    return found;
}

std::string SourcePath::which(std::string const& name) {
    std::string const found = resolve(name);
    return found.empty() ? "'" + name + "' not found." : found;
}

int SourcePath::exist(std::string const& name) {
    if (name.empty() || name.size() >= PX_MAX_PATH - 4) return ExistNone;
    if (!resolve(name).empty()) return ExistFile;
    std::string const full = absolute(name);
    pxIOFcns const io = pxGetIOFcns(path_);
    if (io.isDirectory && io.isDirectory(path_, full.c_str())) return ExistFolder;
    if (io.isReadableFile && io.isReadableFile(full.c_str())) return ExistFile;
    return ExistNone;
}

std::vector<std::string> SourcePath::what(std::string const& folder) {
    std::string const dir = folder.empty() ? pwd() : absolute(folder);
    pxIOFcns const io = pxGetIOFcns(path_);
    UvText list(io.listDirectory ? io.listDirectory(path_, dir.c_str(), nullptr) : nullptr);
    if (!list && (io.dirAccessibility == nullptr || io.dirAccessibility(path_, dir.c_str()) != pxDirAccessible)) {
        raiseIfArchiveDamaged(dir + "/");
        vxErrMsgId("CALYX:files:noFolder", "The folder '%s' does not exist.", folder.c_str());
    }
    std::vector<std::string> names;
    for (char const* p = list.get(); p && *p; p += std::strlen(p) + 1) {
        std::string const entry = p;
        if (endsWith(entry, kExtension) && isValidName(stemOf(entry))) names.push_back(stemOf(entry));
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string SourcePath::type(std::string const& name) {
    std::string const found = resolve(name);
    if (found.empty()) vxErrMsgId("CALYX:files:notFound", "'%s' not found.", name.c_str());
    std::string const function = functionNameOf(found);
    std::shared_ptr<SourceFile const> file;
    if (isValidName(function) && resolve(function) == found) {
        file = locate(function);
    } else {
        Stamp stamp;
        stampOf(found, stamp);
        file = read(function, found, stamp);
    }
    if (!file) vxErrMsgId("CALYX:files:notFound", "'%s' not found.", name.c_str());
    std::string text = file->text;
    if (!text.empty() && text.back() != '\n') text += '\n';
    return text;
}

}} // namespace qzlang::files
