// The operators against results written out by hand from the class rules.
#include "helpers.hpp"

using namespace kt;
using qzlang::kernels::Binary;
using qzlang::kernels::Unary;
using qzlang::kernels::binary;
using qzlang::kernels::unary;

namespace {

struct ClassCase {
    char const* what;
    ArrayPtr a, b;
    Binary op;
    vxClassID cls;
    std::vector<double> values;
};

TEST(KernelOperators, ClassRulesGiveTheClassAndValuesOfTheRules) {
    std::vector<ClassCase> cases;
    cases.push_back({"int8(100) + 100 saturates", num(100, vxINT8_CLASS), num(100), Binary::Plus, vxINT8_CLASS, {127}});
    cases.push_back({"int32(7) / 2 rounds half away", num(7, vxINT32_CLASS), num(2), Binary::MRDivide, vxINT32_CLASS, {4}});
    cases.push_back({"int32(-7) / 2", num(-7, vxINT32_CLASS), num(2), Binary::RDivide, vxINT32_CLASS, {-4}});
    cases.push_back({"int8(5) / 0 saturates", num(5, vxINT8_CLASS), num(0), Binary::RDivide, vxINT8_CLASS, {127}});
    cases.push_back({"int8(0) / 0 is 0", num(0, vxINT8_CLASS), num(0), Binary::RDivide, vxINT8_CLASS, {0}});
    cases.push_back({"uint8(3) - 5 stops at 0", num(3, vxUINT8_CLASS), num(5), Binary::Minus, vxUINT8_CLASS, {0}});
    cases.push_back({"int16 times NaN is 0", num(3, vxINT16_CLASS), num(NAN), Binary::Times, vxINT16_CLASS, {0}});
    cases.push_back({"int8(5) + true is int8", num(5, vxINT8_CLASS), num(1, vxLOGICAL_CLASS), Binary::Plus, vxINT8_CLASS, {6}});
    cases.push_back({"single(1) + 'a' is single", num(1, vxSINGLE_CLASS), str("a"), Binary::Plus, vxSINGLE_CLASS, {98}});
    cases.push_back({"single with double", row({1.5, 2}, vxSINGLE_CLASS), num(2), Binary::Times, vxSINGLE_CLASS, {3, 4}});
    cases.push_back({"logical and char count as double", row({1, 0}, vxLOGICAL_CLASS), str("ab"), Binary::Plus, vxDOUBLE_CLASS, {98, 98}});
    cases.push_back({"comparisons give logical", row({1, 2, 3}), num(2), Binary::Ge, vxLOGICAL_CLASS, {0, 1, 1}});
    cases.push_back({"different integer classes compare", num(3, vxINT8_CLASS), num(3, vxUINT16_CLASS), Binary::Eq, vxLOGICAL_CLASS, {1}});
    cases.push_back({"int8 ^ 2 saturates", num(20, vxINT8_CLASS), num(2), Binary::Power, vxINT8_CLASS, {127}});
    cases.push_back({"NaN ~= NaN", num(NAN), num(NAN), Binary::Ne, vxLOGICAL_CLASS, {1}});
    cases.push_back({"& of numbers", row({0, 2, -1}), row({1, 1, 0}), Binary::And, vxLOGICAL_CLASS, {0, 1, 0}});
    cases.push_back({"| of numbers", row({0, 0, 3}), row({0, 1, 0}), Binary::Or, vxLOGICAL_CLASS, {0, 1, 1}});
    cases.push_back({".\\ divides the right by the left", row({2, 4}), num(8), Binary::LDivide, vxDOUBLE_CLASS, {4, 2}});
    cases.push_back({"double by zero is IEEE", row({1, -1}), num(0), Binary::RDivide, vxDOUBLE_CLASS, {INFINITY, -INFINITY}});
    for (auto& c : cases) {
        SCOPED_TRACE(c.what);
        ArrayPtr r = binary(c.op, c.a.get(), c.b.get());
        EXPECT_EQ(vxGetClassID(r.get()), c.cls);
        EXPECT_EQ(rowsOf(r.get()), c.values);
        EXPECT_FALSE(vxIsComplex(r.get()));
    }
}

TEST(KernelOperators, SixtyFourBitIntegersAreExact) {
    // 2^53 + 1 is not a double: a round trip through double would lose the 1.
    ArrayPtr big = num(0, vxINT64_CLASS);
    *static_cast<int64_t*>(vxGetData(big.get())) = (int64_t(1) << 53);
    ArrayPtr r = binary(Binary::Plus, big.get(), num(1).get());
    EXPECT_EQ(*static_cast<int64_t*>(vxGetData(r.get())), (int64_t(1) << 53) + 1);
    ArrayPtr maxu = num(0, vxUINT64_CLASS);
    *static_cast<uint64_t*>(vxGetData(maxu.get())) = UINT64_MAX - 1;
    r = binary(Binary::Plus, maxu.get(), num(5).get());
    EXPECT_EQ(*static_cast<uint64_t*>(vxGetData(r.get())), UINT64_MAX);
    r = binary(Binary::RDivide, num(7, vxINT64_CLASS).get(), num(2, vxINT64_CLASS).get());
    EXPECT_EQ(*static_cast<int64_t*>(vxGetData(r.get())), 4);
    r = binary(Binary::RDivide, num(-7, vxINT64_CLASS).get(), num(2).get());
    EXPECT_EQ(*static_cast<int64_t*>(vxGetData(r.get())), -4);
    r = binary(Binary::Times, num(3, vxINT64_CLASS).get(), num(0.5).get());
    EXPECT_EQ(*static_cast<int64_t*>(vxGetData(r.get())), 2);  // 1.5 rounds away from zero
    r = unary(Unary::Negate, mat(1, 1, {-9.2233720368547758e18}, vxINT64_CLASS).get());
    EXPECT_EQ(*static_cast<int64_t*>(vxGetData(r.get())), INT64_MAX);
}

TEST(KernelOperators, ComplexResultsAndTheirReturnToReal) {
    ArrayPtr r = binary(Binary::Power, num(-8).get(), num(1.0 / 3).get());
    ASSERT_TRUE(vxIsComplex(r.get()));
    EXPECT_NEAR(rowsOf(r.get())[0], 1.0, 1e-12);
    EXPECT_NEAR(imagRowsOf(r.get())[0], std::sqrt(3.0), 1e-12);
    ArrayPtr z = mat(1, 2, {3, 1}, vxDOUBLE_CLASS, {4, 2});  // [3+4i, 1+2i]
    r = binary(Binary::Times, z.get(), num(2).get());
    EXPECT_EQ(rowsOf(r.get()), (std::vector<double>{6, 2}));
    EXPECT_EQ(imagRowsOf(r.get()), (std::vector<double>{8, 4}));
    // (1+2i)^2 is exactly -3+4i, and z - z has no imaginary part left.
    r = binary(Binary::Power, mat(1, 1, {1}, vxDOUBLE_CLASS, {2}).get(), num(2).get());
    EXPECT_EQ(rowsOf(r.get())[0], -3);
    EXPECT_EQ(imagRowsOf(r.get())[0], 4);
    r = binary(Binary::Minus, z.get(), z.get());
    EXPECT_FALSE(vxIsComplex(r.get()));
    r = unary(Unary::CTranspose, z.get());
    EXPECT_EQ(sizeOf(r.get()), "2x1");
    EXPECT_EQ(imagRowsOf(r.get()), (std::vector<double>{-4, -2}));
    r = binary(Binary::Lt, z.get(), num(2).get());  // order compares real parts
    EXPECT_EQ(rowsOf(r.get()), (std::vector<double>{0, 1}));
}

TEST(KernelOperators, ImplicitExpansionAndItsSizeErrors) {
    ArrayPtr r = binary(Binary::Plus, col({10, 20}).get(), row({1, 2, 3}).get());
    EXPECT_EQ(sizeOf(r.get()), "2x3");
    EXPECT_EQ(rowsOf(r.get()), (std::vector<double>{11, 12, 13, 21, 22, 23}));
    r = binary(Binary::Minus, mat(2, 2, {1, 2, 3, 4}).get(), row({1, 2}).get());
    EXPECT_EQ(rowsOf(r.get()), (std::vector<double>{0, 0, 2, 2}));
    r = binary(Binary::Times, mat(0, 3, {}).get(), row({1, 2, 3}).get());
    EXPECT_EQ(sizeOf(r.get()), "0x3");
    EXPECT_EQ(messageOf([] { binary(Binary::Plus, mat(2, 3, {1, 2, 3, 4, 5, 6}).get(), mat(3, 2, {1, 2, 3, 4, 5, 6}).get()); }),
              "Arrays have incompatible sizes for this operation: 2x3 and 3x2.");
    EXPECT_EQ(errorOf([] { binary(Binary::Plus, num(1, vxINT8_CLASS).get(), num(1, vxINT16_CLASS).get()); }),
              "Calyx:mixedIntegerClasses");
    EXPECT_EQ(errorOf([] { binary(Binary::And, num(NAN).get(), num(1).get()); }), "Calyx:nanToLogical");
    EXPECT_EQ(errorOf([] { unary(Unary::Not, row({1, NAN}).get()); }), "Calyx:nanToLogical");
    EXPECT_EQ(errorOf([] { binary(Binary::MTimes, mat(2, 3, {1, 2, 3, 4, 5, 6}).get(), mat(2, 3, {1, 2, 3, 4, 5, 6}).get()); }),
              "Calyx:innerDimensions");
    EXPECT_EQ(errorOf([] { binary(Binary::MTimes, row({1, 2}, vxINT8_CLASS).get(), col({1, 2}, vxINT8_CLASS).get()); }),
              "Calyx:integerMatrixProduct");
    ArrayPtr cell(vxCreateCellMatrix(1, 1));
    EXPECT_EQ(errorOf([&] { binary(Binary::Plus, cell.get(), num(1).get()); }), "Calyx:invalidType");
}

TEST(KernelOperators, MatrixProductsSolvesAndPowers) {
    ArrayPtr a = mat(2, 2, {1, 2, 3, 4});
    EXPECT_EQ(rowsOf(binary(Binary::MTimes, a.get(), a.get()).get()), (std::vector<double>{7, 10, 15, 22}));
    EXPECT_EQ(rowsOf(binary(Binary::MPower, a.get(), num(2).get()).get()), (std::vector<double>{7, 10, 15, 22}));
    EXPECT_EQ(rowsOf(binary(Binary::MPower, a.get(), num(0).get()).get()), (std::vector<double>{1, 0, 0, 1}));
    ArrayPtr inv = binary(Binary::MPower, a.get(), num(-1).get());  // [-2 1; 1.5 -0.5]
    std::vector<double> want{-2, 1, 1.5, -0.5}, got = rowsOf(inv.get());
    for (size_t k = 0; k < 4; ++k) EXPECT_NEAR(got[k], want[k], 1e-12);
    // [1 2; 3 4] \ [5; 11] is [1; 2]; [5 11] / [1 3; 2 4] is [1 2].
    got = rowsOf(binary(Binary::MLDivide, a.get(), col({5, 11}).get()).get());
    EXPECT_NEAR(got[0], 1, 1e-12);
    EXPECT_NEAR(got[1], 2, 1e-12);
    got = rowsOf(binary(Binary::MRDivide, row({5, 11}).get(), mat(2, 2, {1, 3, 2, 4}).get()).get());
    EXPECT_NEAR(got[0], 1, 1e-12);
    EXPECT_NEAR(got[1], 2, 1e-12);
    // Least squares: the line through (1,1), (2,2), (3,2) is 2/3 + x/2.
    got = rowsOf(binary(Binary::MLDivide, mat(3, 2, {1, 1, 1, 2, 1, 3}).get(), col({1, 2, 2}).get()).get());
    EXPECT_NEAR(got[0], 2.0 / 3, 1e-12);
    EXPECT_NEAR(got[1], 0.5, 1e-12);
    // A singular system warns and still answers.
    binary(Binary::MLDivide, mat(2, 2, {1, 2, 2, 4}).get(), col({1, 1}).get());
    EXPECT_EQ(vx::lastWarningMessage(), "Matrix is singular to working precision.");
    // Complex product through zgemm: [1 i] * [i; 1] is 2i.
    ArrayPtr x = mat(1, 2, {1, 0}, vxDOUBLE_CLASS, {0, 1}), y = mat(2, 1, {0, 1}, vxDOUBLE_CLASS, {1, 0});
    ArrayPtr p = binary(Binary::MTimes, x.get(), y.get());
    EXPECT_EQ(rowsOf(p.get())[0], 0);
    EXPECT_EQ(imagRowsOf(p.get())[0], 2);
    EXPECT_EQ(errorOf([&] { binary(Binary::MPower, a.get(), num(0.5).get()); }), "Calyx:mpowerNotInteger");
    EXPECT_EQ(errorOf([&] { binary(Binary::MPower, num(2).get(), a.get()); }), "Calyx:mpowerScalarBase");
}

// The truth of a condition is checked through if and while in the language's
// statement tables.
TEST(KernelOperators, Transposes) {
    ArrayPtr t = unary(Unary::Transpose, mat(2, 3, {1, 2, 3, 4, 5, 6}).get());
    EXPECT_EQ(sizeOf(t.get()), "3x2");
    EXPECT_EQ(rowsOf(t.get()), (std::vector<double>{1, 4, 2, 5, 3, 6}));
    ArrayPtr neg = unary(Unary::Negate, str("a").get());
    EXPECT_EQ(vxGetClassID(neg.get()), vxDOUBLE_CLASS);
    EXPECT_EQ(rowsOf(neg.get())[0], -97);
    EXPECT_EQ(rowsOf(unary(Unary::Negate, num(-128, vxINT8_CLASS).get()).get())[0], 127);
}

TEST(KernelOperators, ASpareOperandTakesTheResultOnlyWhenItFits) {
    using qzlang::kernels::FusedStep;
    struct {
        char const* what;
        ArrayPtr spare;
        std::vector<double> a, b;
        Binary op;
        std::vector<double> values;
        bool reused;
    } rows[] = {
        {"same size: written over", row({1, 2, 3}), {1, 2, 3}, {10, 20, 30}, Binary::Plus, {11, 22, 33}, true},
        {"scalar other side", row({1, 2, 3}), {1, 2, 3}, {2}, Binary::MTimes, {2, 4, 6}, true},
        {"result larger: ignored", row({5}), {5}, {1, 2}, Binary::Minus, {4, 3}, false},
        {"comparison: logical result", row({1, 2}), {1, 2}, {2, 2}, Binary::Lt, {1, 0}, false},
        {"single spare", row({1, 2}, vxSINGLE_CLASS), {1, 2}, {1, 1}, Binary::Plus, {2, 3}, false},
    };
    for (auto& r : rows) {
        SCOPED_TRACE(r.what);
        // The spare stands for operand a when it has a's values.
        ArrayPtr a = row(r.a), b = row(r.b);
        vxArray const* left = r.spare->class_id() == vxDOUBLE_CLASS && r.spare->number_of_elements() == r.a.size() ? r.spare.get() : a.get();
        if (left == r.spare.get()) std::memcpy(r.spare->real_data(), r.a.data(), r.a.size() * sizeof(double));
        void const* data = r.spare->real_data();
        ArrayPtr z = binary(r.op, left, b.get(), std::move(r.spare));
        EXPECT_EQ(rowsOf(z.get()), r.values);
        EXPECT_EQ(z->real_data() == data, r.reused);
    }
    // A fused expression: x .* y + 2 ./ x, against the operators one by one.
    ArrayPtr x = row({1, 2, 4}), y = row({3, 5, 7});
    std::vector<FusedStep> steps = {{FusedStep::Array, Binary::Plus, 0, 0},  {FusedStep::Array, Binary::Plus, 1, 0},
                                    {FusedStep::Apply, Binary::Times, 0, 0}, {FusedStep::Scalar, Binary::Plus, 0, 2},
                                    {FusedStep::Array, Binary::Plus, 0, 0},  {FusedStep::Apply, Binary::RDivide, 0, 0},
                                    {FusedStep::Apply, Binary::Plus, 0, 0}};
    ArrayPtr f = qzlang::kernels::fused(steps, {x.get(), y.get()});
    ASSERT_TRUE(f);
    EXPECT_EQ(rowsOf(f.get()), (std::vector<double>{5, 11, 28.5}));
    ArrayPtr other = row({1, 2});
    EXPECT_FALSE(qzlang::kernels::fused(steps, {x.get(), other.get()}));  // sizes differ
    steps.pop_back();
    EXPECT_FALSE(qzlang::kernels::fused(steps, {x.get(), y.get()}));  // two values left
}

} // namespace
