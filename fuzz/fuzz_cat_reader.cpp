// The CAT reader over arbitrary bytes: the input becomes a file "input.cat",
// and the container model lists its root, then reads each of the first
// entries of the root and of the first level of directories as a file, and
// lists it when it is not one.
// Whatever the bytes claim, the reader may only report an error code.
#include <qzservices/containers/CxfileReader.hpp>
#include <qzservices/containers/svFile.hpp>

#include <uv/uv.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

struct UvFree {
    void operator()(void* p) const { uvFree(p); }
};

std::string archivePath() {
    char const* base = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    std::string dir = std::string(base) + "/fuzz_cat_reader." + std::to_string(getpid());
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) std::abort();
    return dir + "/input.cat";
}

std::vector<std::string> names(std::string const& dir) {
    std::vector<std::string> out;
    std::unique_ptr<svContainer> c(svContainer::svFindContainer(dir.c_str()));
    if (!c || c->hasErrorOnContainer() || c->getDirStream() == nullptr || !c->getDirStream()->open()) return out;
    std::unique_ptr<char, UvFree> list(c->getDirStream()->getDirList());
    c->getDirStream()->close();
    for (char const* p = list.get(); p && *p && out.size() < 8; p += std::strlen(p) + 1) {
        if (std::strcmp(p, ".") != 0 && std::strcmp(p, "..") != 0 && std::strchr(p, '/') == nullptr) out.push_back(p);
    }
    return out;
}

// Reads `path` as a file; what is not a file (the reader says so) is
// listed as a directory, to two levels below the root.
void visit(std::string const& path, int depth) {
    ContainerCxfileReader reader;
    unsigned long size = 0;
    ioErrorMessage error = 0;
    try {
        std::unique_ptr<char, UvFree> bytes(static_cast<char*>(reader.read(&size, nullptr, path.c_str(), &error)));
        if (bytes && bytes.get()[size] != '\0') std::abort();  // always terminated
        if (bytes) return;
    } catch (std::exception const&) {
        return;  // an I/O failure of the plain file raises by design
    }
    if (depth >= 2) return;
    for (std::string const& n : names(path)) visit(path + "/" + n, depth + 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    static std::string const archive = archivePath();
    FILE* out = std::fopen(archive.c_str(), "wb");
    if (out == nullptr) std::abort();
    if (size != 0 && std::fwrite(data, 1, size, out) != size) std::abort();
    std::fclose(out);
    for (std::string const& n : names(archive)) visit(archive + "/" + n, 1);
    return 0;
}
