// The array stand-in's edges that display does not reach: class numbers and
// element sizes, the errors of bad requests, and ownership of members.
#include "support/error_id.hpp"
#include "vx/array.hpp"
#include "vx/errors.hpp"
#include "uv/uv.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>

namespace {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<vxArray, ArrayDeleter>;

using qztest::errorIdOf;

size_t const k2x3[2] = {2, 3};
size_t const k1x1[2] = {1, 1};

} // namespace

TEST(VxClasses, EveryClassNumberHasAnArrayWithItsNameElementSizeAndNumericFlag) {
    struct Row {
        vxArray* array;
        char const* name;
        size_t elementSize;
        bool numeric;
    };
    char const* fields[] = {"f"};
    Row rows[] = {
        {vxCreateCellMatrix(1, 2), "cell", sizeof(void*), false},
        {vxCreateStructMatrix(1, 1, 1, fields), "struct", sizeof(void*), false},
        {vxCreateLogicalMatrix(2, 2), "logical", 1, false},
        {vxCreateString("ab"), "char", 2, false},
        {vxCreateVoidArray(2, k2x3), "void", 0, false},
        {vxCreateDoubleMatrix(1, 1, vxREAL), "double", 8, true},
        {vxCreateNumericMatrix(1, 1, vxSINGLE_CLASS, vxREAL), "single", 4, true},
        {vxCreateNumericMatrix(1, 1, vxINT8_CLASS, vxREAL), "int8", 1, true},
        {vxCreateNumericMatrix(1, 1, vxUINT8_CLASS, vxREAL), "uint8", 1, true},
        {vxCreateNumericMatrix(1, 1, vxINT16_CLASS, vxREAL), "int16", 2, true},
        {vxCreateNumericMatrix(1, 1, vxUINT16_CLASS, vxREAL), "uint16", 2, true},
        {vxCreateNumericMatrix(1, 1, vxINT32_CLASS, vxREAL), "int32", 4, true},
        {vxCreateNumericMatrix(1, 1, vxUINT32_CLASS, vxREAL), "uint32", 4, true},
        {vxCreateNumericMatrix(1, 1, vxINT64_CLASS, vxREAL), "int64", 8, true},
        {vxCreateUint64Scalar(7), "uint64", 8, true},
        {vxCreateFunctionHandle("@sin"), "function_handle", 32, false},
        {vxCreateOpaque("java.lang.String", 2, k2x3), "java.lang.String", sizeof(void*), false},
        {vxCreateObject("polynom", 2, k2x3, 1, fields), "polynom", sizeof(void*), false},
    };
    int expectedNumber = 1;
    for (Row const& r : rows) {
        ArrayPtr owner(r.array);
        SCOPED_TRACE(r.name);
        EXPECT_EQ(static_cast<int>(vxGetClassID(r.array)), expectedNumber++);
        EXPECT_STREQ(vxGetClassName(r.array), r.name);
        EXPECT_EQ(vxGetElementSize(r.array), r.elementSize);
        EXPECT_EQ(vxIsNumeric(r.array), r.numeric);
    }
}

TEST(VxErrors, BadRequestsRaiseTheirIdentifiers) {
    size_t const huge = std::numeric_limits<size_t>::max() / 4;
    char const* twice[] = {"a", "a"};
    ArrayPtr matrix(vxCreateDoubleMatrix(1, 2, vxREAL)), text(vxCreateString("7")), cell(vxCreateCellMatrix(2, 2));
    ArrayPtr nan(vxCreateDoubleScalar(std::nan(""))), big(vxCreateDoubleScalar(2147483648.0));
    ArrayPtr minusInf(vxCreateDoubleScalar(-HUGE_VAL)), handles(vxCreateFunctionHandleArray(2, k2x3));
    ArrayPtr logicalSparse(vxCreateSparseLogicalMatrix(2, 2, 1)), wrongRow(vxCreateSparse(2, 2, 2, vxREAL));
    ArrayPtr overfull(vxCreateSparse(2, 2, 2, vxREAL)), oneStruct(vxCreateStructMatrix(1, 1, 0, nullptr));
    vxGetJc(wrongRow.get())[1] = 1;
    vxGetJc(wrongRow.get())[2] = 2;
    vxGetIr(wrongRow.get())[1] = 5;  // row 6 of a 2-row matrix
    vxGetJc(overfull.get())[2] = 3;  // more stored than there is room for
    struct Row {
        char const* what;
        std::function<void()> call;
        char const* id;
    } const rows[] = {
        {"rows overflow", [&] { vxCreateDoubleMatrix(huge, 1, vxREAL); }, "CALYX:vx:arrayTooLarge"},
        {"bytes overflow", [&] { vxCreateDoubleMatrix(huge, huge, vxREAL); }, "CALYX:vx:arrayTooLarge"},
        {"char as numeric", [] { vxCreateNumericMatrix(1, 1, vxCHAR_CLASS, vxREAL); }, "CALYX:vx:invalidClass"},
        {"logical as numeric", [] { vxCreateNumericArray(2, k2x3, vxLOGICAL_CLASS, vxREAL); }, "CALYX:vx:invalidClass"},
        {"unknown class", [] { vxCreateNumericMatrix(1, 1, vxUNKNOWN_CLASS, vxREAL); }, "CALYX:vx:invalidClass"},
        {"unnamed object", [] { vxCreateObject(nullptr, 2, k2x3, 0, nullptr); }, "CALYX:vx:invalidClass"},
        {"unnamed opaque", [] { vxCreateOpaque(nullptr, 2, k2x3); }, "CALYX:vx:invalidClass"},
        {"duplicate field", [&] { vxCreateStructMatrix(1, 1, 2, twice); }, "CALYX:vx:duplicateField"},
        {"duplicate object field", [&] { vxCreateObject("p", 2, k1x1, 2, twice); }, "CALYX:vx:duplicateField"},
        {"no field 0", [&] { vxSetFieldByNumber(oneStruct.get(), 0, 0, nullptr); }, "CALYX:vx:indexOutOfRange"},
        {"cell past the end", [&] { vxSetCell(cell.get(), 4, nullptr); }, "CALYX:vx:indexOutOfRange"},
        {"cell of a double", [&] { vxSetCell(matrix.get(), 0, nullptr); }, "CALYX:vx:invalidClass"},
        {"handle past the end", [&] { vxSetFunctionHandle(handles.get(), 6, "@tan"); }, "CALYX:vx:indexOutOfRange"},
        {"reshaped sparse", [&] { vxSetN(logicalSparse.get(), 5); }, "CALYX:vx:invalidClass"},
        {"deferred double", [&] { vxDeferDimensions(matrix.get(), 2, k2x3); }, "CALYX:vx:invalidClass"},
        {"sparse row outside", [&] { vxDestroyArray(vxMustBeFull(wrongRow.get())); }, "CALYX:vx:corruptSparse"},
        {"sparse overfull", [&] { vxDestroyArray(vxMustBeFull(overfull.get())); }, "CALYX:vx:corruptSparse"},
        {"scalar of a row", [&] { vxGetScalar(matrix.get()); }, "CALYX:vx:notScalar"},
        {"scalar of text", [&] { vxGetScalar(text.get()); }, "CALYX:vx:notNumeric"},
        {"int of null", [] { vxGetScalarInt(nullptr); }, "CALYX:vx:notNumeric"},
        {"int of NaN", [&] { vxGetScalarInt(nan.get()); }, "CALYX:vx:scalarOutOfIntRange"},
        {"int of 2^31", [&] { vxGetScalarInt(big.get()); }, "CALYX:vx:scalarOutOfIntRange"},
        {"int of -Inf", [&] { vxGetScalarInt(minusInf.get()); }, "CALYX:vx:scalarOutOfIntRange"},
        {"text of a double", [&] { vxArrayToStdString(matrix.get()); }, "CALYX:vx:notCharArray"},
        {"out of memory", [&] { vxCalloc(huge * 2, 4); }, "CALYX:vx:error17"},
    };
    for (Row const& r : rows) EXPECT_EQ(r.id, errorIdOf(r.call)) << r.what;
    try {
        vxGetScalar(matrix.get());
    } catch (vx::Error const& e) {
        EXPECT_STREQ(e.what(), "The value must be a scalar.");
    }
    ArrayPtr truncated(vxCreateDoubleScalar(-2.9)), largest(vxCreateDoubleScalar(2147483647.0));
    EXPECT_EQ(vxGetScalarInt(truncated.get()), -2);  // toward zero
    EXPECT_EQ(vxGetScalarInt(largest.get()), 2147483647);
    EXPECT_EQ(vxArray2String(matrix.get()), nullptr);
}

TEST(VxMembers, ReplacedMembersAreDestroyedAndAddedFieldsKeepTheOthers) {
    ArrayPtr c(vxCreateCellMatrix(2, 2));
    vxSetCell(c.get(), 0, vxCreateDoubleScalar(1));
    vxSetCell(c.get(), 0, vxCreateString("x"));  // the double is destroyed here (the leak checker would see it)
    vxArray* inner = vxCreateCellMatrix(1, 1);
    vxSetCell(inner, 0, vxCreateString("deep"));
    vxSetCell(c.get(), 3, inner);
    EXPECT_EQ(vxArrayToStdString(vxGetCell(c.get(), 0)), "x");
    auto** cells = static_cast<vxArray**>(vxGetData(c.get()));
    EXPECT_EQ(cells[3], inner);  // the cells are the data, as pointers
    EXPECT_EQ(cells[1], nullptr);
    EXPECT_EQ(vxGetCell(c.get(), 4), nullptr);

    char const* names[] = {"a", "b"};
    size_t const dims[3] = {1, 2, 2};
    ArrayPtr s(vxCreateStructArray(3, dims, 2, names));
    vxArray* v = vxCreateDoubleScalar(3);
    vxSetFieldByNumber(s.get(), 2, 1, v);
    vxSetFieldByNumber(s.get(), 0, 0, vxCreateDoubleScalar(1));
    vxSetFieldByNumber(s.get(), 0, 0, vxCreateString("y"));  // the old member is freed
    EXPECT_EQ(static_cast<vxArray**>(vxGetData(s.get()))[2 * 2 + 1], v);  // element-major
    EXPECT_EQ(vxAddField(s.get(), "c"), 2);
    EXPECT_EQ(vxAddField(s.get(), "a"), -1);  // exists
    auto** data = static_cast<vxArray**>(vxGetData(s.get()));
    EXPECT_EQ(data[2 * 3 + 1], v);
    EXPECT_EQ(data[2 * 3 + 2], nullptr);
    EXPECT_EQ("y", vxArrayToStdString(vxGetFieldByNumber(s.get(), 0, 0)));
    EXPECT_EQ(-1, vxGetFieldNumber(s.get(), "B"));  // field names are case-sensitive
    EXPECT_EQ(nullptr, vxGetFieldNameByNumber(s.get(), 3));
    ArrayPtr number(vxCreateDoubleScalar(1));
    EXPECT_EQ(-1, vxAddField(number.get(), "f"));
}
