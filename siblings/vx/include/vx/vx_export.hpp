// Export marks of the vx library. The library is compiled with hidden symbols;
// what a public header declares between VX_API_BEGIN and VX_API_END (or
// marks VX_API) is exported, and nothing else. VX_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define VX_API __attribute__((visibility("default")))
#define VX_API_BEGIN _Pragma("GCC visibility push(default)")
#define VX_API_END _Pragma("GCC visibility pop")
#define VX_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define VX_DETAIL_END _Pragma("GCC visibility pop")
