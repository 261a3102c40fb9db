// The array stand-in's classes beyond double and char: numeric classes,
// logical, sparse storage, cells, structures, objects, function handles,
// opaque values, deferred dimensions, copies and shared data.
#include "vx/array.hpp"
#include "vx/errors.hpp"
#include "uv/uv.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>

namespace {

struct ArrayDeleter {
    void operator()(vxArray* a) const { vxDestroyArray(a); }
};
using ArrayPtr = std::unique_ptr<vxArray, ArrayDeleter>;

template <class Fn>
std::string errorIdOf(Fn fn) {
    try {
        fn();
    } catch (vx::Error const& e) {
        return e.identifier();
    }
    return "";
}

size_t const k2x3[2] = {2, 3};

} // namespace

TEST(VxClasses, EveryClassNumberHasAnArrayWithItsNameAndElementSize) {
    struct Row {
        vxArray* array;
        vxClassID id;
        char const* name;
        size_t elementSize;
    };
    char const* fields[] = {"f"};
    Row rows[] = {
        {vxCreateCellMatrix(1, 2), vxCELL_CLASS, "cell", sizeof(void*)},
        {vxCreateStructMatrix(1, 1, 1, fields), vxSTRUCT_CLASS, "struct", sizeof(void*)},
        {vxCreateLogicalMatrix(2, 2), vxLOGICAL_CLASS, "logical", 1},
        {vxCreateString("ab"), vxCHAR_CLASS, "char", 2},
        {vxCreateVoidArray(2, k2x3), vxVOID_CLASS, "void", 0},
        {vxCreateDoubleMatrix(1, 1, vxREAL), vxDOUBLE_CLASS, "double", 8},
        {vxCreateNumericMatrix(1, 1, vxSINGLE_CLASS, vxREAL), vxSINGLE_CLASS, "single", 4},
        {vxCreateNumericMatrix(1, 1, vxINT8_CLASS, vxREAL), vxINT8_CLASS, "int8", 1},
        {vxCreateNumericMatrix(1, 1, vxUINT8_CLASS, vxREAL), vxUINT8_CLASS, "uint8", 1},
        {vxCreateNumericMatrix(1, 1, vxINT16_CLASS, vxREAL), vxINT16_CLASS, "int16", 2},
        {vxCreateNumericMatrix(1, 1, vxUINT16_CLASS, vxREAL), vxUINT16_CLASS, "uint16", 2},
        {vxCreateNumericMatrix(1, 1, vxINT32_CLASS, vxREAL), vxINT32_CLASS, "int32", 4},
        {vxCreateNumericMatrix(1, 1, vxUINT32_CLASS, vxREAL), vxUINT32_CLASS, "uint32", 4},
        {vxCreateNumericMatrix(1, 1, vxINT64_CLASS, vxREAL), vxINT64_CLASS, "int64", 8},
        {vxCreateUint64Scalar(7), vxUINT64_CLASS, "uint64", 8},
        {vxCreateFunctionHandle("@sin"), vxFUNCTION_CLASS, "function_handle", 32},
        {vxCreateOpaque("java.lang.String", 2, k2x3), vxOPAQUE_CLASS, "java.lang.String", sizeof(void*)},
        {vxCreateObject("polynom", 2, k2x3, 1, fields), vxOBJECT_CLASS, "polynom", sizeof(void*)},
    };
    int expectedNumber = 1;
    for (Row const& r : rows) {
        ArrayPtr owner(r.array);
        SCOPED_TRACE(r.name);
        EXPECT_EQ(static_cast<int>(vxGetClassID(r.array)), expectedNumber++);
        EXPECT_EQ(vxGetClassID(r.array), r.id);
        EXPECT_STREQ(vxGetClassName(r.array), r.name);
        EXPECT_EQ(vxGetElementSize(r.array), r.elementSize);
    }
}

TEST(VxClasses, OnlyNumericClassesCarryTheNumericFlag) {
    ArrayPtr d(vxCreateDoubleScalar(1));
    ArrayPtr i(vxCreateNumericMatrix(1, 1, vxUINT16_CLASS, vxREAL));
    ArrayPtr l(vxCreateLogicalScalar(true));
    ArrayPtr c(vxCreateString("a"));
    ArrayPtr cell(vxCreateCellMatrix(1, 1));
    EXPECT_TRUE(vxIsNumeric(d.get()));
    EXPECT_TRUE(vxIsNumeric(i.get()));
    EXPECT_FALSE(vxIsNumeric(l.get()));
    EXPECT_FALSE(vxIsNumeric(c.get()));
    EXPECT_FALSE(vxIsNumeric(cell.get()));
}

TEST(VxClasses, NumericCreationRefusesOtherClasses) {
    EXPECT_EQ(errorIdOf([] { vxCreateNumericMatrix(1, 1, vxCHAR_CLASS, vxREAL); }), "CALYX:vx:invalidClass");
    EXPECT_EQ(errorIdOf([] { vxCreateNumericArray(2, k2x3, vxLOGICAL_CLASS, vxREAL); }), "CALYX:vx:invalidClass");
    EXPECT_EQ(errorIdOf([] { vxCreateNumericMatrix(1, 1, vxUNKNOWN_CLASS, vxREAL); }), "CALYX:vx:invalidClass");
    EXPECT_EQ(errorIdOf([] { vxCreateObject(nullptr, 2, k2x3, 0, nullptr); }), "CALYX:vx:invalidClass");
    EXPECT_EQ(errorIdOf([] { vxCreateOpaque(nullptr, 2, k2x3); }), "CALYX:vx:invalidClass");
}

TEST(VxNumeric, ComplexIntegerArraysHaveTwoBlocksOfTheirElementSize) {
    size_t const dims[3] = {2, 2, 3};
    ArrayPtr a(vxCreateNumericArray(3, dims, vxINT16_CLASS, vxCOMPLEX));
    ASSERT_EQ(vxGetNumberOfDimensions(a.get()), 3u);
    EXPECT_EQ(vxGetNumberOfElements(a.get()), 12u);
    EXPECT_EQ(vxGetN(a.get()), 6u);
    EXPECT_TRUE(vxIsComplex(a.get()));
    EXPECT_EQ(vxGetPr(a.get()), nullptr);  // not a double array
    auto* re = static_cast<int16_t*>(vxGetData(a.get()));
    auto* im = static_cast<int16_t*>(vxGetImagData(a.get()));
    ASSERT_NE(im, nullptr);
    re[11] = -32768;
    im[11] = 32767;  // the last element of each block is writable (ASan checks the size)
    EXPECT_EQ(re[0], 0);
    EXPECT_EQ(im[0], 0);
}

TEST(VxNumeric, ScalarReadingCoversEveryNumericClass) {
    ArrayPtr s(vxCreateNumericMatrix(1, 1, vxINT8_CLASS, vxREAL));
    *static_cast<int8_t*>(vxGetData(s.get())) = -128;
    EXPECT_EQ(vxGetScalar(s.get()), -128.0);
    ArrayPtr f(vxCreateNumericMatrix(1, 1, vxSINGLE_CLASS, vxREAL));
    *static_cast<float*>(vxGetData(f.get())) = 0.5f;
    EXPECT_EQ(vxGetScalar(f.get()), 0.5);
    ArrayPtr u(vxCreateUint64Scalar(18446744073709551615ULL));
    EXPECT_EQ(vxGetScalar(u.get()), 18446744073709551616.0);
}

TEST(VxSparse, StorageHasNzmaxSlotsAndColumnStarts) {
    ArrayPtr s(vxCreateSparse(3, 4, 0, vxCOMPLEX));
    EXPECT_TRUE(vxIsSparse(s.get()));
    EXPECT_TRUE(vxIsComplex(s.get()));
    EXPECT_EQ(vxGetNzmax(s.get()), 1u);  // at least one slot
    EXPECT_EQ(vxGetNumberOfElements(s.get()), 12u);
    EXPECT_EQ(vxGetM(s.get()), 3u);
    EXPECT_EQ(vxGetN(s.get()), 4u);
    size_t const* jc = vxGetJc(s.get());
    ASSERT_NE(jc, nullptr);
    for (int j = 0; j <= 4; ++j) EXPECT_EQ(jc[j], 0u);
    ArrayPtr full(vxCreateDoubleMatrix(2, 2, vxREAL));
    EXPECT_EQ(vxGetIr(full.get()), nullptr);
    EXPECT_EQ(vxGetJc(full.get()), nullptr);
    EXPECT_FALSE(vxIsSparse(full.get()));
}

TEST(VxSparse, MustBeFullPlacesEachStoredElement) {
    // [0 5; 7 0; 0 9] stored column by column.
    ArrayPtr s(vxCreateSparse(3, 2, 3, vxREAL));
    double* pr = vxGetPr(s.get());
    size_t* ir = vxGetIr(s.get());
    size_t* jc = vxGetJc(s.get());
    pr[0] = 7; ir[0] = 1;
    pr[1] = 5; ir[1] = 0;
    pr[2] = 9; ir[2] = 2;
    jc[0] = 0; jc[1] = 1; jc[2] = 3;
    ArrayPtr f(vxMustBeFull(s.get()));
    EXPECT_FALSE(vxIsSparse(f.get()));
    double const* v = vxGetPr(f.get());
    double const expected[6] = {0, 7, 0, 5, 0, 9};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(v[i], expected[i]) << i;
    ArrayPtr dup(vxDuplicateArray(s.get()));
    EXPECT_EQ(vxGetJc(dup.get())[2], 3u);
    EXPECT_EQ(vxGetIr(dup.get())[2], 2u);
    EXPECT_EQ(vxGetPr(dup.get())[2], 9.0);
}

TEST(VxSparse, CorruptStorageIsRefusedNotRead) {
    ArrayPtr s(vxCreateSparse(2, 2, 2, vxREAL));
    vxGetJc(s.get())[1] = 1;
    vxGetJc(s.get())[2] = 2;
    vxGetIr(s.get())[1] = 5;  // row 6 of a 2-row matrix
    EXPECT_EQ(errorIdOf([&] { vxDestroyArray(vxMustBeFull(s.get())); }), "CALYX:vx:corruptSparse");
    vxGetIr(s.get())[1] = 0;
    vxGetJc(s.get())[2] = 3;  // more stored than there is room for
    EXPECT_EQ(errorIdOf([&] { vxDestroyArray(vxMustBeFull(s.get())); }), "CALYX:vx:corruptSparse");
}

TEST(VxSparse, ClassesAndShapeChangesAreLimited) {
    ArrayPtr l(vxCreateSparseLogicalMatrix(2, 2, 1));
    EXPECT_EQ(vxGetClassID(l.get()), vxLOGICAL_CLASS);
    EXPECT_FALSE(vxIsComplex(l.get()));
    EXPECT_EQ(errorIdOf([&] { vxSetN(l.get(), 5); }), "CALYX:vx:invalidClass");
    // A 1x1 sparse scalar with nothing stored reads as zero.
    ArrayPtr z(vxCreateSparse(1, 1, 1, vxREAL));
    vxGetPr(z.get())[0] = 42;  // a spare slot, not a stored element
    EXPECT_EQ(vxGetScalar(z.get()), 0.0);
}

TEST(VxCells, CellsAreOwnedAndReplacedCellsDestroyed) {
    ArrayPtr c(vxCreateCellMatrix(2, 2));
    EXPECT_EQ(vxGetCell(c.get(), 0), nullptr);
    vxSetCell(c.get(), 0, vxCreateDoubleScalar(1));
    vxSetCell(c.get(), 0, vxCreateString("x"));  // the double is destroyed here (the leak checker would see it)
    vxArray* inner = vxCreateCellMatrix(1, 1);
    vxSetCell(inner, 0, vxCreateString("deep"));
    vxSetCell(c.get(), 3, inner);
    EXPECT_EQ(vxArrayToStdString(vxGetCell(c.get(), 0)), "x");
    EXPECT_EQ(vxGetCell(c.get(), 3), inner);
    EXPECT_EQ(vxGetCell(c.get(), 4), nullptr);
    auto** data = static_cast<vxArray**>(vxGetData(c.get()));
    EXPECT_EQ(data[3], inner);  // the cells are the data, as pointers
    EXPECT_EQ(data[1], nullptr);
    EXPECT_EQ(errorIdOf([&] { vxSetCell(c.get(), 4, nullptr); }), "CALYX:vx:indexOutOfRange");
    ArrayPtr d(vxCreateDoubleScalar(0));
    EXPECT_EQ(errorIdOf([&] { vxSetCell(d.get(), 0, nullptr); }), "CALYX:vx:invalidClass");
}

TEST(VxStructs, FieldValuesStandInTheDataElementMajor) {
    char const* names[] = {"a", "b"};
    size_t const dims[3] = {1, 2, 2};
    ArrayPtr s(vxCreateStructArray(3, dims, 2, names));
    EXPECT_EQ(vxGetNumberOfElements(s.get()), 4u);
    vxArray* v = vxCreateDoubleScalar(3);
    vxSetFieldByNumber(s.get(), 2, 1, v);
    auto** data = static_cast<vxArray**>(vxGetData(s.get()));
    EXPECT_EQ(data[2 * 2 + 1], v);
    EXPECT_EQ(vxAddField(s.get(), "c"), 2);
    data = static_cast<vxArray**>(vxGetData(s.get()));
    EXPECT_EQ(data[2 * 3 + 1], v);
    EXPECT_EQ(data[2 * 3 + 2], nullptr);
}

TEST(VxObjects, ObjectsHaveAClassNameAndAFieldTable) {
    char const* names[] = {"coef"};
    size_t const one[2] = {1, 1};
    ArrayPtr o(vxCreateObject("polynom", 2, one, 1, names));
    EXPECT_EQ(vxGetNumberOfFields(o.get()), 1);
    EXPECT_STREQ(vxGetFieldNameByNumber(o.get(), 0), "coef");
    vxSetFieldByNumber(o.get(), 0, 0, vxCreateDoubleScalar(2));
    EXPECT_EQ(vxGetScalar(vxGetFieldByNumber(o.get(), 0, 0)), 2.0);
    EXPECT_EQ(vxAddField(o.get(), "extra"), 1);
    // A class named like a structure is still an object.
    ArrayPtr x(vxCreateObject("structx", 2, one, 0, nullptr));
    EXPECT_EQ(vxGetClassID(x.get()), vxOBJECT_CLASS);
    EXPECT_STREQ(vxGetClassName(x.get()), "structx");
    char const* twice[] = {"a", "a"};
    EXPECT_EQ(errorIdOf([&] { vxCreateObject("p", 2, one, 2, twice); }), "CALYX:vx:duplicateField");
}

TEST(VxHandles, HandleRecordsAre32BytesWithTheirText) {
    size_t const dims[2] = {1, 3};
    ArrayPtr h(vxCreateFunctionHandleArray(2, dims));
    vxSetFunctionHandle(h.get(), 0, "@sin");
    vxSetFunctionHandle(h.get(), 2, "@(x)x.^2+1");
    vxSetFunctionHandle(h.get(), 2, "@cos");  // the old text is freed
    auto const* records = static_cast<function_handle_tag const*>(vxGetData(h.get()));
    EXPECT_EQ(reinterpret_cast<char const*>(&records[1]) - reinterpret_cast<char const*>(&records[0]), 32);
    EXPECT_EQ(vxFunctionHandleToString(&records[0]), "@sin");
    EXPECT_EQ(vxFunctionHandleToString(&records[1]), "");  // unset
    EXPECT_EQ(vxFunctionHandleToString(&records[2]), "@cos");
    EXPECT_EQ(vxFunctionHandleToString(nullptr), "");
    EXPECT_EQ(errorIdOf([&] { vxSetFunctionHandle(h.get(), 3, "@tan"); }), "CALYX:vx:indexOutOfRange");
    ArrayPtr one(vxCreateFunctionHandle("@(t) t"));
    EXPECT_TRUE(vxIsScalar(one.get()));
    EXPECT_EQ(vxFunctionHandleToString(static_cast<function_handle_tag const*>(vxGetData(one.get()))), "@(t) t");
}

TEST(VxDeferredDimensions, DimensionsReadAsCreatedUntilCompleted) {
    size_t const one[2] = {1, 1};
    size_t const later[3] = {2, 3, 4};
    ArrayPtr o(vxCreateOpaque("java.util.Vector", 2, one));
    vxDeferDimensions(o.get(), 3, later);
    EXPECT_TRUE(vxDimensionsIncomplete(o.get()));
    EXPECT_EQ(vxGetNumberOfElements(o.get()), 1u);
    vxArray const* constView = o.get();
    _complete_opaque_dimensions(constView);
    EXPECT_FALSE(vxDimensionsIncomplete(o.get()));
    ASSERT_EQ(vxGetNumberOfDimensions(o.get()), 3u);
    EXPECT_EQ(vxGetNumberOfElements(o.get()), 24u);
    static_cast<void**>(vxGetData(o.get()))[23] = nullptr;  // the data grew with the shape
    _complete_opaque_dimensions(constView);  // nothing pending: no change
    EXPECT_EQ(vxGetNumberOfElements(o.get()), 24u);
    ArrayPtr d(vxCreateDoubleScalar(1));
    EXPECT_EQ(errorIdOf([&] { vxDeferDimensions(d.get(), 3, later); }), "CALYX:vx:invalidClass");
}

TEST(VxDeferredDimensions, ObjectsKeepTheMembersOfRemainingElements) {
    char const* names[] = {"v"};
    size_t const three[2] = {1, 3};
    size_t const two[2] = {2, 1};
    ArrayPtr o(vxCreateObject("thing", 2, three, 1, names));
    vxSetFieldByNumber(o.get(), 0, 0, vxCreateDoubleScalar(10));
    vxSetFieldByNumber(o.get(), 2, 0, vxCreateDoubleScalar(30));  // dropped with element 3
    vxDeferDimensions(o.get(), 2, two);
    _complete_opaque_dimensions(o.get());
    EXPECT_EQ(vxGetM(o.get()), 2u);
    EXPECT_EQ(vxGetScalar(vxGetFieldByNumber(o.get(), 0, 0)), 10.0);
    EXPECT_EQ(vxGetFieldByNumber(o.get(), 1, 0), nullptr);
    EXPECT_EQ(vxGetFieldByNumber(o.get(), 2, 0), nullptr);
}

TEST(VxCopies, DuplicateIsDeep) {
    char const* names[] = {"name", "handle"};
    ArrayPtr s(vxCreateStructMatrix(1, 1, 2, names));
    vxArray* cell = vxCreateCellMatrix(1, 2);
    vxSetCell(cell, 1, vxCreateString("inside"));
    vxSetFieldByNumber(s.get(), 0, 0, cell);
    vxSetFieldByNumber(s.get(), 0, 1, vxCreateFunctionHandle("@plus"));
    ArrayPtr copy(vxDuplicateArray(s.get()));
    vxSetCell(cell, 1, vxCreateString("changed"));
    vxArray* copiedCell = vxGetFieldByNumber(copy.get(), 0, 0);
    ASSERT_NE(copiedCell, cell);
    EXPECT_EQ(vxArrayToStdString(vxGetCell(copiedCell, 1)), "inside");
    vxArray* h = vxGetFieldByNumber(copy.get(), 0, 1);
    EXPECT_EQ(vxFunctionHandleToString(static_cast<function_handle_tag const*>(vxGetData(h))), "@plus");
    EXPECT_EQ(vxDuplicateArray(nullptr), nullptr);

    ArrayPtr z(vxCreateNumericMatrix(2, 1, vxINT32_CLASS, vxCOMPLEX));
    static_cast<int32_t*>(vxGetImagData(z.get()))[1] = -4;
    ArrayPtr zc(vxDuplicateArray(z.get()));
    EXPECT_EQ(vxGetClassID(zc.get()), vxINT32_CLASS);
    EXPECT_EQ(static_cast<int32_t*>(vxGetImagData(zc.get()))[1], -4);
    EXPECT_NE(vxGetImagData(zc.get()), vxGetImagData(z.get()));
}

TEST(VxCopies, EmptyCopyKeepsClassFieldsAndComplexity) {
    char const* names[] = {"x", "y"};
    ArrayPtr o(vxCreateObject("point", 2, k2x3, 2, names));
    ArrayPtr e(vxCreateEmptyCopy(o.get()));
    EXPECT_EQ(vxGetClassID(e.get()), vxOBJECT_CLASS);
    EXPECT_STREQ(vxGetClassName(e.get()), "point");
    EXPECT_EQ(vxGetNumberOfFields(e.get()), 2);
    EXPECT_TRUE(vxIsEmpty(e.get()));
    ArrayPtr c(vxCreateNumericMatrix(3, 3, vxSINGLE_CLASS, vxCOMPLEX));
    ArrayPtr ce(vxCreateEmptyCopy(c.get()));
    EXPECT_TRUE(vxIsComplex(ce.get()));
    EXPECT_EQ(vxGetClassID(ce.get()), vxSINGLE_CLASS);
}

TEST(VxSharedData, ASharedHeaderViewsAnotherArraysDataWithoutFreeingIt) {
    size_t const dims[3] = {2, 2, 2};
    ArrayPtr a(vxCreateNumericArray(3, dims, vxDOUBLE_CLASS, vxCOMPLEX));
    double* pr = vxGetPr(a.get());
    for (int i = 0; i < 8; ++i) pr[i] = i;
    ArrayPtr page(vxCreateEmptyCopy(a.get()));
    vxSetDataShared(page.get());
    vxSetM(page.get(), 2);
    vxSetN(page.get(), 2);
    vxSetData(page.get(), pr + 4);
    vxSetImagData(page.get(), vxGetPi(a.get()) + 4);
    EXPECT_EQ(vxGetNumberOfElements(page.get()), 4u);
    EXPECT_EQ(vxGetPr(page.get())[0], 4.0);
    EXPECT_TRUE(vxIsComplex(page.get()));
    page.reset();  // a double free here would stop the sanitizer run
    EXPECT_EQ(pr[7], 7.0);
}

TEST(VxSharedData, SetDataAdoptsAndFreesUnlessShared) {
    ArrayPtr a(vxCreateDoubleMatrix(1, 2, vxREAL));
    auto* block = static_cast<double*>(vxMalloc(2 * sizeof(double)));
    block[0] = 1.5;
    block[1] = 2.5;
    vxSetData(a.get(), block);  // the old block is freed, the new one adopted
    EXPECT_EQ(vxGetPr(a.get())[1], 2.5);
}

TEST(VxMemory, AllocationFailureIsErrorSeventeen) {
    size_t const huge = std::numeric_limits<size_t>::max() / 2;
    try {
        vxCalloc(huge, 4);
        FAIL() << "no error";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:vx:error17");
        EXPECT_STREQ(e.what(), "Out of memory.");
    }
    void* p = vxCalloc(3, 8);
    EXPECT_EQ(static_cast<char*>(p)[23], 0);
    vxFree(p);
    vxFree(nullptr);
}
