// Reading one 4 KiB file two directories deep in a tree of 1,000 entries,
// three ways: out of a CAT archive through ContainerCxfileReader, from disk
// through PlaintextCxfileReader, and out of a zip of the same tree (members
// stored, not compressed, like CAT members) through libarchive. Each read is
// complete: look-up, open, read of the whole member, release.
#include "ratio_main.hpp"

#include "../apps/catpack/CatWriter.hpp"

#include <qzservices/containers/CxfileReader.hpp>

#include <uv/mem_context.hpp>
#include <uv/uv.hpp>

#include <archive.h>
#include <archive_entry.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

char const kTarget[] = "dir5/sub5/target.dat";

struct Fixture {
    std::string root;     // scratch directory
    std::string tree;     // the tree on disk
    std::string cat;      // tree.cat
    std::string zip;      // tree.zip
    std::string diskPath; // the target on disk
    std::string catPath;  // the target inside the CAT
    std::string expected; // its bytes

    Fixture() {
        char pattern[] = "/tmp/bench_cat_read.XXXXXX";
        if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp");
        root = pattern;
        tree = root + "/tree";
        makeTree();
        std::vector<std::string> skipped;
        cat = root + "/tree.cat";
        catpack::writeArchive(cat, catpack::scanTree(tree, skipped), false);
        zip = root + "/tree.zip";
        makeZip();
        diskPath = tree + "/" + kTarget;
        catPath = cat + "/" + kTarget;
    }
    ~Fixture() {
        std::string const command = "rm -rf '" + root + "'";
        if (std::system(command.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", root.c_str());
    }

    void write(std::string const& path, std::string const& bytes) {
        std::ofstream out(path, std::ios::binary);
        out << bytes;
    }

    // 10 directories of 10 subdirectories of 8 files: 10 + 100 + 800 = 910
    // entries, and 90 files at the top make 1,000.
    void makeTree() {
        mkdir(tree.c_str(), 0755);
        unsigned seed = 12345;
        auto bytes = [&seed](size_t n) {
            std::string s(n, '\0');
            for (char& c : s) c = static_cast<char>((seed = seed * 1103515245u + 12345u) >> 16);
            return s;
        };
        for (int i = 0; i < 90; ++i) write(tree + "/top" + std::to_string(i) + ".txt", bytes(500));
        for (int d = 0; d < 10; ++d) {
            std::string const dir = tree + "/dir" + std::to_string(d);
            mkdir(dir.c_str(), 0755);
            for (int s = 0; s < 10; ++s) {
                std::string const sub = dir + "/sub" + std::to_string(s);
                mkdir(sub.c_str(), 0755);
                for (int f = 0; f < 8; ++f) {
                    bool const target = d == 5 && s == 5 && f == 4;
                    std::string const name = target ? "target.dat" : "file" + std::to_string(f) + ".dat";
                    write(sub + "/" + name, bytes(target ? 4096 : 700));
                }
            }
        }
        std::ifstream in(tree + "/" + kTarget, std::ios::binary);
        expected.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    void addToZip(struct archive* a, std::string const& relative) {
        std::string const full = tree + "/" + relative;
        struct stat st;
        stat(full.c_str(), &st);
        struct archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, relative.c_str());
        archive_entry_copy_stat(e, &st);
        archive_write_header(a, e);
        if (S_ISREG(st.st_mode)) {
            std::ifstream in(full, std::ios::binary);
            std::string data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            archive_write_data(a, data.data(), data.size());
        }
        archive_entry_free(e);
    }

    void makeZip() {
        struct archive* a = archive_write_new();
        archive_write_set_format_zip(a);
        archive_write_set_options(a, "zip:compression=store");
        if (archive_write_open_filename(a, zip.c_str()) != ARCHIVE_OK) throw std::runtime_error("zip open");
        for (int i = 0; i < 90; ++i) addToZip(a, "top" + std::to_string(i) + ".txt");
        for (int d = 0; d < 10; ++d) {
            std::string const dir = "dir" + std::to_string(d);
            addToZip(a, dir);
            for (int s = 0; s < 10; ++s) {
                std::string const sub = dir + "/sub" + std::to_string(s);
                addToZip(a, sub);
                for (int f = 0; f < 8; ++f) {
                    bool const target = d == 5 && s == 5 && f == 4;
                    addToZip(a, sub + "/" + (target ? std::string("target.dat") : "file" + std::to_string(f) + ".dat"));
                }
            }
        }
        archive_write_close(a);
        archive_write_free(a);
    }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

void check(bool ok, benchmark::State& state, char const* what) {
    if (!ok) state.SkipWithError(what);
}

void BM_CatRead_ContainerReader(benchmark::State& state) {
    Fixture& f = fixture();
    ContainerCxfileReader reader;
    for (auto _ : state) {
        unsigned long size = 0;
        ioErrorMessage error = 0;
        void* bytes = reader.read(&size, nullptr, f.catPath.c_str(), &error);
        benchmark::DoNotOptimize(bytes);
        if (bytes == nullptr || size != f.expected.size()) {
            check(false, state, "container read failed");
            break;
        }
        uvFree(bytes);
    }
    // Correctness once, outside the timing.
    unsigned long size = 0;
    void* bytes = reader.read(&size, nullptr, f.catPath.c_str(), nullptr);
    check(bytes && std::string(static_cast<char*>(bytes), size) == f.expected, state, "container bytes differ");
    uvFree(bytes);
}

void BM_CatRead_PlainReader(benchmark::State& state) {
    Fixture& f = fixture();
    PlaintextCxfileReader reader;
    _memory_context* context = uv_mem_create_context();
    for (auto _ : state) {
        unsigned long size = 0;
        ioErrorMessage error = 0;
        void* bytes = reader.read(&size, context, f.diskPath.c_str(), &error);
        benchmark::DoNotOptimize(bytes);
        if (bytes == nullptr || size != f.expected.size()) {
            check(false, state, "plain read failed");
            break;
        }
        uv_mem_free(context, bytes);
    }
    uv_mem_destroy_context(context);
}

void BM_CatRead_LibarchiveZip(benchmark::State& state) {
    Fixture& f = fixture();
    std::vector<char> buffer(8192);
    for (auto _ : state) {
        struct archive* a = archive_read_new();
        archive_read_support_format_zip(a);
        bool found = false;
        la_ssize_t got = 0;
        if (archive_read_open_filename(a, f.zip.c_str(), 16384) == ARCHIVE_OK) {
            struct archive_entry* e;
            while (archive_read_next_header(a, &e) == ARCHIVE_OK) {
                if (std::strcmp(archive_entry_pathname(e), kTarget) == 0) {
                    got = archive_read_data(a, buffer.data(), buffer.size());
                    found = true;
                    break;
                }
            }
        }
        archive_read_free(a);
        benchmark::DoNotOptimize(buffer.data());
        if (!found || got != static_cast<la_ssize_t>(f.expected.size())) {
            check(false, state, "libarchive read failed");
            break;
        }
    }
}

BENCHMARK(BM_CatRead_ContainerReader);
BENCHMARK(BM_CatRead_PlainReader);
BENCHMARK(BM_CatRead_LibarchiveZip);

} // namespace

int main(int argc, char** argv) {
    return qzbench::runWithRatios(argc, argv,
                                  {{"BM_CatRead_ContainerReader", "BM_CatRead_PlainReader"},
                                   {"BM_CatRead_ContainerReader", "BM_CatRead_LibarchiveZip"}});
}
