#include "Value.hpp"

#include <vx/errors.hpp>

namespace qzlang {

std::uint64_t closureIdOf(vxArray const* handle) {
    if (!handle || vxGetClassID(handle) != vxFUNCTION_CLASS || vxGetNumberOfElements(handle) < 1) return 0;
    return static_cast<function_handle_tag const*>(vxGetData(handle))[0].reserved[0];
}

void setClosureId(vxArray* handle, std::uint64_t id) {
    static_cast<function_handle_tag*>(vxGetData(handle))[0].reserved[0] = id;
}

Value::Value(ArrayPtr a) : tag_(Unset), num_(0) {
    if (!a) return;
    vxArray const* p = a.get();
    if (vxGetNumberOfElements(p) == 1 && !vxIsSparse(p) && vxGetNumberOfDimensions(p) == 2) {
        vxClassID const c = vxGetClassID(p);
        if (c == vxDOUBLE_CLASS && !vxIsComplex(p)) {
            tag_ = Num;
            num_ = *vxGetPr(p);
            return;
        }
        if (c == vxLOGICAL_CLASS) {
            tag_ = Bool;
            num_ = *static_cast<unsigned char const*>(vxGetData(p)) ? 1.0 : 0.0;
            return;
        }
    }
    tag_ = Arr;
    box_ = new Box{1, a.release()};
}

void Value::release() noexcept {
    if (--box_->refs == 0) {
        vxDestroyArray(box_->a);
        delete box_;
    }
    box_ = nullptr;
}

Value Value::box(vxArray* a) {
    Value v;
    v.tag_ = Arr;
    v.box_ = new Box{1, a};
    return v;
}

vxArray const* Value::view(ArrayPtr& tmp) const {
    switch (tag_) {
    case Arr: return box_->a;
    case Num: tmp.reset(vxCreateDoubleScalar(num_)); return tmp.get();
    case Bool: tmp.reset(vxCreateLogicalScalar(num_ != 0)); return tmp.get();
    default: vxErrMsgId("Calyx:lang:unset", "A value is used that was never set.");
    }
}

vxArray* Value::mutableArray() {
    if (tag_ == Num || tag_ == Bool) {
        vxArray* a = tag_ == Num ? vxCreateDoubleScalar(num_) : vxCreateLogicalScalar(num_ != 0);
        *this = box(a);
        return a;
    }
    if (tag_ != Arr) vxErrMsgId("Calyx:lang:unset", "A value is used that was never set.");
    if (box_->refs > 1) {
        vxArray* a = copyArray(box_->a);
        --box_->refs;
        box_ = new Box{1, a};
    }
    return box_->a;
}

void Value::resetArray(vxArray* a) {
    if (box_->a != a) {
        vxDestroyArray(box_->a);
        box_->a = a;
    }
}

ArrayPtr Value::take() {
    if (tag_ == Arr && box_->refs == 1) {
        ArrayPtr out(box_->a);
        delete box_;
        box_ = nullptr;
        tag_ = Unset;
        return out;
    }
    ArrayPtr out = copy();
    *this = Value();
    return out;
}

ArrayPtr Value::copy() const {
    ArrayPtr tmp;
    vxArray const* a = view(tmp);
    if (tmp) return tmp;
    return ArrayPtr(copyArray(a));
}

vxClassID Value::classId() const {
    switch (tag_) {
    case Num: return vxDOUBLE_CLASS;
    case Bool: return vxLOGICAL_CLASS;
    case Arr: return vxGetClassID(box_->a);
    default: return vxUNKNOWN_CLASS;
    }
}

} // namespace qzlang
