#include "Builtins.hpp"
#include "qzlang/Session.hpp"

#include <qzservices/display/ioPrintArray.hpp>
#include <vx/errors.hpp>

#include <cmath>
#include <cstring>
#include <limits>
#include <map>

namespace qzlang {

namespace {

typedef std::vector<ArrayPtr> Args;

std::string textOf(vxArray const* a) {
    if (a == nullptr || vxGetClassID(a) != vxCHAR_CLASS) return std::string();
    return vxArrayToStdString(a);
}

bool isText(vxArray const* a) { return a != nullptr && vxGetClassID(a) == vxCHAR_CLASS && vxGetM(a) <= 1; }

void argumentCount(char const* name, Args const& args, size_t least, size_t most) {
    if (args.size() < least)
        vxErrMsgId("qzconsole:argumentCount", "%s needs at least %zu argument%s.", name, least, least == 1 ? "" : "s");
    if (args.size() > most)
        vxErrMsgId("qzconsole:argumentCount", "%s takes at most %zu argument%s.", name, most, most == 1 ? "" : "s");
}

double scalarOf(char const* name, vxArray const* a) {
    if (!hasNumbers(vxGetClassID(a)) || vxGetNumberOfElements(a) != 1)
        vxErrMsgId("qzconsole:badArgument", "%s needs a number here.", name);
    ArrayPtr full;
    if (vxIsSparse(a)) full.reset(vxMustBeFull(a)), a = full.get();
    return realAt(a, 0);
}

size_t sizeOf(char const* name, vxArray const* a) {
    double const v = scalarOf(name, a);
    if (std::isnan(v) || v != std::floor(v))
        vxErrMsgId("qzconsole:badSize", "%s needs whole numbers as sizes.", name);
    if (v <= 0) return 0;  // a negative size counts as 0
    if (v > static_cast<double>(maxElements()))
        vxErrMsgId("Calyx:tooLarge", "Requested array exceeds the maximum array size.");
    return static_cast<size_t>(v);
}

// Sizes as zeros(n), zeros(m, n, ...) or zeros([m n ...]).
std::vector<size_t> sizesOf(char const* name, Args const& args, size_t from) {
    std::vector<size_t> dims;
    if (args.size() == from) return {1, 1};
    if (args.size() == from + 1) {
        vxArray const* a = args[from].get();
        if (!hasNumbers(vxGetClassID(a)) || vxIsSparse(a))
            vxErrMsgId("qzconsole:badSize", "%s needs whole numbers as sizes.", name);
        size_t const n = vxGetNumberOfElements(a);
        if (n == 1) {
            size_t const s = sizeOf(name, a);
            return {s, s};
        }
        if (n < 2 || vxGetM(a) != 1) vxErrMsgId("qzconsole:badSize", "%s needs a row of sizes.", name);
        for (size_t k = 0; k < n; ++k) {
            ArrayPtr one = zerosOf(vxDOUBLE_CLASS, {1, 1});
            setAt(one.get(), 0, realAt(a, k));
            dims.push_back(sizeOf(name, one.get()));
        }
    } else {
        for (size_t k = from; k < args.size(); ++k) dims.push_back(sizeOf(name, args[k].get()));
    }
    while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
    checkedElementCount(dims);
    return dims;
}

vxClassID classOfName(std::string const& n) {
    static std::map<std::string, vxClassID> const names = {
        {"double", vxDOUBLE_CLASS}, {"single", vxSINGLE_CLASS}, {"logical", vxLOGICAL_CLASS},
        {"char", vxCHAR_CLASS},     {"int8", vxINT8_CLASS},     {"uint8", vxUINT8_CLASS},
        {"int16", vxINT16_CLASS},   {"uint16", vxUINT16_CLASS}, {"int32", vxINT32_CLASS},
        {"uint32", vxUINT32_CLASS}, {"int64", vxINT64_CLASS},   {"uint64", vxUINT64_CLASS}};
    auto it = names.find(n);
    return it == names.end() ? vxUNKNOWN_CLASS : it->second;
}

// zeros, ones and eye take an optional class name at the end.
vxClassID trailingClass(char const* name, Args& args) {
    if (args.empty() || !isText(args.back().get())) return vxDOUBLE_CLASS;
    std::string const n = textOf(args.back().get());
    vxClassID const c = classOfName(n);
    if (c == vxUNKNOWN_CLASS || c == vxCHAR_CLASS)
        vxErrMsgId("qzconsole:badClass", "%s cannot make values of class '%s'.", name, n.c_str());
    args.pop_back();
    return c;
}

ArrayPtr filled(char const* name, Args& args, double value, bool diagonal) {
    vxClassID const cls = trailingClass(name, args);
    std::vector<size_t> dims = sizesOf(name, args, 0);
    if (diagonal && dims.size() > 2) vxErrMsgId("qzconsole:badSize", "eye makes two-dimensional arrays only.");
    ArrayPtr out = zerosOf(cls, dims);
    size_t const n = vxGetNumberOfElements(out.get());
    if (diagonal) {
        size_t const m = dims[0], cols = dims[1];
        for (size_t k = 0; k < std::min(m, cols); ++k) setAt(out.get(), k + k * m, value);
    } else if (value != 0) {
        for (size_t k = 0; k < n; ++k) {
            pollInterrupt(k);
            setAt(out.get(), k, value);
        }
    }
    return out;
}

ArrayPtr scalar(double v) {
    ArrayPtr out = zerosOf(vxDOUBLE_CLASS, {1, 1});
    setAt(out.get(), 0, v);
    return out;
}

ArrayPtr fnZeros(Session&, Args& a) { return filled("zeros", a, 0, false); }
ArrayPtr fnOnes(Session&, Args& a) { return filled("ones", a, 1, false); }
ArrayPtr fnEye(Session&, Args& a) { return filled("eye", a, 1, true); }

ArrayPtr fnRand(Session& s, Args& a) {
    std::vector<size_t> dims = sizesOf("rand", a, 0);
    ArrayPtr out = zerosOf(vxDOUBLE_CLASS, dims);
    size_t const n = vxGetNumberOfElements(out.get());
    for (size_t k = 0; k < n; ++k) {
        pollInterrupt(k);
        setAt(out.get(), k, s.nextRandom());
    }
    return out;
}

ArrayPtr fnReshape(Session&, Args& a) {
    argumentCount("reshape", a, 2, 64);
    vxArray const* x = a[0].get();
    if (vxIsSparse(x)) vxErrMsgId("qzconsole:badArgument", "reshape does not take sparse arrays.");
    std::vector<size_t> dims = sizesOf("reshape", a, 1);
    if (a.size() == 2 && vxGetNumberOfElements(a[1].get()) == 1)
        vxErrMsgId("qzconsole:badSize", "reshape needs at least two sizes.");
    size_t count = 1;
    for (size_t d : dims) count *= d;
    if (count != vxGetNumberOfElements(x))
        vxErrMsgId("qzconsole:badSize", "reshape cannot change the number of elements (%zu to %zu).",
                   vxGetNumberOfElements(x), count);
    ArrayPtr out(copyArray(x));
    vxSetDimensions(out.get(), dims.size(), dims.data());
    return out;
}

ArrayPtr fnCat(Session&, Args& a) {
    argumentCount("cat", a, 1, 100000);
    double const d = scalarOf("cat", a[0].get());
    if (!(d >= 1) || d != std::floor(d) || d > 64)
        vxErrMsgId("qzconsole:badDimension", "cat needs a dimension from 1 to 64.");
    std::vector<vxArray const*> parts;
    for (size_t k = 1; k < a.size(); ++k) parts.push_back(a[k].get());
    if (parts.empty()) return zerosOf(vxDOUBLE_CLASS, {0, 0});
    return concatenate(parts, static_cast<size_t>(d));
}

ArrayPtr fnCell(Session&, Args& a) {
    for (auto const& x : a)
        if (isText(x.get())) vxErrMsgId("qzconsole:badSize", "cell needs whole numbers as sizes.");
    std::vector<size_t> dims = a.empty() ? std::vector<size_t>{0, 0} : sizesOf("cell", a, 0);
    return zerosOf(vxCELL_CLASS, dims);
}

ArrayPtr fnStruct(Session&, Args& a) {
    if (a.size() % 2 != 0) vxErrMsgId("qzconsole:badArgument", "struct takes pairs of a field name and a value.");
    std::vector<std::string> names;
    std::vector<size_t> dims = {1, 1};
    bool sized = false;
    for (size_t k = 0; k < a.size(); k += 2) {
        std::string const n = textOf(a[k].get());
        if (!isText(a[k].get()) || n.empty())
            vxErrMsgId("qzconsole:badArgument", "struct needs field names as text.");
        names.push_back(n);
        vxArray const* v = a[k + 1].get();
        // A cell of other than one element makes a structure array of its size.
        if (vxGetClassID(v) == vxCELL_CLASS && vxGetNumberOfElements(v) != 1) {
            std::vector<size_t> d = dimsOf(v);
            if (sized && d != dims) vxErrMsgId("qzconsole:badArgument", "The cells given to struct differ in size.");
            dims = d;
            sized = true;
        }
    }
    std::vector<char const*> fields;
    for (auto const& n : names) fields.push_back(n.c_str());
    checkedElementCount(dims);
    ArrayPtr out(vxCreateStructArray(dims.size(), dims.data(), static_cast<int>(fields.size()), fields.data()));
    size_t const count = vxGetNumberOfElements(out.get());
    for (size_t k = 0; k < a.size(); k += 2) {
        vxArray const* v = a[k + 1].get();
        int const f = static_cast<int>(k / 2);
        for (size_t e = 0; e < count; ++e) {
            vxArray const* member = v;
            if (vxGetClassID(v) == vxCELL_CLASS) member = vxGetNumberOfElements(v) == 1 ? vxGetCell(v, 0) : vxGetCell(v, e);
            vxSetFieldByNumber(out.get(), e, f,
                               member ? copyArray(member) : vxCreateDoubleMatrix(0, 0, vxREAL));
        }
    }
    return out;
}

template <vxClassID C>
ArrayPtr fnConvert(Session&, Args& a) {
    argumentCount(C == vxDOUBLE_CLASS ? "double" : "the conversion", a, 1, 1);
    if (C == vxDOUBLE_CLASS && vxIsSparse(a[0].get())) return ArrayPtr(copyArray(a[0].get()));
    return convert(a[0].get(), C);
}

ArrayPtr fnLogical(Session&, Args& a) {
    argumentCount("logical", a, 1, 1);
    if (vxIsSparse(a[0].get()) && vxGetClassID(a[0].get()) == vxDOUBLE_CLASS) {
        ArrayPtr full(vxMustBeFull(a[0].get()));
        ArrayPtr l = convert(full.get(), vxLOGICAL_CLASS);
        return toSparse(l.get());
    }
    return convert(a[0].get(), vxLOGICAL_CLASS);
}

// char(x) converts; char('a', 'bcd') makes rows padded with blanks.
ArrayPtr fnChar(Session&, Args& a) {
    argumentCount("char", a, 1, 100000);
    if (a.size() == 1) return convert(a[0].get(), vxCHAR_CLASS, false);
    std::vector<ArrayPtr> rows;
    size_t width = 0;
    for (auto& x : a) {
        ArrayPtr c = convert(x.get(), vxCHAR_CLASS, false);
        if (vxGetNumberOfDimensions(c.get()) > 2 || (vxGetM(c.get()) > 1))
            vxErrMsgId("qzconsole:badArgument", "char takes rows of text.");
        width = std::max(width, vxGetNumberOfElements(c.get()));
        rows.push_back(std::move(c));
    }
    ArrayPtr out = zerosOf(vxCHAR_CLASS, {rows.size(), width});
    for (size_t r = 0; r < rows.size(); ++r) {
        size_t const n = vxGetNumberOfElements(rows[r].get());
        for (size_t c = 0; c < width; ++c) setAt(out.get(), r + c * rows.size(), c < n ? realAt(rows[r].get(), c) : ' ');
    }
    return out;
}

// sparse(A), sparse(m, n), sparse(i, j, v) and sparse(i, j, v, m, n); values
// at the same place add up.
ArrayPtr fnSparse(Session&, Args& a) {
    argumentCount("sparse", a, 1, 5);
    if (a.size() == 1) {
        vxArray const* x = a[0].get();
        if (vxGetClassID(x) == vxLOGICAL_CLASS) return toSparse(x);
        ArrayPtr d = convert(x, vxDOUBLE_CLASS);
        return toSparse(d.get());
    }
    if (a.size() == 2) {
        size_t const m = sizeOf("sparse", a[0].get()), n = sizeOf("sparse", a[1].get());
        checkedElementCount({m, n});
        return ArrayPtr(vxCreateSparse(m, n, 0, vxREAL));
    }
    if (a.size() == 4) vxErrMsgId("qzconsole:argumentCount", "sparse takes 1, 2, 3 or 5 arguments.");
    vxArray const* iv = a[0].get();
    vxArray const* jv = a[1].get();
    vxArray const* vv = a[2].get();
    for (vxArray const* x : {iv, jv, vv})
        if (!hasNumbers(vxGetClassID(x)) || vxIsSparse(x) || vxIsComplex(x))
            vxErrMsgId("qzconsole:badArgument", "sparse needs real numbers for rows, columns and values.");
    size_t const count = std::max({vxGetNumberOfElements(iv), vxGetNumberOfElements(jv), vxGetNumberOfElements(vv)});
    auto at = [count](vxArray const* x, size_t k) -> double {
        size_t const n = vxGetNumberOfElements(x);
        if (n != 1 && n != count) vxErrMsgId("qzconsole:badArgument", "sparse needs rows, columns and values of one length.");
        return realAt(x, n == 1 ? 0 : k);
    };
    size_t m = 0, n = 0;
    std::vector<std::pair<size_t, size_t>> places(count);
    for (size_t k = 0; k < count; ++k) {
        double const i = at(iv, k), j = at(jv, k);
        if (!(i >= 1) || !(j >= 1) || i != std::floor(i) || j != std::floor(j) || i > 1e15 || j > 1e15)
            vxErrMsgId("qzconsole:badArgument", "sparse needs positive whole numbers as rows and columns.");
        places[k] = {static_cast<size_t>(i) - 1, static_cast<size_t>(j) - 1};
        m = std::max(m, places[k].first + 1);
        n = std::max(n, places[k].second + 1);
    }
    if (a.size() == 5) {
        size_t const mm = sizeOf("sparse", a[3].get()), nn = sizeOf("sparse", a[4].get());
        if (mm < m || nn < n) vxErrMsgId("qzconsole:badArgument", "sparse: a place lies outside the %zu-by-%zu size.", mm, nn);
        m = mm, n = nn;
    }
    checkedElementCount({m, n});
    ArrayPtr full = zerosOf(vxDOUBLE_CLASS, {m, n});
    for (size_t k = 0; k < count; ++k) {
        size_t const idx = places[k].first + places[k].second * m;
        setAt(full.get(), idx, realAt(full.get(), idx) + at(vv, k));
    }
    return toSparse(full.get());
}

ArrayPtr fnComplex(Session&, Args& a) {
    argumentCount("complex", a, 1, 2);
    vxArray const* re = a[0].get();
    vxArray const* im = a.size() == 2 ? a[1].get() : nullptr;
    for (vxArray const* x : {re, im})
        if (x != nullptr && (!hasNumbers(vxGetClassID(x)) || vxIsComplex(x) || vxIsSparse(x)))
            vxErrMsgId("qzconsole:badArgument", "complex needs real, full numbers.");
    vxClassID cls = vxGetClassID(re);
    if (cls == vxCHAR_CLASS || cls == vxLOGICAL_CLASS) cls = vxDOUBLE_CLASS;
    size_t const nr = vxGetNumberOfElements(re), ni = im ? vxGetNumberOfElements(im) : nr;
    std::vector<size_t> dims = nr == 1 && im ? dimsOf(im) : dimsOf(re);
    if (im && nr != 1 && ni != 1 && dimsOf(re) != dimsOf(im))
        vxErrMsgId("qzconsole:sizeMismatch", "complex needs parts of the same size.");
    ArrayPtr out = zerosOf(cls, dims, true);
    size_t const n = vxGetNumberOfElements(out.get());
    for (size_t k = 0; k < n; ++k)
        setAt(out.get(), k, realAt(re, nr == 1 ? 0 : k), im ? realAt(im, ni == 1 ? 0 : k) : 0.0);
    return out;
}

ArrayPtr fnDisp(Session&, Args& a) {
    argumentCount("disp", a, 1, 1);
    ioPrintArray(nullptr, a[0].get());
    return nullptr;
}

ArrayPtr constant(char const* name, Args& a, double v) {
    argumentCount(name, a, 0, 0);
    return scalar(v);
}
ArrayPtr fnPi(Session&, Args& a) { return constant("pi", a, M_PI); }
ArrayPtr fnEps(Session&, Args& a) { return constant("eps", a, std::numeric_limits<double>::epsilon()); }
ArrayPtr fnInf(Session&, Args& a) { return constant("Inf", a, std::numeric_limits<double>::infinity()); }
ArrayPtr fnNaN(Session&, Args& a) { return constant("NaN", a, std::numeric_limits<double>::quiet_NaN()); }
ArrayPtr fnImagUnit(Session&, Args& a) {
    argumentCount("i", a, 0, 0);
    ArrayPtr out = zerosOf(vxDOUBLE_CLASS, {1, 1}, true);
    setAt(out.get(), 0, 0, 1);
    return out;
}
ArrayPtr truth(char const* name, Args& a, bool v) {
    argumentCount(name, a, 0, 0);
    return ArrayPtr(vxCreateLogicalScalar(v));
}
ArrayPtr fnTrue(Session&, Args& a) { return truth("true", a, true); }
ArrayPtr fnFalse(Session&, Args& a) { return truth("false", a, false); }

} // namespace

BuiltinFn findBuiltin(std::string const& name) {
    static std::map<std::string, BuiltinFn> const table = {
        {"zeros", &fnZeros},
        {"ones", &fnOnes},
        {"eye", &fnEye},
        {"rand", &fnRand},
        {"reshape", &fnReshape},
        {"cat", &fnCat},
        {"cell", &fnCell},
        {"struct", &fnStruct},
        {"int8", &fnConvert<vxINT8_CLASS>},
        {"uint8", &fnConvert<vxUINT8_CLASS>},
        {"int16", &fnConvert<vxINT16_CLASS>},
        {"uint16", &fnConvert<vxUINT16_CLASS>},
        {"int32", &fnConvert<vxINT32_CLASS>},
        {"uint32", &fnConvert<vxUINT32_CLASS>},
        {"int64", &fnConvert<vxINT64_CLASS>},
        {"uint64", &fnConvert<vxUINT64_CLASS>},
        {"single", &fnConvert<vxSINGLE_CLASS>},
        {"double", &fnConvert<vxDOUBLE_CLASS>},
        {"logical", &fnLogical},
        {"char", &fnChar},
        {"sparse", &fnSparse},
        {"complex", &fnComplex},
        {"disp", &fnDisp},
        {"pi", &fnPi},
        {"eps", &fnEps},
        {"Inf", &fnInf},
        {"inf", &fnInf},
        {"NaN", &fnNaN},
        {"nan", &fnNaN},
        {"i", &fnImagUnit},
        {"j", &fnImagUnit},
        {"true", &fnTrue},
        {"false", &fnFalse},
    };
    auto it = table.find(name);
    return it == table.end() ? nullptr : it->second;
}

} // namespace qzlang
