// Construction, inspection and text conversion of arrays.
#include "vx/array.hpp"
#include "vx/errors.hpp"
#include "msg/calyx_messages.hpp"
#include "uv/uv.hpp"

#include <fd/i18n/convert.hpp>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

namespace {

size_t elementSizeOf(vxClassID classID) {
    switch (classID) {
    case vxLOGICAL_CLASS:
    case vxINT8_CLASS:
    case vxUINT8_CLASS: return 1;
    case vxCHAR_CLASS:
    case vxINT16_CLASS:
    case vxUINT16_CLASS: return 2;
    case vxSINGLE_CLASS:
    case vxINT32_CLASS:
    case vxUINT32_CLASS: return 4;
    case vxDOUBLE_CLASS:
    case vxINT64_CLASS:
    case vxUINT64_CLASS: return 8;
    case vxVOID_CLASS:
    case vxUNKNOWN_CLASS: return 0;
    default: return sizeof(void*);  // containers and handles hold pointers
    }
}

bool isNumericOrLogical(vxClassID classID) {
    return classID == vxLOGICAL_CLASS || (classID >= vxDOUBLE_CLASS && classID <= vxUINT64_CLASS);
}

// a * b, or false when it overflows size_t.
bool multiplyChecked(size_t a, size_t b, size_t* product) {
    if (a != 0 && b > std::numeric_limits<size_t>::max() / a) return false;
    *product = a * b;
    return true;
}

template <class T>
double readAs(void const* data) {
    T value;
    std::memcpy(&value, data, sizeof value);
    return static_cast<double>(value);
}

double firstRealAsDouble(vxArray const* a) {
    void const* p = a->real_data();
    switch (a->class_id()) {
    case vxLOGICAL_CLASS: return readAs<bool>(p);
    case vxDOUBLE_CLASS: return readAs<double>(p);
    case vxSINGLE_CLASS: return readAs<float>(p);
    case vxINT8_CLASS: return readAs<int8_t>(p);
    case vxUINT8_CLASS: return readAs<uint8_t>(p);
    case vxINT16_CLASS: return readAs<int16_t>(p);
    case vxUINT16_CLASS: return readAs<uint16_t>(p);
    case vxINT32_CLASS: return readAs<int32_t>(p);
    case vxUINT32_CLASS: return readAs<uint32_t>(p);
    case vxINT64_CLASS: return readAs<int64_t>(p);
    case vxUINT64_CLASS: return readAs<uint64_t>(p);
    default: return 0.0;  // not reached: callers check the class first
    }
}

} // namespace

// ---- vxArray_tag ----

vxArray_tag::vxArray_tag(vxClassID classID, size_t ndim, size_t const* dims, vxComplexity complexity)
    : classID_(classID), numel_(0), elementSize_(elementSizeOf(classID)), pr_(nullptr), pi_(nullptr) {
    if (ndim == 0) {
        dims_.assign(2, 0);
    } else {
        dims_.assign(dims, dims + ndim);
        if (ndim == 1) dims_.push_back(1);
    }
    while (dims_.size() > 2 && dims_.back() == 1) dims_.pop_back();

    size_t count = 1;
    for (size_t d : dims_)
        if (!multiplyChecked(count, d, &count)) vxErrMsgId(CALYX::vx::arrayTooLarge());
    size_t bytes = 0;
    if (!multiplyChecked(count, elementSize_, &bytes)) vxErrMsgId(CALYX::vx::arrayTooLarge());
    numel_ = count;

    // uvCalloc turns a zero size into one byte, so the data is never null.
    pr_ = uvCalloc(1, bytes);
    if (pr_ == nullptr) throw std::bad_alloc();
    if (complexity == vxCOMPLEX) {
        pi_ = uvCalloc(1, bytes);
        if (pi_ == nullptr) {
            uvFree(pr_);
            throw std::bad_alloc();
        }
    }
}

vxArray_tag::~vxArray_tag() {
    for (vxArray_tag* member : members_) delete member;
    uvFree(pr_);
    uvFree(pi_);
}

// ---- creation and destruction ----

vxArray* vxCreateDoubleScalar(double value) {
    size_t const dims[2] = {1, 1};
    vxArray* a = new vxArray(vxDOUBLE_CLASS, 2, dims, vxREAL);
    *static_cast<double*>(a->real_data()) = value;
    return a;
}

vxArray* vxCreateDoubleMatrix(size_t m, size_t n, vxComplexity complexity) {
    size_t const dims[2] = {m, n};
    return new vxArray(vxDOUBLE_CLASS, 2, dims, complexity);
}

vxArray* vxCreateCharArray(size_t ndim, size_t const* dims) { return new vxArray(vxCHAR_CLASS, ndim, dims, vxREAL); }

vxArray* vxCreateString(char const* text) {
    if (text == nullptr) return nullptr;
    fd::i18n::ustring units = fd::i18n::to_ustring(std::string(text));
    size_t const dims[2] = {units.empty() ? 0u : 1u, units.size()};
    vxArray* a = vxCreateCharArray(2, dims);
    if (!units.empty()) std::memcpy(a->real_data(), units.data(), units.size() * sizeof(vxChar));
    return a;
}

void vxDestroyArray(vxArray* array) { delete array; }

// ---- shape and class ----

vxClassID vxGetClassID(vxArray const* array) { return array->class_id(); }
size_t vxGetM(vxArray const* array) { return array->get_dimensions()[0]; }

size_t vxGetN(vxArray const* array) {
    size_t n = 1;
    for (size_t i = 1; i < array->get_number_of_dimensions(); ++i) n *= array->get_dimensions()[i];
    return n;
}

size_t vxGetNumberOfDimensions(vxArray const* array) { return array->get_number_of_dimensions(); }
size_t const* vxGetDimensions(vxArray const* array) { return array->get_dimensions(); }
size_t vxGetNumberOfElements(vxArray const* array) { return array->number_of_elements(); }
bool vxIsChar(vxArray const* array) { return array->class_id() == vxCHAR_CLASS; }
bool vxIsDouble(vxArray const* array) { return array->class_id() == vxDOUBLE_CLASS; }
bool vxIsComplex(vxArray const* array) { return array->imag_data() != nullptr; }
bool vxIsEmpty(vxArray const* array) { return array->number_of_elements() == 0; }
bool vxIsScalar(vxArray const* array) { return array->number_of_elements() == 1; }

// ---- data ----

double* vxGetPr(vxArray const* array) {
    return vxIsDouble(array) ? static_cast<double*>(array->real_data()) : nullptr;
}

double* vxGetPi(vxArray const* array) {
    return vxIsDouble(array) ? static_cast<double*>(array->imag_data()) : nullptr;
}

void* vxGetData(vxArray const* array) { return array->real_data(); }
void* vxGetImagData(vxArray const* array) { return array->imag_data(); }

double vxGetScalar(vxArray const* array) {
    if (array == nullptr || !isNumericOrLogical(array->class_id())) vxErrMsgId(CALYX::vx::notNumeric());
    if (array->number_of_elements() != 1) vxErrMsgId(CALYX::vx::notScalar());
    return firstRealAsDouble(array);
}

int vxGetScalarInt(vxArray const* array) {
    double value = std::trunc(vxGetScalar(array));
    // NaN fails both comparisons, so it is refused here too.
    if (!(value >= static_cast<double>(std::numeric_limits<int>::min()) &&
          value <= static_cast<double>(std::numeric_limits<int>::max())))
        vxErrMsgId(CALYX::vx::scalarOutOfIntRange());
    return static_cast<int>(value);
}

// ---- text ----

std::string vxArrayToStdString(vxArray const* array) {
    if (array == nullptr || !vxIsChar(array)) vxErrMsgId(CALYX::vx::notCharArray());
    auto units = vxm::detail::get_vxchar_ptr_and_len(array);
    return fd::i18n::to_string(fd::i18n::ustring(units.first, units.first + units.second));
}

char* vxArray2String(vxArray const* array) {
    if (array == nullptr || !vxIsChar(array)) return nullptr;
    std::string text = vxArrayToStdString(array);
    char* copy = static_cast<char*>(uvMalloc(text.size() + 1));
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

namespace vxm { namespace detail {

std::pair<vxChar const*, size_t> get_vxchar_ptr_and_len(vxArray const* array) {
    if (array == nullptr || !vxIsChar(array)) return {nullptr, 0};
    return {static_cast<vxChar const*>(array->real_data()), array->number_of_elements()};
}

}} // namespace vxm::detail
