// Assignment: to a variable, into elements, cells and fields, nested to any
// depth, growing and deleting.
#include "Interp.hpp"
#include "Builtins.hpp"
#include "Indexing.hpp"
#include "InterpSupport.hpp"
#include "qzlang/ArrayOps.hpp"
#include "qzlang/Session.hpp"

#include <qzservices/display/ioPrintArray.hpp>
#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <cctype>
#include <cmath>
#include <cstring>
#include <new>

namespace qzlang {

using namespace detail;

// ---- assignment ----

void Interp::assignTo(Target const& t, Value rhs) {
    Value& v = slot(t.slot);
    if (t.steps.empty()) {
        if (!rhs.isSet()) vxErrMsgId("Calyx:noValue", "The right side of '=' has no value.");
        v = std::move(rhs);
        return;
    }
    // x(k) = scalar on a double array this variable alone holds: in place.
    Step const& st = t.steps[0];
    if (t.steps.size() == 1 && st.kind == Step::Paren && st.args.size() == 1 && v.isArr() && !v.shared() &&
        rhs.isNum() && st.args[0]->op == Op::Var) {
        Value const& k = slot(st.args[0]->slot);
        if (k.isNum()) {
            vxArray* a = const_cast<vxArray*>(v.array());
            double const kv = k.num();
            // The array's own inline accessors: no calls on the hot path.
            if (a->raw_class_id() == vxDOUBLE_CLASS && !a->imag_data() && !a->is_sparse() && kv >= 1 &&
                kv <= static_cast<double>(a->number_of_elements()) && kv == std::floor(kv)) {
                static_cast<double*>(a->real_data())[static_cast<size_t>(kv) - 1] = rhs.num();
                return;
            }
        }
    }
    bool const deleting = t.steps.back().kind == Step::Paren && isEmpty0x0Double(rhs);
    assignPath(v, t.steps, 0, rhs, deleting);
}

std::string Interp::fieldName(Step const& step) {
    if (step.kind == Step::Field) return step.field;
    Value n = eval(*step.args[0]);
    ArrayPtr tmp;
    vxArray const* a = n.view(tmp);
    if (!isText(a)) vxErrMsgId("Calyx:badFieldName", "A dynamic field name must be text.");
    std::string name = vxArrayToStdString(a);
    if (!validFieldName(name)) vxErrMsgId("Calyx:badFieldName", "'%s' is not a valid field name.", name.c_str());
    return name;
}


void Interp::assignPath(Value& holder, std::vector<Step> const& steps, size_t at, Value& rhs, bool deleting) {
    Step const& st = steps[at];
    bool const last = at + 1 == steps.size();
    switch (st.kind) {
    case Step::Field:
    case Step::DynField: {
        std::string const name = fieldName(st);
        if (!holder.isSet() || isEmpty0x0Double(holder)) holder = Value::box(vxCreateStructMatrix(1, 1, 0, nullptr));
        if (holder.classId() != vxSTRUCT_CLASS)
            vxErrMsgId("Calyx:notStruct", "Fields can only be set on a structure, not on a value of class %s.",
                       classNameOf(holder));
        vxArray* s = holder.mutableArray();
        if (vxGetNumberOfElements(s) != 1)
            vxErrMsgId("Calyx:notScalarStruct", "Name the element of the structure array, as in s(2).%s.", name.c_str());
        assignField(s, 0, name, steps, at + 1, rhs, deleting);
        return;
    }
    case Step::Paren: {
        Values subs;
        evalArgs(st.args, subs, holder.isSet() ? &holder : nullptr, st.args.size());
        if (!last) {
            // s(i).f = v: one element of a structure array.
            if (!holder.isSet() || isEmpty0x0Double(holder)) holder = Value::box(vxCreateStructMatrix(0, 0, 0, nullptr));
            if (holder.classId() != vxSTRUCT_CLASS)
                vxErrMsgId("Calyx:notStruct", "Only a structure array takes s(i).name = value, not a value of class %s.",
                           classNameOf(holder));
            Step const& next = steps[at + 1];
            if (next.kind != Step::Field && next.kind != Step::DynField)
                vxErrMsgId("Calyx:badIndexing", "After () in an assignment to a structure array only a field may follow.");
            size_t const e = growToElement(holder, subs);
            vxArray* s = holder.mutableArray();
            assignField(s, e, fieldName(next), steps, at + 2, rhs, deleting);
            return;
        }
        ArrayPtr arr = holder.isSet() ? holder.take() : ArrayPtr();
        try {
            std::vector<Subscript> subscripts = toSubscripts(arr.get(), subs, !arr ? 0 : 1);
            if (deleting) {
                if (!arr) vxErrMsgId("Calyx:undefined", "Elements of a variable that does not exist cannot be deleted.");
                indexDelete(arr, subscripts);
            } else {
                ArrayPtr tmp;
                if (!rhs.isSet()) vxErrMsgId("Calyx:noValue", "The right side of '=' has no value.");
                indexAssign(arr, subscripts, rhs.view(tmp));
            }
        } catch (...) {
            if (arr) holder = Value(std::move(arr));
            throw;
        }
        holder = Value(std::move(arr));
        return;
    }
    case Step::Brace: {
        Values subs;
        evalArgs(st.args, subs, holder.isSet() ? &holder : nullptr, st.args.size());
        if (!holder.isSet() || isEmpty0x0Double(holder)) holder = Value::box(vxCreateCellMatrix(0, 0));
        if (holder.classId() != vxCELL_CLASS)
            vxErrMsgId("Calyx:notCell", "{} assigns into cell arrays only, not into a value of class %s.",
                       classNameOf(holder));
        size_t const e = growToElement(holder, subs);
        vxArray* c = holder.mutableArray();
        if (last) {
            if (!rhs.isSet()) vxErrMsgId("Calyx:noValue", "The right side of '=' has no value.");
            putMember(c, e, rhs);
            return;
        }
        Value member = stealMember(c, e);
        try {
            assignPath(member, steps, at + 1, rhs, deleting);
        } catch (...) {
            putMember(c, e, member);
            throw;
        }
        putMember(c, e, member);
        return;
    }
    }
}

// Sets field `name` of element `e` of structure `s`, or goes on into it.
void Interp::assignField(vxArray* s, size_t e, std::string const& name, std::vector<Step> const& steps, size_t at,
                         Value& rhs, bool deleting) {
    int f = vxGetFieldNumber(s, name.c_str());
    if (f < 0) {
        if (!validFieldName(name)) vxErrMsgId("Calyx:badFieldName", "'%s' is not a valid field name.", name.c_str());
        f = vxAddField(s, name.c_str());
        size_t const n = vxGetNumberOfElements(s);
        for (size_t k = 0; k < n; ++k) vxSetFieldByNumber(s, k, f, vxCreateDoubleMatrix(0, 0, vxREAL));
    }
    size_t const index = e * static_cast<size_t>(vxGetNumberOfFields(s)) + static_cast<size_t>(f);
    if (at == steps.size()) {
        if (!rhs.isSet()) vxErrMsgId("Calyx:noValue", "The right side of '=' has no value.");
        putMember(s, index, rhs);
        return;
    }
    Value member = stealMember(s, index);
    try {
        assignPath(member, steps, at, rhs, deleting);
    } catch (...) {
        putMember(s, index, member);
        throw;
    }
    putMember(s, index, member);
}

// The one element that subscripts select in a cell or structure array,
// growing the array to hold it.
size_t Interp::growToElement(Value& holder, Values& subs) {
    // No subscript selects no element: "c{} = v" must not write element 1 of an empty cell.
    if (subs.empty())
        vxErrMsgId("Calyx:badIndexing", "This assignment needs subscripts that select exactly one element.");
    vxArray const* a = holder.array();
    std::vector<Subscript> subscripts = toSubscripts(a, subs, 1);
    for (Subscript const& s : subscripts)
        if (s.colon || s.idx.size() != 1)
            vxErrMsgId("Calyx:badIndexing", "This assignment needs subscripts that select exactly one element.");
    std::vector<size_t> ext;
    bool inside = true;
    for (size_t i = 0; i < subscripts.size(); ++i) {
        size_t const e = extentOf(a, i, subscripts.size());
        inside = inside && subscripts[i].idx[0] < e;
    }
    if (!inside) {
        // Grow by assigning an empty element of the same kind.
        ArrayPtr arr = holder.take();
        ArrayPtr blank;
        if (vxGetClassID(arr.get()) == vxCELL_CLASS) {
            blank.reset(vxCreateCellMatrix(1, 1));
        } else {
            int const nf = vxGetNumberOfFields(arr.get());
            std::vector<char const*> names;
            for (int f = 0; f < nf; ++f) names.push_back(vxGetFieldNameByNumber(arr.get(), f));
            blank.reset(vxCreateStructMatrix(1, 1, nf, names.data()));
            for (int f = 0; f < nf; ++f) vxSetFieldByNumber(blank.get(), 0, f, vxCreateDoubleMatrix(0, 0, vxREAL));
        }
        try {
            indexAssign(arr, subscripts, blank.get());
        } catch (...) {
            holder = Value::box(arr.release());
            throw;
        }
        holder = Value::box(arr.release());
        a = holder.array();
    }
    // The linear position of the element.
    size_t lin = 0, stride = 1;
    for (size_t i = 0; i < subscripts.size(); ++i) {
        lin += subscripts[i].idx[0] * stride;
        stride *= extentOf(a, i, subscripts.size());
    }
    return lin;
}

std::vector<Subscript> Interp::toSubscripts(vxArray const* a, Values& subs, int reading) {
    std::vector<Subscript> out(subs.size());
    size_t const n = subs.size();
    for (size_t i = 0; i < n; ++i) {
        if (isColon(subs[i])) {
            out[i].colon = true;
            continue;
        }
        if (subs[i].isNum()) {
            double const v = subs[i].num();
            if (v >= 1 && v == std::floor(v) && v < 9.0e15) {
                out[i] = scalarSubscript(static_cast<size_t>(v) - 1);
                continue;
            }
        }
        ArrayPtr tmp;
        size_t const extent = a ? extentOf(a, i, n) : 0;
        out[i] = subscriptOf(subs[i].view(tmp), extent, reading == 0 ? false : false);
    }
    return out;
}

} // namespace qzlang
