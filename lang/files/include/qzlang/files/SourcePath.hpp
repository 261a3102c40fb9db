// The search path of the statement language: the current folder first, then
// the folders of addpath/path in order, looked up through the path manager
// (px*) with the library's I/O functions, so that with the feature
// "container" on a folder inside a CAT archive ("tb.cat/stats") can be on the
// path. Found files are read with the library's source readers and kept: a
// name is checked against the file system at most once per epoch, so a call
// in a loop costs a hash look-up and nothing more.
//
// Main thread only: the path manager and this cache have no lock.
#pragma once
#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

typedef struct pxPathObject* pxPath;

namespace qzlang { namespace files {

// A source file as it was read. Shared and immutable: a caller may keep it
// (the interpreter its parse) while the cache replaces it with a newer read.
struct SourceFile {
    std::string name;       // the function's name: the file's name without ".cx"
    std::string path;       // the full path of the file, through the archive when inArchive
    std::string text;       // the whole file
    bool inArchive = false; // read through the container model, out of a CAT archive
    // The interpreter's parse of `text`, kept with it: a file read again is a
    // new object with an empty slot, so a parse never outlives its text.
    mutable std::shared_ptr<void const> parsed;
};

// What exist() answers.
enum ExistKind { ExistNone = 0, ExistFile = 2, ExistFolder = 7 };

class SourcePath {
public:
    // Works on the path manager's path `pathName` (created if needed), the
    // interpreter's current path when null. Warnings of the path manager are
    // switched off for it: this class returns them as text instead.
    explicit SourcePath(char const* pathName = nullptr);
    SourcePath(SourcePath const&) = delete;
    SourcePath& operator=(SourcePath const&) = delete;

    // ---- the current folder ----
    // The process's working directory.
    std::string pwd() const;
    // Changes the process's working directory ("~" expanded) and the path
    // manager's with it. Raises CALYX:files:cdFailed when it cannot, and for
    // an empty name (`cd` alone shows pwd(): the interpreter's part).
    void cd(std::string const& folder);
    // The user's work folder (the "UserPath" preference, CALYX_USERWORKDIR
    // in place of "$documents"), where the start-up file "startup.cx" lives;
    // empty when there is none.
    static std::string userWorkFolder();
    // "startup.cx" in the user's work folder when there is one, else empty.
    static std::string startupFile();

    // ---- the folders of the path ----
    std::vector<std::string> folders() const { return folders_; }
    // The folders ":"-joined, as the path manager holds them.
    std::string pathText() const;
    // Puts `folders` (each made absolute) first, in the order given, or last
    // with `atEnd`; a folder already on the path moves. Returns one warning
    // text per folder that was left out (nonexistent, not a folder, a ":" in
    // its name), for the caller to print. A folder inside a damaged CAT
    // archive raises CALYX:files:damagedArchive naming the archive, and
    // nothing changes.
    std::vector<std::string> addpath(std::vector<std::string> const& folders, bool atEnd = false);
    // Removes folders; a folder not on the path gives a warning text. Any
    // change rechecks the folders that stay: one that is gone, or whose
    // archive is now damaged, leaves the path with a warning text.
    std::vector<std::string> rmpath(std::vector<std::string> const& folders);
    // Replaces the whole path (path(folders)); warnings as addpath.
    std::vector<std::string> setPath(std::vector<std::string> const& folders);

    // ---- finding and reading ----
    // The file "name.cx" read, or null when no folder holds one. A cached
    // answer (a file or none) is returned as it is until the next epoch.
    // After that, its first use checks it: a stat of each path folder once
    // per epoch, then, if no folder's listing changed, a stat of the name in
    // the current folder (a file there now hides the path's) and of the file
    // itself; otherwise the look-up along the path again. The file is read
    // again only if its time or size changed. Raises:
    // CALYX:files:invalidName (not a name of this language),
    // CALYX:files:fileTooLarge, CALYX:files:binaryFile (a NUL byte),
    // CALYX:files:damagedArchive, CALYX:files:cantRead, and the library's
    // CALYX:fileio:* errors of opening.
    std::shared_ptr<SourceFile const> locate(std::string const& name);
    // The answer of locate while it stands for this epoch, as the cache holds
    // it (no copy of the pointer, so a call in a loop costs no atomic
    // operation); null when locate must look, and then answers itself. The
    // pointer is good until the next locate, newEpoch or change of the path.
    std::shared_ptr<SourceFile const> const* cachedNow(std::string const& name) const {
        auto it = cache_.find(name);
        return it != cache_.end() && it->second.epoch == epoch_ ? &it->second.file : nullptr;
    }
    // A file named by its path (run, "qzconsole script.cx"), inside an
    // archive too, read with the checks of locate and not cached. Raises
    // CALYX:files:notFound for a file that is not there.
    std::shared_ptr<SourceFile const> readPath(std::string const& file);
    // Damaged archives met on the path since the last call, one sentence
    // each, for the caller to print as warnings: their folders stay on the
    // path and give no functions until they read again.
    std::vector<std::string> takePathWarnings();
    // Where "name.cx" (or "name" ending in ".cx") would be found, without
    // reading it; empty when nowhere. Never raises for a bad name.
    std::string resolve(std::string const& name);

    // Before each top-level statement: every cached answer is checked again
    // at its next use. Costs nothing until then.
    void newEpoch() { ++epoch_; }
    // The epoch now: it grows at newEpoch and invalidate, so an answer kept
    // with it stands while it is the same.
    unsigned long long epoch() const { return epoch_; }
    // Has every cached answer looked up along the path again and every
    // folder listed again at next use; texts are kept and read again only if
    // changed (addpath, rmpath, cd and a switch of the feature "container" do
    // this themselves; `rehash` is this).
    void invalidate();

    // ---- questions a user asks ----
    // The full path of the file that a call of `name` runs, or
    // "'name' not found."; the interpreter answers for its variables and
    // built-ins before asking this.
    std::string which(std::string const& name);
    // 2 for a source file found on the path (or a file path), 7 for a
    // folder (inside an archive too), 0 otherwise.
    int exist(std::string const& name);
    // The names of the source files in a folder (the current one when
    // empty), sorted, without ".cx". Raises CALYX:files:noFolder.
    std::vector<std::string> what(std::string const& folder = std::string());
    // The text of the source file that `name` finds, ending with a line end.
    // Raises CALYX:files:notFound and whatever locate raises.
    std::string type(std::string const& name);

    // The largest file read (8 MiB unless set): a source file is typed by a
    // person, and a larger one is refused before it is read.
    void setMaxFileBytes(std::size_t bytes) { maxFileBytes_ = bytes; }
    std::size_t maxFileBytes() const { return maxFileBytes_; }
    // How many files have been read so far: for tests of the cache.
    std::size_t readCount() const { return readCount_; }

private:
    struct Stamp {
        long long time = -1;  // modification time in nanoseconds; -1: not there
        long long size = -1;  // -2 for a folder
        bool operator==(Stamp const& o) const { return time == o.time && size == o.size; }
    };
    struct Entry {
        unsigned long long epoch = 0;       // when last checked against the file system; 0 never
        unsigned long long generation = 0;  // the listings' generation at that check
        std::string path;                   // empty: not found then
        Stamp stamp;                        // of what `file` holds
        std::shared_ptr<SourceFile const> file;
    };
    struct Listed {
        Stamp stamp;        // the folder's (or its archive's) at its listing
        bool racy = false;  // listed within a second of its last change
    };

    std::string find(std::string const& fileName);
    void refreshListings();
    std::vector<std::string> applyFolders(std::vector<std::string> const& wanted,
                                          std::vector<std::string> const& given);
    std::shared_ptr<SourceFile const> read(std::string const& name, std::string const& path, Stamp const& stamp);
    static void statStamp(std::string const& path, Stamp& stamp);
    void stampOf(std::string const& path, Stamp& stamp) const;
    std::string archiveDamage(std::string const& path) const;
    void raiseIfArchiveDamaged(std::string const& path) const;

    pxPath path_;
    std::vector<std::string> folders_;
    std::unordered_map<std::string, Entry> cache_;
    std::unordered_map<std::string, Listed> listed_;
    std::vector<std::string> pathWarnings_;
    bool containersSeen_ = false;  // the feature "container" at the last check
    std::string cwd_;
    unsigned long long epoch_ = 1;
    unsigned long long generation_ = 1;     // grows whenever a folder's listing may have changed
    unsigned long long listingsEpoch_ = 0;  // the epoch whose listings were checked
    std::size_t maxFileBytes_ = 8u << 20;
    std::size_t readCount_ = 0;
};

// True for a name of this language: a letter, then letters, digits and "_",
// at most 63 characters.
bool isValidName(std::string const& name);
// The CAT archive that `path` runs through ("/x/tb.cat" of "/x/tb.cat/a/f.cx"),
// or empty: the first component, before the last, whose extension is "cat".
std::string archiveOf(std::string const& path);

}} // namespace qzlang::files
