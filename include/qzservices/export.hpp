/// @file
/// Export marks of libqzservices. The library is compiled with hidden symbols;
/// what a public header declares between QZSERVICES_API_BEGIN and
/// QZSERVICES_API_END (or marks QZSERVICES_API) is exported, and nothing else.
/// QZSERVICES_DETAIL_BEGIN/END keep a helper namespace of a public header hidden
/// again. The exported names follow the rules in abi/export-rules.txt.
#pragma once

/// Exports one declaration.
#define QZSERVICES_API __attribute__((visibility("default")))
/// Exports every declaration up to QZSERVICES_API_END.
#define QZSERVICES_API_BEGIN _Pragma("GCC visibility push(default)")
/// Ends the exported region that QZSERVICES_API_BEGIN opened.
#define QZSERVICES_API_END _Pragma("GCC visibility pop")
/// Hides the declarations up to QZSERVICES_DETAIL_END, inside an exported region.
#define QZSERVICES_DETAIL_BEGIN _Pragma("GCC visibility push(hidden)")
/// Ends the hidden region, back to exporting.
#define QZSERVICES_DETAIL_END _Pragma("GCC visibility pop")
