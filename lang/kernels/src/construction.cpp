// Making arrays: zeros, ones, eye, linspace, repmat, reshape, cat and its
// two shorthands, diag, magic, true, false, and the class converters.
#include "internal.hpp"

#include <algorithm>

namespace qzlang { namespace kernels { namespace detail {

double scalarArg(vxArray const* a, char const* fname, char const* what) {
    if (!isArithmetic(a->class_id()) || a->number_of_elements() != 1)
        fail("Calyx:notScalar", "%s needs a numeric scalar as %s.", fname, what);
    return realAt(a, 0);
}

size_t countArg(vxArray const* a, char const* fname, char const* what) {
    double v = scalarArg(a, fname, what);
    if (std::isnan(v) || v != std::trunc(v)) fail("Calyx:notInteger", "%s needs a whole number as %s.", fname, what);
    if (v > 1e15) fail("Calyx:tooLarge", "%s: %s is too large.", fname, what);
    return v < 0 ? 0 : size_t(v);
}

namespace {
Dims sizeArguments(std::vector<vxArray const*> const& in, size_t first, char const* fname, vxClassID* cls);
} // namespace

// The sizes asked for, refused before anything is allocated when they hold
// more elements than one array may.
Dims dimsArgs(std::vector<vxArray const*> const& in, size_t first, char const* fname, vxClassID* cls) {
    Dims d = sizeArguments(in, first, fname, cls);
    checkElementCount(d);
    return d;
}

namespace {
Dims sizeArguments(std::vector<vxArray const*> const& in, size_t first, char const* fname, vxClassID* cls) {
    size_t end = in.size();
    if (end > first && in[end - 1]->class_id() == vxCHAR_CLASS) {
        std::string name = textOf(in[end - 1], fname);
        vxClassID c = classFromName(name);
        if (!cls || !(isArithmetic(c) && c != vxCHAR_CLASS) || (c == vxLOGICAL_CLASS && *cls != vxLOGICAL_CLASS))
            fail("Calyx:invalidClassName", "%s does not make arrays of class '%s'.", fname, name.c_str());
        *cls = c;
        --end;
    }
    Dims d;
    if (end == first) return {1, 1};
    if (end == first + 1) {
        vxArray const* a = in[first];
        if (!isArithmetic(a->class_id())) fail("Calyx:invalidSize", "%s needs sizes that are numbers.", fname);
        size_t n = a->number_of_elements();
        if (n == 1) {
            size_t v = countArg(a, fname, "a size");
            return {v, v};
        }
        if (n == 0 || !isVectorShape(dimsOf(a))) fail("Calyx:invalidSize", "%s needs a size vector such as [2 3].", fname);
        for (size_t k = 0; k < n; ++k) {
            double v = realAt(a, k);
            if (std::isnan(v) || v != std::trunc(v)) fail("Calyx:notInteger", "%s needs whole-number sizes.", fname);
            if (v >= 1.8e19) fail("Calyx:tooLarge", "Requested array exceeds the maximum array size.");
            d.push_back(v < 0 ? 0 : size_t(v));
        }
        return trimDims(d);
    }
    for (size_t k = first; k < end; ++k) d.push_back(countArg(in[k], fname, "a size"));
    return trimDims(d);
}
} // namespace

size_t firstNonSingleton(Dims const& d) {
    for (size_t k = 0; k < d.size(); ++k)
        if (d[k] != 1) return k;
    return 0;
}

namespace {

// The class a concatenation gives: char before integers (the leftmost)
// before single before double before logical.
vxClassID catClass(std::vector<vxArray const*> const& parts) {
    bool anyChar = false, anySingle = false, anyDouble = false;
    vxClassID firstInt = vxUNKNOWN_CLASS;
    for (auto p : parts) {
        vxClassID c = p->class_id();
        if (c == vxCHAR_CLASS) anyChar = true;
        else if (isIntClass(c) && firstInt == vxUNKNOWN_CLASS) firstInt = c;
        else if (c == vxSINGLE_CLASS) anySingle = true;
        else if (c == vxDOUBLE_CLASS) anyDouble = true;
    }
    if (anyChar) return vxCHAR_CLASS;
    if (firstInt != vxUNKNOWN_CLASS) return firstInt;
    if (anySingle) return vxSINGLE_CLASS;
    if (anyDouble) return vxDOUBLE_CLASS;
    return vxLOGICAL_CLASS;
}

} // namespace

ArrayPtr catArrays(size_t dim, std::vector<vxArray const*> const& given) {
    if (given.empty()) return makeDouble({0, 0});
    bool anyCell = false, anyStruct = false, anyOther = false;
    for (auto p : given) {
        vxClassID c = p->class_id();
        if (c == vxCELL_CLASS) anyCell = true;
        else if (c == vxSTRUCT_CLASS) anyStruct = true;
        else if (!isArithmetic(c)) anyOther = true;
        if (p->is_sparse()) fail("Calyx:sparse", "Concatenation of sparse arrays is not supported here.");
    }
    // Non-cell operands of a cell concatenation go in one cell each.
    std::vector<ArrayPtr> owned;
    std::vector<vxArray const*> parts;
    for (auto p : given) {
        if (anyCell && p->class_id() != vxCELL_CLASS) {
            Dims d = dimsOf(p);
            if (d.size() == 2 && d[0] == 0 && d[1] == 0 && p->class_id() == vxDOUBLE_CLASS) continue;
            ArrayPtr c(vxCreateCellMatrix(1, 1));
            vxSetCell(c.get(), 0, copyArray(p));
            owned.push_back(std::move(c));
            parts.push_back(owned.back().get());
        } else {
            Dims d = dimsOf(p);
            if (!(d.size() == 2 && d[0] == 0 && d[1] == 0)) parts.push_back(p);
        }
    }
    vxClassID cls;
    if (anyCell) cls = vxCELL_CLASS;
    else if (anyStruct) {
        for (auto p : given)
            if (p->class_id() != vxSTRUCT_CLASS && p->number_of_elements() != 0)
                fail("Calyx:catStruct", "Structures can only be joined with structures.");
        cls = vxSTRUCT_CLASS;
    } else if (anyOther) {
        if (parts.size() == 1) return ArrayPtr(copyArray(parts[0]));
        fail("Calyx:catClass", "Values of class %s cannot be joined into an array.", vxGetClassName(given[0]));
    } else cls = catClass(given);
    if (parts.empty()) {
        if (cls == vxSTRUCT_CLASS) return ArrayPtr(copyArray(given[0]));
        return makeArray(cls, {0, 0});
    }

    Dims out = dimsOf(parts[0]);
    if (out.size() <= dim) out.resize(dim + 1, 1);
    size_t total = 0;
    bool complex = false;
    for (auto p : parts) {
        Dims d = dimsOf(p);
        if (d.size() <= dim) d.resize(dim + 1, 1);
        if (d.size() < out.size()) d.resize(out.size(), 1);
        Dims o = out;
        if (o.size() < d.size()) o.resize(d.size(), 1);
        for (size_t k = 0; k < d.size(); ++k)
            if (k != dim && d[k] != o[k])
                fail("Calyx:catDimensions", "Dimensions of arrays being concatenated are not consistent (%s and %s).",
                     sizeText(dimsOf(parts[0])).c_str(), sizeText(dimsOf(p)).c_str());
        total += d[dim];
        complex = complex || isComplex(p);
    }
    out[dim] = total;

    std::vector<ArrayPtr> converted;
    std::vector<vxArray const*> src;
    for (auto p : parts) {
        if (cls == vxSTRUCT_CLASS) {
            auto const& f0 = parts[0]->field_names();
            auto const& f = p->field_names();
            if (f.size() != f0.size() || !std::is_permutation(f.begin(), f.end(), f0.begin()))
                fail("Calyx:catStructFields", "Structures joined into an array need the same field names.");
            if (f != f0) {
                // Reorder the fields to the first operand's order.
                ArrayPtr r = likeArray(parts[0], dimsOf(p));
                for (size_t e = 0; e < p->number_of_elements(); ++e)
                    for (size_t k = 0; k < f0.size(); ++k) {
                        vxArray* v = vxGetFieldByNumber(p, e, vxGetFieldNumber(p, f0[k].c_str()));
                        vxSetFieldByNumber(r.get(), e, int(k), v ? copyArray(v) : nullptr);
                    }
                converted.push_back(std::move(r));
                src.push_back(converted.back().get());
                continue;
            }
            src.push_back(p);
        } else if (p->class_id() != cls) {
            converted.push_back(convertClass(p, cls));
            src.push_back(converted.back().get());
        } else src.push_back(p);
    }
    ArrayPtr r = cls == vxSTRUCT_CLASS ? likeArray(parts[0], out) : makeArray(cls, out, complex);
    size_t before = 1, after = 1;
    for (size_t k = 0; k < dim; ++k) before *= out[k];
    for (size_t k = dim + 1; k < out.size(); ++k) after *= out[k];
    size_t offset = 0;
    for (auto p : src) {
        Dims d = dimsOf(p);
        size_t dp = dim < d.size() ? d[dim] : 1;
        for (size_t a = 0; a < after; ++a)
            for (size_t j = 0; j < dp; ++j)
                for (size_t b = 0; b < before; ++b)
                    copyElement(r.get(), b + (offset + j) * before + a * before * total, p, b + j * before + a * before * dp);
        offset += dp;
    }
    return r;
}

namespace {

typedef std::vector<ArrayPtr> Out;
typedef std::vector<vxArray const*> In;

ArrayPtr filled(vxClassID cls, Dims const& d, double v) {
    ArrayPtr r = makeArray(cls, d);
    if (v != 0) {
        std::vector<double> vals(countOf(d), v);
        return fromDoubles(cls, d, vals, nullptr);
    }
    return r;
}

void fnZeros(int, Out& out, In const& in) {
    vxClassID cls = vxDOUBLE_CLASS;
    Dims d = dimsArgs(in, 0, "zeros", &cls);
    out.push_back(makeArray(cls, d));
}

void fnOnes(int, Out& out, In const& in) {
    vxClassID cls = vxDOUBLE_CLASS;
    Dims d = dimsArgs(in, 0, "ones", &cls);
    out.push_back(filled(cls, d, 1));
}

void fnEye(int, Out& out, In const& in) {
    vxClassID cls = vxDOUBLE_CLASS;
    Dims d = dimsArgs(in, 0, "eye", &cls);
    if (d.size() > 2) fail("Calyx:eyeND", "eye makes 2-D matrices only.");
    std::vector<double> v(d[0] * d[1], 0.0);
    for (size_t k = 0; k < std::min(d[0], d[1]); ++k) v[k + k * d[0]] = 1;
    out.push_back(fromDoubles(cls, d, v, nullptr));
}

void logicalFill(Out& out, In const& in, bool v, char const* fname) {
    vxClassID cls = vxLOGICAL_CLASS;
    Dims d = dimsArgs(in, 0, fname, &cls);
    ArrayPtr r = makeArray(vxLOGICAL_CLASS, d);
    if (v) std::fill_n(static_cast<bool*>(r->real_data()), r->number_of_elements(), true);
    out.push_back(std::move(r));
}
void fnTrue(int, Out& out, In const& in) { logicalFill(out, in, true, "true"); }
void fnFalse(int, Out& out, In const& in) { logicalFill(out, in, false, "false"); }

void fnLinspace(int, Out& out, In const& in) {
    double a = scalarArg(in[0], "linspace", "the start"), b = scalarArg(in[1], "linspace", "the end");
    double nd = in.size() > 2 ? std::floor(scalarArg(in[2], "linspace", "the count")) : 100;
    size_t n = nd < 1 || std::isnan(nd) ? 0 : size_t(nd);
    std::vector<double> v(n);
    for (size_t k = 0; k < n; ++k) v[k] = n == 1 ? b : a + (b - a) * double(k) / double(n - 1);
    if (n > 1) v[n - 1] = b;
    vxClassID cls = (in[0]->class_id() == vxSINGLE_CLASS || in[1]->class_id() == vxSINGLE_CLASS) ? vxSINGLE_CLASS : vxDOUBLE_CLASS;
    out.push_back(fromDoubles(cls, {1, n}, v, nullptr));
}

void fnRepmat(int, Out& out, In const& in) {
    Dims reps = dimsArgs(in, 1, "repmat");
    Dims d = dimsOf(in[0]);
    size_t nd = std::max(d.size(), reps.size());
    d.resize(nd, 1);
    reps.resize(nd, 1);
    Dims o(nd);
    for (size_t k = 0; k < nd; ++k) o[k] = d[k] * reps[k];
    size_t n = countOf(o);
    std::vector<size_t> src(n);
    std::vector<size_t> idx(nd, 0);
    for (size_t e = 0; e < n; ++e) {
        size_t s = 0, stride = 1;
        for (size_t k = 0; k < nd; ++k) {
            s += (idx[k] % d[k]) * stride;
            stride *= d[k];
        }
        src[e] = s;
        for (size_t k = 0; k < nd; ++k) {
            if (++idx[k] < o[k]) break;
            idx[k] = 0;
        }
    }
    out.push_back(gather(in[0], o, src));
}

void fnReshape(int, Out& out, In const& in) {
    size_t n = in[0]->number_of_elements();
    Dims d;
    int placeholder = -1;
    if (in.size() == 2) d = dimsArgs(in, 1, "reshape");
    else
        for (size_t k = 1; k < in.size(); ++k) {
            if (in[k]->number_of_elements() == 0 && isArithmetic(in[k]->class_id())) {
                if (placeholder >= 0) fail("Calyx:reshapePlaceholder", "reshape takes at most one [] size.");
                placeholder = int(d.size());
                d.push_back(1);
            } else d.push_back(countArg(in[k], "reshape", "a size"));
        }
    if (in.size() == 2 && in[1]->number_of_elements() == 1) fail("Calyx:reshapeSize", "reshape needs at least two sizes.");
    if (placeholder >= 0) {
        size_t rest = countOf(d);
        if (rest == 0 || n % rest) fail("Calyx:reshapeCount", "reshape cannot fit %zu elements into that size.", n);
        d[placeholder] = n / rest;
    }
    if (countOf(d) != n)
        fail("Calyx:reshapeCount", "To reshape, the number of elements must not change: %zu elements into %s.", n,
             sizeText(trimDims(d)).c_str());
    ArrayPtr r(copyArray(in[0]));
    Dims t = trimDims(d);
    vxSetDimensions(r.get(), t.size(), t.data());
    out.push_back(std::move(r));
}

void fnCat(int, Out& out, In const& in) {
    size_t dim = countArg(in[0], "cat", "the dimension");
    if (dim == 0) fail("Calyx:invalidDimension", "cat needs a dimension of 1 or more.");
    if (dim > 64) fail("Calyx:invalidDimension", "cat supports dimensions up to 64.");
    out.push_back(catArrays(dim - 1, In(in.begin() + 1, in.end())));
}
void fnHorzcat(int, Out& out, In const& in) { out.push_back(catArrays(1, in)); }
void fnVertcat(int, Out& out, In const& in) { out.push_back(catArrays(0, in)); }

void fnDiag(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    requireArithmetic(a, "diag");
    long long k = 0;
    if (in.size() > 1) {
        double v = scalarArg(in[1], "diag", "the diagonal");
        if (v != std::trunc(v)) fail("Calyx:notInteger", "diag needs a whole-number diagonal.");
        k = (long long)v;
    }
    Dims d = dimsOf(a);
    if (d.size() > 2) fail("Calyx:notMatrix", "diag needs a vector or a matrix.");
    size_t off = size_t(k < 0 ? -k : k);
    if (d[0] == 1 || d[1] == 1) {
        size_t n = a->number_of_elements(), m = n + off;
        ArrayPtr r = likeArray(a, {m, m});
        for (size_t e = 0; e < n; ++e) {
            size_t i = k >= 0 ? e : e + off, j = k >= 0 ? e + off : e;
            copyElement(r.get(), i + j * m, a, e);
        }
        out.push_back(std::move(r));
        return;
    }
    std::vector<size_t> src;
    for (size_t e = 0;; ++e) {
        size_t i = k >= 0 ? e : e + off, j = k >= 0 ? e + off : e;
        if (i >= d[0] || j >= d[1]) break;
        src.push_back(i + j * d[0]);
    }
    out.push_back(gather(a, {src.size(), 1}, src));
}

void magicSquare(size_t n, std::vector<double>& m) {
    m.assign(n * n, 0.0);
    auto at = [&](size_t i, size_t j) -> double& { return m[i + j * n]; };  // 0-based
    if (n % 2 == 1) {
        // The staircase: 1-based M(i,j) = n*mod(i+j-(n+3)/2, n) + mod(i+2j-2, n) + 1.
        long long N = (long long)n;
        for (long long i = 1; i <= N; ++i)
            for (long long j = 1; j <= N; ++j) {
                long long a = ((i + j - (N + 3) / 2) % N + N) % N, b = ((i + 2 * j - 2) % N + N) % N;
                at(size_t(i - 1), size_t(j - 1)) = double(N * a + b + 1);
            }
    } else if (n % 4 == 0) {
        // Number the cells by rows, then complement those whose row and
        // column fall in the same half of their group of four.
        for (size_t i = 1; i <= n; ++i)
            for (size_t j = 1; j <= n; ++j) {
                double v = double((i - 1) * n + j);
                at(i - 1, j - 1) = ((i % 4) / 2 == (j % 4) / 2) ? double(n * n + 1) - v : v;
            }
    } else {
        // Four odd squares [A A+2p^2; A+3p^2 A+p^2], then exchanges between
        // the top and bottom halves.
        size_t p = n / 2;
        std::vector<double> a;
        magicSquare(p, a);
        double pp = double(p * p);
        for (size_t i = 0; i < p; ++i)
            for (size_t j = 0; j < p; ++j) {
                double v = a[i + j * p];
                at(i, j) = v;
                at(i, j + p) = v + 2 * pp;
                at(i + p, j) = v + 3 * pp;
                at(i + p, j + p) = v + pp;
            }
        size_t k = (n - 2) / 4;
        std::vector<size_t> cols;
        for (size_t j = 1; j <= k; ++j) cols.push_back(j);
        for (size_t j = n - k + 2; j <= n; ++j) cols.push_back(j);
        for (size_t j : cols)
            for (size_t i = 0; i < p; ++i) std::swap(at(i, j - 1), at(i + p, j - 1));
        size_t i = k;  // row k+1, 1-based
        std::swap(at(i, 0), at(i + p, 0));
        if (k != 0) std::swap(at(i, k), at(i + p, k));
    }
}

void fnMagic(int, Out& out, In const& in) {
    size_t n = countArg(in[0], "magic", "the order");
    std::vector<double> m;
    if (n > 0) magicSquare(n, m);
    out.push_back(fromDoubles(vxDOUBLE_CLASS, {n, n}, m, nullptr));
}

template <vxClassID C> void fnConvert(int, Out& out, In const& in) {
    vxArray const* a = in[0];
    if (C == vxCHAR_CLASS && a->class_id() == vxCELL_CLASS) {
        // A cell of texts becomes rows padded with blanks.
        std::vector<std::string> rows;
        size_t width = 0;
        for (size_t k = 0; k < a->number_of_elements(); ++k) {
            vxArray* c = vxGetCell(a, k);
            rows.push_back(c ? textOf(c, "char") : std::string());
            width = std::max(width, rows.back().size());
        }
        ArrayPtr r = makeArray(vxCHAR_CLASS, {rows.size(), width});
        vxChar* p = static_cast<vxChar*>(r->real_data());
        for (size_t i = 0; i < rows.size(); ++i)
            for (size_t j = 0; j < width; ++j) p[i + j * rows.size()] = j < rows[i].size() ? (unsigned char)rows[i][j] : ' ';
        out.push_back(std::move(r));
        return;
    }
    if (C == vxLOGICAL_CLASS && isComplex(a)) fail("Calyx:complexConversion", "Complex values cannot be converted to logical.");
    out.push_back(convertClass(a, C));
}

} // namespace

void addConstruction(Table& t) {
    t.insert(t.end(), {
        {"zeros", fnZeros, 0, -1, 1},          {"ones", fnOnes, 0, -1, 1},
        {"eye", fnEye, 0, -1, 1},              {"true", fnTrue, 0, -1, 1},
        {"false", fnFalse, 0, -1, 1},          {"linspace", fnLinspace, 2, 3, 1},
        {"repmat", fnRepmat, 2, -1, 1},        {"reshape", fnReshape, 2, -1, 1},
        {"cat", fnCat, 1, -1, 1},              {"horzcat", fnHorzcat, 0, -1, 1},
        {"vertcat", fnVertcat, 0, -1, 1},      {"diag", fnDiag, 1, 2, 1},
        {"magic", fnMagic, 1, 1, 1},
        {"double", fnConvert<vxDOUBLE_CLASS>, 1, 1, 1}, {"single", fnConvert<vxSINGLE_CLASS>, 1, 1, 1},
        {"int8", fnConvert<vxINT8_CLASS>, 1, 1, 1},     {"uint8", fnConvert<vxUINT8_CLASS>, 1, 1, 1},
        {"int16", fnConvert<vxINT16_CLASS>, 1, 1, 1},   {"uint16", fnConvert<vxUINT16_CLASS>, 1, 1, 1},
        {"int32", fnConvert<vxINT32_CLASS>, 1, 1, 1},   {"uint32", fnConvert<vxUINT32_CLASS>, 1, 1, 1},
        {"int64", fnConvert<vxINT64_CLASS>, 1, 1, 1},   {"uint64", fnConvert<vxUINT64_CLASS>, 1, 1, 1},
        {"logical", fnConvert<vxLOGICAL_CLASS>, 1, 1, 1}, {"char", fnConvert<vxCHAR_CLASS>, 1, 1, 1},
    });
}

}}} // namespace qzlang::kernels::detail
