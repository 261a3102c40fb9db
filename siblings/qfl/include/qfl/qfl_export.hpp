// Export marks of the qfl library. The library is compiled with hidden symbols;
// what a public header declares between QFL_API_BEGIN and QFL_API_END (or
// marks QFL_API) is exported, and nothing else. QFL_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define QFL_API __attribute__((visibility("default")))
#define QFL_API_BEGIN _Pragma("GCC visibility push(default)")
#define QFL_API_END _Pragma("GCC visibility pop")
#define QFL_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define QFL_DETAIL_END _Pragma("GCC visibility pop")
