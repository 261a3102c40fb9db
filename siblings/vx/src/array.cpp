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
    case vxFUNCTION_CLASS: return sizeof(function_handle_tag);
    case vxVOID_CLASS:
    case vxUNKNOWN_CLASS: return 0;
    default: return sizeof(void*);  // cells, structures, objects and opaque values hold pointers
    }
}

bool isNumericClass(vxClassID classID) { return classID >= vxDOUBLE_CLASS && classID <= vxUINT64_CLASS; }

bool isNumericOrLogical(vxClassID classID) { return classID == vxLOGICAL_CLASS || isNumericClass(classID); }

// Structures and objects keep one member pointer per element and field, so
// their data grows with the field table rather than with the shape alone.
bool hasFieldTable(vxClassID classID) { return classID == vxSTRUCT_CLASS || classID == vxOBJECT_CLASS; }

// a * b, or false when it overflows size_t.
bool multiplyChecked(size_t a, size_t b, size_t* product) {
    if (a != 0 && b > std::numeric_limits<size_t>::max() / a) return false;
    *product = a * b;
    return true;
}

// The shape rules of every array: at least two dimensions, no trailing
// singletons after the second.
std::vector<size_t> normalizedDims(size_t ndim, size_t const* dims) {
    std::vector<size_t> result;
    if (ndim == 0 || dims == nullptr) {
        result.assign(2, 0);
    } else {
        result.assign(dims, dims + ndim);
        if (ndim == 1) result.push_back(1);
    }
    while (result.size() > 2 && result.back() == 1) result.pop_back();
    return result;
}

size_t checkedCount(std::vector<size_t> const& dims) {
    size_t count = 1;
    for (size_t d : dims)
        if (!multiplyChecked(count, d, &count)) vxErrMsgId(CALYX::vx::arrayTooLarge());
    return count;
}

size_t checkedBytes(size_t count, size_t unit) {
    size_t bytes = 0;
    if (!multiplyChecked(count, unit, &bytes)) vxErrMsgId(CALYX::vx::arrayTooLarge());
    return bytes;
}

template <class T>
double readAs(void const* data) {
    T value;
    std::memcpy(&value, data, sizeof value);
    return static_cast<double>(value);
}

double firstRealAsDouble(vxArray const* a) {
    void const* p = a->real_data();
    // A sparse scalar with nothing stored is zero, whatever its spare slot holds.
    if (a->is_sparse() && a->jc()[1] == 0) return 0.0;
    switch (a->class_id()) {
    case vxLOGICAL_CLASS: return readAs<unsigned char>(p) != 0 ? 1.0 : 0.0;
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

void* callocOrThrow(size_t bytes) {
    // uvCalloc turns a zero size into one byte, so the data is never null.
    void* p = uvCalloc(1, bytes);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

vxArray* createNumeric(size_t ndim, size_t const* dims, vxClassID classID, vxComplexity complexity) {
    if (!isNumericClass(classID)) vxErrMsgId(CALYX::vx::invalidClass());
    return new vxArray(classID, ndim, dims, complexity);
}

} // namespace

// ---- vxArray_tag ----

vxArray_tag::vxArray_tag(vxClassID classID, size_t ndim, size_t const* dims, vxComplexity complexity)
    : classID_(classID), numel_(0), elementSize_(elementSizeOf(classID)), pr_(nullptr), pi_(nullptr) {
    dims_ = normalizedDims(ndim, dims);
    numel_ = checkedCount(dims_);
    numeric_ = isNumericClass(classID);
    // Structures and objects are born without fields, hence without members.
    size_t const bytes = hasFieldTable(classID) ? 0 : checkedBytes(numel_, elementSize_);
    allocate(bytes, complexity);
}

vxArray_tag::vxArray_tag(sparse_tag, vxClassID classID, size_t m, size_t n, size_t nzmax, vxComplexity complexity)
    : classID_(classID), numel_(0), elementSize_(elementSizeOf(classID)), pr_(nullptr), pi_(nullptr) {
    if (classID != vxDOUBLE_CLASS && classID != vxLOGICAL_CLASS) vxErrMsgId(CALYX::vx::invalidClass());
    if (classID == vxLOGICAL_CLASS && complexity == vxCOMPLEX) vxErrMsgId(CALYX::vx::invalidClass());
    dims_ = {m, n};
    numel_ = checkedCount(dims_);
    numeric_ = classID == vxDOUBLE_CLASS;
    sparse_ = true;
    nzmax_ = nzmax == 0 ? 1 : nzmax;
    size_t const jcCount = n + 1;
    if (jcCount == 0) vxErrMsgId(CALYX::vx::arrayTooLarge());
    checkedBytes(nzmax_, sizeof(size_t));
    checkedBytes(jcCount, sizeof(size_t));
    allocate(checkedBytes(nzmax_, elementSize_), complexity);
    ir_ = static_cast<size_t*>(uvCalloc(nzmax_, sizeof(size_t)));
    jc_ = static_cast<size_t*>(uvCalloc(jcCount, sizeof(size_t)));
    if (ir_ == nullptr || jc_ == nullptr) {
        uvFree(ir_);
        uvFree(jc_);
        uvFree(pr_);
        uvFree(pi_);
        throw std::bad_alloc();
    }
}

void vxArray_tag::allocate(size_t bytes, vxComplexity complexity) {
    pr_ = callocOrThrow(bytes);
    if (complexity == vxCOMPLEX) {
        try {
            pi_ = callocOrThrow(bytes);
        } catch (...) {
            uvFree(pr_);
            throw;
        }
    }
}

vxArray_tag::~vxArray_tag() {
    if (!shared_ && pr_ != nullptr) {
        vxClassID const cls = classID_;
        if (cls == vxCELL_CLASS) {
            for (size_t i = 0; i < numel_; ++i) delete members()[i];
        } else if (hasFieldTable(cls)) {
            size_t const count = numel_ * fieldNames_.size();
            for (size_t i = 0; i < count; ++i) delete members()[i];
        } else if (cls == vxFUNCTION_CLASS) {
            auto* handles = static_cast<function_handle_tag*>(pr_);
            for (size_t i = 0; i < numel_; ++i) uvFree(handles[i].text);
        }
        uvFree(pr_);
        uvFree(pi_);
    }
    uvFree(ir_);
    uvFree(jc_);
}

vxClassID vxArray_tag::class_id() const {
    return classID_ > vxFUNCTION_CLASS ? _get_class_id_non_trivial(this) : classID_;
}

void vxArray_tag::defer_dimensions(size_t ndim, size_t const* dims) {
    std::vector<size_t> pending = normalizedDims(ndim, dims);
    checkedBytes(checkedCount(pending), elementSize_ * (hasFieldTable(classID_) ? fieldNames_.size() : 1));
    pendingDims_.swap(pending);
}

void vxArray_tag::complete_dimensions() {
    if (pendingDims_.empty()) return;
    size_t const count = checkedCount(pendingDims_);
    size_t const perElement = hasFieldTable(classID_) ? fieldNames_.size() : 1;
    size_t const oldSlots = numel_ * perElement;
    size_t const newSlots = checkedBytes(count, perElement);
    if (!shared_) {
        // Members beyond the new count go with their elements.
        if (hasFieldTable(classID_))
            for (size_t i = newSlots; i < oldSlots; ++i) delete members()[i];
        resize_data(checkedBytes(oldSlots, elementSize_), checkedBytes(newSlots, elementSize_));
    }
    dims_.swap(pendingDims_);
    pendingDims_.clear();
    numel_ = count;
}

void vxArray_tag::set_shape(size_t ndim, size_t const* dims) {
    std::vector<size_t> shape = normalizedDims(ndim, dims);
    numel_ = checkedCount(shape);
    dims_.swap(shape);
}

void vxArray_tag::set_real_data(void* data) {
    if (!shared_ && pr_ != data) uvFree(pr_);
    pr_ = data;
}

void vxArray_tag::set_imag_data(void* data) {
    if (!shared_ && pi_ != data) uvFree(pi_);
    pi_ = data;
}

void vxArray_tag::share_data() {
    if (shared_) return;
    // Shared headers view numeric data only; members would be freed twice.
    uvFree(pr_);
    uvFree(pi_);
    pr_ = nullptr;
    pi_ = nullptr;
    shared_ = true;
}

void vxArray_tag::resize_data(size_t oldBytes, size_t bytes) {
    void* grown = callocOrThrow(bytes);
    std::memcpy(grown, pr_, oldBytes < bytes ? oldBytes : bytes);
    uvFree(pr_);
    pr_ = grown;
    if (pi_ != nullptr) {
        void* grownImag = callocOrThrow(bytes);
        std::memcpy(grownImag, pi_, oldBytes < bytes ? oldBytes : bytes);
        uvFree(pi_);
        pi_ = grownImag;
    }
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

vxArray* vxCreateNumericMatrix(size_t m, size_t n, vxClassID classID, vxComplexity complexity) {
    size_t const dims[2] = {m, n};
    return createNumeric(2, dims, classID, complexity);
}

vxArray* vxCreateNumericArray(size_t ndim, size_t const* dims, vxClassID classID, vxComplexity complexity) {
    return createNumeric(ndim, dims, classID, complexity);
}

vxArray* vxCreateLogicalMatrix(size_t m, size_t n) {
    size_t const dims[2] = {m, n};
    return new vxArray(vxLOGICAL_CLASS, 2, dims, vxREAL);
}

vxArray* vxCreateLogicalArray(size_t ndim, size_t const* dims) {
    return new vxArray(vxLOGICAL_CLASS, ndim, dims, vxREAL);
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

vxArray* vxCreateVoidArray(size_t ndim, size_t const* dims) { return new vxArray(vxVOID_CLASS, ndim, dims, vxREAL); }

vxArray* vxCreateSparse(size_t m, size_t n, size_t nzmax, vxComplexity complexity) {
    return new vxArray(vxArray::sparse_tag(), vxDOUBLE_CLASS, m, n, nzmax, complexity);
}

vxArray* vxCreateSparseLogicalMatrix(size_t m, size_t n, size_t nzmax) {
    return new vxArray(vxArray::sparse_tag(), vxLOGICAL_CLASS, m, n, nzmax, vxREAL);
}

void vxDestroyArray(vxArray* array) { delete array; }

// ---- memory of the array library ----

void* vxMalloc(size_t size) {
    void* p = uvMalloc(size);
    if (p == nullptr) vxErrMsg(17);
    return p;
}

void* vxCalloc(size_t count, size_t size) {
    size_t bytes = 0;
    if (!multiplyChecked(count, size, &bytes)) vxErrMsg(17);
    void* p = uvCalloc(count, size);
    if (p == nullptr) vxErrMsg(17);
    return p;
}

void vxFree(void* p) { uvFree(p); }

// ---- shape and class ----

vxClassID vxGetClassID(vxArray const* array) { return array->class_id(); }

// The stand-in stores the final class number in its header, so resolution
// only has to hand it back.
vxClassID _get_class_id_non_trivial(vxArray const* array) { return array->raw_class_id(); }

char const* vxGetClassName(vxArray const* array) {
    switch (array->class_id()) {
    case vxCELL_CLASS: return "cell";
    case vxSTRUCT_CLASS: return "struct";
    case vxLOGICAL_CLASS: return "logical";
    case vxCHAR_CLASS: return "char";
    case vxVOID_CLASS: return "void";
    case vxDOUBLE_CLASS: return "double";
    case vxSINGLE_CLASS: return "single";
    case vxINT8_CLASS: return "int8";
    case vxUINT8_CLASS: return "uint8";
    case vxINT16_CLASS: return "int16";
    case vxUINT16_CLASS: return "uint16";
    case vxINT32_CLASS: return "int32";
    case vxUINT32_CLASS: return "uint32";
    case vxINT64_CLASS: return "int64";
    case vxUINT64_CLASS: return "uint64";
    case vxFUNCTION_CLASS: return "function_handle";
    case vxOPAQUE_CLASS:
    case vxOBJECT_CLASS: return array->class_name().c_str();
    default: return "unknown";
    }
}
size_t vxGetM(vxArray const* array) { return array->get_dimensions()[0]; }

size_t vxGetN(vxArray const* array) {
    size_t n = 1;
    for (size_t i = 1; i < array->get_number_of_dimensions(); ++i) n *= array->get_dimensions()[i];
    return n;
}

size_t vxGetNumberOfDimensions(vxArray const* array) { return array->get_number_of_dimensions(); }
size_t const* vxGetDimensions(vxArray const* array) { return array->get_dimensions(); }
size_t vxGetNumberOfElements(vxArray const* array) { return array->number_of_elements(); }
size_t vxGetElementSize(vxArray const* array) { return array->element_size(); }
bool vxIsChar(vxArray const* array) { return array->class_id() == vxCHAR_CLASS; }
bool vxIsDouble(vxArray const* array) { return array->class_id() == vxDOUBLE_CLASS; }
bool vxIsNumeric(vxArray const* array) { return array->is_numeric(); }
bool vxIsComplex(vxArray const* array) { return array->is_numeric() && array->imag_data() != nullptr; }
bool vxIsSparse(vxArray const* array) { return array->is_sparse(); }
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
size_t* vxGetIr(vxArray const* array) { return array->ir(); }
size_t* vxGetJc(vxArray const* array) { return array->jc(); }
size_t vxGetNzmax(vxArray const* array) { return array->nzmax(); }

void vxSetData(vxArray* array, void* data) { array->set_real_data(data); }
void vxSetImagData(vxArray* array, void* data) { array->set_imag_data(data); }
void vxSetDataShared(vxArray* array) { array->share_data(); }

// ---- deferred dimensions and raw shape changes ----

void vxDeferDimensions(vxArray* array, size_t ndim, size_t const* dims) {
    vxClassID const cls = array->class_id();
    if (cls != vxOPAQUE_CLASS && cls != vxOBJECT_CLASS) vxErrMsgId(CALYX::vx::invalidClass());
    array->defer_dimensions(ndim, dims);
}

bool vxDimensionsIncomplete(vxArray const* array) { return array->dimensions_incomplete(); }

void _complete_opaque_dimensions(vxArray const* array) {
    // Completion fills in what the array already is, so a const array may be completed.
    const_cast<vxArray*>(array)->complete_dimensions();
}

// The column starts of a sparse array are sized by its shape, which is
// therefore fixed.
static void refuseSparse(vxArray const* array) {
    if (array->is_sparse()) vxErrMsgId(CALYX::vx::invalidClass());
}

void vxSetM(vxArray* array, size_t m) {
    refuseSparse(array);
    size_t const dims[2] = {m, vxGetN(array)};
    array->set_shape(2, dims);
}

void vxSetN(vxArray* array, size_t n) {
    refuseSparse(array);
    size_t const dims[2] = {vxGetM(array), n};
    array->set_shape(2, dims);
}

void vxSetDimensions(vxArray* array, size_t ndim, size_t const* dims) {
    refuseSparse(array);
    array->set_shape(ndim, dims);
}

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
