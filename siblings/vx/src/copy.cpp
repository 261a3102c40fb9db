// Copies of arrays: deep duplicates, empty copies and full copies of sparse
// arrays.
#include "vx/array.hpp"
#include "vx/errors.hpp"
#include "msg/calyx_messages.hpp"

#include <cstring>
#include <memory>

namespace {

struct Destroyer {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
using Owned = std::unique_ptr<vxArray, Destroyer>;

vxComplexity complexityOf(vxArray const* a) { return a->imag_data() != nullptr ? vxCOMPLEX : vxREAL; }

void copyBytes(void* dst, void const* src, size_t bytes) {
    if (bytes != 0 && dst != nullptr && src != nullptr) std::memcpy(dst, src, bytes);
}

Owned duplicateSparse(vxArray const* a) {
    size_t const n = vxGetN(a);
    Owned copy(new vxArray(vxArray::sparse_tag(), a->class_id(), vxGetM(a), n, a->nzmax(), complexityOf(a)));
    size_t const bytes = a->nzmax() * a->element_size();
    copyBytes(copy->real_data(), a->real_data(), bytes);
    copyBytes(copy->imag_data(), a->imag_data(), bytes);
    copyBytes(copy->ir(), a->ir(), a->nzmax() * sizeof(size_t));
    copyBytes(copy->jc(), a->jc(), (n + 1) * sizeof(size_t));
    return copy;
}

// Checks that the stored elements lie inside the shape and the storage, so
// that reading them is safe.
void checkSparseStorage(vxArray const* a) {
    size_t const m = vxGetM(a);
    size_t const n = vxGetN(a);
    size_t const* jc = a->jc();
    size_t const* ir = a->ir();
    if (jc[0] != 0 || jc[n] > a->nzmax()) vxErrMsgId(CALYX::vx::corruptSparse());
    for (size_t j = 0; j < n; ++j) {
        if (jc[j + 1] < jc[j]) vxErrMsgId(CALYX::vx::corruptSparse());
        for (size_t k = jc[j]; k < jc[j + 1]; ++k)
            if (ir[k] >= m) vxErrMsgId(CALYX::vx::corruptSparse());
    }
}

} // namespace

vxArray* vxDuplicateArray(vxArray const* array) {
    if (array == nullptr) return nullptr;
    if (array->is_sparse()) return duplicateSparse(array).release();

    vxClassID const cls = array->class_id();
    Owned copy(new vxArray(array->raw_class_id(), array->get_number_of_dimensions(), array->get_dimensions(),
                           complexityOf(array)));
    copy->set_class_name(array->class_name());
    size_t const numel = array->number_of_elements();
    if (cls == vxCELL_CLASS) {
        for (size_t i = 0; i < numel; ++i) copy->members()[i] = vxDuplicateArray(array->members()[i]);
    } else if (cls == vxSTRUCT_CLASS || cls == vxOBJECT_CLASS) {
        for (std::string const& name : array->field_names()) vxAddField(copy.get(), name.c_str());
        size_t const slots = numel * array->field_names().size();
        for (size_t i = 0; i < slots; ++i) copy->members()[i] = vxDuplicateArray(array->members()[i]);
    } else if (cls == vxFUNCTION_CLASS) {
        auto const* handles = static_cast<function_handle_tag const*>(array->real_data());
        for (size_t i = 0; i < numel; ++i)
            if (handles[i].text != nullptr) vxSetFunctionHandle(copy.get(), i, handles[i].text);
    } else {
        size_t const bytes = numel * array->element_size();
        copyBytes(copy->real_data(), array->real_data(), bytes);
        copyBytes(copy->imag_data(), array->imag_data(), bytes);
    }
    if (array->dimensions_incomplete()) {
        std::vector<size_t> const& pending = array->pending_dimensions();
        copy->defer_dimensions(pending.size(), pending.data());
    }
    return copy.release();
}

vxArray* vxCreateEmptyCopy(vxArray const* array) {
    if (array == nullptr) return nullptr;
    size_t const dims[2] = {0, 0};
    Owned copy(new vxArray(array->raw_class_id(), 2, dims, complexityOf(array)));
    copy->set_class_name(array->class_name());
    for (std::string const& name : array->field_names()) vxAddField(copy.get(), name.c_str());
    return copy.release();
}

vxArray* vxMustBeFull(vxArray const* array) {
    if (array == nullptr) return nullptr;
    if (!array->is_sparse()) return vxDuplicateArray(array);
    checkSparseStorage(array);
    size_t const m = vxGetM(array);
    size_t const n = vxGetN(array);
    size_t const dims[2] = {m, n};
    Owned full(new vxArray(array->class_id(), 2, dims, complexityOf(array)));
    size_t const size = array->element_size();
    auto const* src = static_cast<char const*>(array->real_data());
    auto const* srcImag = static_cast<char const*>(array->imag_data());
    auto* dst = static_cast<char*>(full->real_data());
    auto* dstImag = static_cast<char*>(full->imag_data());
    for (size_t j = 0; j < n; ++j) {
        for (size_t k = array->jc()[j]; k < array->jc()[j + 1]; ++k) {
            size_t const at = (array->ir()[k] + j * m) * size;
            std::memcpy(dst + at, src + k * size, size);
            if (srcImag != nullptr) std::memcpy(dstImag + at, srcImag + k * size, size);
        }
    }
    return full.release();
}
