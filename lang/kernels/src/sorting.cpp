// Order and search: sort (stable, NaN last ascending and first descending),
// unique, find, nnz, fliplr, flipud.
#include "internal.hpp"

#include <algorithm>
#include <numeric>

namespace qzlang { namespace kernels { namespace detail {

namespace {

typedef std::vector<ArrayPtr> Out;
typedef std::vector<vxArray const*> In;

// The sort key of an element: complex values by magnitude, then angle.
struct Key {
    double a, b;
    bool nan;
};

std::vector<Key> keysOf(vxArray const* a) {
    std::vector<double> re, im;
    toDoubles(a, re, &im);
    std::vector<Key> k(re.size());
    for (size_t i = 0; i < re.size(); ++i) {
        if (im.empty()) k[i] = {re[i], 0, std::isnan(re[i])};
        else k[i] = {std::hypot(re[i], im[i]), std::atan2(im[i], re[i]), std::isnan(re[i]) || std::isnan(im[i])};
    }
    return k;
}

// Orders positions stably; NaN goes last ascending, first descending.
void orderPositions(std::vector<size_t>& pos, std::vector<Key> const& k, bool descend) {
    std::stable_sort(pos.begin(), pos.end(), [&](size_t x, size_t y) {
        Key const &u = k[x], &v = k[y];
        if (u.nan || v.nan) return descend ? (u.nan && !v.nan) : (!u.nan && v.nan);
        if (u.a != v.a) return descend ? u.a > v.a : u.a < v.a;
        return descend ? u.b > v.b : u.b < v.b;
    });
}

std::vector<std::string> cellTexts(vxArray const* c, char const* fname) {
    std::vector<std::string> v;
    for (size_t k = 0; k < c->number_of_elements(); ++k) {
        vxArray* e = vxGetCell(c, k);
        if (!e) v.push_back("");
        else v.push_back(textOf(e, fname));
    }
    return v;
}

void fnSort(int nargout, Out& out, In const& in) {
    vxArray const* a = in[0];
    bool descend = false;
    In rest(in.begin() + 1, in.end());
    if (!rest.empty() && rest.back()->class_id() == vxCHAR_CLASS) {
        std::string mode = textOf(rest.back(), "sort");
        if (mode == "descend") descend = true;
        else if (mode != "ascend") fail("Calyx:sortMode", "sort takes 'ascend' or 'descend', not '%s'.", mode.c_str());
        rest.pop_back();
    }
    Dims d = dimsOf(a);
    size_t dim = firstNonSingleton(d);
    if (!rest.empty()) {
        size_t given = countArg(rest[0], "sort", "the dimension");
        if (given == 0) fail("Calyx:invalidDimension", "sort needs a dimension of 1 or more.");
        dim = std::min(given - 1, d.size());  // beyond the last, every slice is one element
    }
    Dims dd = d;
    if (dd.size() <= dim) dd.resize(dim + 1, 1);
    size_t before = 1, len = dd[dim], after = 1;
    for (size_t k = 0; k < dim; ++k) before *= dd[k];
    for (size_t k = dim + 1; k < dd.size(); ++k) after *= dd[k];

    std::vector<size_t> src(a->number_of_elements());
    std::vector<double> idx(src.size());
    if (a->class_id() == vxCELL_CLASS) {
        std::vector<std::string> t = cellTexts(a, "sort");
        for (size_t o = 0; o < after; ++o)
            for (size_t b = 0; b < before; ++b) {
                std::vector<size_t> pos(len);
                for (size_t j = 0; j < len; ++j) pos[j] = b + j * before + o * before * len;
                std::stable_sort(pos.begin(), pos.end(), [&](size_t x, size_t y) { return descend ? t[x] > t[y] : t[x] < t[y]; });
                for (size_t j = 0; j < len; ++j) src[b + j * before + o * before * len] = pos[j], idx[b + j * before + o * before * len] = double((pos[j] - b - o * before * len) / before + 1);
            }
    } else {
        requireArithmetic(a, "sort");
        std::vector<Key> keys = keysOf(a);
        for (size_t o = 0; o < after; ++o)
            for (size_t b = 0; b < before; ++b) {
                std::vector<size_t> pos(len);
                for (size_t j = 0; j < len; ++j) pos[j] = b + j * before + o * before * len;
                orderPositions(pos, keys, descend);
                for (size_t j = 0; j < len; ++j) {
                    size_t at = b + j * before + o * before * len;
                    src[at] = pos[j];
                    idx[at] = double((pos[j] - b - o * before * len) / before + 1);
                }
            }
    }
    out.push_back(gather(a, d, src));
    if (nargout > 1) out.push_back(fromDoubles(vxDOUBLE_CLASS, d, idx, nullptr));
}

void fnUnique(int nargout, Out& out, In const& in) {
    vxArray const* a = in[0];
    Dims d = dimsOf(a);
    bool rowShape = d.size() == 2 && d[0] == 1 && d[1] > 0;
    size_t n = a->number_of_elements();
    std::vector<size_t> pos(n);
    std::iota(pos.begin(), pos.end(), 0);
    std::vector<size_t> firsts;
    std::vector<double> ic(n);
    if (a->class_id() == vxCELL_CLASS) {
        std::vector<std::string> t = cellTexts(a, "unique");
        std::stable_sort(pos.begin(), pos.end(), [&](size_t x, size_t y) { return t[x] < t[y]; });
        for (size_t k = 0; k < n; ++k) {
            if (k == 0 || t[pos[k]] != t[pos[k - 1]]) firsts.push_back(pos[k]);
            ic[pos[k]] = double(firsts.size());
        }
    } else {
        requireArithmetic(a, "unique");
        std::vector<Key> keys = keysOf(a);
        orderPositions(pos, keys, false);
        for (size_t k = 0; k < n; ++k) {
            Key const& u = keys[pos[k]];
            // Every NaN is a value of its own.
            bool fresh = k == 0 || u.nan || keys[pos[k - 1]].a != u.a || keys[pos[k - 1]].b != u.b || keys[pos[k - 1]].nan;
            if (fresh) firsts.push_back(pos[k]);
            ic[pos[k]] = double(firsts.size());
        }
    }
    Dims od = rowShape ? Dims{1, firsts.size()} : Dims{firsts.size(), 1};
    if (n == 0) od = d.size() == 2 && d[0] == 0 && d[1] == 0 ? Dims{0, 0} : (rowShape ? Dims{1, 0} : Dims{0, 1});
    out.push_back(gather(a, od, firsts));
    if (nargout > 1) {
        std::vector<double> ia(firsts.size());
        for (size_t k = 0; k < firsts.size(); ++k) ia[k] = double(firsts[k] + 1);
        out.push_back(fromDoubles(vxDOUBLE_CLASS, {firsts.size(), 1}, ia, nullptr));
    }
    if (nargout > 2) out.push_back(fromDoubles(vxDOUBLE_CLASS, {n, 1}, ic, nullptr));
}

void fnFind(int nargout, Out& out, In const& in) {
    vxArray const* a = in[0];
    requireArithmetic(a, "find");
    size_t limit = SIZE_MAX;
    if (in.size() > 1) {
        limit = countArg(in[1], "find", "the count");
        if (limit == 0) fail("Calyx:findCount", "find needs a positive count.");
    }
    if (in.size() > 2) {
        std::string dir = textOf(in[2], "find");
        if (dir != "first") fail("Calyx:findDirection", "find supports the direction 'first' only.");
    }
    std::vector<double> where;
    size_t n = a->number_of_elements();
    for (size_t k = 0; k < n && where.size() < limit; ++k)
        if (realAt(a, k) != 0 || imagAt(a, k) != 0) where.push_back(double(k));
    Dims d = dimsOf(a);
    bool rowShape = d.size() == 2 && d[0] == 1;  // a scalar counts as a row
    size_t m = where.size();
    Dims od = rowShape ? Dims{1, m} : Dims{m, 1};
    if (d.size() == 2 && d[0] == 0 && d[1] == 0) od = {0, 0};
    if (nargout <= 1) {
        for (double& v : where) v += 1;
        out.push_back(fromDoubles(vxDOUBLE_CLASS, od, where, nullptr));
        return;
    }
    size_t rows = d[0];
    std::vector<double> r(m), c(m);
    for (size_t k = 0; k < m; ++k) {
        size_t e = size_t(where[k]);
        r[k] = double(e % rows + 1);
        c[k] = double(e / rows + 1);
    }
    out.push_back(fromDoubles(vxDOUBLE_CLASS, od, r, nullptr));
    out.push_back(fromDoubles(vxDOUBLE_CLASS, od, c, nullptr));
    if (nargout > 2) {
        std::vector<size_t> src(m);
        for (size_t k = 0; k < m; ++k) src[k] = size_t(where[k]);
        out.push_back(gather(a, od, src));
    }
}

void fnNnz(int, Out& out, In const& in) {
    requireArithmetic(in[0], "nnz");
    double n = 0;
    for (size_t k = 0; k < in[0]->number_of_elements(); ++k) n += realAt(in[0], k) != 0 || imagAt(in[0], k) != 0;
    out.push_back(scalarDouble(n));
}

template <bool LeftRight> void fnFlip(int, Out& out, In const& in) {
    Dims d = dimsOf(in[0]);
    size_t m = d[0], cols = d[1], total = in[0]->number_of_elements();
    size_t pages = (m == 0 || cols == 0) ? 0 : total / (m * cols);
    std::vector<size_t> src(total);
    for (size_t p = 0; p < pages; ++p)
        for (size_t j = 0; j < cols; ++j)
            for (size_t i = 0; i < m; ++i) {
                size_t si = LeftRight ? i : m - 1 - i, sj = LeftRight ? cols - 1 - j : j;
                src[i + j * m + p * m * cols] = si + sj * m + p * m * cols;
            }
    out.push_back(gather(in[0], d, src));
}

} // namespace

void addSorting(Table& t) {
    t.insert(t.end(), {
        {"sort", fnSort, 1, 3, 2},      {"unique", fnUnique, 1, 1, 3}, {"find", fnFind, 1, 3, 3},
        {"nnz", fnNnz, 1, 1, 1},        {"fliplr", fnFlip<true>, 1, 1, 1}, {"flipud", fnFlip<false>, 1, 1, 1},
    });
}

}}} // namespace qzlang::kernels::detail
