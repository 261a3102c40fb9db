// How the elements of each class are read as double and shown in
// hexadecimal. One conversion is chosen per display, before anything is
// written; a class without one raises error number 15.
#pragma once
#include <vx/array.hpp>

#include <cstddef>

namespace display_conversions {

typedef double (*ToDoubleFn)(void const* data, size_t index);
// Writes the stored value as lower-case hexadecimal digits alone, most
// significant first, into dst (at least 17 bytes). For class double the two
// 32-bit halves in the order uvGetFormatType gives.
typedef void (*HexDigitsFn)(char* dst, void const* data, size_t index);

struct ClassConversion {
    vxClassID cls;
    ToDoubleFn toDouble;
    HexDigitsFn hexDigits;
};

// The conversion of a class; raises vxErrMsg(15) for a class without one
// (void, cell, structure, function handle, opaque, object).
ClassConversion conversionFor(vxClassID cls);

bool isIntegerClass(vxClassID cls);  // int8 to uint64
bool isFloatClass(vxClassID cls);    // double and single

// The two 32-bit halves of the double at data[index], in display order.
void doubleHalves(void const* data, size_t index, unsigned long* first, unsigned long* second);

// An unsigned 64-bit value as double, rounded correctly even at and above 2^63.
double uint64ToDouble(unsigned long long v);

} // namespace display_conversions
