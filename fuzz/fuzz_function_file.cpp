// Program files over arbitrary bytes: the input (after its first byte) is the
// text of fz.cx in a scratch folder on the search path, and the first byte
// chooses how the session reaches it: a call with no, one or several inputs
// and outputs, a script run, help, type or which. The file is written again
// for every input with a time stamp of its own, so the session's cache reads
// it anew. The session is bounded as the statement target's is
// (fuzz_session.hpp); nothing may crash, hang or leak, and an error is
// reported once.
#include "fuzz_session.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// The statements that reach the file; the first byte picks one.
char const* const kCalls[] = {
    "fz",
    "fz;",
    "fz(1)",
    "x = fz(1, 'two');",
    "[a, b, c] = fz({1, 'x'}, [1 2; 3 4], @sin);",
    "y = fz",
    "s.f = 2; r = fz(s, 3, 4, 5, 6);",
    "fz fz fz",
    "try, fz(0), catch e, disp(e.message), end",
    "v = cellfun(@fz, {1, 2}, 'UniformOutput', false);",
    "h = @fz; h(1, 2)",
    "run fz",
    "help fz",
    "type fz",
    "which fz",
    "exist('fz')",
};

std::string gFolder;
std::string gFile;

void removeFolder() {
    std::remove(gFile.c_str());
    ::rmdir(gFolder.c_str());
}

// The scratch folder, made and put on the session's path at the first input.
void makeFolder(qzlang::Session& s) {
    char pattern[] = "/tmp/fuzz_function_file.XXXXXX";
    if (::mkdtemp(pattern) == nullptr) std::abort();
    gFolder = pattern;
    gFile = gFolder + "/fz.cx";
    std::atexit(&removeFolder);
    s.sourcePath().setPath({gFolder});
}

// Writes the file with a time stamp no earlier write had: the file system's
// clock is coarser than one input, and the cache compares time and size.
void writeFile(char const* data, size_t size) {
    static long long stamp = 0;
    int const fd = ::open(gFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) std::abort();
    for (size_t done = 0; done < size;) {
        ssize_t const n = ::write(fd, data + done, size - done);
        if (n <= 0) std::abort();
        done += static_cast<size_t>(n);
    }
    ++stamp;
    timespec const times[2] = {{stamp / 1000000000, stamp % 1000000000}, {stamp / 1000000000, stamp % 1000000000}};
    if (::futimens(fd, times) != 0) std::abort();
    ::close(fd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size < 1) return 0;
    qzlang::Session& s = fuzzsession::bounded();
    static fuzzsession::Baseline baseline = (makeFolder(s), fuzzsession::Baseline(s));
    writeFile(reinterpret_cast<char const*>(data) + 1, size - 1);
    std::string const call = kCalls[data[0] % (sizeof kCalls / sizeof kCalls[0])];
    fuzzsession::Outcome const r = fuzzsession::run(s, call);
    baseline.restore();
    if (!r.reportedAsItShould()) std::abort();
    return 0;
}
