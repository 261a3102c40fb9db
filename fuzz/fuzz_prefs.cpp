// The preferences reader and the one-integer rewrite over arbitrary file
// contents. Neither may crash; the rewrite leaves the file as it was when the
// key's text is not in it, and otherwise keeps every byte before the value
// and never makes the file shorter.
#include <qzservices/state/preferences.hpp>
#include <uv/uv.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string gFile;

bool setUp() {
    char pattern[] = "/tmp/qzfuzzprefs-XXXXXX";
    if (mkdtemp(pattern) == nullptr) std::abort();
    setenv("CALYX_PREFDIR", pattern, 1);
    gFile = std::string(pattern) + "/calyx.prf";
    return true;
}

std::string readAll() {
    std::ifstream in(gFile, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    static bool const ready = setUp();
    (void)ready;
    if (size < 6) return 0;
    // The first byte says how long the key is; the key's bytes follow, then a
    // value in four bytes, then the file.
    size_t const keyLength = data[0] % 4 + 1;
    if (size < 1 + keyLength + 4) return 0;
    std::string key(reinterpret_cast<char const*>(data + 1), keyLength);
    for (char& c : key)
        if (c == '\0') c = 'k';
    int value;
    std::memcpy(&value, data + 1 + keyLength, sizeof value);
    std::string const content(reinterpret_cast<char const*>(data + 5 + keyLength), size - 5 - keyLength);
    {
        std::ofstream out(gFile, std::ios::binary | std::ios::trunc);
        out << content;
    }

    uvFree(svGetPref(key.c_str()));
    uvFree(svGetPref("k"));
    svSetPref(key.c_str(), value);

    std::string const after = readAll();
    size_t const at = content.find(key);
    if (at == std::string::npos) {
        if (after != content) std::abort();
        return 0;
    }
    if (after.size() < content.size()) std::abort();
    size_t const equals = content.find('=', at);
    size_t const kept = equals == std::string::npos ? content.size() : equals + 1;
    if (after.compare(0, kept, content, 0, kept) != 0) std::abort();
    return 0;
}
