#include "qzlang/ArrayOps.hpp"

#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace qzlang {

namespace {

template <class T>
T saturate(double v) {
    if (std::isnan(v)) return 0;
    v = std::round(v);  // halves away from zero
    // Compared as doubles: the top of a 64-bit range is not exact, so the
    // boundary test is ">=" on the power of two.
    double const lo = static_cast<double>(std::numeric_limits<T>::min());
    double const hi = static_cast<double>(std::numeric_limits<T>::max());
    if (v <= lo) return std::numeric_limits<T>::min();
    if (v >= hi) return std::numeric_limits<T>::max();
    return static_cast<T>(v);
}

template <class T>
double readAs(void const* data, size_t k) {
    return static_cast<double>(static_cast<T const*>(data)[k]);
}

double readElement(vxClassID cls, void const* data, size_t k) {
    if (data == nullptr) return 0;
    switch (cls) {
    case vxLOGICAL_CLASS: return readAs<unsigned char>(data, k);
    case vxCHAR_CLASS: return readAs<vxChar>(data, k);
    case vxDOUBLE_CLASS: return readAs<double>(data, k);
    case vxSINGLE_CLASS: return readAs<float>(data, k);
    case vxINT8_CLASS: return readAs<std::int8_t>(data, k);
    case vxUINT8_CLASS: return readAs<std::uint8_t>(data, k);
    case vxINT16_CLASS: return readAs<std::int16_t>(data, k);
    case vxUINT16_CLASS: return readAs<std::uint16_t>(data, k);
    case vxINT32_CLASS: return readAs<std::int32_t>(data, k);
    case vxUINT32_CLASS: return readAs<std::uint32_t>(data, k);
    case vxINT64_CLASS: return readAs<std::int64_t>(data, k);
    case vxUINT64_CLASS: return readAs<std::uint64_t>(data, k);
    default:
        vxErrMsgId("qzconsole:notNumeric", "These values have no numbers.");
    }
}

void writeElement(vxClassID cls, void* data, size_t k, double v) {
    switch (cls) {
    case vxLOGICAL_CLASS: static_cast<unsigned char*>(data)[k] = v != 0; break;
    case vxCHAR_CLASS: static_cast<vxChar*>(data)[k] = saturate<vxChar>(v); break;
    case vxDOUBLE_CLASS: static_cast<double*>(data)[k] = v; break;
    case vxSINGLE_CLASS: static_cast<float*>(data)[k] = static_cast<float>(v); break;
    case vxINT8_CLASS: static_cast<std::int8_t*>(data)[k] = saturate<std::int8_t>(v); break;
    case vxUINT8_CLASS: static_cast<std::uint8_t*>(data)[k] = saturate<std::uint8_t>(v); break;
    case vxINT16_CLASS: static_cast<std::int16_t*>(data)[k] = saturate<std::int16_t>(v); break;
    case vxUINT16_CLASS: static_cast<std::uint16_t*>(data)[k] = saturate<std::uint16_t>(v); break;
    case vxINT32_CLASS: static_cast<std::int32_t*>(data)[k] = saturate<std::int32_t>(v); break;
    case vxUINT32_CLASS: static_cast<std::uint32_t*>(data)[k] = saturate<std::uint32_t>(v); break;
    case vxINT64_CLASS: static_cast<std::int64_t*>(data)[k] = saturate<std::int64_t>(v); break;
    case vxUINT64_CLASS: static_cast<std::uint64_t*>(data)[k] = saturate<std::uint64_t>(v); break;
    default: break;
    }
}

bool supportsComplex(vxClassID c) { return c == vxDOUBLE_CLASS || c == vxSINGLE_CLASS || isIntegerClass(c); }

bool isEmpty0x0(vxArray const* a) {
    return vxGetNumberOfDimensions(a) == 2 && vxGetDimensions(a)[0] == 0 && vxGetDimensions(a)[1] == 0;
}

[[noreturn]] void noOperator(char const* op, vxArray const* a) {
    vxErrMsgId("qzconsole:undefinedOperator", "The operator '%s' is not defined for values of class %s.", op,
               vxGetClassName(a));
}

std::string sizeText(std::vector<size_t> const& d) {
    std::string s;
    for (size_t i = 0; i < d.size(); ++i) s += (i ? "x" : "") + std::to_string(d[i]);
    return s;
}

} // namespace

void pollInterrupt(size_t k) {
    if ((k & 0xFFFF) == 0xFFFF) uvLongjmpIfInterruptPending();
}

size_t maxElements() { return kernels::maxElements(); }
void setMaxElements(size_t n) { kernels::setMaxElements(n); }

size_t checkedElementCount(std::vector<size_t> const& dims) {
    size_t const limit = kernels::maxElements();
    size_t count = 1;
    bool zero = false;
    for (size_t d : dims) zero = zero || d == 0;
    if (zero) return 0;
    for (size_t d : dims) {
        if (d > limit || count > limit / d)
            vxErrMsgId("Calyx:tooLarge", "Requested array exceeds the maximum array size.");
        count *= d;
    }
    return count;
}

bool isIntegerClass(vxClassID c) { return c >= vxINT8_CLASS && c <= vxUINT64_CLASS; }

bool hasNumbers(vxClassID c) {
    return c == vxLOGICAL_CLASS || c == vxCHAR_CLASS || c == vxDOUBLE_CLASS || c == vxSINGLE_CLASS || isIntegerClass(c);
}

double realAt(vxArray const* a, size_t k) { return readElement(vxGetClassID(a), vxGetData(a), k); }

double imagAt(vxArray const* a, size_t k) {
    return vxIsComplex(a) ? readElement(vxGetClassID(a), vxGetImagData(a), k) : 0.0;
}

std::vector<size_t> dimsOf(vxArray const* a) {
    return std::vector<size_t>(vxGetDimensions(a), vxGetDimensions(a) + vxGetNumberOfDimensions(a));
}

ArrayPtr zerosOf(vxClassID cls, std::vector<size_t> const& dims, bool complex) {
    checkedElementCount(dims);
    vxComplexity const cx = complex && supportsComplex(cls) ? vxCOMPLEX : vxREAL;
    switch (cls) {
    case vxLOGICAL_CLASS: return ArrayPtr(vxCreateLogicalArray(dims.size(), dims.data()));
    case vxCHAR_CLASS: return ArrayPtr(vxCreateCharArray(dims.size(), dims.data()));
    case vxCELL_CLASS: return ArrayPtr(vxCreateCellArray(dims.size(), dims.data()));
    default: return ArrayPtr(vxCreateNumericArray(dims.size(), dims.data(), cls, cx));
    }
}

void setAt(vxArray* a, size_t k, double re, double im) {
    vxClassID const cls = vxGetClassID(a);
    writeElement(cls, vxGetData(a), k, re);
    if (void* imag = vxGetImagData(a)) writeElement(cls, imag, k, im);
}

ArrayPtr convert(vxArray const* a, vxClassID cls, bool keepComplex) {
    if (!hasNumbers(vxGetClassID(a)) || !hasNumbers(cls))
        vxErrMsgId("qzconsole:badConversion", "Values of class %s cannot be converted to %s.", vxGetClassName(a),
                   cls == vxLOGICAL_CLASS ? "logical" : cls == vxCHAR_CLASS ? "char" : "a number");
    ArrayPtr full;
    if (vxIsSparse(a)) {
        full.reset(vxMustBeFull(a));
        a = full.get();
    }
    bool const complex = vxIsComplex(a) && keepComplex && supportsComplex(cls);
    if (cls == vxLOGICAL_CLASS && vxIsComplex(a))
        vxErrMsgId("qzconsole:badConversion", "Complex values cannot be converted to logical.");
    if (vxGetClassID(a) == cls && complex == vxIsComplex(a)) return ArrayPtr(copyArray(a));
    ArrayPtr out = zerosOf(cls, dimsOf(a), complex);
    size_t const n = vxGetNumberOfElements(a);
    for (size_t k = 0; k < n; ++k) {
        pollInterrupt(k);
        double const re = realAt(a, k);
        if (cls == vxLOGICAL_CLASS && std::isnan(re))
            vxErrMsgId("qzconsole:badConversion", "NaN cannot be converted to logical.");
        setAt(out.get(), k, re, complex ? imagAt(a, k) : 0.0);
    }
    return out;
}

vxClassID concatClass(std::vector<vxArray const*> const& parts) {
    bool anyChar = false, anySingle = false, allLogical = true;
    vxClassID integer = vxUNKNOWN_CLASS;
    for (vxArray const* p : parts) {
        vxClassID const c = vxGetClassID(p);
        // A bare [] takes no part in choosing the class.
        if (c == vxDOUBLE_CLASS && isEmpty0x0(p)) continue;
        anyChar = anyChar || c == vxCHAR_CLASS;
        anySingle = anySingle || c == vxSINGLE_CLASS;
        allLogical = allLogical && c == vxLOGICAL_CLASS;
        if (isIntegerClass(c) && integer == vxUNKNOWN_CLASS) integer = c;
    }
    if (anyChar) return vxCHAR_CLASS;
    if (integer != vxUNKNOWN_CLASS) return integer;
    if (anySingle) return vxSINGLE_CLASS;
    if (allLogical && !parts.empty()) {
        for (vxArray const* p : parts)
            if (vxGetClassID(p) == vxLOGICAL_CLASS) return vxLOGICAL_CLASS;
    }
    return vxDOUBLE_CLASS;
}

ArrayPtr concatenate(std::vector<vxArray const*> const& parts, size_t dim) {
    if (dim == 0) vxErrMsgId("qzconsole:badDimension", "The dimension must be a positive whole number.");
    if (parts.size() == 1 && !hasNumbers(vxGetClassID(parts[0]))) return ArrayPtr(copyArray(parts[0]));
    bool anyCell = false, allCell = true, anySparse = false, anyComplex = false;
    for (vxArray const* p : parts) {
        vxClassID const c = vxGetClassID(p);
        if (c != vxCELL_CLASS && !hasNumbers(c)) {
            vxErrMsgId("qzconsole:badConcatenation", "Values of class %s cannot be concatenated.", vxGetClassName(p));
        }
        anyCell = anyCell || c == vxCELL_CLASS;
        allCell = allCell && c == vxCELL_CLASS;
        anySparse = anySparse || vxIsSparse(p);
        anyComplex = anyComplex || vxIsComplex(p);
    }
    if (anyCell && !allCell) {
        vxErrMsgId("qzconsole:badConcatenation", "A cell array can only be concatenated with cell arrays.");
    }
    vxClassID const cls = allCell && !parts.empty() ? vxCELL_CLASS : concatClass(parts);

    // Work on full arrays of the result's class.
    std::vector<ArrayPtr> owned;
    std::vector<vxArray const*> used;
    for (vxArray const* p : parts) {
        if (isEmpty0x0(p)) continue;
        if (cls == vxCELL_CLASS) {
            used.push_back(p);
        } else {
            owned.push_back(convert(p, cls));
            if (anyComplex && supportsComplex(cls) && !vxIsComplex(owned.back().get())) {
                ArrayPtr c = zerosOf(cls, dimsOf(p), true);
                size_t const n = vxGetNumberOfElements(owned.back().get());
                for (size_t k = 0; k < n; ++k) setAt(c.get(), k, realAt(owned.back().get(), k), 0.0);
                owned.back() = std::move(c);
            }
            used.push_back(owned.back().get());
        }
    }
    if (used.empty()) return zerosOf(cls, {0, 0});

    size_t nd = dim;
    for (vxArray const* p : used) nd = std::max(nd, vxGetNumberOfDimensions(p));
    auto padded = [nd](vxArray const* p) {
        std::vector<size_t> d = dimsOf(p);
        d.resize(nd, 1);
        return d;
    };
    std::vector<size_t> result = padded(used[0]);
    result[dim - 1] = 0;
    for (vxArray const* p : used) {
        std::vector<size_t> d = padded(p);
        for (size_t i = 0; i < nd; ++i) {
            if (i != dim - 1 && d[i] != result[i]) {
                std::vector<size_t> first = padded(used[0]);
                vxErrMsgId("qzconsole:badConcatenation",
                           "The sizes %s and %s do not agree for concatenation along dimension %zu.",
                           sizeText(first).c_str(), sizeText(d).c_str(), dim);
            }
        }
        result[dim - 1] += d[dim - 1];
    }
    ArrayPtr out = zerosOf(cls, result, anyComplex && supportsComplex(cls));

    // Column-major: every part contributes one block of (its dims up to dim)
    // elements per step of the dimensions beyond dim.
    size_t outer = 1;
    for (size_t i = dim; i < nd; ++i) outer *= result[i];
    size_t at = 0;
    size_t const size = cls == vxCELL_CLASS ? 0 : vxGetElementSize(out.get());
    for (size_t o = 0; o < outer; ++o) {
        for (vxArray const* p : used) {
            std::vector<size_t> d = padded(p);
            size_t block = 1;
            for (size_t i = 0; i < dim; ++i) block *= d[i];
            size_t const from = o * block;
            if (cls == vxCELL_CLASS) {
                for (size_t k = 0; k < block; ++k) vxSetCell(out.get(), at + k, copyArray(vxGetCell(p, from + k)));
            } else if (block > 0) {
                std::memcpy(static_cast<char*>(vxGetData(out.get())) + at * size,
                            static_cast<char const*>(vxGetData(p)) + from * size, block * size);
                if (vxGetImagData(out.get()) != nullptr)
                    std::memcpy(static_cast<char*>(vxGetImagData(out.get())) + at * size,
                                static_cast<char const*>(vxGetImagData(p)) + from * size, block * size);
            }
            at += block;
        }
    }
    if (anySparse && (cls == vxDOUBLE_CLASS || cls == vxLOGICAL_CLASS) && nd == 2) return toSparse(out.get());
    return out;
}

ArrayPtr transpose(vxArray const* a, bool conjugate) {
    if (vxGetNumberOfDimensions(a) > 2)
        vxErrMsgId("qzconsole:badTranspose", "Transpose is defined for arrays of two dimensions only.");
    vxClassID const cls = vxGetClassID(a);
    if (cls != vxCELL_CLASS && !hasNumbers(cls)) noOperator(conjugate ? "'" : ".'", a);
    if (vxIsSparse(a)) {
        ArrayPtr full(vxMustBeFull(a));
        ArrayPtr t = transpose(full.get(), conjugate);
        return toSparse(t.get());
    }
    size_t const m = vxGetM(a), n = vxGetN(a);
    ArrayPtr out = zerosOf(cls, {n, m}, vxIsComplex(a));
    for (size_t i = 0; i < m; ++i) {
        for (size_t j = 0; j < n; ++j) {
            pollInterrupt(i * n + j);
            size_t const from = i + j * m, to = j + i * n;
            if (cls == vxCELL_CLASS) {
                vxSetCell(out.get(), to, copyArray(vxGetCell(a, from)));
            } else {
                size_t const size = vxGetElementSize(a);
                std::memcpy(static_cast<char*>(vxGetData(out.get())) + to * size,
                            static_cast<char const*>(vxGetData(a)) + from * size, size);
                if (vxIsComplex(a)) {
                    double const im = imagAt(a, from);
                    writeElement(cls, vxGetImagData(out.get()), to, conjugate ? -im : im);
                }
            }
        }
    }
    return out;
}

ArrayPtr negate(vxArray const* a) {
    vxClassID cls = vxGetClassID(a);
    if (!hasNumbers(cls)) noOperator("-", a);
    if (cls == vxLOGICAL_CLASS || cls == vxCHAR_CLASS) cls = vxDOUBLE_CLASS;
    ArrayPtr out = convert(a, cls);
    size_t const n = vxGetNumberOfElements(out.get());
    for (size_t k = 0; k < n; ++k) {
        pollInterrupt(k);
        setAt(out.get(), k, -realAt(out.get(), k), -imagAt(out.get(), k));
    }
    return out;
}

ArrayPtr addSubtract(vxArray const* a, vxArray const* b, int sign) {
    char const* op = sign > 0 ? "+" : "-";
    vxClassID const ca = vxGetClassID(a), cb = vxGetClassID(b);
    if (!hasNumbers(ca)) noOperator(op, a);
    if (!hasNumbers(cb)) noOperator(op, b);
    vxClassID cls = vxDOUBLE_CLASS;
    if (isIntegerClass(ca) && isIntegerClass(cb) && ca != cb)
        vxErrMsgId("qzconsole:mixedIntegers", "Integers of classes %s and %s cannot be combined.", vxGetClassName(a),
                   vxGetClassName(b));
    if (isIntegerClass(ca)) cls = ca;
    else if (isIntegerClass(cb)) cls = cb;
    else if (ca == vxSINGLE_CLASS || cb == vxSINGLE_CLASS) cls = vxSINGLE_CLASS;

    ArrayPtr fa, fb;
    if (vxIsSparse(a)) fa.reset(vxMustBeFull(a)), a = fa.get();
    if (vxIsSparse(b)) fb.reset(vxMustBeFull(b)), b = fb.get();
    size_t const na = vxGetNumberOfElements(a), nb = vxGetNumberOfElements(b);
    std::vector<size_t> dims;
    if (na == 1) dims = dimsOf(b);
    else if (nb == 1 || dimsOf(a) == dimsOf(b)) dims = dimsOf(a);
    else
        vxErrMsgId("qzconsole:sizeMismatch", "The sizes %s and %s do not agree for '%s'.", sizeText(dimsOf(a)).c_str(),
                   sizeText(dimsOf(b)).c_str(), op);
    bool const complex = vxIsComplex(a) || vxIsComplex(b);
    ArrayPtr out = zerosOf(cls, dims, complex);
    size_t const n = vxGetNumberOfElements(out.get());
    bool anyImag = false;
    for (size_t k = 0; k < n; ++k) {
        pollInterrupt(k);
        size_t const ka = na == 1 ? 0 : k, kb = nb == 1 ? 0 : k;
        double const re = realAt(a, ka) + sign * realAt(b, kb);
        double const im = imagAt(a, ka) + sign * imagAt(b, kb);
        anyImag = anyImag || im != 0;
        setAt(out.get(), k, re, im);
    }
    // A sum whose imaginary parts all cancel is real again.
    if (complex && !anyImag) return convert(out.get(), cls, false);
    return out;
}

ArrayPtr range(double start, double step, double stop) {
    if (std::isnan(start) || std::isnan(step) || std::isnan(stop)) {
        ArrayPtr out = zerosOf(vxDOUBLE_CLASS, {1, 1});
        setAt(out.get(), 0, std::nan(""));
        return out;
    }
    if (step == 0 || (step > 0 && start > stop) || (step < 0 && start < stop)) return zerosOf(vxDOUBLE_CLASS, {1, 0});
    // A little slack, so that 0:0.1:1 ends at 1 despite rounding.
    double const span = std::floor((stop - start) / step + 1e-10);
    if (!std::isfinite(span) || span + 1 > static_cast<double>(maxElements()))
        vxErrMsgId("Calyx:tooLarge", "Requested array exceeds the maximum array size.");
    size_t const n = static_cast<size_t>(span) + 1;
    ArrayPtr out = zerosOf(vxDOUBLE_CLASS, {1, n});
    for (size_t k = 0; k < n; ++k) {
        pollInterrupt(k);
        setAt(out.get(), k, start + static_cast<double>(k) * step);
    }
    return out;
}

ArrayPtr toSparse(vxArray const* a) {
    vxClassID const cls = vxGetClassID(a);
    if (vxIsSparse(a)) return ArrayPtr(copyArray(a));
    if (cls != vxDOUBLE_CLASS && cls != vxLOGICAL_CLASS)
        vxErrMsgId("qzconsole:badSparse", "Only double and logical values can be sparse, not %s.", vxGetClassName(a));
    if (vxGetNumberOfDimensions(a) > 2) vxErrMsgId("qzconsole:badSparse", "A sparse array has two dimensions.");
    size_t const m = vxGetM(a), n = vxGetN(a), count = m * n;
    size_t stored = 0;
    for (size_t k = 0; k < count; ++k) {
        pollInterrupt(k);
        stored += realAt(a, k) != 0 || imagAt(a, k) != 0;
    }
    ArrayPtr out(cls == vxLOGICAL_CLASS ? vxCreateSparseLogicalMatrix(m, n, stored)
                                        : vxCreateSparse(m, n, stored, vxIsComplex(a) ? vxCOMPLEX : vxREAL));
    size_t at = 0;
    for (size_t j = 0; j < n; ++j) {
        vxGetJc(out.get())[j] = at;
        for (size_t i = 0; i < m; ++i) {
            size_t const k = i + j * m;
            double const re = realAt(a, k), im = imagAt(a, k);
            if (re == 0 && im == 0) continue;
            vxGetIr(out.get())[at] = i;
            setAt(out.get(), at, re, im);
            ++at;
        }
    }
    vxGetJc(out.get())[n] = at;
    return out;
}

ArrayPtr toFull(vxArray const* a) { return ArrayPtr(vxMustBeFull(a)); }

} // namespace qzlang
