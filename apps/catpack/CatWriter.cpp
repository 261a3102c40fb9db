// Writes a directory tree as a CAT archive (CatWriter.hpp).
#include "CatWriter.hpp"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace catpack {

namespace {

std::uint64_t const kMaxField = 0xffffffffull;

std::string errnoText(std::string const& what) { return what + ": " + std::strerror(errno); }

struct FileCloser {
    void operator()(FILE* f) const {
        if (f) std::fclose(f);
    }
};
typedef std::unique_ptr<FILE, FileCloser> File;

void putU32(FILE* out, std::uint64_t value, bool bigEndian) {
    unsigned char bytes[4];
    for (int i = 0; i < 4; ++i) {
        int const shift = bigEndian ? 8 * (3 - i) : 8 * i;
        bytes[i] = static_cast<unsigned char>((value >> shift) & 0xff);
    }
    if (std::fwrite(bytes, 1, 4, out) != 4) throw WriteError(errnoText("write"));
}

void putBytes(FILE* out, void const* data, size_t n) {
    if (n != 0 && std::fwrite(data, 1, n, out) != n) throw WriteError(errnoText("write"));
}

void copyFile(FILE* out, TreeEntry const& entry) {
    File in(std::fopen(entry.path.c_str(), "rb"));
    if (!in) throw WriteError(errnoText(entry.path));
    char buffer[65536];
    std::uint64_t copied = 0;
    size_t got;
    while ((got = std::fread(buffer, 1, sizeof buffer, in.get())) > 0) {
        copied += got;
        // The header already holds the size: a file that grew cannot be packed.
        if (copied > entry.size) break;
        putBytes(out, buffer, got);
    }
    if (std::ferror(in.get())) throw WriteError(errnoText(entry.path));
    if (copied != entry.size) throw WriteError(entry.path + ": changed while it was being packed");
}

void writeBlock(FILE* out, std::vector<TreeEntry> const& entries, bool bigEndian) {
    std::uint64_t headerLength = 8;
    for (TreeEntry const& e : entries) headerLength += 9 + e.name.size();
    putU32(out, headerLength, bigEndian);
    putU32(out, entries.size(), bigEndian);
    for (TreeEntry const& e : entries) {
        char const type = e.isDir ? 'D' : 'F';
        putBytes(out, &type, 1);
        putU32(out, e.name.size(), bigEndian);
        putBytes(out, e.name.data(), e.name.size());
        putU32(out, e.size, bigEndian);
    }
    for (TreeEntry const& e : entries) {
        if (e.isDir) writeBlock(out, e.children, bigEndian);
        else copyFile(out, e);
    }
}

} // namespace

std::uint64_t blockSize(std::vector<TreeEntry> const& entries) {
    std::uint64_t total = 8;
    for (TreeEntry const& e : entries) total += 9 + e.name.size() + e.size;
    return total;
}

std::vector<TreeEntry> scanTree(std::string const& dir, std::vector<std::string>& skipped) {
    std::unique_ptr<DIR, int (*)(DIR*)> handle(opendir(dir.c_str()), closedir);
    if (!handle) throw WriteError(errnoText(dir));
    std::vector<TreeEntry> entries;
    errno = 0;
    while (struct dirent* d = readdir(handle.get())) {
        std::string const name = d->d_name;
        if (name == "." || name == "..") continue;
        TreeEntry e;
        e.name = name;
        e.path = dir + "/" + name;
        struct stat st;
        if (lstat(e.path.c_str(), &st) != 0) throw WriteError(errnoText(e.path));
        if (S_ISDIR(st.st_mode)) {
            e.isDir = true;
            e.children = scanTree(e.path, skipped);
            e.size = blockSize(e.children);
        } else if (S_ISREG(st.st_mode)) {
            e.size = static_cast<std::uint64_t>(st.st_size);
        } else {
            skipped.push_back(e.path);
            continue;
        }
        if (e.size > kMaxField) throw WriteError(e.path + ": too large for a CAT archive (4 GiB at most)");
        entries.push_back(std::move(e));
        errno = 0;
    }
    if (errno != 0) throw WriteError(errnoText(dir));
    std::sort(entries.begin(), entries.end(),
              [](TreeEntry const& a, TreeEntry const& b) { return a.name < b.name; });
    std::uint64_t header = 8;
    for (TreeEntry const& e : entries) header += 9 + e.name.size();
    if (header > kMaxField || blockSize(entries) > kMaxField)
        throw WriteError(dir + ": too large for a CAT archive (4 GiB at most per directory)");
    return entries;
}

void writeArchive(std::string const& archive, std::vector<TreeEntry> const& root, bool bigEndian) {
    if (blockSize(root) > kMaxField) throw WriteError("the tree is too large for a CAT archive");
    std::string const partial = archive + ".partial";
    try {
        File out(std::fopen(partial.c_str(), "wb"));
        if (!out) throw WriteError(errnoText(partial));
        putBytes(out.get(), bigEndian ? "CATF" : "FTAC", 4);
        writeBlock(out.get(), root, bigEndian);
        FILE* raw = out.release();
        if (std::fclose(raw) != 0) throw WriteError(errnoText(partial));
        if (std::rename(partial.c_str(), archive.c_str()) != 0) throw WriteError(errnoText(archive));
    } catch (...) {
        std::remove(partial.c_str());
        throw;
    }
}

} // namespace catpack
