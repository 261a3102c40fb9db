// Structure arrays and the logical and uint64 scalars.
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

bool isStruct(vxArray const* a) { return a != nullptr && a->class_id() == vxSTRUCT_CLASS; }

} // namespace

vxArray* vxCreateStructMatrix(size_t m, size_t n, int nfields, char const** fieldnames) {
    size_t const dims[2] = {m, n};
    vxArray* a = new vxArray(vxSTRUCT_CLASS, 2, dims, vxREAL);
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

int vxAddField(vxArray* array, char const* name) {
    if (!isStruct(array) || name == nullptr || vxGetFieldNumber(array, name) >= 0) return -1;
    std::vector<std::string>& names = array->field_names();
    std::vector<vxArray*>& members = array->members();
    size_t const oldCount = names.size();
    size_t const numel = array->number_of_elements();
    // Element-major: each element's members gain one slot at the end.
    std::vector<vxArray*> grown(numel * (oldCount + 1), nullptr);
    for (size_t e = 0; e < numel; ++e)
        for (size_t f = 0; f < oldCount; ++f) grown[e * (oldCount + 1) + f] = members[e * oldCount + f];
    members.swap(grown);
    names.push_back(name);
    return static_cast<int>(oldCount);
}

int vxGetNumberOfFields(vxArray const* array) {
    return isStruct(array) ? static_cast<int>(array->field_names().size()) : 0;
}

char const* vxGetFieldNameByNumber(vxArray const* array, int fieldnum) {
    if (!isStruct(array) || fieldnum < 0 || fieldnum >= vxGetNumberOfFields(array)) return nullptr;
    return array->field_names()[static_cast<size_t>(fieldnum)].c_str();
}

int vxGetFieldNumber(vxArray const* array, char const* name) {
    if (!isStruct(array) || name == nullptr) return -1;
    std::vector<std::string> const& names = array->field_names();
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == name) return static_cast<int>(i);
    return -1;
}

void vxSetFieldByNumber(vxArray* array, size_t index, int fieldnum, vxArray* value) {
    int const nfields = vxGetNumberOfFields(array);
    if (!isStruct(array) || fieldnum < 0 || fieldnum >= nfields || index >= array->number_of_elements())
        vxErrMsgId(CALYX::vx::indexOutOfRange());
    vxArray*& slot = array->members()[index * static_cast<size_t>(nfields) + static_cast<size_t>(fieldnum)];
    if (slot != value) vxDestroyArray(slot);
    slot = value;
}

vxArray* vxGetFieldByNumber(vxArray const* array, size_t index, int fieldnum) {
    int const nfields = vxGetNumberOfFields(array);
    if (!isStruct(array) || fieldnum < 0 || fieldnum >= nfields || index >= array->number_of_elements()) return nullptr;
    return array->members()[index * static_cast<size_t>(nfields) + static_cast<size_t>(fieldnum)];
}
