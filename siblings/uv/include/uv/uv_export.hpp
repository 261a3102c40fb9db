// Export marks of the uv library. The library is compiled with hidden symbols;
// what a public header declares between UV_API_BEGIN and UV_API_END (or
// marks UV_API) is exported, and nothing else. UV_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define UV_API __attribute__((visibility("default")))
#define UV_API_BEGIN _Pragma("GCC visibility push(default)")
#define UV_API_END _Pragma("GCC visibility pop")
#define UV_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define UV_DETAIL_END _Pragma("GCC visibility pop")
