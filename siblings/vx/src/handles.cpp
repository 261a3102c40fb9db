// Function handles (32-byte records with an owned text) and opaque values.
#include "vx/array.hpp"
#include "vx/errors.hpp"
#include "msg/calyx_messages.hpp"
#include "uv/uv.hpp"

#include <new>

vxArray* vxCreateFunctionHandleArray(size_t ndim, size_t const* dims) {
    return new vxArray(vxFUNCTION_CLASS, ndim, dims, vxREAL);
}

vxArray* vxCreateFunctionHandle(char const* text) {
    size_t const dims[2] = {1, 1};
    vxArray* a = vxCreateFunctionHandleArray(2, dims);
    try {
        vxSetFunctionHandle(a, 0, text);
    } catch (...) {
        vxDestroyArray(a);
        throw;
    }
    return a;
}

void vxSetFunctionHandle(vxArray* array, size_t index, char const* text) {
    if (array == nullptr || array->class_id() != vxFUNCTION_CLASS) vxErrMsgId(CALYX::vx::invalidClass());
    if (index >= array->number_of_elements()) vxErrMsgId(CALYX::vx::indexOutOfRange());
    char* copy = uvStrdup(text ? text : "");
    if (copy == nullptr) throw std::bad_alloc();
    function_handle_tag& record = static_cast<function_handle_tag*>(array->real_data())[index];
    uvFree(record.text);
    record.text = copy;
}

std::string vxFunctionHandleToString(function_handle_tag const* handle) {
    if (handle == nullptr || handle->text == nullptr) return std::string();
    return std::string(handle->text);
}

vxArray* vxCreateOpaque(char const* className, size_t ndim, size_t const* dims) {
    if (className == nullptr) vxErrMsgId(CALYX::vx::invalidClass());
    vxArray* a = new vxArray(vxOPAQUE_CLASS, ndim, dims, vxREAL);
    a->set_class_name(className);
    return a;
}
