// The array library stand-in: shapes, double and character arrays, scalar
// reading and its errors, and text conversion.
#include "vx/array.hpp"
#include "vx/errors.hpp"
#include "uv/uv.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

namespace {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<vxArray, ArrayDeleter>;

// The identifier of the error that `fn` raises, or "" if none.
template <class Fn>
std::string errorIdOf(Fn fn) {
    try {
        fn();
    } catch (vx::Error const& e) {
        return e.identifier();
    }
    return "";
}

} // namespace

TEST(VxArrayShape, DoubleMatrixHasItsShapeAndZeroData) {
    ArrayPtr a(vxCreateDoubleMatrix(2, 3, vxREAL));
    EXPECT_EQ(vxGetClassID(a.get()), vxDOUBLE_CLASS);
    EXPECT_EQ(vxGetM(a.get()), 2u);
    EXPECT_EQ(vxGetN(a.get()), 3u);
    EXPECT_EQ(vxGetNumberOfElements(a.get()), 6u);
    EXPECT_EQ(vxGetNumberOfDimensions(a.get()), 2u);
    EXPECT_TRUE(vxIsDouble(a.get()));
    EXPECT_FALSE(vxIsChar(a.get()));
    EXPECT_FALSE(vxIsEmpty(a.get()));
    EXPECT_FALSE(vxIsScalar(a.get()));
    EXPECT_FALSE(vxIsComplex(a.get()));
    EXPECT_EQ(vxGetPi(a.get()), nullptr);
    double const* pr = vxGetPr(a.get());
    ASSERT_NE(pr, nullptr);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(pr[i], 0.0);
    EXPECT_EQ(vxGetData(a.get()), static_cast<void*>(vxGetPr(a.get())));
}

TEST(VxArrayShape, NDimensionalCharArrayFoldsTrailingDimsIntoN) {
    size_t const dims[4] = {2, 3, 4, 1};
    ArrayPtr a(vxCreateCharArray(4, dims));
    // The trailing singleton is dropped; N is 3 * 4.
    ASSERT_EQ(vxGetNumberOfDimensions(a.get()), 3u);
    EXPECT_EQ(vxGetDimensions(a.get())[2], 4u);
    EXPECT_EQ(vxGetM(a.get()), 2u);
    EXPECT_EQ(vxGetN(a.get()), 12u);
    EXPECT_EQ(vxGetNumberOfElements(a.get()), 24u);
}

TEST(VxArrayShape, FewerThanTwoDimensionsArePadded) {
    size_t const one[1] = {5};
    ArrayPtr a(vxCreateCharArray(1, one));
    EXPECT_EQ(vxGetM(a.get()), 5u);
    EXPECT_EQ(vxGetN(a.get()), 1u);
    ArrayPtr b(vxCreateCharArray(0, nullptr));
    EXPECT_EQ(vxGetM(b.get()), 0u);
    EXPECT_EQ(vxGetN(b.get()), 0u);
    EXPECT_TRUE(vxIsEmpty(b.get()));
}

TEST(VxArrayShape, EmptyMatricesAreEmptyButKeepTheirComplexity) {
    ArrayPtr a(vxCreateDoubleMatrix(0, 3, vxCOMPLEX));
    EXPECT_TRUE(vxIsEmpty(a.get()));
    EXPECT_FALSE(vxIsScalar(a.get()));
    EXPECT_EQ(vxGetN(a.get()), 3u);
    EXPECT_TRUE(vxIsComplex(a.get()));
    EXPECT_NE(vxGetPi(a.get()), nullptr);
}

TEST(VxArrayShape, ASizeWhoseByteCountOverflowsIsRefused) {
    size_t const huge = std::numeric_limits<size_t>::max() / 4;
    EXPECT_EQ(errorIdOf([&] { vxCreateDoubleMatrix(huge, 1, vxREAL); }), "CALYX:vx:arrayTooLarge");
    EXPECT_EQ(errorIdOf([&] { vxCreateDoubleMatrix(huge, huge, vxREAL); }), "CALYX:vx:arrayTooLarge");
}

TEST(VxArrayComplex, RealAndImaginaryPartsAreSeparateColumnMajorBlocks) {
    ArrayPtr a(vxCreateDoubleMatrix(2, 2, vxCOMPLEX));
    double* pr = vxGetPr(a.get());
    double* pi = vxGetPi(a.get());
    ASSERT_NE(pi, nullptr);
    ASSERT_NE(pr, pi);
    for (int i = 0; i < 4; ++i) {
        pr[i] = i + 1;
        pi[i] = -(i + 1);
    }
    EXPECT_EQ(vxGetImagData(a.get()), static_cast<void*>(pi));
    // The scalar reader would refuse a 2x2; a complex scalar reads its real part.
    ArrayPtr s(vxCreateDoubleMatrix(1, 1, vxCOMPLEX));
    vxGetPr(s.get())[0] = 2.5;
    vxGetPi(s.get())[0] = 7.0;
    EXPECT_EQ(vxGetScalar(s.get()), 2.5);
}

TEST(VxArrayScalar, DoubleScalarReadsBack) {
    ArrayPtr a(vxCreateDoubleScalar(-3.75));
    EXPECT_TRUE(vxIsScalar(a.get()));
    EXPECT_EQ(vxGetM(a.get()), 1u);
    EXPECT_EQ(vxGetN(a.get()), 1u);
    EXPECT_EQ(vxGetScalar(a.get()), -3.75);
    EXPECT_EQ(vxGetPr(a.get())[0], -3.75);
}

TEST(VxArrayScalar, ScalarIntTruncatesTowardZero) {
    ArrayPtr a(vxCreateDoubleScalar(2.9));
    EXPECT_EQ(vxGetScalarInt(a.get()), 2);
    ArrayPtr b(vxCreateDoubleScalar(-2.9));
    EXPECT_EQ(vxGetScalarInt(b.get()), -2);
    ArrayPtr c(vxCreateDoubleScalar(2147483647.0));
    EXPECT_EQ(vxGetScalarInt(c.get()), 2147483647);
}

TEST(VxArrayScalar, ScalarIntRefusesNaNAndOutOfRange) {
    ArrayPtr nan(vxCreateDoubleScalar(std::nan("")));
    EXPECT_EQ(errorIdOf([&] { vxGetScalarInt(nan.get()); }), "CALYX:vx:scalarOutOfIntRange");
    ArrayPtr big(vxCreateDoubleScalar(2147483648.0));
    EXPECT_EQ(errorIdOf([&] { vxGetScalarInt(big.get()); }), "CALYX:vx:scalarOutOfIntRange");
    ArrayPtr inf(vxCreateDoubleScalar(-HUGE_VAL));
    EXPECT_EQ(errorIdOf([&] { vxGetScalarInt(inf.get()); }), "CALYX:vx:scalarOutOfIntRange");
}

TEST(VxArrayScalar, NonScalarAndNonNumericAreErrorsWithCatalogueText) {
    ArrayPtr m(vxCreateDoubleMatrix(1, 2, vxREAL));
    ArrayPtr empty(vxCreateDoubleMatrix(0, 0, vxREAL));
    ArrayPtr text(vxCreateString("7"));
    EXPECT_EQ(errorIdOf([&] { vxGetScalar(m.get()); }), "CALYX:vx:notScalar");
    EXPECT_EQ(errorIdOf([&] { vxGetScalar(empty.get()); }), "CALYX:vx:notScalar");
    EXPECT_EQ(errorIdOf([&] { vxGetScalarInt(m.get()); }), "CALYX:vx:notScalar");
    EXPECT_EQ(errorIdOf([&] { vxGetScalar(text.get()); }), "CALYX:vx:notNumeric");
    EXPECT_EQ(errorIdOf([&] { vxGetScalarInt(nullptr); }), "CALYX:vx:notNumeric");
    try {
        vxGetScalar(m.get());
        FAIL() << "no error raised";
    } catch (vx::Error const& e) {
        EXPECT_STREQ(e.what(), "The value must be a scalar.");
    }
}

TEST(VxArrayText, StringIsOneRowOfUtf16Units) {
    ArrayPtr a(vxCreateString("abc"));
    EXPECT_TRUE(vxIsChar(a.get()));
    EXPECT_EQ(vxGetM(a.get()), 1u);
    EXPECT_EQ(vxGetN(a.get()), 3u);
    auto units = vxm::detail::get_vxchar_ptr_and_len(a.get());
    ASSERT_EQ(units.second, 3u);
    EXPECT_EQ(units.first[0], 'a');
    EXPECT_EQ(units.first[1], 'b');
    EXPECT_EQ(units.first[2], 'c');
    EXPECT_EQ(vxGetPr(a.get()), nullptr);  // not a double array
}

TEST(VxArrayText, NonAsciiTextBecomesOneUnitPerCharacter) {
    // U+00E9 is two bytes in UTF-8, U+20AC three; each is one UTF-16 unit.
    ArrayPtr a(vxCreateString("x\xC3\xA9\xE2\x82\xAC"));
    auto units = vxm::detail::get_vxchar_ptr_and_len(a.get());
    ASSERT_EQ(units.second, 3u);
    EXPECT_EQ(units.first[1], 0x00E9);
    EXPECT_EQ(units.first[2], 0x20AC);
    EXPECT_EQ(vxArrayToStdString(a.get()), "x\xC3\xA9\xE2\x82\xAC");
}

TEST(VxArrayText, EmptyTextIsZeroByZeroAndNullTextIsNull) {
    ArrayPtr a(vxCreateString(""));
    EXPECT_TRUE(vxIsChar(a.get()));
    EXPECT_EQ(vxGetM(a.get()), 0u);
    EXPECT_EQ(vxGetN(a.get()), 0u);
    EXPECT_EQ(vxArrayToStdString(a.get()), "");
    EXPECT_EQ(vxm::detail::get_vxchar_ptr_and_len(a.get()).second, 0u);
    EXPECT_EQ(vxCreateString(nullptr), nullptr);
}

TEST(VxArrayText, CharMatrixReadsInColumnMajorOrder) {
    size_t const dims[2] = {2, 2};
    ArrayPtr a(vxCreateCharArray(2, dims));
    vxChar* units = static_cast<vxChar*>(vxGetData(a.get()));
    // Rows "ab" and "cd", stored column by column.
    units[0] = 'a';
    units[1] = 'c';
    units[2] = 'b';
    units[3] = 'd';
    EXPECT_EQ(vxArrayToStdString(a.get()), "acbd");
}

TEST(VxArrayText, Array2StringGivesAnOwnedCopyAndNullForOtherClasses) {
    ArrayPtr a(vxCreateString("diary.txt"));
    char* copy = vxArray2String(a.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "diary.txt");
    uvFree(copy);
    ArrayPtr d(vxCreateDoubleScalar(1));
    EXPECT_EQ(vxArray2String(d.get()), nullptr);
    EXPECT_EQ(vxArray2String(nullptr), nullptr);
}

TEST(VxArrayText, ToStdStringOfANonCharIsAnError) {
    ArrayPtr d(vxCreateDoubleScalar(1));
    EXPECT_EQ(errorIdOf([&] { vxArrayToStdString(d.get()); }), "CALYX:vx:notCharArray");
    auto units = vxm::detail::get_vxchar_ptr_and_len(d.get());
    EXPECT_EQ(units.first, nullptr);
    EXPECT_EQ(units.second, 0u);
}

TEST(VxStruct, FieldsKeepTheirMembersWhenAFieldIsAdded) {
    char const* names[] = {"a", "b"};
    vxArray* s = vxCreateStructMatrix(1, 2, 2, names);
    vxSetFieldByNumber(s, 0, 0, vxCreateDoubleScalar(1));
    vxSetFieldByNumber(s, 1, 1, vxCreateDoubleScalar(4));
    EXPECT_EQ(2, vxAddField(s, "c"));
    EXPECT_EQ(-1, vxAddField(s, "a"));  // exists
    EXPECT_EQ(3, vxGetNumberOfFields(s));
    EXPECT_EQ(1.0, vxGetScalar(vxGetFieldByNumber(s, 0, 0)));
    EXPECT_EQ(nullptr, vxGetFieldByNumber(s, 0, 1));
    EXPECT_EQ(4.0, vxGetScalar(vxGetFieldByNumber(s, 1, 1)));
    EXPECT_EQ(nullptr, vxGetFieldByNumber(s, 1, 2));
    EXPECT_EQ(1, vxGetFieldNumber(s, "b"));
    EXPECT_EQ(-1, vxGetFieldNumber(s, "B"));  // field names are case-sensitive
    EXPECT_STREQ("c", vxGetFieldNameByNumber(s, 2));
    EXPECT_EQ(nullptr, vxGetFieldNameByNumber(s, 3));
    // Replacing a member frees the old one (the leak checker would see it otherwise).
    vxSetFieldByNumber(s, 0, 0, vxCreateString("x"));
    EXPECT_EQ("x", vxArrayToStdString(vxGetFieldByNumber(s, 0, 0)));
    vxDestroyArray(s);  // and destroys every member
}

TEST(VxStruct, BadNamesAndIndicesAreRefused) {
    char const* twice[] = {"a", "a"};
    try {
        vxCreateStructMatrix(1, 1, 2, twice);
        FAIL();
    } catch (vx::Error const& e) {
        EXPECT_EQ("CALYX:vx:duplicateField", e.identifier());
    }
    vxArray* s = vxCreateStructMatrix(1, 1, 0, nullptr);
    vxArray* v = vxCreateDoubleScalar(2);
    EXPECT_THROW(vxSetFieldByNumber(s, 0, 0, v), vx::Error);  // no field 0
    vxDestroyArray(v);
    EXPECT_EQ(0, vxAddField(s, "f"));
    EXPECT_THROW(vxSetFieldByNumber(s, 1, 0, nullptr), vx::Error);  // one element only
    vxArray* number = vxCreateDoubleScalar(1);
    EXPECT_EQ(-1, vxAddField(number, "f"));
    EXPECT_EQ(0, vxGetNumberOfFields(number));
    vxDestroyArray(number);
    vxDestroyArray(s);
}

TEST(VxScalars, LogicalAndUint64HoldTheirValues) {
    vxArray* t = vxCreateLogicalScalar(true);
    vxArray* big = vxCreateUint64Scalar(18446744073709551615ULL);
    EXPECT_EQ(vxLOGICAL_CLASS, vxGetClassID(t));
    EXPECT_EQ(1.0, vxGetScalar(t));
    EXPECT_EQ(vxUINT64_CLASS, vxGetClassID(big));
    unsigned long long stored = 0;
    std::memcpy(&stored, vxGetData(big), sizeof stored);
    EXPECT_EQ(18446744073709551615ULL, stored);
    vxDestroyArray(t);
    vxDestroyArray(big);
}
