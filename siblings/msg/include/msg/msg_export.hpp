// Export marks of the msg library. The library is compiled with hidden symbols;
// what a public header declares between MSG_API_BEGIN and MSG_API_END (or
// marks MSG_API) is exported, and nothing else. MSG_DETAIL_BEGIN/END keep a
// helper namespace of a public header hidden again.
#pragma once

#define MSG_API __attribute__((visibility("default")))
#define MSG_API_BEGIN _Pragma("GCC visibility push(default)")
#define MSG_API_END _Pragma("GCC visibility pop")
#define MSG_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define MSG_DETAIL_END _Pragma("GCC visibility pop")
