// catpack: CAT archives from the command line. "create" writes the format;
// "list", "extract" and "cat" read through the services library's container
// model, exactly as the path manager and the source readers see an archive.
#include "CatWriter.hpp"

#include <qzservices/containers/CxfileReader.hpp>
#include <qzservices/containers/svFile.hpp>

#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

char const kUsage[] =
    "Usage: catpack create ARCHIVE DIR [--big-endian|--little-endian]\n"
    "       catpack list ARCHIVE [INNER]\n"
    "       catpack extract ARCHIVE DIR\n"
    "       catpack cat ARCHIVE/INNER/PATH\n"
    "\n"
    "  create   pack the tree under DIR into ARCHIVE (little-endian unless told)\n"
    "  list     the entries of the archive's root, or of the directory INNER in it;\n"
    "           directories end in \"/\"\n"
    "  extract  unpack the whole archive into DIR (made if missing)\n"
    "  cat      write one file of the archive to standard output\n"
    "\n"
    "ARCHIVE must end in \".cat\": that is how paths are recognised as archives.\n"
    "Exit status: 0 on success, 1 on any error.\n";

class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};

// The stream texts carry "@'" for an apostrophe; a terminal wants the apostrophe.
std::string streamText(int code) {
    if (code < 0 || code > 11) return "error " + std::to_string(code);
    std::string text = svIoStream::getStreamAccessStrings(code);
    for (std::string::size_type at; (at = text.find("@'")) != std::string::npos;) text.erase(at, 1);
    return text;
}

void requireCatName(std::string const& archive) {
    std::string::size_type const slash = archive.find_last_of('/');
    std::string const base = slash == std::string::npos ? archive : archive.substr(slash + 1);
    if (base.size() < 5 || base.compare(base.size() - 4, 4, ".cat") != 0)
        throw Failure(archive + ": an archive's name must end in \".cat\"");
}

struct Entry {
    std::string name;
    bool isDir;
};

// The entries of a directory of an archive, in archive order.
std::vector<Entry> entriesOf(std::string const& dirPath) {
    std::unique_ptr<svContainer> container(svContainer::svFindContainer(dirPath.c_str()));
    if (!container) throw Failure(dirPath + ": cannot be read");
    if (container->hasErrorOnContainer()) {
        int const stream = container->findStreamAccessInError();
        if (stream > 0) throw Failure(dirPath + ": " + streamText(stream));
        int const access = container->findFileAccessInError();
        if (access == 5) throw Failure(dirPath + ": not a directory");
        throw Failure(dirPath + (access == 3 ? ": permission denied" : access == 4 ? ": not found" : ": cannot be read"));
    }
    if (container->getType() != 2) throw Failure(dirPath + ": not inside a CAT archive");
    svContainerDirIoStream* stream = container->getDirStream();
    if (!stream->open()) throw Failure(dirPath + ": " + streamText(stream->getStreamAccess()));
    std::vector<Entry> entries;
    while (stream->read()) entries.push_back(Entry{stream->getEntryName(), stream->getEntryType() == 2});
    int const code = stream->getStreamAccess();
    stream->close();
    if (svIoStream::isError(code)) throw Failure(dirPath + ": " + streamText(code));
    return entries;
}

// One file of an archive, read through the container reader.
std::string readMember(std::string const& filePath) {
    ContainerCxfileReader reader;
    unsigned long size = 0;
    ioErrorMessage error = 0;
    std::unique_ptr<char, UvFree> bytes;
    try {
        bytes.reset(static_cast<char*>(reader.read(&size, nullptr, filePath.c_str(), &error)));
    } catch (vx::Error const& e) {
        throw Failure(filePath + ": " + e.what());
    }
    if (!bytes || error != 0) throw Failure(filePath + ": " + streamText(error == 0 ? 2 : error));
    return std::string(bytes.get(), size);
}

// A name out of an archive becomes a file name only if it cannot leave the
// directory it is extracted into.
void requireSafeName(std::string const& name, std::string const& where) {
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos ||
        name.find('\0') != std::string::npos)
        throw Failure(where + ": the archive holds an unusable name \"" + name + "\"");
}

void makeDirectory(std::string const& dir) {
    if (::mkdir(dir.c_str(), 0777) == 0) return;
    struct stat st;
    if (errno == EEXIST && ::stat(dir.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return;
    throw Failure(dir + ": " + std::strerror(errno));
}

void writeFile(std::string const& path, std::string const& bytes) {
    std::unique_ptr<FILE, int (*)(FILE*)> out(std::fopen(path.c_str(), "wb"), std::fclose);
    if (!out) throw Failure(path + ": " + std::strerror(errno));
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), out.get()) != bytes.size())
        throw Failure(path + ": " + std::strerror(errno));
    FILE* raw = out.release();
    if (std::fclose(raw) != 0) throw Failure(path + ": " + std::strerror(errno));
}

void extractInto(std::string const& inArchive, std::string const& onDisk) {
    for (Entry const& e : entriesOf(inArchive)) {
        requireSafeName(e.name, inArchive);
        std::string const from = inArchive + "/" + e.name;
        std::string const to = onDisk + "/" + e.name;
        if (e.isDir) {
            makeDirectory(to);
            extractInto(from, to);
        } else {
            writeFile(to, readMember(from));
        }
    }
}

int create(std::vector<std::string> const& args) {
    bool bigEndian = false;
    std::vector<std::string> positional;
    for (std::string const& a : args) {
        if (a == "--big-endian") bigEndian = true;
        else if (a == "--little-endian") bigEndian = false;
        else if (a.rfind("--", 0) == 0) throw Failure("unknown option " + a);
        else positional.push_back(a);
    }
    if (positional.size() != 2) throw Failure("create takes ARCHIVE and DIR");
    requireCatName(positional[0]);
    std::vector<std::string> skipped;
    try {
        std::vector<catpack::TreeEntry> const tree = catpack::scanTree(positional[1], skipped);
        catpack::writeArchive(positional[0], tree, bigEndian);
    } catch (catpack::WriteError const& e) {
        throw Failure(e.what());
    }
    for (std::string const& s : skipped) std::fprintf(stderr, "catpack: skipped %s: not a file or directory\n", s.c_str());
    return 0;
}

int list(std::vector<std::string> const& args) {
    if (args.empty() || args.size() > 2) throw Failure("list takes ARCHIVE and, optionally, INNER");
    requireCatName(args[0]);
    std::string dir = args[0];
    if (args.size() == 2 && !args[1].empty()) dir += "/" + args[1];
    for (Entry const& e : entriesOf(dir)) std::printf("%s%s\n", e.name.c_str(), e.isDir ? "/" : "");
    return 0;
}

int extract(std::vector<std::string> const& args) {
    if (args.size() != 2) throw Failure("extract takes ARCHIVE and DIR");
    requireCatName(args[0]);
    makeDirectory(args[1]);
    extractInto(args[0], args[1]);
    return 0;
}

int cat(std::vector<std::string> const& args) {
    if (args.size() != 1) throw Failure("cat takes one ARCHIVE/INNER/PATH");
    std::string const bytes = readMember(args[0]);
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size())
        throw Failure(std::string("standard output: ") + std::strerror(errno));
    return std::fflush(stdout) == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    for (std::string const& a : args) {
        if (a == "--help" || a == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
    }
    std::string const command = args[0];
    args.erase(args.begin());
    try {
        if (command == "create") return create(args);
        if (command == "list") return list(args);
        if (command == "extract") return extract(args);
        if (command == "cat") return cat(args);
        std::fprintf(stderr, "catpack: unknown command \"%s\"\n\n%s", command.c_str(), kUsage);
        return 1;
    } catch (Failure const& e) {
        std::fprintf(stderr, "catpack: %s\n", e.what());
        return 1;
    } catch (std::exception const& e) {
        std::fprintf(stderr, "catpack: %s\n", e.what());
        return 1;
    }
}
