// Export marks of the nd library. The library is compiled with hidden symbols;
// what a public header declares between ND_API_BEGIN and ND_API_END (or
// marks ND_API) is exported, and nothing else. ND_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define ND_API __attribute__((visibility("default")))
#define ND_API_BEGIN _Pragma("GCC visibility push(default)")
#define ND_API_END _Pragma("GCC visibility pop")
#define ND_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define ND_DETAIL_END _Pragma("GCC visibility pop")
