// Class facts, shapes, conversions between classes, and element copies that
// every family of kernels uses.
#include "internal.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstdio>
#include <limits>

namespace qzlang { namespace kernels { namespace detail {

double intMin(vxClassID c) {
    switch (c) {
    case vxINT8_CLASS: return -128.0;
    case vxINT16_CLASS: return -32768.0;
    case vxINT32_CLASS: return -2147483648.0;
    case vxINT64_CLASS: return -9223372036854775808.0;
    default: return 0.0;
    }
}

double intMax(vxClassID c) {
    switch (c) {
    case vxINT8_CLASS: return 127.0;
    case vxUINT8_CLASS: return 255.0;
    case vxINT16_CLASS: return 32767.0;
    case vxUINT16_CLASS: return 65535.0;
    case vxINT32_CLASS: return 2147483647.0;
    case vxUINT32_CLASS: return 4294967295.0;
    case vxINT64_CLASS: return 9223372036854775807.0;
    case vxUINT64_CLASS: return 18446744073709551615.0;
    default: return 0.0;
    }
}

vxClassID classFromName(std::string const& n) {
    static struct { char const* name; vxClassID cls; } const names[] = {
        {"double", vxDOUBLE_CLASS}, {"single", vxSINGLE_CLASS}, {"int8", vxINT8_CLASS},
        {"uint8", vxUINT8_CLASS},   {"int16", vxINT16_CLASS},   {"uint16", vxUINT16_CLASS},
        {"int32", vxINT32_CLASS},   {"uint32", vxUINT32_CLASS}, {"int64", vxINT64_CLASS},
        {"uint64", vxUINT64_CLASS}, {"logical", vxLOGICAL_CLASS}, {"char", vxCHAR_CLASS},
        {"cell", vxCELL_CLASS},     {"struct", vxSTRUCT_CLASS}, {"function_handle", vxFUNCTION_CLASS}};
    for (auto const& e : names)
        if (n == e.name) return e.cls;
    return vxUNKNOWN_CLASS;
}

Dims dimsOf(vxArray const* a) {
    return Dims(a->get_dimensions(), a->get_dimensions() + a->get_number_of_dimensions());
}

std::string sizeText(Dims const& d) {
    std::string s;
    for (size_t k = 0; k < d.size(); ++k) {
        if (k) s += 'x';
        s += std::to_string(d[k]);
    }
    return s;
}

size_t countOf(Dims const& d) {
    size_t n = 1;
    for (size_t v : d) n *= v;
    return n;
}

Dims trimDims(Dims d) {
    while (d.size() < 2) d.push_back(d.empty() ? 0 : 1);
    while (d.size() > 2 && d.back() == 1) d.pop_back();
    return d;
}

void fail(char const* id, char const* format, ...) {
    char buf[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buf, sizeof buf, format, args);
    va_end(args);
    vxErrMsgId(id, "%s", buf);
}

void requireArithmetic(vxArray const* a, char const* fname) {
    if (!isArithmetic(a->class_id()))
        fail("Calyx:invalidType", "%s is not defined for values of class %s.", fname, vxGetClassName(a));
    if (a->is_sparse()) fail("Calyx:sparse", "%s is not defined for sparse arrays here.", fname);
}

namespace {
std::size_t defaultMaxElements() {
    long const pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0) return std::size_t(1) << 28;
    return static_cast<std::size_t>(pages) / 16 * static_cast<std::size_t>(pageSize) / 8;
}
std::atomic<std::size_t> gMaxElements{defaultMaxElements()};
} // namespace

void checkElementCount(Dims const& d) {
    std::size_t const limit = gMaxElements.load(std::memory_order_relaxed);
    std::size_t count = 1;
    for (std::size_t n : d)
        if (n == 0) return;
    for (std::size_t n : d) {
        if (n > limit || count > limit / n)
            fail("Calyx:tooLarge", "Requested array exceeds the maximum array size.");
        count *= n;
    }
}

ArrayPtr makeArray(vxClassID cls, Dims const& d, bool complex) {
    Dims t = trimDims(d);
    checkElementCount(t);
    switch (cls) {
    case vxLOGICAL_CLASS: return ArrayPtr(vxCreateLogicalArray(t.size(), t.data()));
    case vxCHAR_CLASS: return ArrayPtr(vxCreateCharArray(t.size(), t.data()));
    case vxCELL_CLASS: return ArrayPtr(vxCreateCellArray(t.size(), t.data()));
    default: return ArrayPtr(vxCreateNumericArray(t.size(), t.data(), cls, complex ? vxCOMPLEX : vxREAL));
    }
}

ArrayPtr makeDouble(Dims const& d, bool complex) { return makeArray(vxDOUBLE_CLASS, d, complex); }

ArrayPtr makeForOverwrite(vxClassID cls, Dims const& d) {
    ArrayPtr r = makeArray(cls, d);
    size_t bytes = r->number_of_elements() * r->element_size();
    size_t const huge = size_t(2) << 20;
    if (bytes < 2 * huge) return r;
    // The array library frees data with free(), which takes aligned blocks too.
    void* p = std::aligned_alloc(huge, (bytes + huge - 1) / huge * huge);
    if (!p) return r;
    madvise(p, (bytes + huge - 1) / huge * huge, MADV_HUGEPAGE);
    vxSetData(r.get(), p);
    return r;
}
ArrayPtr scalarDouble(double v) { return ArrayPtr(vxCreateDoubleScalar(v)); }
ArrayPtr scalarLogical(bool v) { return ArrayPtr(vxCreateLogicalScalar(v)); }

ArrayPtr makeString(std::string const& s) {
    Dims d{s.empty() ? 0u : 1u, s.size()};
    ArrayPtr r = makeArray(vxCHAR_CLASS, d);
    vxChar* p = static_cast<vxChar*>(r->real_data());
    for (size_t k = 0; k < s.size(); ++k) p[k] = static_cast<unsigned char>(s[k]);
    return r;
}

std::string textOf(vxArray const* a, char const* fname) {
    if (a->class_id() != vxCHAR_CLASS) fail("Calyx:notText", "%s expects text, not a value of class %s.", fname, vxGetClassName(a));
    std::string s;
    vxChar const* p = static_cast<vxChar const*>(a->real_data());
    size_t n = a->number_of_elements();
    s.reserve(n);
    for (size_t k = 0; k < n; ++k) s += p[k] < 256 ? static_cast<char>(p[k]) : '?';
    return s;
}

template <class T> static double at(void const* p, size_t i) { return static_cast<double>(static_cast<T const*>(p)[i]); }

static double elementAsDouble(vxClassID c, void const* p, size_t i) {
    switch (c) {
    case vxDOUBLE_CLASS: return at<double>(p, i);
    case vxSINGLE_CLASS: return at<float>(p, i);
    case vxINT8_CLASS: return at<int8_t>(p, i);
    case vxUINT8_CLASS: return at<uint8_t>(p, i);
    case vxINT16_CLASS: return at<int16_t>(p, i);
    case vxUINT16_CLASS: return at<uint16_t>(p, i);
    case vxINT32_CLASS: return at<int32_t>(p, i);
    case vxUINT32_CLASS: return at<uint32_t>(p, i);
    case vxINT64_CLASS: return at<int64_t>(p, i);
    case vxUINT64_CLASS: return at<uint64_t>(p, i);
    case vxLOGICAL_CLASS: return at<bool>(p, i);
    case vxCHAR_CLASS: return at<vxChar>(p, i);
    default: return 0.0;
    }
}

double realAt(vxArray const* a, size_t i) { return elementAsDouble(a->class_id(), a->real_data(), i); }
double imagAt(vxArray const* a, size_t i) {
    return a->imag_data() ? elementAsDouble(a->class_id(), a->imag_data(), i) : 0.0;
}

void toDoubles(vxArray const* a, std::vector<double>& re, std::vector<double>* im) {
    if (!isArithmetic(a->class_id()))
        fail("Calyx:invalidType", "Values of class %s cannot take part in arithmetic.", vxGetClassName(a));
    if (a->is_sparse()) fail("Calyx:sparse", "Sparse arrays cannot take part in arithmetic here.");
    size_t n = a->number_of_elements();
    vxClassID c = a->class_id();
    re.resize(n);
    if (c == vxDOUBLE_CLASS) {
        if (n) std::memcpy(re.data(), a->real_data(), n * sizeof(double));
    }
    else
        for (size_t k = 0; k < n; ++k) re[k] = elementAsDouble(c, a->real_data(), k);
    if (im) {
        im->clear();
        if (a->imag_data()) {
            im->resize(n);
            for (size_t k = 0; k < n; ++k) (*im)[k] = elementAsDouble(c, a->imag_data(), k);
        }
    }
}

double roundToClass(vxClassID cls, double v) {
    if (!isIntClass(cls)) return v;
    if (std::isnan(v)) return 0.0;
    double r = std::round(v);  // halves away from zero
    double lo = intMin(cls), hi = intMax(cls);
    return r < lo ? lo : (r > hi ? hi : r);
}

template <class T> static void storeInt(void* p, size_t n, double const* v, vxClassID cls) {
    T* out = static_cast<T*>(p);
    double lo = intMin(cls), hi = intMax(cls);
    for (size_t k = 0; k < n; ++k) {
        double x = v[k];
        if (std::isnan(x)) out[k] = 0;
        else {
            x = std::round(x);
            // The largest 64-bit values are not doubles: saturate by comparison.
            if (x <= lo) out[k] = std::numeric_limits<T>::min();
            else if (x >= hi) out[k] = std::numeric_limits<T>::max();
            else out[k] = static_cast<T>(x);
        }
    }
}

static void storeDoubles(vxClassID cls, void* p, size_t n, double const* v) {
    switch (cls) {
    case vxDOUBLE_CLASS:
        if (n) std::memcpy(p, v, n * sizeof(double));
        break;
    case vxSINGLE_CLASS:
        for (size_t k = 0; k < n; ++k) static_cast<float*>(p)[k] = static_cast<float>(v[k]);
        break;
    case vxINT8_CLASS: storeInt<int8_t>(p, n, v, cls); break;
    case vxUINT8_CLASS: storeInt<uint8_t>(p, n, v, cls); break;
    case vxINT16_CLASS: storeInt<int16_t>(p, n, v, cls); break;
    case vxUINT16_CLASS: storeInt<uint16_t>(p, n, v, cls); break;
    case vxINT32_CLASS: storeInt<int32_t>(p, n, v, cls); break;
    case vxUINT32_CLASS: storeInt<uint32_t>(p, n, v, cls); break;
    case vxINT64_CLASS: storeInt<int64_t>(p, n, v, cls); break;
    case vxUINT64_CLASS: storeInt<uint64_t>(p, n, v, cls); break;
    case vxLOGICAL_CLASS:
        for (size_t k = 0; k < n; ++k) {
            if (std::isnan(v[k])) fail("Calyx:nanToLogical", "NaN values cannot be converted to logical.");
            static_cast<bool*>(p)[k] = v[k] != 0;
        }
        break;
    case vxCHAR_CLASS:
        for (size_t k = 0; k < n; ++k) {
            double x = std::isnan(v[k]) ? 0 : std::trunc(v[k]);
            static_cast<vxChar*>(p)[k] = static_cast<vxChar>(x < 0 ? 0 : (x > 65535 ? 65535 : x));
        }
        break;
    default: fail("Calyx:invalidType", "Cannot store numbers in a value of class %d.", int(cls));
    }
}

ArrayPtr fromDoubles(vxClassID cls, Dims const& d, std::vector<double> const& re, std::vector<double> const* im,
                     bool keepComplex) {
    bool complex = im && !im->empty();
    if (complex && !keepComplex) {
        complex = false;
        for (double v : *im)
            if (v != 0) {
                complex = true;
                break;
            }
    }
    if (complex && (cls == vxLOGICAL_CLASS || cls == vxCHAR_CLASS))
        fail("Calyx:complexConversion", "Complex values cannot be converted to %s.", cls == vxCHAR_CLASS ? "char" : "logical");
    ArrayPtr r = makeArray(cls, d, complex);
    storeDoubles(cls, r->real_data(), re.size(), re.data());
    if (complex) storeDoubles(cls, r->imag_data(), im->size(), im->data());
    return r;
}

vxClassID resultClass(vxClassID a, vxClassID b, char const* what) {
    auto norm = [](vxClassID c) { return (c == vxLOGICAL_CLASS || c == vxCHAR_CLASS) ? vxDOUBLE_CLASS : c; };
    a = norm(a);
    b = norm(b);
    if (isIntClass(a) && isIntClass(b)) {
        if (a != b)
            fail("Calyx:mixedIntegerClasses", "Integers can only be combined with integers of the same class, or scalar doubles (%s).", what);
        return a;
    }
    if (isIntClass(a)) return a;
    if (isIntClass(b)) return b;
    if (a == vxSINGLE_CLASS || b == vxSINGLE_CLASS) return vxSINGLE_CLASS;
    return vxDOUBLE_CLASS;
}

// ---- copying elements ----

namespace {

// The library's copy keeps the text of each handle record and drops the
// spare words, where the closure number lives: put it back, through cells
// and structures.
void restoreClosures(vxArray const* from, vxArray* to) {
    if (from == nullptr || to == nullptr) return;
    vxClassID const c = vxGetClassID(from);
    size_t const n = vxGetNumberOfElements(from);
    if (c == vxFUNCTION_CLASS) {
        auto const* a = static_cast<function_handle_tag const*>(vxGetData(from));
        auto* b = static_cast<function_handle_tag*>(vxGetData(to));
        for (size_t k = 0; k < n; ++k) b[k].reserved[0] = a[k].reserved[0];
    } else if (c == vxCELL_CLASS) {
        for (size_t k = 0; k < n; ++k) restoreClosures(vxGetCell(from, k), vxGetCell(to, k));
    } else if (c == vxSTRUCT_CLASS) {
        int const nf = vxGetNumberOfFields(from);
        for (size_t k = 0; k < n; ++k)
            for (int f = 0; f < nf; ++f) restoreClosures(vxGetFieldByNumber(from, k, f), vxGetFieldByNumber(to, k, f));
    }
}

} // namespace

void copyElement(vxArray* dst, size_t di, vxArray const* src, size_t si) {
    vxClassID c = src->class_id();
    if (c == vxCELL_CLASS) {
        vxArray* v = vxGetCell(src, si);
        vxSetCell(dst, di, v ? copyArray(v) : nullptr);
    } else if (c == vxSTRUCT_CLASS || c == vxOBJECT_CLASS) {
        int nf = vxGetNumberOfFields(src);
        for (int f = 0; f < nf; ++f) {
            vxArray* v = vxGetFieldByNumber(src, si, f);
            vxSetFieldByNumber(dst, di, f, v ? copyArray(v) : nullptr);
        }
    } else if (c == vxFUNCTION_CLASS) {
        auto const* h = static_cast<function_handle_tag const*>(src->real_data());
        vxSetFunctionHandle(dst, di, vxFunctionHandleToString(h + si).c_str());
        static_cast<function_handle_tag*>(dst->real_data())[di].reserved[0] = h[si].reserved[0];
    } else {
        size_t es = src->element_size();
        std::memcpy(static_cast<char*>(dst->real_data()) + di * es, static_cast<char const*>(src->real_data()) + si * es, es);
        if (src->imag_data() && dst->imag_data())
            std::memcpy(static_cast<char*>(dst->imag_data()) + di * es, static_cast<char const*>(src->imag_data()) + si * es, es);
    }
}

ArrayPtr likeArray(vxArray const* a, Dims const& d) {
    Dims t = trimDims(d);
    checkElementCount(t);
    vxClassID c = a->class_id();
    if (a->is_sparse()) fail("Calyx:sparse", "This operation is not defined for sparse arrays here.");
    if (c == vxSTRUCT_CLASS) {
        std::vector<char const*> names;
        for (auto const& n : a->field_names()) names.push_back(n.c_str());
        return ArrayPtr(vxCreateStructArray(t.size(), t.data(), int(names.size()), names.data()));
    }
    if (c == vxFUNCTION_CLASS) return ArrayPtr(vxCreateFunctionHandleArray(t.size(), t.data()));
    if (c == vxOBJECT_CLASS || c == vxOPAQUE_CLASS || c == vxVOID_CLASS)
        fail("Calyx:invalidType", "This operation is not defined for values of class %s.", vxGetClassName(a));
    return makeArray(c, t, isComplex(a));
}

ArrayPtr gather(vxArray const* a, Dims const& d, std::vector<size_t> const& src) {
    ArrayPtr r = likeArray(a, d);
    for (size_t k = 0; k < src.size(); ++k) copyElement(r.get(), k, a, src[k]);
    return r;
}

ArrayPtr convertClass(vxArray const* a, vxClassID cls) {
    vxClassID c = a->class_id();
    if (c == cls) return ArrayPtr(copyArray(a));
    if (!isArithmetic(c) || !isArithmetic(cls)) {
        fail("Calyx:invalidConversion", "Conversion from %s is not possible.", vxGetClassName(a));
    }
    if (a->is_sparse()) fail("Calyx:sparse", "Conversion of sparse arrays is not supported here.");
    // 64-bit integers convert to each other without passing through double.
    if (is64Class(c) && is64Class(cls) && !isComplex(a)) {
        ArrayPtr r = makeArray(cls, dimsOf(a));
        size_t n = a->number_of_elements();
        if (c == vxINT64_CLASS) {
            auto s = static_cast<int64_t const*>(a->real_data());
            auto o = static_cast<uint64_t*>(r->real_data());
            for (size_t k = 0; k < n; ++k) o[k] = s[k] < 0 ? 0 : uint64_t(s[k]);
        } else {
            auto s = static_cast<uint64_t const*>(a->real_data());
            auto o = static_cast<int64_t*>(r->real_data());
            for (size_t k = 0; k < n; ++k) o[k] = s[k] > uint64_t(INT64_MAX) ? INT64_MAX : int64_t(s[k]);
        }
        return r;
    }
    std::vector<double> re, im;
    toDoubles(a, re, &im);
    return fromDoubles(cls, dimsOf(a), re, &im, isComplex(a));
}

}}} // namespace qzlang::kernels::detail

namespace qzlang { namespace kernels {

std::size_t maxElements() { return detail::gMaxElements.load(std::memory_order_relaxed); }
void setMaxElements(std::size_t n) { detail::gMaxElements.store(n, std::memory_order_relaxed); }

}} // namespace qzlang::kernels

namespace qzlang {

vxArray* copyArray(vxArray const* a) {
    vxArray* out = vxDuplicateArray(a);
    vxClassID const c = a ? vxGetClassID(a) : vxUNKNOWN_CLASS;
    if (c == vxFUNCTION_CLASS || c == vxCELL_CLASS || c == vxSTRUCT_CLASS) kernels::detail::restoreClosures(a, out);
    return out;
}

} // namespace qzlang
