// The cost of finding a function's source once it has been read: a cached
// locate of a function stored in a CAT archive against one in a plain folder
// (the archive must not be walked again at each call), and a cached locate
// against its floor, a bare hash look-up that hands back the same kind of
// shared handle. Also the cost of the first locate after a new epoch (the
// check once per top-level statement) for each kind of folder.
#include "ratio_main.hpp"

#include "../apps/catpack/CatWriter.hpp"

#include <qzlang/files/SourcePath.hpp>
#include <qzservices/containers/ContainerFeature.hpp>
#include <qzservices/containers/path_manager_fcns.hpp>

#include <px/px.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

struct Fixture {
    std::string root;
    std::unique_ptr<qzlang::files::SourcePath> path;

    Fixture() {
        char pattern[] = "/tmp/bench_source_path.XXXXXX";
        if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp");
        root = pattern;
        // Twenty functions in each folder, so that neither look-up is the only name.
        mkdir((root + "/plain").c_str(), 0755);
        mkdir((root + "/tree").c_str(), 0755);
        mkdir((root + "/tree/tb").c_str(), 0755);
        for (int i = 0; i < 20; ++i) {
            write(root + "/plain/p" + std::to_string(i) + ".cx", "function y = p(x)\ny = x + 1;\n");
            write(root + "/tree/tb/a" + std::to_string(i) + ".cx", "function y = a(x)\ny = x + 1;\n");
        }
        std::vector<std::string> skipped;
        catpack::writeArchive(root + "/tb.cat", catpack::scanTree(root + "/tree", skipped), false);
        getContainerFeature().setState(1);
        svSetPathManagerDefaultIOFcns();
        pxUpdatePathArrayDefaultIOFcns();
        path.reset(new qzlang::files::SourcePath("bench-source-path"));
        path->addpath({root + "/plain", root + "/tb.cat/tb"});
        if (!path->locate("p7") || !path->locate("a7") || !path->locate("a7")->inArchive)
            throw std::runtime_error("the functions are not found");
    }
    ~Fixture() {
        std::string const command = "rm -rf '" + root + "'";
        if (std::system(command.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", root.c_str());
    }
    static void write(std::string const& file, std::string const& text) {
        std::ofstream out(file, std::ios::binary);
        out << text;
    }
};

Fixture& fixture() {
    static Fixture f;
    return f;
}

void locateCached(benchmark::State& state, std::string const& name) {
    auto& sp = *fixture().path;
    for (auto _ : state) benchmark::DoNotOptimize(sp.locate(name));
}

void BM_LocateCachedArchive(benchmark::State& state) { locateCached(state, "a7"); }
void BM_LocateCachedPlain(benchmark::State& state) { locateCached(state, "p7"); }

void BM_HashLookupBaseline(benchmark::State& state) {
    std::unordered_map<std::string, std::shared_ptr<int const>> table;
    for (int i = 0; i < 40; ++i) table["p" + std::to_string(i)] = std::make_shared<int const>(i);
    std::string const name = "p7";
    for (auto _ : state) {
        std::shared_ptr<int const> handle = table.find(name)->second;  // a copy, as locate hands back
        benchmark::DoNotOptimize(handle);
    }
}

void locateAfterNewEpoch(benchmark::State& state, std::string const& name) {
    auto& sp = *fixture().path;
    for (auto _ : state) {
        sp.newEpoch();
        benchmark::DoNotOptimize(sp.locate(name));
    }
}

void BM_LocateNewEpochArchive(benchmark::State& state) { locateAfterNewEpoch(state, "a7"); }
void BM_LocateNewEpochPlain(benchmark::State& state) { locateAfterNewEpoch(state, "p7"); }

BENCHMARK(BM_LocateCachedArchive);
BENCHMARK(BM_LocateCachedPlain);
BENCHMARK(BM_HashLookupBaseline);
BENCHMARK(BM_LocateNewEpochArchive);
BENCHMARK(BM_LocateNewEpochPlain);

} // namespace

int main(int argc, char** argv) {
    return qzbench::runWithRatios(argc, argv,
                                  {{"BM_LocateCachedArchive", "BM_LocateCachedPlain"},
                                   {"BM_LocateCachedPlain", "BM_HashLookupBaseline"},
                                   {"BM_LocateNewEpochArchive", "BM_LocateNewEpochPlain"}});
}
