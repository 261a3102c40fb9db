// Questions about size and class, asked of any value (cells, structures and
// handles included): size numel length ndims isempty isscalar isvector isrow
// iscolumn ismatrix class isa is* isequal.
#include "internal.hpp"

namespace qzlang { namespace kernels { namespace detail {

bool isEqual(vxArray const* a, vxArray const* b) {
    if (dimsOf(a) != dimsOf(b)) return false;
    vxClassID ca = a->class_id(), cb = b->class_id();
    size_t n = a->number_of_elements();
    if (isArithmetic(ca) && isArithmetic(cb)) {
        // Numbers compare by value whatever their class; NaN is never equal.
        ArrayPtr fa(a->is_sparse() ? vxMustBeFull(a) : nullptr), fb(b->is_sparse() ? vxMustBeFull(b) : nullptr);
        vxArray const* x = fa ? fa.get() : a;
        vxArray const* y = fb ? fb.get() : b;
        bool longs = is64Class(ca) || is64Class(cb);
        for (size_t k = 0; k < n; ++k) {
            if (longs) {
                auto rd = [](vxArray const* v, size_t i) -> long double {
                    if (v->class_id() == vxINT64_CLASS) return (long double)static_cast<int64_t const*>(v->real_data())[i];
                    if (v->class_id() == vxUINT64_CLASS) return (long double)static_cast<uint64_t const*>(v->real_data())[i];
                    return realAt(v, i);
                };
                if (rd(x, k) != rd(y, k)) return false;
            } else if (realAt(x, k) != realAt(y, k)) return false;
            if (imagAt(x, k) != imagAt(y, k)) return false;
        }
        return true;
    }
    if (ca != cb) return false;
    if (ca == vxCELL_CLASS) {
        for (size_t k = 0; k < n; ++k) {
            vxArray const* u = vxGetCell(a, k);
            vxArray const* v = vxGetCell(b, k);
            ArrayPtr e0, e1;
            if (!u) e0 = makeDouble({0, 0}), u = e0.get();
            if (!v) e1 = makeDouble({0, 0}), v = e1.get();
            if (!isEqual(u, v)) return false;
        }
        return true;
    }
    if (ca == vxSTRUCT_CLASS) {
        auto fa = a->field_names(), fb = b->field_names();
        if (fa.size() != fb.size()) return false;
        for (auto const& f : fa) {
            int ja = vxGetFieldNumber(a, f.c_str()), jb = vxGetFieldNumber(b, f.c_str());
            if (jb < 0) return false;
            for (size_t k = 0; k < n; ++k) {
                vxArray const* u = vxGetFieldByNumber(a, k, ja);
                vxArray const* v = vxGetFieldByNumber(b, k, jb);
                ArrayPtr e0, e1;
                if (!u) e0 = makeDouble({0, 0}), u = e0.get();
                if (!v) e1 = makeDouble({0, 0}), v = e1.get();
                if (!isEqual(u, v)) return false;
            }
        }
        return true;
    }
    if (ca == vxFUNCTION_CLASS) {
        auto ha = static_cast<function_handle_tag const*>(a->real_data());
        auto hb = static_cast<function_handle_tag const*>(b->real_data());
        for (size_t k = 0; k < n; ++k)
            if (vxFunctionHandleToString(ha + k) != vxFunctionHandleToString(hb + k)) return false;
        return true;
    }
    return false;
}

namespace {

typedef std::vector<ArrayPtr> Out;
typedef std::vector<vxArray const*> In;

ArrayPtr dimsRow(Dims const& d) {
    std::vector<double> v(d.begin(), d.end());
    return fromDoubles(vxDOUBLE_CLASS, {1, v.size()}, v, nullptr);
}

void fnSize(int nargout, Out& out, In const& in) {
    Dims d = dimsOf(in[0]);
    if (in.size() > 1) {
        if (nargout > 1) fail("Calyx:tooManyOutputs", "size with a dimension gives one output.");
        size_t k = countArg(in[1], "size", "the dimension");
        if (k == 0) fail("Calyx:invalidDimension", "size needs a dimension of 1 or more.");
        out.push_back(scalarDouble(k <= d.size() ? double(d[k - 1]) : 1.0));
        return;
    }
    if (nargout <= 1) {
        out.push_back(dimsRow(d));
        return;
    }
    // [r, c] = size(x) folds the trailing dimensions into the last output.
    for (int k = 0; k < nargout; ++k) {
        double v;
        if (size_t(k) >= d.size()) v = 1;
        else if (k == nargout - 1) {
            v = 1;
            for (size_t j = size_t(k); j < d.size(); ++j) v *= double(d[j]);
        } else v = double(d[size_t(k)]);
        out.push_back(scalarDouble(v));
    }
}

void fnNumel(int, Out& out, In const& in) { out.push_back(scalarDouble(double(in[0]->number_of_elements()))); }

void fnLength(int, Out& out, In const& in) {
    Dims d = dimsOf(in[0]);
    size_t best = 0;
    for (size_t v : d) best = std::max(best, v);
    out.push_back(scalarDouble(countOf(d) == 0 ? 0 : double(best)));
}

void fnNdims(int, Out& out, In const& in) { out.push_back(scalarDouble(double(dimsOf(in[0]).size()))); }

template <bool (*P)(vxArray const*)> void predicate(int, Out& out, In const& in) { out.push_back(scalarLogical(P(in[0]))); }

bool pEmpty(vxArray const* a) { return a->number_of_elements() == 0; }
bool pScalar(vxArray const* a) { return a->number_of_elements() == 1; }
bool pVector(vxArray const* a) {
    Dims d = dimsOf(a);
    return d.size() == 2 && (d[0] == 1 || d[1] == 1) && countOf(d) >= 1;
}
bool pRow(vxArray const* a) {
    Dims d = dimsOf(a);
    return d.size() == 2 && d[0] == 1;
}
bool pColumn(vxArray const* a) {
    Dims d = dimsOf(a);
    return d.size() == 2 && d[1] == 1;
}
bool pMatrix(vxArray const* a) { return dimsOf(a).size() == 2; }
bool pNumeric(vxArray const* a) { return a->is_numeric(); }
bool pFloat(vxArray const* a) { return isFloatClass(a->class_id()); }
bool pInteger(vxArray const* a) { return isIntClass(a->class_id()); }
bool pChar(vxArray const* a) { return a->class_id() == vxCHAR_CLASS; }
bool pCell(vxArray const* a) { return a->class_id() == vxCELL_CLASS; }
bool pStruct(vxArray const* a) { return a->class_id() == vxSTRUCT_CLASS; }
bool pLogical(vxArray const* a) { return a->class_id() == vxLOGICAL_CLASS; }
bool pReal(vxArray const* a) {
    vxClassID c = a->class_id();
    return !(isComplex(a)) && c != vxCELL_CLASS && c != vxSTRUCT_CLASS && c != vxFUNCTION_CLASS && c != vxOBJECT_CLASS;
}
bool pSparse(vxArray const* a) { return a->is_sparse(); }

void fnClass(int, Out& out, In const& in) { out.push_back(makeString(vxGetClassName(in[0]))); }

void fnIsa(int, Out& out, In const& in) {
    std::string name = textOf(in[1], "isa");
    vxArray const* a = in[0];
    bool r;
    if (name == "numeric") r = a->is_numeric();
    else if (name == "float") r = isFloatClass(a->class_id());
    else if (name == "integer") r = isIntClass(a->class_id());
    else r = name == vxGetClassName(a);
    out.push_back(scalarLogical(r));
}

void fnIsequal(int, Out& out, In const& in) {
    bool r = true;
    for (size_t k = 1; k < in.size() && r; ++k) r = isEqual(in[0], in[k]);
    out.push_back(scalarLogical(r));
}

} // namespace

void addShapeAndType(Table& t) {
    t.insert(t.end(), {
        {"size", fnSize, 1, 2, 64},
        {"numel", fnNumel, 1, 1, 1},
        {"length", fnLength, 1, 1, 1},
        {"ndims", fnNdims, 1, 1, 1},
        {"isempty", predicate<pEmpty>, 1, 1, 1},
        {"isscalar", predicate<pScalar>, 1, 1, 1},
        {"isvector", predicate<pVector>, 1, 1, 1},
        {"isrow", predicate<pRow>, 1, 1, 1},
        {"iscolumn", predicate<pColumn>, 1, 1, 1},
        {"ismatrix", predicate<pMatrix>, 1, 1, 1},
        {"isnumeric", predicate<pNumeric>, 1, 1, 1},
        {"isfloat", predicate<pFloat>, 1, 1, 1},
        {"isinteger", predicate<pInteger>, 1, 1, 1},
        {"ischar", predicate<pChar>, 1, 1, 1},
        {"iscell", predicate<pCell>, 1, 1, 1},
        {"isstruct", predicate<pStruct>, 1, 1, 1},
        {"islogical", predicate<pLogical>, 1, 1, 1},
        {"isreal", predicate<pReal>, 1, 1, 1},
        {"issparse", predicate<pSparse>, 1, 1, 1},
        {"class", fnClass, 1, 1, 1},
        {"isa", fnIsa, 2, 2, 1},
        {"isequal", fnIsequal, 2, -1, 1},
    });
}

}}} // namespace qzlang::kernels::detail
