/// @file
/// Export marks of libqzservices. The library is compiled with hidden symbols;
/// what a public header declares between QZSERVICES_API_BEGIN and
/// QZSERVICES_API_END (or marks QZSERVICES_API) is exported, and nothing else.
/// QZSERVICES_DETAIL_BEGIN/END keep a helper namespace of a public header hidden
/// again. The exported names follow the rules in abi/export-rules.txt.
#pragma once

#define QZSERVICES_API __attribute__((visibility("default")))
#define QZSERVICES_API_BEGIN _Pragma("GCC visibility push(default)")
#define QZSERVICES_API_END _Pragma("GCC visibility pop")
#define QZSERVICES_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
#define QZSERVICES_DETAIL_END _Pragma("GCC visibility pop")
