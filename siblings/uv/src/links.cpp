// Hot links and documentation links in output, and the format type.
#include "uv/uv.hpp"
#include "uv/services_hooks.hpp"

#include <atomic>

namespace {
bool gHotLinks = false;
bool gDocLinks = false;
std::atomic<int> gFormatType{0};
} // namespace

extern "C" {
bool uvGetHotLinks(void) { return gHotLinks; }
void uvSetHotLinks(bool on) { gHotLinks = on; }
bool uvGetDocLinks(void) { return gDocLinks; }
void uvSetDocLinks(bool on) { gDocLinks = on; }
bool uvPrintfIsHot(void) {
    if (!gHotLinks) return false;
    uvServicesHooks const* hooks = uvGetServicesHooks();
    return hooks != nullptr && hooks->outputSupportsHotlinks();
}
int uvGetFormatType(void) { return gFormatType.load(); }
void uvSetFormatType(int type) { gFormatType.store(type == 1 ? 1 : 0); }
} // extern "C"
