// Export marks of the orrery library. The library is compiled with hidden symbols;
// what a public header declares between ORRERY_API_BEGIN and ORRERY_API_END (or
// marks ORRERY_API) is exported, and nothing else. ORRERY_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define ORRERY_API __attribute__((visibility("default")))
#define ORRERY_API_BEGIN _Pragma("GCC visibility push(default)")
#define ORRERY_API_END _Pragma("GCC visibility pop")
#define ORRERY_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define ORRERY_DETAIL_END _Pragma("GCC visibility pop")
