#include "uv/uv.hpp"

namespace {
bool gHotLinks = false;
bool gDocLinks = false;
} // namespace

extern "C" {
bool uvGetHotLinks(void) { return gHotLinks; }
void uvSetHotLinks(bool on) { gHotLinks = on; }
bool uvGetDocLinks(void) { return gDocLinks; }
void uvSetDocLinks(bool on) { gDocLinks = on; }
} // extern "C"
