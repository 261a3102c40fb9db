// Structures, objects and cells: arrays whose elements are other arrays,
// owned by their container. Also the logical and uint64 scalars.
#include "vx/array.hpp"
#include "vx/errors.hpp"
#include "msg/calyx_messages.hpp"

#include <cstdint>
#include <cstring>

vxArray* vxCreateLogicalScalar(bool value) {
    size_t const dims[2] = {1, 1};
    vxArray* a = new vxArray(vxLOGICAL_CLASS, 2, dims, vxREAL);
    *static_cast<unsigned char*>(a->real_data()) = value ? 1 : 0;
    return a;
}

vxArray* vxCreateUint64Scalar(unsigned long long value) {
    size_t const dims[2] = {1, 1};
    vxArray* a = new vxArray(vxUINT64_CLASS, 2, dims, vxREAL);
    std::uint64_t const v = value;
    std::memcpy(a->real_data(), &v, sizeof v);
    return a;
}

namespace {

bool hasFields(vxArray const* a) {
    return a != nullptr && (a->class_id() == vxSTRUCT_CLASS || a->class_id() == vxOBJECT_CLASS);
}

// Adds the named fields one by one; a bad or repeated name destroys the array
// and raises.
vxArray* addFieldsOrDestroy(vxArray* a, int nfields, char const** fieldnames) {
    for (int f = 0; f < nfields; ++f) {
        char const* name = fieldnames ? fieldnames[f] : nullptr;
        if (name == nullptr || vxAddField(a, name) < 0) {
            std::string const text = name ? name : "";
            vxDestroyArray(a);
            vxErrMsgId(CALYX::vx::duplicateField(text));
        }
    }
    return a;
}

} // namespace

// ---- structures and objects ----

vxArray* vxCreateStructMatrix(size_t m, size_t n, int nfields, char const** fieldnames) {
    size_t const dims[2] = {m, n};
    return vxCreateStructArray(2, dims, nfields, fieldnames);
}

vxArray* vxCreateStructArray(size_t ndim, size_t const* dims, int nfields, char const** fieldnames) {
    return addFieldsOrDestroy(new vxArray(vxSTRUCT_CLASS, ndim, dims, vxREAL), nfields, fieldnames);
}

vxArray* vxCreateObject(char const* className, size_t ndim, size_t const* dims, int nfields,
                        char const** fieldnames) {
    if (className == nullptr) vxErrMsgId(CALYX::vx::invalidClass());
    vxArray* a = new vxArray(vxOBJECT_CLASS, ndim, dims, vxREAL);
    a->set_class_name(className);
    return addFieldsOrDestroy(a, nfields, fieldnames);
}

int vxAddField(vxArray* array, char const* name) {
    if (!hasFields(array) || name == nullptr || vxGetFieldNumber(array, name) >= 0) return -1;
    std::vector<std::string>& names = array->field_names();
    size_t const oldCount = names.size();
    size_t const numel = array->number_of_elements();
    // Element-major: each element's members gain one slot at the end. The new
    // block is filled before the old one is let go, so a failure leaves the
    // array as it was.
    size_t const slots = numel * (oldCount + 1);
    auto** grown = static_cast<vxArray**>(vxCalloc(slots ? slots : 1, sizeof(vxArray*)));
    vxArray** members = array->members();
    for (size_t e = 0; e < numel; ++e)
        for (size_t f = 0; f < oldCount; ++f) grown[e * (oldCount + 1) + f] = members[e * oldCount + f];
    names.push_back(name);
    array->set_real_data(grown);  // frees the old block only: its members moved
    return static_cast<int>(oldCount);
}

int vxGetNumberOfFields(vxArray const* array) {
    return hasFields(array) ? static_cast<int>(array->field_names().size()) : 0;
}

char const* vxGetFieldNameByNumber(vxArray const* array, int fieldnum) {
    if (!hasFields(array) || fieldnum < 0 || fieldnum >= vxGetNumberOfFields(array)) return nullptr;
    return array->field_names()[static_cast<size_t>(fieldnum)].c_str();
}

int vxGetFieldNumber(vxArray const* array, char const* name) {
    if (!hasFields(array) || name == nullptr) return -1;
    std::vector<std::string> const& names = array->field_names();
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == name) return static_cast<int>(i);
    return -1;
}

void vxSetFieldByNumber(vxArray* array, size_t index, int fieldnum, vxArray* value) {
    int const nfields = vxGetNumberOfFields(array);
    if (!hasFields(array) || fieldnum < 0 || fieldnum >= nfields || index >= array->number_of_elements())
        vxErrMsgId(CALYX::vx::indexOutOfRange());
    vxArray*& slot = array->members()[index * static_cast<size_t>(nfields) + static_cast<size_t>(fieldnum)];
    if (slot != value) vxDestroyArray(slot);
    slot = value;
}

vxArray* vxGetFieldByNumber(vxArray const* array, size_t index, int fieldnum) {
    int const nfields = vxGetNumberOfFields(array);
    if (!hasFields(array) || fieldnum < 0 || fieldnum >= nfields || index >= array->number_of_elements()) return nullptr;
    return array->members()[index * static_cast<size_t>(nfields) + static_cast<size_t>(fieldnum)];
}

// ---- cells ----

vxArray* vxCreateCellMatrix(size_t m, size_t n) {
    size_t const dims[2] = {m, n};
    return new vxArray(vxCELL_CLASS, 2, dims, vxREAL);
}

vxArray* vxCreateCellArray(size_t ndim, size_t const* dims) { return new vxArray(vxCELL_CLASS, ndim, dims, vxREAL); }

void vxSetCell(vxArray* array, size_t index, vxArray* value) {
    if (array == nullptr || array->class_id() != vxCELL_CLASS) vxErrMsgId(CALYX::vx::invalidClass());
    if (index >= array->number_of_elements()) vxErrMsgId(CALYX::vx::indexOutOfRange());
    vxArray*& slot = array->members()[index];
    if (slot != value) vxDestroyArray(slot);
    slot = value;
}

vxArray* vxGetCell(vxArray const* array, size_t index) {
    if (array == nullptr || array->class_id() != vxCELL_CLASS || index >= array->number_of_elements()) return nullptr;
    return array->members()[index];
}
