// Descriptions of the system and the processor, a string hash, line input.
#include "uv/machine_info.hpp"

#include <sys/utsname.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

std::string describeOS() {
    struct utsname u;
    if (uname(&u) != 0) return "Linux";
    return std::string(u.sysname) + " " + u.release + " " + u.version + " " + u.machine;
}

// The value of the first "name : value" line of /proc/cpuinfo for `field`.
std::string cpuinfoField(std::vector<std::string> const& lines, char const* field) {
    size_t const n = std::strlen(field);
    for (std::string const& line : lines) {
        if (line.compare(0, n, field) != 0) continue;
        size_t colon = line.find(':', n);
        // The field's name must end where the padding before the colon begins.
        if (colon == std::string::npos || line.find_first_not_of(" \t", n) != colon) continue;
        size_t start = line.find_first_not_of(" \t", colon + 1);
        return start == std::string::npos ? std::string() : line.substr(start);
    }
    return std::string();
}

std::string describeCPU() {
    std::vector<std::string> lines;
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    // The first processor's block is enough: it ends at the first empty line.
    while (std::getline(in, line) && !line.empty()) lines.push_back(line);
    std::string vendor = cpuinfoField(lines, "vendor_id");
    std::string family = cpuinfoField(lines, "cpu family");
    std::string model = cpuinfoField(lines, "model");
    std::string stepping = cpuinfoField(lines, "stepping");
    std::string name = cpuinfoField(lines, "model name");
    std::string text;
    if (!family.empty()) text = "Family " + family + " Model " + model + " Stepping " + stepping;
    if (!vendor.empty()) text = text.empty() ? vendor : text + ", " + vendor;
    if (!name.empty()) text = text.empty() ? name : text + ", " + name;
    if (text.empty()) {
        struct utsname u;
        text = uname(&u) == 0 ? u.machine : "unknown";
    }
    return text;
}

} // namespace

extern "C" {

char const* uvGetOS(void) {
    static std::string const text = describeOS();
    return text.c_str();
}

char const* uvGetCPUID(void) {
    static std::string const text = describeCPU();
    return text.c_str();
}

unsigned int uv_hash_string(unsigned int seed, char const* text) {
    std::uint32_t h = 2166136261u ^ seed;
    if (text != nullptr)
        for (unsigned char const* p = reinterpret_cast<unsigned char const*>(text); *p; ++p) {
            h ^= *p;
            h *= 16777619u;
        }
    return h;
}

char* uvFgets(char* buffer, int size, FILE* stream) {
    if (buffer == nullptr || stream == nullptr || size < 1) return nullptr;
    return std::fgets(buffer, size, stream);
}

} // extern "C"
