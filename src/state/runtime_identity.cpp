// Runtime identity: platform names, version texts from the library's own
// version symbols, the installation root, the graphics status word and the
// interpreter's runtime interface.
#include "qzservices/state/runtime_identity.hpp"

#include <px/px.hpp>
#include <uv/modules.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

char const* const kComputer[5] = {"LINUX32", "LINUX64", "MACOS64", "WINX86", "WINX64"};
char const* const kArch[5] = {"linux32", "linux64", "macos64", "winx86", "winx64"};
char const* const kVxeExt[5] = {".vxeglx", ".vxea64", ".vxemac64", ".vxex86", ".vxex64"};
unsigned int const kThisPlatform = 1;
char const kRelease[] = "2031b";

// Copies at most size - 1 bytes and terminates.
void copyText(char* to, size_t size, char const* from) {
    std::snprintf(to, size, "%s", from != nullptr ? from : "");
}

// ---- version texts ----

char gVersion[256];
char gSplashVersion[256];
char gImageDate[65];
char gSplashArch[256];

// The text a version symbol points to; empty when the symbol is missing, so
// that a library built without one shows an empty version rather than failing.
std::string symbolText(void* library, std::string const& name) {
    void* address = uvFindSymbolInLibrary(library, name.c_str());
    if (address == nullptr) return std::string();
    char const* text = *static_cast<char const* const*>(address);
    return text != nullptr ? text : std::string();
}

} // namespace

namespace services { namespace state { namespace detail {

std::string longBuildDate(std::string const& date) {
    static char const* const months[12][2] = {
        {"Jan", "January"}, {"Feb", "February"}, {"Mar", "March"},     {"Apr", "April"},
        {"May", "May"},     {"Jun", "June"},     {"Jul", "July"},       {"Aug", "August"},
        {"Sep", "September"}, {"Oct", "October"}, {"Nov", "November"}, {"Dec", "December"}};
    char month[4] = {0};
    unsigned day = 0, year = 0;
    char rest[2] = {0};
    if (std::sscanf(date.c_str(), "%3s %u %u%1s", month, &day, &year, rest) != 3) return date;
    for (auto const& m : months) {
        if (std::strcmp(month, m[0]) != 0) continue;
        char text[64];
        std::snprintf(text, sizeof text, "%s %u, %u", m[1], day, year);
        return text;
    }
    return date;
}

std::string rootFromBinDir(std::string root) {
    // Cut components from the end until the one just cut is "bin".
    for (size_t slash = root.rfind('/'); slash != std::string::npos; slash = root.rfind('/')) {
        bool const wasBin = root.compare(slash + 1, std::string::npos, "bin") == 0;
        root.erase(slash);
        if (wasBin) break;
    }
    return root;
}

}}} // namespace services::state::detail

namespace {

using services::state::detail::longBuildDate;
using services::state::detail::rootFromBinDir;

void fillVersionTexts() {
    std::string version, date;
    char const* file = uvModuleNameFromAddress(reinterpret_cast<void const*>(&svCalyxVersion));
    std::string base = file != nullptr ? file : "";
    if (void* library = uvLoadLibrary(file)) {
        size_t slash = base.find_last_of("/\\");
        if (slash != std::string::npos) base.erase(0, slash + 1);
        size_t dot = base.rfind('.');
        if (dot != std::string::npos) base.erase(dot);
        version = symbolText(library, base + "_version");
        date = symbolText(library, base + "_build_date");
        uvUnloadLibrary(library);
    }
    std::string const cut = version.substr(0, 247);
    std::snprintf(gVersion, sizeof gVersion, "%s (R%s)", cut.c_str(), kRelease);
    std::snprintf(gSplashVersion, sizeof gSplashVersion, "R%s (%s)", kRelease, cut.c_str());
    copyText(gImageDate, sizeof gImageDate, longBuildDate(date).c_str());
    std::snprintf(gSplashArch, sizeof gSplashArch, "64-bit (%s)", kArch[kThisPlatform]);
}

char const* versionText(char const* buffer) {
    if (buffer[0] == '\0') fillVersionTexts();
    return buffer;
}

// ---- directories ----

size_t const kPathBuffer = 8193;
char gBinArchDir[kPathBuffer];
char gRoot[kPathBuffer];
bool gRootResolved = false;  // the root was found or overridden
char* gToolboxPrefix = nullptr;

// ---- graphics status and runtime ----

int gPGStatus = 0;
svCXRuntime gBaseRuntime;
svCXRuntime* gRuntime = &gBaseRuntime;

} // namespace

unsigned int svPlatformIndex(unsigned int) { return kThisPlatform; }
char const* svComputer() { return kComputer[kThisPlatform]; }
char const* svArch() { return kArch[kThisPlatform]; }
char const* svVxeExtension() { return kVxeExt[kThisPlatform]; }

void svAllVxeExtensions(vxArray_tag** out) {
    if (out == nullptr) return;
    char const* fields[] = {"ext", "arch"};
    vxArray_tag* list = vxCreateStructMatrix(1, 5, 2, fields);
    for (size_t i = 0; i < 5; ++i) {
        vxSetFieldByNumber(list, i, 0, vxCreateString(kVxeExt[i]));
        vxSetFieldByNumber(list, i, 1, vxCreateString(kArch[i]));
    }
    *out = list;
}

char const* svCalyxVersion() { return versionText(gVersion); }
char const* svCalyxSplashVersion() { return versionText(gSplashVersion); }
char const* svCalyxImageDate() {
    // The date may legitimately be empty, so the arch text says whether the fill ran.
    if (gSplashArch[0] == '\0') fillVersionTexts();
    return gImageDate;
}
char const* svCalyxSplashArch() { return versionText(gSplashArch); }
char const* svCalyxRelease() { return kRelease; }
char const* svCalyxDescription() { return ""; }

char const* svGetBinArchDir() {
    if (gBinArchDir[0] != '\0') return gBinArchDir;
    std::string file;
    if (char const* name = uvModuleNameFromAddress(reinterpret_cast<void const*>(&svGetBinArchDir))) file = name;
    size_t slash = file.rfind('/');
    file.erase(slash == std::string::npos ? 0 : slash);
    char resolved[PATH_MAX];
    if (!file.empty() && realpath(file.c_str(), resolved) != nullptr) {
        copyText(gBinArchDir, sizeof gBinArchDir, resolved);
    } else {
        uvPrintf("Warning: unable to resolve path to bin directory\n");
        copyText(gBinArchDir, sizeof gBinArchDir, file.c_str());
    }
    uvFixAutoMountPrefix(gBinArchDir);
    return gBinArchDir;
}

char const* svCalyxRoot() {
    if (gRootResolved) return gRoot;
    copyText(gRoot, sizeof gRoot, rootFromBinDir(svGetBinArchDir()).c_str());
    gRootResolved = true;
    return gRoot;
}

char* svSetCXRoot(char const* root) {
    // Counts as resolved, so that a later first use keeps the override; the
    // bin directory is not looked up, so no warning of its own comes first.
    gRootResolved = true;
    char const* text = root != nullptr ? root : "";
    uvPrintf("\n");
    uvPrintf("WARNING: Overriding the value of CALYXROOT with: %s\n", text);
    uvPrintf("WARNING: This capability exists solely to aid in unit testing\n");
    uvPrintf("\n");
    copyText(gRoot, sizeof gRoot, text);
    return gRoot;
}

char const* svGetToolboxPrefix() {
    if (gToolboxPrefix != nullptr) return gToolboxPrefix;
    char* buffer = static_cast<char*>(uvCallocWithCheck(PX_MAX_PATH, 1));
    copyText(buffer, PX_MAX_PATH, svCalyxRoot());
    pxConcatPathSubdir(buffer, "toolbox");
    gToolboxPrefix = buffer;  // kept for the process
    return gToolboxPrefix;
}

void svSetStartupPath(pxPath path) {
    if (path == nullptr) return;
    char text[PX_MAX_PATH];
    char const* fromEnv = std::getenv("CALYXPATH");
    if (fromEnv != nullptr && *fromEnv != '\0') {
        copyText(text, sizeof text, fromEnv);
    } else {
        copyText(text, sizeof text, svCalyxRoot());
        pxConcatPathSubdir(text, "toolbox");
        pxConcatPathSubdir(text, "local");
    }
    // Directories missing at start are not worth a warning each.
    bool const warned = pxSetNotificationHandleWarnings(path, false);
    if (!pxReplacePath(path, text)) pxRefreshAllDirectories(path, 2);
    pxSetNotificationHandleWarnings(path, warned);
}

int svSetPGStatus(int bits) {
    int const previous = gPGStatus;
    int const next = previous | (bits & 7);
    if (next != previous) gPGStatus = next;
    return previous;
}

int svClearPGStatus(int bits) {
    int const previous = gPGStatus;
    int const next = previous & ~(bits & 7);
    if (next != previous) gPGStatus = next;
    return previous;
}

int svGetPGStatus() { return gPGStatus | 64; }

svCXRuntime::~svCXRuntime() {}
int svCXRuntime::GetCodeBlockStatus() { return 0; }
int svCXRuntime::GetInputRequester() { return 0; }
int svCXRuntime::GetActiveStreamID() { return 0; }

void svSetRuntimeInstance(svCXRuntime* runtime) {
    if (runtime != nullptr && gRuntime == &gBaseRuntime) gRuntime = runtime;
}

int svGetCodeBlockStatus() { return gRuntime->GetCodeBlockStatus(); }
int svGetInputRequester() { return gRuntime->GetInputRequester(); }
