// Scratch folders for the language-file tests: a fresh folder per test, files
// written into it, CAT archives made from its subfolders with catpack's own
// writer, and the feature "container" switched on for the test's length.
#pragma once
#include "../../apps/catpack/CatWriter.hpp"

#include <qzservices/containers/ContainerFeature.hpp>
#include <qzservices/containers/path_manager_fcns.hpp>

#include <px/px.hpp>

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace langfiles_test {

class Scratch {
public:
    Scratch() {
        char pattern[] = "/tmp/langfiles.XXXXXX";
        if (mkdtemp(pattern) == nullptr) throw std::runtime_error("mkdtemp");
        root = pattern;
        char cwd[4096];
        if (getcwd(cwd, sizeof cwd) == nullptr) throw std::runtime_error("getcwd");
        oldCwd_ = cwd;
        setContainerFeature(1);
    }
    ~Scratch() {
        if (chdir(oldCwd_.c_str()) != 0) std::abort();
        setContainerFeature(0);
        std::string const command = "rm -rf '" + root + "'";
        if (std::system(command.c_str()) != 0) std::abort();
    }
    Scratch(Scratch const&) = delete;
    Scratch& operator=(Scratch const&) = delete;

    // Writes `bytes` to root/relative, making the folders on the way.
    std::string write(std::string const& relative, std::string const& bytes) {
        std::string const path = root + "/" + relative;
        for (size_t slash = path.find('/', root.size() + 1); slash != std::string::npos;
             slash = path.find('/', slash + 1))
            mkdir(path.substr(0, slash).c_str(), 0755);
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << bytes;
        return path;
    }
    std::string folder(std::string const& relative) {
        std::string const path = root + "/" + relative;
        mkdir(path.c_str(), 0755);
        return path;
    }
    // root/archive made from the tree under root/tree.
    std::string pack(std::string const& tree, std::string const& archive) {
        std::vector<std::string> skipped;
        std::string const path = root + "/" + archive;
        catpack::writeArchive(path, catpack::scanTree(root + "/" + tree, skipped), false);
        return path;
    }
    // Sets a file's modification time, so that a rewrite is seen as a change
    // whatever the clock's resolution.
    static void touch(std::string const& path, long seconds) {
        struct timeval times[2] = {{seconds, 0}, {seconds, 0}};
        utimes(path.c_str(), times);
    }
    static void setContainerFeature(int state) {
        getContainerFeature().setState(state);
        svSetPathManagerDefaultIOFcns();
        pxUpdatePathArrayDefaultIOFcns();
    }

    std::string root;

private:
    std::string oldCwd_;
};

} // namespace langfiles_test
