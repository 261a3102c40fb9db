// Building arrays from rows written out in tests, calling table functions,
// and reading results back.
#pragma once
#include <qzlang/kernels/Kernels.hpp>
#include <vx/errors.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace kt {

using qzlang::ArrayPtr;

// An m-by-n array of `cls` from values given row by row.
inline ArrayPtr mat(size_t m, size_t n, std::vector<double> rows, vxClassID cls = vxDOUBLE_CLASS,
                    std::vector<double> imagRows = {}) {
    size_t dims[2] = {m, n};
    vxArray* a = cls == vxLOGICAL_CLASS ? vxCreateLogicalArray(2, dims)
                 : cls == vxCHAR_CLASS  ? vxCreateCharArray(2, dims)
                                        : vxCreateNumericArray(2, dims, cls, imagRows.empty() ? vxREAL : vxCOMPLEX);
    auto put = [&](void* p, size_t k, double v) {
        switch (cls) {
        case vxDOUBLE_CLASS: static_cast<double*>(p)[k] = v; break;
        case vxSINGLE_CLASS: static_cast<float*>(p)[k] = float(v); break;
        case vxINT8_CLASS: static_cast<int8_t*>(p)[k] = int8_t(v); break;
        case vxUINT8_CLASS: static_cast<uint8_t*>(p)[k] = uint8_t(v); break;
        case vxINT16_CLASS: static_cast<int16_t*>(p)[k] = int16_t(v); break;
        case vxUINT16_CLASS: static_cast<uint16_t*>(p)[k] = uint16_t(v); break;
        case vxINT32_CLASS: static_cast<int32_t*>(p)[k] = int32_t(v); break;
        case vxUINT32_CLASS: static_cast<uint32_t*>(p)[k] = uint32_t(v); break;
        case vxINT64_CLASS: static_cast<int64_t*>(p)[k] = int64_t(v); break;
        case vxUINT64_CLASS: static_cast<uint64_t*>(p)[k] = uint64_t(v); break;
        case vxLOGICAL_CLASS: static_cast<bool*>(p)[k] = v != 0; break;
        case vxCHAR_CLASS: static_cast<vxChar*>(p)[k] = vxChar(v); break;
        default: break;
        }
    };
    for (size_t i = 0; i < m; ++i)
        for (size_t j = 0; j < n; ++j) {
            put(vxGetData(a), i + j * m, rows[i * n + j]);
            if (!imagRows.empty()) put(vxGetImagData(a), i + j * m, imagRows[i * n + j]);
        }
    return ArrayPtr(a);
}
inline ArrayPtr row(std::vector<double> v, vxClassID cls = vxDOUBLE_CLASS) { return mat(1, v.size(), v, cls); }
inline ArrayPtr col(std::vector<double> v, vxClassID cls = vxDOUBLE_CLASS) { return mat(v.size(), 1, v, cls); }
inline ArrayPtr num(double v, vxClassID cls = vxDOUBLE_CLASS) { return mat(1, 1, {v}, cls); }
inline ArrayPtr str(char const* s) { return ArrayPtr(vxCreateString(s)); }

// Values row by row, as doubles (the real parts).
std::vector<double> rowsOf(vxArray const* a);
std::vector<double> imagRowsOf(vxArray const* a);
std::string sizeOf(vxArray const* a);  // "2x3"
std::string textOf(vxArray const* a);

// Calls a table function; raises as the function does.
std::vector<ArrayPtr> call(char const* name, std::vector<vxArray const*> in, int nargout = 1);
inline ArrayPtr call1(char const* name, std::vector<vxArray const*> in) { return std::move(call(name, in)[0]); }

// The identifier of the error the call raises, or "" if none.
template <class F> std::string errorOf(F&& f) {
    try {
        f();
    } catch (vx::Error const& e) {
        return e.identifier();
    }
    return "";
}
template <class F> std::string messageOf(F&& f) {
    try {
        f();
    } catch (vx::Error const& e) {
        return e.what();
    }
    return "";
}

} // namespace kt
