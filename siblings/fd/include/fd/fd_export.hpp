// Export marks of the fd library. The library is compiled with hidden symbols;
// what a public header declares between FD_API_BEGIN and FD_API_END (or
// marks FD_API) is exported, and nothing else. FD_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define FD_API __attribute__((visibility("default")))
#define FD_API_BEGIN _Pragma("GCC visibility push(default)")
#define FD_API_END _Pragma("GCC visibility pop")
#define FD_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define FD_DETAIL_END _Pragma("GCC visibility pop")
