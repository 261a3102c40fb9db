// The function table: every function the language promises is there, and
// bad input to any of them is a clear error with an identifier.
#include "helpers.hpp"

#include <algorithm>
#include <sstream>

using namespace kt;

namespace {

TEST(KernelTable, HoldsEveryPromisedFunctionSorted) {
    std::istringstream promised(
        "zeros ones eye rand randn randi rng linspace repmat reshape cat horzcat vertcat diag magic true false "
        "double single int8 uint8 int16 uint16 int32 uint32 int64 uint64 logical char "
        "size numel length ndims isempty isscalar isvector isrow iscolumn ismatrix class isa isnumeric isfloat "
        "isinteger ischar iscell isstruct islogical isreal issparse isequal "
        "abs sign sqrt exp log log2 log10 sin cos tan asin acos atan atan2 sinh cosh tanh floor ceil round fix mod "
        "rem hypot real imag conj angle isnan isinf isfinite complex "
        "sum prod cumsum cumprod max min any all mean median std var dot cross kron trace find sort unique nnz "
        "fliplr flipud inv det rank norm eig svd "
        "num2str mat2str int2str sprintf strcat strsplit strjoin strrep strtrim upper lower strcmp strcmpi strncmp "
        "strfind regexp regexprep blanks str2double isspace");
    std::string name;
    while (promised >> name) {
        auto const* f = qzlang::kernels::find(name);
        ASSERT_NE(f, nullptr) << name;
        EXPECT_EQ(name, f->name);
        EXPECT_TRUE(f->maxIn < 0 || f->maxIn >= f->minIn) << name;
    }
    EXPECT_EQ(qzlang::kernels::find("nosuchfunction"), nullptr);
    auto all = qzlang::kernels::names();
    EXPECT_TRUE(std::is_sorted(all.begin(), all.end()));
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
}

TEST(KernelTable, BadInputIsAClearError) {
    ArrayPtr cell(vxCreateCellMatrix(1, 1));
    ArrayPtr m23 = mat(2, 3, {1, 2, 3, 4, 5, 6});
    struct Row {
        char const* what;
        std::vector<vxArray const*> in;
        char const* id;
    };
    ArrayPtr s = str("abc"), half = num(1.5), neg = num(-1), zero = num(0), desc = str("sideways"), opt = str("bogus");
    ArrayPtr range = row({5, 1}), bad = str("[a-");
    std::vector<Row> rows = {
        {"zeros", {half.get()}, "Calyx:notInteger"},
        {"zeros", {s.get()}, "Calyx:invalidClassName"},
        {"magic", {cell.get()}, "Calyx:notScalar"},
        {"sum", {cell.get()}, "Calyx:invalidType"},
        {"sum", {m23.get(), zero.get()}, "Calyx:invalidDimension"},
        {"sort", {m23.get(), desc.get()}, "Calyx:sortMode"},
        {"det", {m23.get()}, "Calyx:notSquare"},
        {"randi", {range.get()}, "Calyx:randiRange"},
        {"rng", {neg.get()}, "Calyx:rngSeed"},
        {"regexp", {s.get(), s.get(), opt.get()}, "Calyx:regexpOption"},
        {"regexp", {s.get(), bad.get()}, "Calyx:regexpPattern"},
        {"strsplit", {s.get(), s.get(), opt.get(), zero.get()}, "Calyx:strsplitOption"},
        {"strrep", {s.get(), zero.get(), s.get()}, "Calyx:notText"},
        {"cat", {zero.get(), s.get()}, "Calyx:invalidDimension"},
        {"double", {cell.get()}, "Calyx:invalidConversion"},
        {"dot", {m23.get(), m23.get()}, "Calyx:dotSizes"},
        {"find", {m23.get(), zero.get()}, "Calyx:findCount"},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(errorOf([&] { call(r.what, r.in); }), r.id);
    }
}

} // namespace

namespace {

TEST(KernelTable, DimensionsBeyondTheLastAreSingletons) {
    ArrayPtr m = mat(2, 2, {4, 3, 2, 1});
    ArrayPtr far = num(1e12);
    EXPECT_EQ(rowsOf(call1("sum", {m.get(), far.get()}).get()), (std::vector<double>{4, 3, 2, 1}));
    EXPECT_EQ(rowsOf(call1("sort", {m.get(), far.get()}).get()), (std::vector<double>{4, 3, 2, 1}));
    EXPECT_EQ(rowsOf(call1("max", {m.get(), mat(0, 0, {}).get(), far.get()}).get()), (std::vector<double>{4, 3, 2, 1}));
    EXPECT_EQ(errorOf([&] { call("cat", {far.get(), m.get()}); }), "Calyx:invalidDimension");
    EXPECT_EQ(errorOf([] { call("regexp", {str("a").get(), str("((a{1000}){1000}){1000}").get()}); }), "Calyx:regexpPattern");
}

} // namespace
