#include "helpers.hpp"

namespace kt {

static double element(vxArray const* a, void const* p, size_t k) {
    switch (vxGetClassID(a)) {
    case vxDOUBLE_CLASS: return static_cast<double const*>(p)[k];
    case vxSINGLE_CLASS: return static_cast<float const*>(p)[k];
    case vxINT8_CLASS: return static_cast<int8_t const*>(p)[k];
    case vxUINT8_CLASS: return static_cast<uint8_t const*>(p)[k];
    case vxINT16_CLASS: return static_cast<int16_t const*>(p)[k];
    case vxUINT16_CLASS: return static_cast<uint16_t const*>(p)[k];
    case vxINT32_CLASS: return static_cast<int32_t const*>(p)[k];
    case vxUINT32_CLASS: return static_cast<uint32_t const*>(p)[k];
    case vxINT64_CLASS: return double(static_cast<int64_t const*>(p)[k]);
    case vxUINT64_CLASS: return double(static_cast<uint64_t const*>(p)[k]);
    case vxLOGICAL_CLASS: return static_cast<bool const*>(p)[k];
    case vxCHAR_CLASS: return static_cast<vxChar const*>(p)[k];
    default: return NAN;
    }
}

static std::vector<double> byRows(vxArray const* a, void const* p) {
    size_t m = vxGetM(a), n = vxGetN(a);
    std::vector<double> v;
    for (size_t i = 0; i < m; ++i)
        for (size_t j = 0; j < n; ++j) v.push_back(p ? element(a, p, i + j * m) : 0.0);
    return v;
}

std::vector<double> rowsOf(vxArray const* a) { return byRows(a, vxGetData(a)); }
std::vector<double> imagRowsOf(vxArray const* a) { return byRows(a, vxGetImagData(a)); }

std::string sizeOf(vxArray const* a) {
    std::string s;
    for (size_t k = 0; k < vxGetNumberOfDimensions(a); ++k) s += (k ? "x" : "") + std::to_string(vxGetDimensions(a)[k]);
    return s;
}

std::string textOf(vxArray const* a) { return vxArrayToStdString(a); }

std::vector<ArrayPtr> call(char const* name, std::vector<vxArray const*> in, int nargout) {
    auto const* f = qzlang::kernels::find(name);
    if (!f) throw std::runtime_error(std::string("no function ") + name);
    std::vector<ArrayPtr> out;
    f->fn(nargout, out, in);
    return out;
}

} // namespace kt
