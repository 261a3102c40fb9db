#include "Indexing.hpp"
#include "Value.hpp"
#include "qzlang/ArrayOps.hpp"

#include <uv/uv.hpp>
#include <vx/errors.hpp>

#include <algorithm>
#include <malloc.h>
#include <cmath>
#include <cstring>

namespace qzlang {

namespace {

bool isPod(vxClassID c) { return hasNumbers(c); }

std::vector<size_t> dimsVec(vxArray const* a) { return dimsOf(a); }

bool is0x0(vxArray const* a) { return vxGetNumberOfDimensions(a) == 2 && vxGetM(a) == 0 && vxGetN(a) == 0; }

// Copies element `from` of `src` to element `to` of `dst`; both have the same
// class (and, for structures, the same fields in the same order).
class ElementCopier {
public:
    ElementCopier(vxArray* dst, vxArray const* src) : dst_(dst), src_(src), cls_(vxGetClassID(dst)) {
        if (isPod(cls_)) {
            size_ = vxGetElementSize(dst);
            dre_ = static_cast<char*>(vxGetData(dst));
            sre_ = static_cast<char const*>(vxGetData(src));
            dim_ = static_cast<char*>(vxGetImagData(dst));
            sim_ = static_cast<char const*>(vxGetImagData(src));
        }
        if (cls_ == vxSTRUCT_CLASS) fields_ = vxGetNumberOfFields(dst);
    }
    void operator()(size_t to, size_t from) const {
        if (size_) {
            std::memcpy(dre_ + to * size_, sre_ + from * size_, size_);
            if (dim_) {
                if (sim_) std::memcpy(dim_ + to * size_, sim_ + from * size_, size_);
                else std::memset(dim_ + to * size_, 0, size_);
            }
            return;
        }
        switch (cls_) {
        case vxCELL_CLASS: vxSetCell(dst_, to, copyArray(vxGetCell(src_, from))); break;
        case vxSTRUCT_CLASS:
            for (int f = 0; f < fields_; ++f)
                vxSetFieldByNumber(dst_, to, f, copyArray(vxGetFieldByNumber(src_, from, f)));
            break;
        case vxFUNCTION_CLASS: {
            auto const* h = static_cast<function_handle_tag const*>(vxGetData(src_));
            vxSetFunctionHandle(dst_, to, h[from].text ? h[from].text : "");
            static_cast<function_handle_tag*>(vxGetData(dst_))[to].reserved[0] = h[from].reserved[0];
            break;
        }
        default: vxErrMsgId("Calyx:index:badClass", "Values of class %s cannot be indexed.", vxGetClassName(src_));
        }
    }

private:
    vxArray* dst_;
    vxArray const* src_;
    vxClassID cls_;
    size_t size_ = 0;
    char* dre_ = nullptr;
    char const* sre_ = nullptr;
    char* dim_ = nullptr;
    char const* sim_ = nullptr;
    int fields_ = 0;
};

// A new array of `like`'s class (fields, complexity) with these dimensions.
ArrayPtr blankLike(vxArray const* like, std::vector<size_t> const& dims, bool complex) {
    vxClassID const c = vxGetClassID(like);
    if (c == vxSTRUCT_CLASS) {
        int const nf = vxGetNumberOfFields(like);
        std::vector<char const*> names;
        for (int f = 0; f < nf; ++f) names.push_back(vxGetFieldNameByNumber(like, f));
        checkedElementCount(dims);
        return ArrayPtr(vxCreateStructArray(dims.size(), dims.data(), nf, names.data()));
    }
    if (c == vxFUNCTION_CLASS) {
        checkedElementCount(dims);
        return ArrayPtr(vxCreateFunctionHandleArray(dims.size(), dims.data()));
    }
    if (c == vxCELL_CLASS || isPod(c)) return zerosOf(c, dims, complex);
    vxErrMsgId("Calyx:index:badClass", "Values of class %s cannot be indexed.", vxGetClassName(like));
}

// Fills unset members of grown structures and cells: cells stay empty (their
// display reads null as []), structure members become [].
void fillStructMembers(vxArray* a) {
    if (vxGetClassID(a) != vxSTRUCT_CLASS) return;
    size_t const n = vxGetNumberOfElements(a);
    int const nf = vxGetNumberOfFields(a);
    for (size_t k = 0; k < n; ++k)
        for (int f = 0; f < nf; ++f)
            if (!vxGetFieldByNumber(a, k, f)) vxSetFieldByNumber(a, k, f, vxCreateDoubleMatrix(0, 0, vxREAL));
}

[[noreturn]] void outOfBounds(size_t index, size_t bound, size_t which, size_t count) {
    if (count == 1)
        vxErrMsgId("Calyx:index:outOfBounds", "Index exceeds the number of array elements: index %zu, but the array has %zu.",
                   index, bound);
    vxErrMsgId("Calyx:index:outOfBounds", "Index in position %zu exceeds the array bounds: index %zu, but the bound is %zu.",
               which, index, bound);
}

size_t countOf(Subscript const& s, size_t extent) { return s.colon ? extent : s.idx.size(); }
size_t positionOf(Subscript const& s, size_t k) { return s.colon ? k : s.idx[k]; }

// The dimensions of `a` with subscripts beyond folded into the last one.
std::vector<size_t> foldedDims(vxArray const* a, size_t count) {
    std::vector<size_t> d = dimsVec(a);
    if (count == 1) return {vxGetNumberOfElements(a)};
    std::vector<size_t> out(count, 1);
    for (size_t i = 0; i < d.size(); ++i) {
        if (i < count) out[i] = d[i];
        else out[count - 1] *= d[i];
    }
    return out;
}

// Visits every combination of subscripts in column order: f(linear position
// in `dims`, running count).
template <class F>
void forEachPosition(std::vector<Subscript> const& subs, std::vector<size_t> const& extents,
                     std::vector<size_t> const& dims, F f) {
    size_t const n = subs.size();
    std::vector<size_t> counts(n), at(n, 0), stride(n, 1);
    size_t total = 1;
    for (size_t i = 0; i < n; ++i) {
        counts[i] = countOf(subs[i], extents[i]);
        total *= counts[i];
        if (i) stride[i] = stride[i - 1] * dims[i - 1];
    }
    if (total == 0) return;
    for (size_t k = 0; k < total; ++k) {
        if ((k & 0xFFFF) == 0xFFFF) uvLongjmpIfInterruptPending();
        size_t lin = 0;
        for (size_t i = 0; i < n; ++i) lin += positionOf(subs[i], at[i]) * stride[i];
        f(lin, k);
        for (size_t i = 0; i < n; ++i) {
            if (++at[i] < counts[i]) break;
            at[i] = 0;
        }
    }
}

void requireIndexable(vxArray const* a) {
    if (vxIsSparse(a)) vxErrMsgId("Calyx:index:sparse", "Sparse arrays cannot be indexed yet; use full() first.");
}

} // namespace

std::string sizeText(vxArray const* a) {
    std::string s;
    size_t const nd = vxGetNumberOfDimensions(a);
    for (size_t i = 0; i < nd; ++i) s += (i ? "x" : "") + std::to_string(vxGetDimensions(a)[i]);
    return s;
}

Subscript scalarSubscript(size_t zeroBased) {
    Subscript s;
    s.idx.push_back(zeroBased);
    s.dims = {1, 1};
    return s;
}

Subscript subscriptOf(vxArray const* index, size_t extent, bool reading) {
    Subscript s;
    vxClassID const c = vxGetClassID(index);
    if (!hasNumbers(c) || vxIsComplex(index))
        vxErrMsgId("Calyx:index:badType", "Subscripts must be real positive whole numbers or logicals, not %s.",
                   vxIsComplex(index) ? "complex values" : vxGetClassName(index));
    ArrayPtr full;
    if (vxIsSparse(index)) full.reset(vxMustBeFull(index)), index = full.get();
    size_t const n = vxGetNumberOfElements(index);
    if (c == vxLOGICAL_CLASS) {
        auto const* m = static_cast<unsigned char const*>(vxGetData(index));
        for (size_t k = 0; k < n; ++k) {
            if (!m[k]) continue;
            if (reading && k >= extent) outOfBounds(k + 1, extent, 0, 1);
            s.idx.push_back(k);
        }
        bool const row = vxGetNumberOfDimensions(index) == 2 && vxGetM(index) == 1;
        s.dims = row ? std::vector<size_t>{1, s.idx.size()} : std::vector<size_t>{s.idx.size(), 1};
        return s;
    }
    s.dims = dimsVec(index);
    s.idx.resize(n);
    if (c == vxDOUBLE_CLASS) {
        double const* p = vxGetPr(index);
        for (size_t k = 0; k < n; ++k) {
            double const v = p[k];
            if (!(v >= 1) || v != std::floor(v) || v > 9.0e15) {
                if (v == std::floor(v) && !std::isinf(v))
                    vxErrMsgId("Calyx:index:notPositive", "Index %.17g is not a positive whole number; subscripts count from 1.", v);
                vxErrMsgId("Calyx:index:notWhole", "Subscripts must be positive whole numbers, not %.5g.", v);
            }
            s.idx[k] = static_cast<size_t>(v) - 1;
        }
        return s;
    }
    for (size_t k = 0; k < n; ++k) {
        double const v = realAt(index, k);
        if (!(v >= 1) || v != std::floor(v))
            vxErrMsgId("Calyx:index:notPositive", "Subscripts must be positive whole numbers, not %.5g.", v);
        s.idx[k] = static_cast<size_t>(v) - 1;
    }
    return s;
}

size_t extentOf(vxArray const* a, size_t k, size_t count) {
    if (count == 1) return vxGetNumberOfElements(a);
    size_t const nd = vxGetNumberOfDimensions(a);
    size_t const* d = vxGetDimensions(a);
    if (k >= nd) return 1;
    if (k + 1 < count) return d[k];
    size_t e = 1;
    for (size_t i = k; i < nd; ++i) e *= d[i];
    return e;
}

ArrayPtr indexRead(vxArray const* a, std::vector<Subscript> const& subs) {
    requireIndexable(a);
    size_t const n = subs.size();
    if (n == 0) return ArrayPtr(copyArray(a));
    std::vector<size_t> const ext = foldedDims(a, n);
    std::vector<size_t> outDims;
    for (size_t i = 0; i < n; ++i) {
        Subscript const& s = subs[i];
        if (!s.colon)
            for (size_t p : s.idx)
                if (p >= ext[i]) outOfBounds(p + 1, ext[i], i + 1, n);
        outDims.push_back(countOf(s, ext[i]));
    }
    if (n == 1) {
        Subscript const& s = subs[0];
        size_t const count = outDims[0];
        bool const aVector = vxGetNumberOfDimensions(a) == 2 && (vxGetM(a) == 1 || vxGetN(a) == 1) &&
                             vxGetNumberOfElements(a) != 1;
        bool const idxVector = s.dims.size() == 2 && (s.dims[0] == 1 || s.dims[1] == 1);
        if (s.colon) outDims = {count, 1};
        else if (aVector && idxVector) outDims = vxGetM(a) == 1 ? std::vector<size_t>{1, count} : std::vector<size_t>{count, 1};
        else outDims = s.dims;
    }
    ArrayPtr out = blankLike(a, outDims, vxIsComplex(a));
    ElementCopier copy(out.get(), a);
    forEachPosition(subs, ext, ext, [&](size_t from, size_t k) { copy(k, from); });
    fillStructMembers(out.get());
    return out;
}

namespace {

// A complex copy of a real numeric array (imaginary parts 0).
ArrayPtr complexCopy(vxArray const* a) {
    ArrayPtr z = zerosOf(vxGetClassID(a), dimsVec(a), true);
    std::memcpy(vxGetData(z.get()), vxGetData(a), vxGetNumberOfElements(a) * vxGetElementSize(a));
    return z;
}

// The class both sides take before elements move, by the language's rules;
// converts `a` and/or gives back a converted right side in `rhsOwned`.
vxArray const* harmonize(ArrayPtr& a, vxArray const* rhs, ArrayPtr& rhsOwned) {
    vxClassID const ca = vxGetClassID(a.get()), cr = vxGetClassID(rhs);
    if (ca == cr) {
        if (ca == vxSTRUCT_CLASS) {
            // Same fields, perhaps in another order: follow the target's order,
            // adding the right side's new fields to the target.
            int const nr = vxGetNumberOfFields(rhs);
            for (int f = 0; f < nr; ++f) {
                char const* name = vxGetFieldNameByNumber(rhs, f);
                if (vxGetFieldNumber(a.get(), name) < 0) {
                    if (vxGetNumberOfElements(a.get()) != 0 && vxGetNumberOfFields(a.get()) != 0)
                        vxErrMsgId("Calyx:index:fieldsDiffer",
                                   "A structure can only take structures with the same fields ('%s' is new).", name);
                    vxAddField(a.get(), name);
                }
            }
            if (vxGetNumberOfFields(a.get()) != nr)
                vxErrMsgId("Calyx:index:fieldsDiffer", "A structure can only take structures with the same fields.");
            int const na = vxGetNumberOfFields(a.get());
            std::vector<char const*> names;
            for (int f = 0; f < na; ++f) names.push_back(vxGetFieldNameByNumber(a.get(), f));
            size_t const n = vxGetNumberOfElements(rhs);
            std::vector<size_t> d = dimsVec(rhs);
            rhsOwned.reset(vxCreateStructArray(d.size(), d.data(), na, names.data()));
            for (size_t k = 0; k < n; ++k)
                for (int f = 0; f < na; ++f)
                    vxSetFieldByNumber(rhsOwned.get(), k, f,
                                       copyArray(vxGetFieldByNumber(rhs, k, vxGetFieldNumber(rhs, names[f]))));
            return rhsOwned.get();
        }
        if (isPod(ca) && vxIsComplex(rhs) && !vxIsComplex(a.get())) a = complexCopy(a.get());
        return rhs;
    }
    bool const emptyTarget = is0x0(a.get()) && ca == vxDOUBLE_CLASS;
    if (emptyTarget) {
        // [] takes the class of what is put in it.
        a = cr == vxSTRUCT_CLASS ? blankLike(rhs, {0, 0}, false) : blankLike(rhs, {0, 0}, vxIsComplex(rhs));
        return harmonize(a, rhs, rhsOwned);
    }
    if (ca == vxCELL_CLASS)
        vxErrMsgId("Calyx:index:cellFromNonCell", "A value of class %s cannot be put into a cell array with (); use {} or wrap it in a cell.",
                   vxGetClassName(rhs));
    if (!isPod(ca) || !isPod(cr))
        vxErrMsgId("Calyx:index:classMismatch", "A value of class %s cannot be assigned into an array of class %s.",
                   vxGetClassName(rhs), vxGetClassName(a.get()));
    vxClassID target = ca;
    if (ca == vxDOUBLE_CLASS && (isIntegerClass(cr) || cr == vxSINGLE_CLASS)) target = cr;
    if (ca == vxLOGICAL_CLASS && cr != vxLOGICAL_CLASS) target = vxDOUBLE_CLASS;
    if (isIntegerClass(ca) && isIntegerClass(cr) && ca != cr) target = ca;
    bool const complex = (vxIsComplex(a.get()) || vxIsComplex(rhs)) && (target == vxDOUBLE_CLASS || target == vxSINGLE_CLASS);
    if (target != ca || (complex && !vxIsComplex(a.get()))) {
        ArrayPtr c = convert(a.get(), target, true);
        a = complex && !vxIsComplex(c.get()) ? complexCopy(c.get()) : std::move(c);
    }
    if (cr != target || (vxIsComplex(rhs) && !complex)) {
        rhsOwned = convert(rhs, target, complex);
        return rhsOwned.get();
    }
    return rhs;
}

} // namespace

namespace {

// Whether every old element keeps its linear position when an array of size
// `od` grows to `gd` (a vector growing at its end, columns added to a matrix).
bool keepsPositions(std::vector<size_t> od, std::vector<size_t> gd) {
    od.resize(std::max(od.size(), gd.size()), 1);
    gd.resize(od.size(), 1);
    for (size_t i = 0, so = 1, sg = 1; i < od.size(); so *= od[i], sg *= gd[i], ++i)
        if (od[i] > 1 && so != sg) return false;
    return true;
}

// Grows an array of numbers, text or logicals whose old elements keep their
// linear positions (a vector growing at its end, columns added) without a
// new array: the data block keeps spare room, which the allocator reports as
// its usable size, and runs out only after the array has grown by half. An
// append in a loop therefore moves the data a logarithmic number of times,
// not once per element. False when the array's data is not its own.
bool growInPlace(vxArray* a, std::vector<size_t> newDims) {
    if (a->shares_data() || vxIsSparse(a)) return false;
    while (newDims.size() > 2 && newDims.back() == 1) newDims.pop_back();
    size_t const es = vxGetElementSize(a);
    size_t const oldBytes = vxGetNumberOfElements(a) * es;
    size_t const newBytes = checkedElementCount(newDims) * es;
    void* parts[2] = {vxGetData(a), vxGetImagData(a)};
    for (int k = 0; k < 2; ++k) {
        if (!parts[k] && k == 1) break;
        void* p = parts[k];
        if (!p || malloc_usable_size(p) < newBytes) {
            // A new block, not realloc: vxSetData frees the old one itself.
            size_t const room = std::max(newBytes, oldBytes + oldBytes / 2);
            void* const bigger = uvMalloc(room);
            if (!bigger) vxErrMsgId("Calyx:outOfMemory", "Out of memory: the array cannot grow to %zu bytes.", newBytes);
            if (oldBytes) std::memcpy(bigger, p, oldBytes);
            p = bigger;
            if (k == 0) vxSetData(a, p);
            else vxSetImagData(a, p);
        }
        std::memset(static_cast<char*>(p) + oldBytes, 0, newBytes - oldBytes);
    }
    vxSetDimensions(a, newDims.size(), newDims.data());
    return true;
}

} // namespace

void indexAssign(ArrayPtr& a, std::vector<Subscript> const& subs, vxArray const* rhs) {
    size_t const n = subs.size();
    if (n == 0) vxErrMsgId("Calyx:index:noSubscript", "An assignment with () needs at least one subscript.");
    if (!a) a = zerosOf(vxDOUBLE_CLASS, {0, 0});
    requireIndexable(a.get());
    ArrayPtr rhsSparseFull;
    if (vxIsSparse(rhs)) rhsSparseFull.reset(vxMustBeFull(rhs)), rhs = rhsSparseFull.get();
    ArrayPtr rhsOwned;
    rhs = harmonize(a, rhs, rhsOwned);
    size_t const rn = vxGetNumberOfElements(rhs);

    // The size after growth.
    std::vector<size_t> dims = dimsVec(a.get());
    std::vector<size_t> ext = foldedDims(a.get(), n);
    std::vector<size_t> newDims;
    if (n == 1) {
        Subscript const& s = subs[0];
        size_t need = 0;
        for (size_t p : s.idx) need = std::max(need, p + 1);
        size_t const numel = vxGetNumberOfElements(a.get());
        if (s.colon && numel == 0 && rn != 1) need = rn;
        if (need > numel) {
            bool const nd2 = dims.size() == 2;
            if (numel == 0 || (nd2 && dims[0] == 1)) newDims = {1, need};
            else if (nd2 && dims[1] == 1) newDims = {need, 1};
            else
                vxErrMsgId("Calyx:index:cannotGrow",
                           "An array of size %s cannot grow through one subscript past its %zu elements; use two subscripts.",
                           sizeText(a.get()).c_str(), numel);
        }
    } else {
        bool grow = false;
        std::vector<size_t> want(ext);
        for (size_t i = 0; i < n; ++i) {
            Subscript const& s = subs[i];
            size_t need = 0;
            for (size_t p : s.idx) need = std::max(need, p + 1);
            if (s.colon && ext[i] == 0) {
                // A(:, 1) = [1; 2; 3] on an empty A takes the extent from the right side.
                std::vector<size_t> rd = dimsVec(rhs);
                size_t nonSingleton = 0, seen = 0;
                for (size_t j = 0; j < n; ++j) {
                    if (j == i) break;
                    if (!subs[j].colon && subs[j].idx.size() != 1) ++seen;
                }
                std::vector<size_t> rns;
                for (size_t d : rd)
                    if (d != 1) rns.push_back(d);
                nonSingleton = seen < rns.size() ? rns[seen] : 1;
                need = rn == 1 ? 1 : nonSingleton;
            }
            if (need > want[i]) want[i] = need, grow = true;
        }
        if (grow) {
            // Folded trailing dimensions cannot grow.
            if (n < dims.size() && want[n - 1] != ext[n - 1])
                vxErrMsgId("Calyx:index:cannotGrow", "The last subscript folds several dimensions and cannot grow them.");
            newDims = want;
            if (n < dims.size()) newDims = dims;  // unreachable past the check; kept for clarity
        }
    }
    if (!newDims.empty() && isPod(vxGetClassID(a.get())) && keepsPositions(dimsVec(a.get()), newDims) &&
        growInPlace(a.get(), newDims)) {
        ext = foldedDims(a.get(), n);
    } else if (!newDims.empty()) {
        std::vector<size_t> oldDims = dimsVec(a.get());
        ArrayPtr grown = blankLike(a.get(), newDims, vxIsComplex(a.get()));
        // Old elements keep their subscripts.
        size_t const nOld = vxGetNumberOfElements(a.get());
        std::vector<size_t> gd = dimsVec(grown.get());
        std::vector<size_t> od = oldDims;
        od.resize(std::max(od.size(), gd.size()), 1);
        gd.resize(od.size(), 1);
        if (nOld && keepsPositions(od, gd) && isPod(vxGetClassID(a.get()))) {
            size_t const bytes = nOld * vxGetElementSize(a.get());
            std::memcpy(vxGetData(grown.get()), vxGetData(a.get()), bytes);
            if (vxGetImagData(a.get())) std::memcpy(vxGetImagData(grown.get()), vxGetImagData(a.get()), bytes);
        } else if (nOld) {
            ElementCopier copy(grown.get(), a.get());
            std::vector<size_t> at(od.size(), 0);
            for (size_t k = 0; k < nOld; ++k) {
                size_t lin = 0, stride = 1;
                for (size_t i = 0; i < od.size(); ++i) lin += at[i] * stride, stride *= gd[i];
                copy(lin, k);
                for (size_t i = 0; i < od.size(); ++i) {
                    if (++at[i] < od[i]) break;
                    at[i] = 0;
                }
            }
        }
        fillStructMembers(grown.get());
        a = std::move(grown);
        ext = foldedDims(a.get(), n);
    }
    for (size_t i = 0; i < n; ++i)
        if (!subs[i].colon)
            for (size_t p : subs[i].idx)
                if (p >= ext[i]) outOfBounds(p + 1, ext[i], i + 1, n);

    // The selection's count against the right side.
    size_t count = 1;
    std::vector<size_t> selDims;
    for (size_t i = 0; i < n; ++i) {
        size_t const c = countOf(subs[i], ext[i]);
        count *= c;
        if (c != 1) selDims.push_back(c);
    }
    if (rn != 1) {
        bool ok = rn == count;
        if (ok && n > 1) {
            std::vector<size_t> rd;
            for (size_t d : dimsVec(rhs))
                if (d != 1) rd.push_back(d);
            ok = rd == selDims;
        }
        if (!ok)
            vxErrMsgId("Calyx:index:sizeMismatch",
                       "The right side has %zu elements (size %s) and the selection %zu; they must agree.", rn,
                       sizeText(rhs).c_str(), count);
    }
    ElementCopier copy(a.get(), rhs);
    std::vector<size_t> const lin = foldedDims(a.get(), n);
    forEachPosition(subs, ext, lin, [&](size_t to, size_t k) { copy(to, rn == 1 ? 0 : k); });
}

void indexDelete(ArrayPtr& a, std::vector<Subscript> const& subs) {
    size_t const n = subs.size();
    requireIndexable(a.get());
    std::vector<size_t> dims = dimsVec(a.get());
    std::vector<size_t> const ext = foldedDims(a.get(), n);
    for (size_t i = 0; i < n; ++i)
        if (!subs[i].colon)
            for (size_t p : subs[i].idx)
                if (p >= ext[i]) outOfBounds(p + 1, ext[i], i + 1, n);
    if (n == 1) {
        size_t const numel = vxGetNumberOfElements(a.get());
        std::vector<bool> gone(numel, false);
        if (subs[0].colon) std::fill(gone.begin(), gone.end(), true);
        for (size_t p : subs[0].idx) gone[p] = true;
        size_t keep = 0;
        for (bool g : gone) keep += !g;
        std::vector<size_t> out;
        bool const col = dims.size() == 2 && dims[1] == 1 && dims[0] != 1;
        out = col ? std::vector<size_t>{keep, 1} : std::vector<size_t>{1, keep};
        if (keep == numel) return;
        ArrayPtr b = blankLike(a.get(), out, vxIsComplex(a.get()));
        ElementCopier copy(b.get(), a.get());
        size_t to = 0;
        for (size_t k = 0; k < numel; ++k)
            if (!gone[k]) copy(to++, k);
        a = std::move(b);
        return;
    }
    // Several subscripts: all but one must cover their whole dimension.
    int which = -1;
    for (size_t i = 0; i < n; ++i) {
        bool whole = subs[i].colon;
        if (!whole) {
            std::vector<bool> seen(ext[i], false);
            for (size_t p : subs[i].idx) seen[p] = true;
            whole = std::all_of(seen.begin(), seen.end(), [](bool b) { return b; });
        }
        if (!whole) {
            if (which >= 0)
                vxErrMsgId("Calyx:index:badDeletion",
                           "Deleting with several subscripts removes whole rows, columns or pages: all subscripts but one must be ':'.");
            which = static_cast<int>(i);
        }
    }
    if (which < 0) which = static_cast<int>(n) - 1;  // everything goes: empty along the last subscript
    std::vector<bool> gone(ext[which], false);
    if (subs[which].colon) std::fill(gone.begin(), gone.end(), true);
    for (size_t p : subs[which].idx) gone[p] = true;
    std::vector<size_t> keepList;
    for (size_t k = 0; k < gone.size(); ++k)
        if (!gone[k]) keepList.push_back(k);
    std::vector<Subscript> keepSubs(n);
    for (size_t i = 0; i < n; ++i) keepSubs[i].colon = true;
    keepSubs[which].colon = false;
    keepSubs[which].idx = keepList;
    std::vector<size_t> outDims = ext;
    outDims[which] = keepList.size();
    if (static_cast<size_t>(which) == n - 1 && n < dims.size() && keepList.size() != ext[which]) {
        // Pages folded into the last subscript: the result keeps the fold.
    }
    ArrayPtr b = blankLike(a.get(), outDims, vxIsComplex(a.get()));
    ElementCopier copy(b.get(), a.get());
    forEachPosition(keepSubs, ext, ext, [&](size_t from, size_t k) { copy(k, from); });
    fillStructMembers(b.get());
    a = std::move(b);
}

} // namespace qzlang
