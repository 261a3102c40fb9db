// The integer classes at their limits, N-dimensional expansion and
// reductions, complex linear algebra, and cells and structures through the
// functions that move elements of any class.
#include "helpers.hpp"

using namespace kt;
using qzlang::kernels::Binary;
using qzlang::kernels::Unary;
using qzlang::kernels::binary;
using qzlang::kernels::unary;
typedef std::vector<double> V;

namespace {

TEST(KernelIntegers, EveryClassRoundsAndSaturatesAtItsLimits) {
    struct Row {
        vxClassID cls;
        double lo, hi;
    };
    std::vector<Row> rows = {
        {vxINT8_CLASS, -128, 127},           {vxUINT8_CLASS, 0, 255},
        {vxINT16_CLASS, -32768, 32767},      {vxUINT16_CLASS, 0, 65535},
        {vxINT32_CLASS, -2147483648.0, 2147483647.0}, {vxUINT32_CLASS, 0, 4294967295.0},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(vxGetClassName(num(0, r.cls).get()));
        ArrayPtr one = num(1, r.cls);
        EXPECT_EQ(rowsOf(binary(Binary::Plus, one.get(), num(1e12).get()).get()), (V{r.hi}));
        EXPECT_EQ(rowsOf(binary(Binary::Minus, one.get(), num(1e12).get()).get()), (V{r.lo}));
        EXPECT_EQ(rowsOf(binary(Binary::Times, one.get(), row({2.5, -2.5, 0.49}).get()).get()),
                  (V{3, r.lo < 0 ? -3.0 : 0.0, 0}));
        EXPECT_EQ(rowsOf(binary(Binary::RDivide, row({5, 0}, r.cls).get(), num(0).get()).get()), (V{r.hi, 0}));
        EXPECT_EQ(rowsOf(binary(Binary::RDivide, one.get(), num(NAN).get()).get()), (V{0}));
        EXPECT_EQ(vxGetClassID(binary(Binary::Times, one.get(), row({1, 2}, vxSINGLE_CLASS).get()).get()), r.cls);
    }
    EXPECT_EQ(rowsOf(binary(Binary::RDivide, num(-5, vxINT8_CLASS).get(), num(0).get()).get()), (V{-128}));
    EXPECT_EQ(rowsOf(binary(Binary::MRDivide, num(-7, vxINT16_CLASS).get(), num(2).get()).get()), (V{-4}));
    EXPECT_EQ(rowsOf(binary(Binary::Minus, num(0, vxUINT64_CLASS).get(), num(1).get()).get()), (V{0}));
    EXPECT_EQ(rowsOf(call1("mod", {row({-7, 7}, vxINT8_CLASS).get(), num(3).get()}).get()), (V{2, 1}));
    EXPECT_EQ(rowsOf(call1("rem", {row({-7, 7}, vxINT8_CLASS).get(), num(3).get()}).get()), (V{-1, 1}));
    ArrayPtr halves = mat(1, 2, {0, 0}, vxINT64_CLASS);
    static_cast<int64_t*>(vxGetData(halves.get()))[0] = (int64_t(1) << 53) + 1;
    static_cast<int64_t*>(vxGetData(halves.get()))[1] = 2;
    EXPECT_EQ(*static_cast<int64_t*>(vxGetData(call1("sum", {halves.get()}).get())), (int64_t(1) << 53) + 3);
    EXPECT_EQ(rowsOf(binary(Binary::Power, row({-3, 4}).get(), row({2, 0.5}).get()).get()), (V{9, 2}));
    // Comparisons between different integer classes are exact.
    ArrayPtr big = num(0, vxUINT64_CLASS);
    *static_cast<uint64_t*>(vxGetData(big.get())) = (uint64_t(1) << 63) + 1;
    ArrayPtr r = binary(Binary::Gt, big.get(), num(9.2233720368547758e18).get());
    EXPECT_EQ(rowsOf(r.get()), (V{1}));
    EXPECT_EQ(rowsOf(binary(Binary::Lt, num(-1, vxINT8_CLASS).get(), num(0, vxUINT32_CLASS).get()).get()), (V{1}));
}

TEST(KernelExpansion, ThreeDimensionalOperandsAndReductions) {
    // A 1x1x2 page vector against a 2x2 matrix gives 2x2x2.
    ArrayPtr pages(vxCreateDoubleMatrix(1, 1, vxREAL));
    size_t d[3] = {1, 1, 2};
    pages.reset(vxCreateNumericArray(3, d, vxDOUBLE_CLASS, vxREAL));
    vxGetPr(pages.get())[0] = 10;
    vxGetPr(pages.get())[1] = 20;
    ArrayPtr m = mat(2, 2, {1, 2, 3, 4});
    ArrayPtr r = binary(Binary::Plus, m.get(), pages.get());
    EXPECT_EQ(sizeOf(r.get()), "2x2x2");
    std::vector<double> got(vxGetPr(r.get()), vxGetPr(r.get()) + 8);
    EXPECT_EQ(got, (V{11, 13, 12, 14, 21, 23, 22, 24}));
    ArrayPtr s = call1("sum", {r.get(), num(3).get()});
    EXPECT_EQ(sizeOf(s.get()), "2x2");
    EXPECT_EQ(rowsOf(s.get()), (V{32, 34, 36, 38}));
    ArrayPtr c = call1("cumsum", {m.get(), num(2).get()});
    EXPECT_EQ(rowsOf(c.get()), (V{1, 3, 3, 7}));
    EXPECT_EQ(rowsOf(call1("std", {mat(2, 2, {1, 3, 2, 6}).get(), mat(0, 0, {}).get(), num(2).get()}).get()),
              (V{std::sqrt(2.0), std::sqrt(8.0)}));
    EXPECT_EQ(messageOf([&] { binary(Binary::Plus, r.get(), row({1, 2, 3}).get()); }),
              "Arrays have incompatible sizes for this operation: 2x2x2 and 1x3.");
    EXPECT_EQ(errorOf([&] { unary(Unary::Transpose, r.get()); }), "Calyx:transposeND");
}

TEST(KernelComplex, SolvesSortsAndAverages) {
    // [2i 0; 0 1] \ [2; 3] is [-i; 3].
    ArrayPtr a = mat(2, 2, {0, 0, 0, 1}, vxDOUBLE_CLASS, {2, 0, 0, 0});
    ArrayPtr x = binary(Binary::MLDivide, a.get(), col({2, 3}).get());
    V re = rowsOf(x.get()), im = imagRowsOf(x.get());
    EXPECT_NEAR(re[0], 0, 1e-15);
    EXPECT_NEAR(im[0], -1, 1e-15);
    EXPECT_NEAR(re[1], 3, 1e-15);
    ArrayPtr z = mat(1, 3, {3, 0, -1}, vxDOUBLE_CLASS, {4, 1, 0});  // |z| = 5, 1, 1
    auto s = call("sort", {z.get()}, 2);
    EXPECT_EQ(rowsOf(s[1].get()), (V{2, 3, 1}));  // equal magnitudes by angle: i (pi/2) before -1 (pi)
    ArrayPtr m = call1("mean", {z.get()});
    EXPECT_NEAR(rowsOf(m.get())[0], 2.0 / 3, 1e-15);
    EXPECT_NEAR(imagRowsOf(m.get())[0], 5.0 / 3, 1e-15);
    EXPECT_EQ(rowsOf(call1("abs", {z.get()}).get()), (V{5, 1, 1}));
    EXPECT_EQ(imagRowsOf(call1("conj", {z.get()}).get()), (V{-4, -1, 0}));
    EXPECT_EQ(rowsOf(call1("det", {a.get()}).get()), (V{0}));
    EXPECT_EQ(imagRowsOf(call1("det", {a.get()}).get()), (V{2}));
}

std::string cellText(vxArray const* c, size_t k) { return textOf(vxGetCell(c, k)); }

TEST(KernelAnyClass, CellsAndStructuresMoveWhole) {
    ArrayPtr c(vxCreateCellMatrix(1, 2));
    vxSetCell(c.get(), 0, vxCreateString("a"));
    vxSetCell(c.get(), 1, vxCreateString("b"));
    ArrayPtr t = unary(Unary::Transpose, c.get());
    EXPECT_EQ(sizeOf(t.get()), "2x1");
    EXPECT_EQ(cellText(t.get(), 1), "b");
    ArrayPtr rep = call1("repmat", {c.get(), num(1).get(), num(2).get()});
    EXPECT_EQ(sizeOf(rep.get()), "1x4");
    EXPECT_EQ(cellText(rep.get(), 2), "a");
    ArrayPtr flipped = call1("fliplr", {c.get()});
    EXPECT_EQ(cellText(flipped.get(), 0), "b");
    char const* fields[] = {"x", "y"};
    char const* swapped[] = {"y", "x"};
    ArrayPtr s1(vxCreateStructMatrix(1, 1, 2, fields)), s2(vxCreateStructMatrix(1, 1, 2, swapped));
    vxSetFieldByNumber(s1.get(), 0, 0, vxCreateDoubleScalar(1));
    vxSetFieldByNumber(s2.get(), 0, 1, vxCreateDoubleScalar(2));  // x of the second
    ArrayPtr joined = call1("horzcat", {s1.get(), s2.get()});
    EXPECT_EQ(sizeOf(joined.get()), "1x2");
    EXPECT_EQ(vxGetScalar(vxGetFieldByNumber(joined.get(), 1, vxGetFieldNumber(joined.get(), "x"))), 2);
    EXPECT_EQ(rowsOf(call1("isequal", {s1.get(), s1.get()}).get()), (V{1}));
    EXPECT_EQ(rowsOf(call1("isequal", {s1.get(), s2.get()}).get()), (V{0}));
    ArrayPtr sorted = call1("sort", {rep.get()});
    EXPECT_EQ(cellText(sorted.get(), 0), "a");
    EXPECT_EQ(cellText(sorted.get(), 3), "b");
    auto u = call("unique", {rep.get()}, 3);
    EXPECT_EQ(sizeOf(u[0].get()), "1x2");
    EXPECT_EQ(rowsOf(u[2].get()), (V{1, 2, 1, 2}));
    ArrayPtr cat = call1("strcat", {c.get(), str("!").get()});
    EXPECT_EQ(cellText(cat.get(), 1), "b!");
    ArrayPtr words = call1("regexp", {c.get(), str("[ab]").get(), str("match").get(), str("once").get()});
    EXPECT_EQ(cellText(words.get(), 1), "b");
    EXPECT_EQ(errorOf([&] { call("horzcat", {s1.get(), num(1).get()}); }), "Calyx:catStruct");
    EXPECT_EQ(textOf(call1("char", {c.get()}).get()), "ab");  // two rows, column order
}

TEST(KernelFormat, FlagsAndGeneralConversions) {
    struct Row {
        char const* format;
        double value;
        char const* expected;
    };
    std::vector<Row> rows = {
        {"%g", 0.0001, "0.0001"},       {"%g", 1e-5, "1e-05"},          {"%G", 1e20, "1E+20"},
        {"%#o", 8, "010"},              {"%#x", 255, "0xff"},           {"%X", 255, "FF"},
        {"% d", 5, " 5"},               {"%-5d|", 5, "5    |"},         {"%+.2e", 12345, "+1.23e+04"},
        {"%e", 0, "0.000000e+00"},      {"%8.3f", -3.14159, "  -3.142"}, {"%c", 2.5, "2.500000e+00"},
        {"%5s|", INFINITY, "  Inf|"},   {"%-6f|", NAN, "NaN   |"},     {"%d", -0.5, "-5.000000e-01"},
    };
    for (auto const& r : rows) {
        SCOPED_TRACE(r.format);
        ArrayPtr v = num(r.value);
        EXPECT_EQ(qzlang::kernels::formatText(r.format, {v.get()}), r.expected);
    }
    ArrayPtr n = call1("num2str", {row({-1.5, 2.25}).get()});
    EXPECT_EQ(textOf(n.get()), "-1.5  2.25");
    EXPECT_EQ(textOf(call1("mat2str", {row({1.5, 2}, vxSINGLE_CLASS).get()}).get()), "[1.5 2]");
    EXPECT_EQ(rowsOf(call1("linspace", {num(3).get(), num(7).get(), num(1).get()}).get()), (V{7}));
}

} // namespace
