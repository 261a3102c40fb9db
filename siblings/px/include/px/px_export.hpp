// Export marks of the px library. The library is compiled with hidden symbols;
// what a public header declares between PX_API_BEGIN and PX_API_END (or
// marks PX_API) is exported, and nothing else. PX_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define PX_API __attribute__((visibility("default")))
#define PX_API_BEGIN _Pragma("GCC visibility push(default)")
#define PX_API_END _Pragma("GCC visibility pop")
#define PX_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define PX_DETAIL_END _Pragma("GCC visibility pop")
