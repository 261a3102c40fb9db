// Export marks of the cxutil library. The library is compiled with hidden symbols;
// what a public header declares between CXUTIL_API_BEGIN and CXUTIL_API_END (or
// marks CXUTIL_API) is exported, and nothing else. CXUTIL_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define CXUTIL_API __attribute__((visibility("default")))
#define CXUTIL_API_BEGIN _Pragma("GCC visibility push(default)")
#define CXUTIL_API_END _Pragma("GCC visibility pop")
#define CXUTIL_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define CXUTIL_DETAIL_END _Pragma("GCC visibility pop")
