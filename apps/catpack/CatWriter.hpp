// Writes a directory tree as a CAT archive: the magic ("CATF" for big-endian
// integers, "FTAC" for little-endian), then the root directory block. A block
// is its header length and entry count, the packed entries (type byte "F" or
// "D", name length, name, size), then each entry's content in entry order; a
// subdirectory's content is its own block. Entries are sorted by name so
// that the same tree always gives the same bytes.
#pragma once
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace catpack {

class WriteError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct TreeEntry {
    std::string name;
    std::string path;  // on disk
    bool isDir = false;
    std::uint64_t size = 0;  // a file's length, or a subdirectory's whole block
    std::vector<TreeEntry> children;
};

// Reads the tree under `dir` (regular files and directories; anything else is
// skipped with a note in `skipped`). Throws WriteError for what the format
// cannot hold: a name or a block over 4 GiB - 1 bytes.
std::vector<TreeEntry> scanTree(std::string const& dir, std::vector<std::string>& skipped);
// The size of the block that holds `entries`.
std::uint64_t blockSize(std::vector<TreeEntry> const& entries);
// Writes the archive to `archive`; throws WriteError, leaving no partial file.
void writeArchive(std::string const& archive, std::vector<TreeEntry> const& root, bool bigEndian);

} // namespace catpack
