// A directory of its own for one test, removed with everything in it at the
// end of the scope.
#pragma once
#include <ftw.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace qztest {

class ScratchDir {
public:
    ScratchDir() {
        char pattern[] = "/tmp/qzstate-XXXXXX";
        char* made = mkdtemp(pattern);
        path_ = made != nullptr ? made : "";
    }
    ~ScratchDir() {
        if (!path_.empty())
            nftw(path_.c_str(), [](char const* p, struct stat const*, int, struct FTW*) { return std::remove(p); }, 16,
                 FTW_DEPTH | FTW_PHYS);
    }
    ScratchDir(ScratchDir const&) = delete;
    ScratchDir& operator=(ScratchDir const&) = delete;

    std::string const& path() const { return path_; }
    std::string file(std::string const& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

inline std::string readWholeFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

inline void writeWholeFile(std::string const& path, std::string const& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

} // namespace qztest
