// Helpers shared by the session-state tests: owned arrays, the identifier of
// a raised error, environment variables put back, a scratch directory and
// whole-file reads and writes; and the headers most of the tests use.
#pragma once
#include "support/capture.hpp"
#include "support/child_process.hpp"
#include "support/error_id.hpp"

#include <boost/make_shared.hpp>
#include <ftw.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace qztest {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
typedef std::unique_ptr<vxArray, ArrayDeleter> ArrayPtr;

typedef void (*Builtin)(int, vxArray**, int, vxArray**);

// Calls a built-in asking for outCount outputs, with these inputs (owned
// here; null ones left out); returns the outputs, owned.
inline std::vector<ArrayPtr> callBuiltin(Builtin f, int outCount, std::vector<vxArray*> inputs = {}) {
    inputs.erase(std::remove(inputs.begin(), inputs.end(), nullptr), inputs.end());
    std::vector<ArrayPtr> hold(inputs.begin(), inputs.end());
    std::vector<vxArray*> out(static_cast<size_t>(std::max(outCount, 1)), nullptr);
    f(outCount, out.data(), static_cast<int>(inputs.size()), inputs.data());
    return std::vector<ArrayPtr>(out.begin(), out.end());
}

// Runs body in a new process (state as at load) and expects it to exit 0.
inline void expectInFreshProcess(std::function<int()> const& body) { EXPECT_EQ(0, runInFreshProcess(body).exitCode); }

inline void setOrUnsetEnv(char const* name, char const* value) {
    if (value) setenv(name, value, 1); else unsetenv(name);
}

// Puts the named environment variables back as they were at construction.
class EnvGuard {
public:
    EnvGuard(std::initializer_list<char const*> names) {
        for (char const* n : names) {
            char const* v = std::getenv(n);
            saved_[n] = {v != nullptr, v ? v : ""};
        }
    }
    ~EnvGuard() {
        for (auto const& s : saved_) setOrUnsetEnv(s.first.c_str(), s.second.first ? s.second.second.c_str() : nullptr);
    }
    EnvGuard(EnvGuard const&) = delete;
    EnvGuard& operator=(EnvGuard const&) = delete;

private:
    std::map<std::string, std::pair<bool, std::string>> saved_;
};

// A directory of its own for one test, removed with its contents at the end.
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
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

} // namespace qztest
