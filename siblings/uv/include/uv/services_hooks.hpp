// The calls uv makes into the services library. The services library links uv,
// so uv cannot link it back; instead the services library installs this table
// when it loads. Until then (or after a null table) output is dropped, as it is
// before the first sink push, no stream shows hot links, and a pending
// interrupt stays pending because nothing could catch its exception.
#pragma once
#include "uv/uv_export.hpp"
#include "uv/uv_export.hpp"

#include <cstddef>

UV_API_BEGIN

UV_API_BEGIN

struct uvServicesHooks {
    void (*write)(int stream, char const* text, size_t length);  // stream 0 output, 1 errors; may throw
    bool (*outputSupportsHotlinks)();                           // whether the output stream shows hot links
    void (*raiseInterrupt)(bool fromCtrlC);                      // throws the interrupt exception, never returns
};

// The table stays in use until the next call: it must outlive every uv call.
extern "C" void uvSetServicesHooks(uvServicesHooks const* hooks);

// The installed table, or null.
uvServicesHooks const* uvGetServicesHooks();

UV_API_END

UV_API_END
