// Construction, reductions, order and linear algebra functions against
// results written out by hand.
#include "helpers.hpp"

using namespace kt;
typedef std::vector<double> V;

namespace {

TEST(KernelConstruction, MagicSquaresFollowTheClassicConstructions) {
    struct Row {
        int n;
        V rows;
    };
    std::vector<Row> table = {
        {1, {1}},
        {2, {4, 3, 1, 2}},
        {3, {8, 1, 6, 3, 5, 7, 4, 9, 2}},
        {4, {16, 2, 3, 13, 5, 11, 10, 8, 9, 7, 6, 12, 4, 14, 15, 1}},
        {5, {17, 24, 1, 8, 15, 23, 5, 7, 14, 16, 4, 6, 13, 20, 22, 10, 12, 19, 21, 3, 11, 18, 25, 2, 9}},
        {6, {35, 1, 6, 26, 19, 24, 3, 32, 7, 21, 23, 25, 31, 9, 2, 22, 27, 20,
             8, 28, 33, 17, 10, 15, 30, 5, 34, 12, 14, 16, 4, 36, 29, 13, 18, 11}},
    };
    for (auto const& r : table) {
        SCOPED_TRACE(r.n);
        ArrayPtr m = call1("magic", {num(r.n).get()});
        EXPECT_EQ(sizeOf(m.get()), std::to_string(r.n) + "x" + std::to_string(r.n));
        EXPECT_EQ(rowsOf(m.get()), r.rows);
    }
}

TEST(KernelConstruction, ShapesClassesAndJoins) {
    EXPECT_EQ(sizeOf(call1("zeros", {num(2).get(), num(3).get()}).get()), "2x3");
    EXPECT_EQ(sizeOf(call1("ones", {row({2, 3, 4}).get()}).get()), "2x3x4");
    EXPECT_EQ(sizeOf(call1("zeros", {num(3).get(), num(-1).get()}).get()), "3x0");
    EXPECT_EQ(vxGetClassID(call1("zeros", {num(2).get(), str("int8").get()}).get()), vxINT8_CLASS);
    EXPECT_EQ(rowsOf(call1("eye", {num(2).get(), num(3).get()}).get()), (V{1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(rowsOf(call1("linspace", {num(0).get(), num(1).get(), num(5).get()}).get()), (V{0, 0.25, 0.5, 0.75, 1}));
    EXPECT_EQ(rowsOf(call1("repmat", {row({1, 2}).get(), num(2).get(), num(2).get()}).get()), (V{1, 2, 1, 2, 1, 2, 1, 2}));
    ArrayPtr r = call1("reshape", {row({1, 2, 3, 4, 5, 6}).get(), num(2).get(), mat(0, 0, {}).get()});
    EXPECT_EQ(sizeOf(r.get()), "2x3");
    EXPECT_EQ(rowsOf(r.get()), (V{1, 3, 5, 2, 4, 6}));
    EXPECT_EQ(errorOf([] { call("reshape", {row({1, 2, 3}).get(), num(2).get(), num(2).get()}); }), "Calyx:reshapeCount");
    EXPECT_EQ(rowsOf(call1("diag", {row({1, 2}).get()}).get()), (V{1, 0, 0, 2}));
    EXPECT_EQ(rowsOf(call1("diag", {mat(2, 2, {1, 2, 3, 4}).get()}).get()), (V{1, 4}));
    // Joins: char wins and numbers become codes; the leftmost integer class; 0x0 vanishes.
    ArrayPtr j = call1("horzcat", {str("a").get(), num(98).get()});
    EXPECT_EQ(textOf(j.get()), "ab");
    j = call1("horzcat", {num(1.6).get(), num(1, vxINT16_CLASS).get(), num(2, vxINT8_CLASS).get()});
    EXPECT_EQ(vxGetClassID(j.get()), vxINT16_CLASS);
    EXPECT_EQ(rowsOf(j.get()), (V{2, 1, 2}));
    j = call1("vertcat", {mat(0, 0, {}).get(), row({1, 2}).get(), row({3, 4}).get()});
    EXPECT_EQ(rowsOf(j.get()), (V{1, 2, 3, 4}));
    EXPECT_EQ(errorOf([] { call("vertcat", {row({1, 2}).get(), row({1, 2, 3}).get()}); }), "Calyx:catDimensions");
    ArrayPtr c = call1("horzcat", {ArrayPtr(vxCreateCellMatrix(1, 1)).get(), num(5).get()});
    EXPECT_EQ(vxGetClassID(c.get()), vxCELL_CLASS);
    EXPECT_EQ(sizeOf(c.get()), "1x2");
    EXPECT_EQ(rowsOf(call1("int8", {row({-200, 2.5, NAN}).get()}).get()), (V{-128, 3, 0}));
    EXPECT_EQ(errorOf([] { call("logical", {num(NAN).get()}); }), "Calyx:nanToLogical");
}

TEST(KernelConstruction, RandomNumbersRepeatAfterReseeding) {
    qzlang::kernels::seedRandom(7);
    V a = rowsOf(call1("rand", {num(1).get(), num(5).get()}).get());
    qzlang::kernels::seedRandom(7);
    V b = rowsOf(call1("rand", {num(1).get(), num(5).get()}).get());
    EXPECT_EQ(a, b);
    for (double v : a) EXPECT_TRUE(v > 0 && v < 1);
    V k = rowsOf(call1("randi", {row({3, 5}).get(), num(1).get(), num(200).get()}).get());
    for (double v : k) EXPECT_TRUE(v == 3 || v == 4 || v == 5);
    EXPECT_EQ(sizeOf(call1("randn", {num(2).get(), num(3).get()}).get()), "2x3");
}

TEST(KernelReductions, DimensionsEmptiesAndClasses) {
    ArrayPtr m = mat(2, 3, {1, 2, 3, 4, 5, 6});
    EXPECT_EQ(rowsOf(call1("sum", {m.get()}).get()), (V{5, 7, 9}));
    EXPECT_EQ(rowsOf(call1("sum", {m.get(), num(2).get()}).get()), (V{6, 15}));
    EXPECT_EQ(rowsOf(call1("sum", {m.get(), num(3).get()}).get()), (V{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(rowsOf(call1("sum", {row({1, 2, 3}).get()}).get()), (V{6}));
    EXPECT_EQ(rowsOf(call1("prod", {m.get(), num(2).get()}).get()), (V{6, 120}));
    EXPECT_EQ(rowsOf(call1("cumsum", {m.get()}).get()), (V{1, 2, 3, 5, 7, 9}));
    EXPECT_EQ(rowsOf(call1("cumprod", {row({1, 2, 3}).get()}).get()), (V{1, 2, 6}));
    ArrayPtr empty = mat(0, 0, {});
    EXPECT_EQ(rowsOf(call1("sum", {empty.get()}).get()), (V{0}));
    EXPECT_EQ(rowsOf(call1("prod", {empty.get()}).get()), (V{1}));
    EXPECT_EQ(sizeOf(call1("max", {empty.get()}).get()), "0x0");
    EXPECT_TRUE(std::isnan(rowsOf(call1("mean", {empty.get()}).get())[0]));
    EXPECT_EQ(rowsOf(call1("any", {empty.get()}).get()), (V{0}));
    EXPECT_EQ(rowsOf(call1("all", {empty.get()}).get()), (V{1}));
    ArrayPtr z = call1("sum", {mat(0, 3, {}).get()});
    EXPECT_EQ(sizeOf(z.get()), "1x3");
    EXPECT_EQ(rowsOf(z.get()), (V{0, 0, 0}));
    ArrayPtr s = call1("sum", {row({100, 100}, vxINT8_CLASS).get()});
    EXPECT_EQ(vxGetClassID(s.get()), vxINT8_CLASS);
    EXPECT_EQ(rowsOf(s.get()), (V{127}));
    EXPECT_EQ(vxGetClassID(call1("sum", {row({1, 1}, vxLOGICAL_CLASS).get()}).get()), vxDOUBLE_CLASS);
    EXPECT_EQ(vxGetClassID(call1("mean", {row({1, 2}, vxINT8_CLASS).get()}).get()), vxDOUBLE_CLASS);
    EXPECT_EQ(rowsOf(call1("mean", {row({1, 2}, vxINT8_CLASS).get()}).get()), (V{1.5}));
    EXPECT_EQ(rowsOf(call1("median", {row({3, 1, 4, 2}).get()}).get()), (V{2.5}));
    EXPECT_EQ(rowsOf(call1("var", {row({1, 2, 3, 4}).get()}).get()), (V{5.0 / 3}));
    EXPECT_EQ(rowsOf(call1("var", {num(5).get()}).get()), (V{0}));
    EXPECT_EQ(rowsOf(call1("std", {row({2, 4, 4, 4, 5, 5, 7, 9}).get(), num(1).get()}).get()), (V{2}));
    EXPECT_EQ(rowsOf(call1("any", {mat(2, 2, {0, 0, 0, 1}).get()}).get()), (V{0, 1}));
    EXPECT_EQ(rowsOf(call1("all", {mat(2, 2, {1, 0, 1, 1}).get(), num(2).get()}).get()), (V{0, 1}));
}

TEST(KernelReductions, MaxAndMinSkipNaNAndGiveTheFirstIndex) {
    auto r = call("max", {row({3, NAN, 7, 7, 1}).get()}, 2);
    EXPECT_EQ(rowsOf(r[0].get()), (V{7}));
    EXPECT_EQ(rowsOf(r[1].get()), (V{3}));
    r = call("min", {mat(2, 2, {4, 1, 2, 3}).get(), mat(0, 0, {}).get(), num(2).get()}, 2);
    EXPECT_EQ(rowsOf(r[0].get()), (V{1, 2}));
    EXPECT_EQ(rowsOf(r[1].get()), (V{2, 1}));
    EXPECT_TRUE(std::isnan(rowsOf(call1("max", {row({NAN, NAN}).get()}).get())[0]));
    EXPECT_EQ(rowsOf(call1("max", {row({1, 5, NAN}).get(), num(3).get()}).get()), (V{3, 5, 3}));
    EXPECT_EQ(rowsOf(call1("max", {col({1, 5}).get(), row({2, 3}).get()}).get()), (V{2, 3, 5, 5}));
}

TEST(KernelOrder, SortUniqueFindOrientation) {
    auto r = call("sort", {row({3, NAN, 1, 3, 2}).get()}, 2);
    V s = rowsOf(r[0].get());
    EXPECT_EQ(V(s.begin(), s.begin() + 4), (V{1, 2, 3, 3}));
    EXPECT_TRUE(std::isnan(s[4]));
    EXPECT_EQ(rowsOf(r[1].get()), (V{3, 5, 1, 4, 2}));  // stable: the first 3 first
    r = call("sort", {row({3, NAN, 1}).get(), str("descend").get()}, 2);
    EXPECT_TRUE(std::isnan(rowsOf(r[0].get())[0]));
    EXPECT_EQ(rowsOf(r[1].get()), (V{2, 1, 3}));
    EXPECT_EQ(rowsOf(call1("sort", {mat(2, 2, {3, 1, 2, 4}).get()}).get()), (V{2, 1, 3, 4}));
    ArrayPtr u = call1("unique", {row({3, 1, 3, 2}).get()});
    EXPECT_EQ(sizeOf(u.get()), "1x3");
    EXPECT_EQ(rowsOf(u.get()), (V{1, 2, 3}));
    EXPECT_EQ(sizeOf(call1("unique", {mat(2, 2, {4, 4, 1, 1}).get()}).get()), "2x1");
    ArrayPtr f = call1("find", {row({0, 1, 0, 1}).get()});
    EXPECT_EQ(sizeOf(f.get()), "1x2");
    EXPECT_EQ(rowsOf(f.get()), (V{2, 4}));
    f = call1("find", {mat(2, 2, {0, 1, 1, 1}).get()});
    EXPECT_EQ(sizeOf(f.get()), "3x1");
    EXPECT_EQ(rowsOf(f.get()), (V{2, 3, 4}));
    EXPECT_EQ(rowsOf(call1("find", {row({1, 1, 1}).get(), num(2).get()}).get()), (V{1, 2}));
    EXPECT_EQ(sizeOf(call1("find", {num(0).get()}).get()), "1x0");
    EXPECT_EQ(sizeOf(call1("find", {col({0, 0}).get()}).get()), "0x1");
    auto rc = call("find", {mat(2, 2, {0, 1, 1, 0}).get()}, 2);
    EXPECT_EQ(rowsOf(rc[0].get()), (V{2, 1}));
    EXPECT_EQ(rowsOf(rc[1].get()), (V{1, 2}));
    EXPECT_EQ(rowsOf(call1("nnz", {row({0, 2, 0, -1}).get()}).get()), (V{2}));
    EXPECT_EQ(rowsOf(call1("fliplr", {mat(2, 2, {1, 2, 3, 4}).get()}).get()), (V{2, 1, 4, 3}));
    EXPECT_EQ(rowsOf(call1("flipud", {mat(2, 2, {1, 2, 3, 4}).get()}).get()), (V{3, 4, 1, 2}));
}

TEST(KernelLinearAlgebra, SmallKnownMatrices) {
    auto near = [](V got, V want) {
        ASSERT_EQ(got.size(), want.size());
        for (size_t k = 0; k < got.size(); ++k) EXPECT_NEAR(got[k], want[k], 1e-10) << k;
    };
    ArrayPtr a = mat(2, 2, {4, 7, 2, 6});
    near(rowsOf(call1("inv", {a.get()}).get()), {0.6, -0.7, -0.2, 0.4});
    near(rowsOf(call1("det", {a.get()}).get()), {10});
    near(rowsOf(call1("det", {mat(3, 3, {0, 1, 0, 1, 0, 0, 0, 0, 1}).get()}).get()), {-1});
    EXPECT_EQ(rowsOf(call1("rank", {mat(3, 3, {1, 2, 3, 2, 4, 6, 1, 0, 1}).get()}).get()), (V{2}));
    near(rowsOf(call1("norm", {row({3, 4}).get()}).get()), {5});
    near(rowsOf(call1("norm", {row({3, -4}).get(), num(1).get()}).get()), {7});
    near(rowsOf(call1("norm", {mat(2, 2, {1, 2, 3, 4}).get(), num(1).get()}).get()), {6});
    near(rowsOf(call1("norm", {mat(2, 2, {3, 0, 0, 4}).get()}).get()), {4});
    near(rowsOf(call1("eig", {mat(2, 2, {2, 1, 1, 2}).get()}).get()), {1, 3});
    auto vd = call("eig", {mat(2, 2, {2, 0, 0, 3}).get()}, 2);
    near(rowsOf(vd[1].get()), {2, 0, 0, 3});
    ArrayPtr rot = call1("eig", {mat(2, 2, {0, -1, 1, 0}).get()});  // eigenvalues +-i
    near(rowsOf(rot.get()), {0, 0});
    V im = imagRowsOf(rot.get());
    EXPECT_NEAR(std::fabs(im[0]), 1, 1e-12);
    near(rowsOf(call1("svd", {mat(2, 2, {3, 0, 0, -4}).get()}).get()), {4, 3});
    auto usv = call("svd", {mat(2, 2, {3, 0, 0, -4}).get()}, 3);
    near(rowsOf(usv[1].get()), {4, 0, 0, 3});
    near(rowsOf(call1("trace", {mat(2, 2, {1, 2, 3, 4}).get()}).get()), {5});
    near(rowsOf(call1("kron", {row({1, 2}).get(), col({1, 10}).get()}).get()), {1, 2, 10, 20});
    near(rowsOf(call1("dot", {row({1, 2, 3}).get(), row({4, 5, 6}).get()}).get()), {32});
    near(rowsOf(call1("cross", {row({1, 0, 0}).get(), row({0, 1, 0}).get()}).get()), {0, 0, 1});
    EXPECT_EQ(errorOf([] { call("inv", {mat(2, 3, {1, 2, 3, 4, 5, 6}).get()}); }), "Calyx:notSquare");
}

TEST(KernelMath, ElementwiseFunctionsAndTheirClasses) {
    ArrayPtr r = call1("sqrt", {row({4, -4}).get()});
    EXPECT_EQ(rowsOf(r.get()), (V{2, 0}));
    EXPECT_EQ(imagRowsOf(r.get()), (V{0, 2}));
    r = call1("log", {num(-1).get()});
    EXPECT_NEAR(imagRowsOf(r.get())[0], M_PI, 1e-15);
    EXPECT_EQ(rowsOf(call1("round", {row({2.5, -2.5, 0.4}).get()}).get()), (V{3, -3, 0}));
    EXPECT_EQ(rowsOf(call1("fix", {row({2.7, -2.7}).get()}).get()), (V{2, -2}));
    EXPECT_EQ(rowsOf(call1("mod", {row({5, -5, 5}).get(), row({3, 3, 0}).get()}).get()), (V{2, 1, 5}));
    V rem = rowsOf(call1("rem", {row({5, -5, 5}).get(), row({3, 3, 0}).get()}).get());
    EXPECT_EQ(rem[0], 2);
    EXPECT_EQ(rem[1], -2);
    EXPECT_TRUE(std::isnan(rem[2]));
    EXPECT_EQ(rowsOf(call1("abs", {mat(1, 1, {3}, vxDOUBLE_CLASS, {4}).get()}).get()), (V{5}));
    EXPECT_EQ(vxGetClassID(call1("abs", {num(-3, vxINT8_CLASS).get()}).get()), vxINT8_CLASS);
    EXPECT_EQ(rowsOf(call1("sign", {row({-2, 0, 3}).get()}).get()), (V{-1, 0, 1}));
    EXPECT_EQ(rowsOf(call1("isnan", {row({1, NAN}).get()}).get()), (V{0, 1}));
    EXPECT_EQ(rowsOf(call1("hypot", {num(3).get(), num(4).get()}).get()), (V{5}));
    ArrayPtr c = call1("complex", {num(1).get(), num(0).get()});
    EXPECT_TRUE(vxIsComplex(c.get()));  // complex() keeps a zero imaginary part
    EXPECT_EQ(vxGetClassID(call1("sin", {num(1, vxSINGLE_CLASS).get()}).get()), vxSINGLE_CLASS);
    EXPECT_EQ(errorOf([] { call("sqrt", {num(4, vxINT8_CLASS).get()}); }), "Calyx:integerArgument");
}

TEST(KernelShape, SizeAndTypeQuestionsOnAnyClass) {
    ArrayPtr a = call1("zeros", {row({2, 3, 4}).get()});
    EXPECT_EQ(rowsOf(call1("size", {a.get()}).get()), (V{2, 3, 4}));
    auto rc = call("size", {a.get()}, 2);
    EXPECT_EQ(rowsOf(rc[1].get()), (V{12}));
    EXPECT_EQ(rowsOf(call1("size", {a.get(), num(5).get()}).get()), (V{1}));
    EXPECT_EQ(rowsOf(call1("length", {mat(0, 3, {}).get()}).get()), (V{0}));
    EXPECT_EQ(rowsOf(call1("ndims", {num(1).get()}).get()), (V{2}));
    ArrayPtr cell(vxCreateCellMatrix(1, 3));
    EXPECT_EQ(textOf(call1("class", {cell.get()}).get()), "cell");
    EXPECT_EQ(rowsOf(call1("numel", {cell.get()}).get()), (V{3}));
    EXPECT_EQ(rowsOf(call1("isrow", {cell.get()}).get()), (V{1}));
    EXPECT_EQ(rowsOf(call1("isa", {num(1, vxINT8_CLASS).get(), str("integer").get()}).get()), (V{1}));
    EXPECT_EQ(rowsOf(call1("isequal", {row({1, 2}).get(), row({1, 2}, vxINT8_CLASS).get()}).get()), (V{1}));
    EXPECT_EQ(rowsOf(call1("isequal", {num(NAN).get(), num(NAN).get()}).get()), (V{0}));
    ArrayPtr c2(vxDuplicateArray(cell.get()));
    vxSetCell(c2.get(), 1, vxCreateString("x"));
    EXPECT_EQ(rowsOf(call1("isequal", {cell.get(), c2.get()}).get()), (V{0}));
    EXPECT_EQ(rowsOf(call1("isempty", {mat(3, 0, {}).get()}).get()), (V{1}));
}

} // namespace
