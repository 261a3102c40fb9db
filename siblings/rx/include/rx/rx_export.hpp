// Export marks of the rx library. The library is compiled with hidden symbols;
// what a public header declares between RX_API_BEGIN and RX_API_END (or
// marks RX_API) is exported, and nothing else. RX_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define RX_API __attribute__((visibility("default")))
#define RX_API_BEGIN _Pragma("GCC visibility push(default)")
#define RX_API_END _Pragma("GCC visibility pop")
#define RX_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define RX_DETAIL_END _Pragma("GCC visibility pop")
