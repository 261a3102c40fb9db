// Small helpers that every display unit uses on an array's data: an element
// read from raw storage, an integer's magnitude in its own width, a deleter
// for a temporary array, and the classes that always show their size.
#pragma once
#include <vx/array.hpp>

#include <cstddef>
#include <cstring>

namespace display_access {

// Element `index` of storage whose elements are T; memcpy, since the data of
// an array carries no alignment promise for T.
template <class T>
T load(void const* data, size_t index) {
    T value;
    std::memcpy(&value, static_cast<char const*>(data) + index * sizeof(T), sizeof(T));
    return value;
}

// |v| of the signed or unsigned element `i`, computed in the element's own
// width U: the smallest signed value wraps to itself, and read as unsigned
// that is its true magnitude.
template <class S, class U>
U magnitudeOf(void const* data, size_t i) {
    S const v = load<S>(data, i);
    U const u = static_cast<U>(v);
    return v < 0 ? static_cast<U>(0u - u) : u;
}

// The deleter of a std::unique_ptr that owns a temporary array.
struct Destroyer {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};

// Structures and objects always show their size, even with no elements.
inline bool isStructOrObject(vxClassID cls) { return cls == vxSTRUCT_CLASS || cls == vxOBJECT_CLASS; }

} // namespace display_access
