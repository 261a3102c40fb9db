// The per-class conversions of elements to double and to hexadecimal.
#include "display/conversions.hpp"
#include "display/array_access.hpp"

#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <cstdint>
#include <cstring>

namespace display_conversions {

namespace {

using display_access::load;

char const kDigits[] = "0123456789abcdef";

// The low `digits` nibbles of v, most significant first.
void hexOf(char* dst, uint64_t v, int digits) {
    for (int i = digits - 1; i >= 0; --i) {
        dst[i] = kDigits[v & 0xF];
        v >>= 4;
    }
    dst[digits] = '\0';
}

template <class T>
double toDoubleOf(void const* data, size_t index) {
    return static_cast<double>(load<T>(data, index));
}

double uint64AsDouble(void const* data, size_t index) { return uint64ToDouble(load<uint64_t>(data, index)); }

template <class T, class Bits, int Digits>
void hexDigitsOf(char* dst, void const* data, size_t index) {
    Bits bits;
    T const value = load<T>(data, index);
    static_assert(sizeof(Bits) == sizeof(T), "same width");
    std::memcpy(&bits, &value, sizeof bits);
    hexOf(dst, static_cast<uint64_t>(bits), Digits);
}

// Logical: one digit, the low four bits of the byte.
void hexLogical(char* dst, void const* data, size_t index) { hexOf(dst, load<uint8_t>(data, index) & 0xF, 1); }

void hexDouble(char* dst, void const* data, size_t index) {
    unsigned long first, second;
    doubleHalves(data, index, &first, &second);
    hexOf(dst, first, 8);
    hexOf(dst + 8, second, 8);
}

} // namespace

void doubleHalves(void const* data, size_t index, unsigned long* first, unsigned long* second) {
    uint64_t const bits = load<uint64_t>(data, index);
    unsigned long const high = static_cast<unsigned long>(bits >> 32);
    unsigned long const low = static_cast<unsigned long>(bits & 0xFFFFFFFFu);
    bool const lowFirst = uvGetFormatType() == 1;
    *first = lowFirst ? low : high;
    *second = lowFirst ? high : low;
}

double uint64ToDouble(unsigned long long v) {
    if (v < (1ULL << 63)) return static_cast<double>(static_cast<int64_t>(v));
    // Halve with the lowest bit kept sticky, convert (now below 2^63), double:
    // the one rounding of the conversion is then the right one.
    unsigned long long const half = (v >> 1) | (v & 1u);
    return static_cast<double>(static_cast<int64_t>(half)) * 2.0;
}

bool isIntegerClass(vxClassID cls) { return cls >= vxINT8_CLASS && cls <= vxUINT64_CLASS; }
bool isFloatClass(vxClassID cls) { return cls == vxDOUBLE_CLASS || cls == vxSINGLE_CLASS; }

ClassConversion conversionFor(vxClassID cls) {
    switch (cls) {
    case vxLOGICAL_CLASS: return {cls, &toDoubleOf<uint8_t>, &hexLogical};
    case vxCHAR_CLASS: return {cls, &toDoubleOf<int16_t>, &hexDigitsOf<int16_t, uint16_t, 4>};
    case vxDOUBLE_CLASS: return {cls, &toDoubleOf<double>, &hexDouble};
    case vxSINGLE_CLASS: return {cls, &toDoubleOf<float>, &hexDigitsOf<float, uint32_t, 8>};
    case vxINT8_CLASS: return {cls, &toDoubleOf<int8_t>, &hexDigitsOf<int8_t, uint8_t, 2>};
    case vxUINT8_CLASS: return {cls, &toDoubleOf<uint8_t>, &hexDigitsOf<uint8_t, uint8_t, 2>};
    case vxINT16_CLASS: return {cls, &toDoubleOf<int16_t>, &hexDigitsOf<int16_t, uint16_t, 4>};
    case vxUINT16_CLASS: return {cls, &toDoubleOf<uint16_t>, &hexDigitsOf<uint16_t, uint16_t, 4>};
    case vxINT32_CLASS: return {cls, &toDoubleOf<int32_t>, &hexDigitsOf<int32_t, uint32_t, 8>};
    case vxUINT32_CLASS: return {cls, &toDoubleOf<uint32_t>, &hexDigitsOf<uint32_t, uint32_t, 8>};
    case vxINT64_CLASS: return {cls, &toDoubleOf<int64_t>, &hexDigitsOf<int64_t, uint64_t, 16>};
    case vxUINT64_CLASS: return {cls, &uint64AsDouble, &hexDigitsOf<uint64_t, uint64_t, 16>};
    default: vxErrMsg(15);
    }
}

} // namespace display_conversions
