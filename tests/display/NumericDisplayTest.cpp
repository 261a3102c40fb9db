// The numeric matrix printer: the choice of format and width from the data,
// the scale line, specials, every integer class, complex parts and the
// formats that print in their own way. Expected texts are worked out from
// the display rules by hand.
#include "display/display_support.hpp"

using namespace qztest;

namespace {
std::string const k13(13, ' '), k22(22, ' ');
} // namespace

class NumericDisplay : public DisplayTest {};

TEST_F(NumericDisplay, DoublesTakeFormatWidthAndScaleFromTheirData) {
    expectShown({
        {"A", doubles({{1, 2}, {3, 4}}), "\nA =\n\n     1     2\n     3     4\n\n"},
        {"A", doubles({{1, 2}, {3, 4}}), "A =\n     1     2\n     3     4\n", PrtfmtShort, true},
        {"A", doubles({{1000.5, 2}}), "A =\n   1.0e+03 *\n    1.0005    0.0020\n", PrtfmtShort, true},
        {"x", doubles({{1.5, -2.25}}), "\nx =\n\n    1.5000   -2.2500\n\n"},
        {"x", doubles({{0.05, 0.001}}), "\nx =\n\n    0.0500    0.0010\n\n"},  // e is -1: no scale
        {"A", doubles({{1000.5, 2}}), "\nA =\n\n   1.0e+03 *\n\n    1.0005    0.0020\n\n"},
        {"A", doubles({{0.0005, 0.0001}}), "\nA =\n\n   1.0e-03 *\n\n    0.5000    0.1000\n\n"},
        {"x", doubles({{1234.5}}), "\nx =\n\n   1.2345e+03\n\n"},
        {"x", doubles({{0.0005}}), "\nx =\n\n   5.0000e-04\n\n"},
        // e equal to 2 is scaled in long only.
        {"A", doubles({{999.5, 1}}), "\nA =\n\n  999.5000    1.0000\n\n"},
        {"A", doubles({{999.5, 1}}), "\nA =\n\n   1.0e+02 *\n\n   9.994999999999999   0.010000000000000\n\n",
         PrtfmtLong},
        {"A", doubles({{1, kNaN}, {kInf, -kInf}}), "\nA =\n\n     1   NaN\n   Inf  -Inf\n\n"},
        {"A", doubles({{1.5, kNaN, -kInf, 0}}), "\nA =\n\n    1.5000       NaN      -Inf         0\n\n"},
        {"A", doubles({{kNaN, kNaN}}), "\nA =\n\n   NaN   NaN\n\n"},
        {"A", doubles({{999999999, 1}}), "\nA =\n\n   999999999           1\n\n"},
        {"A", doubles({{1e9, 1}}), "\nA =\n\n   1.0e+09 *\n\n    1.0000    0.0000\n\n"},
        {"x", doubles({{1e9}}), "\nx =\n\n   1.0000e+09\n\n"},
        {"s", numeric<float>(vxSINGLE_CLASS, {{1.5f, 2.25f}}), "\ns =\n\n    1.5000    2.2500\n\n"},
        {"s", numeric<float>(vxSINGLE_CLASS, {{1.5f, 2.25f}}), "\ns =\n\n   1.5000000   2.2500000\n\n", PrtfmtLong},
        {"A", doubles({{1.5, 2}}), "\nA =\n\n   1.5000e+00   2.0000e+00\n\n", PrtfmtShortE},
        {"A", doubles({{0.1, 100.5}}), "\nA =\n\n          0.1        100.5\n\n", PrtfmtShortG},
    });
}

TEST_F(NumericDisplay, IntegerClassesLogicalAndComplexParts) {
    expectShown({
        {"a", numeric<int8_t>(vxINT8_CLASS, {{-128, 127}, {0, 5}}), "\na =\n\n -128  127\n    0    5\n\n"},
        {"a", numeric<int16_t>(vxINT16_CLASS, {{-32768, 7}}), "\na =\n\n -32768      7\n\n"},
        {"a", numeric<int32_t>(vxINT32_CLASS, {{INT32_MIN, 1}}), "\na =\n\n -2147483648           1\n\n"},
        {"a", numeric<int64_t>(vxINT64_CLASS, {{INT64_MIN, 1}}), "\na =\n\n -9223372036854775808                    1\n\n"},
        {"a", numeric<uint8_t>(vxUINT8_CLASS, {{255, 0}}), "\na =\n\n  255    0\n\n"},
        {"a", numeric<uint16_t>(vxUINT16_CLASS, {{65535}}), "\na =\n\n  65535\n\n"},
        {"a", numeric<uint32_t>(vxUINT32_CLASS, {{4294967295u}}), "\na =\n\n  4294967295\n\n"},
        // 1.8e19 would scale a double matrix; an integer class never shows a scale.
        {"a", numeric<uint64_t>(vxUINT64_CLASS, {{UINT64_MAX, 1}}), "\na =\n\n 18446744073709551615                    1\n\n"},
        // Integer fields ignore the print format.
        {"a", numeric<uint8_t>(vxUINT8_CLASS, {{7, 200}}), "\na =\n\n    7  200\n\n", PrtfmtShortE},
        {"a", numeric<uint8_t>(vxUINT8_CLASS, {{7, 200}}), "\na =\n\n    7  200\n\n", PrtfmtLong},
        {"t", nd<unsigned char>({1, 3}, {1, 0, 1}, vxLOGICAL_CLASS), "\nt =\n\n     1     0     1\n\n"},
        // The smallest signed value's magnitude wraps to itself: 128 unsigned.
        {"z", complexInts<int8_t>(vxINT8_CLASS, {3, -128}, {4, -128}), "\nz =\n\n    3 +    4i -128 -  128i\n\n"},
        {"z", complexInts<int32_t>(vxINT32_CLASS, {1}, {0}), "\nz =\n\n           1 +           0i\n\n"},
        {"z", complexInts<uint16_t>(vxUINT16_CLASS, {65535}, {1}), "\nz =\n\n  65535 +      1i\n\n"},
        {"z", complexInts<int64_t>(vxINT64_CLASS, {INT64_MIN}, {INT64_MIN}),
         "\nz =\n\n -9223372036854775808 -  9223372036854775808i\n\n"},
        {"z", complexRow({{3, 4}}), "\nz =\n\n   3.0000 + 4.0000i\n\n"},
        {"z", complexRow({{1, -2.5}}), "\nz =\n\n   1.0000 - 2.5000i\n\n"},
        {"z", complexRow({{0, 2}}), "\nz =\n\n   0.0000 + 2.0000i\n\n"},
        {"z", complexRow({{3, 0}}), "\nz =\n\n   3.0000 + 0.0000i\n\n"},
        {"z", complexRow({{1, kNaN}}), "\nz =\n\n   1.0000 +    NaNi\n\n"},
        {"z", complexRow({{1000, 1}, {2, 0}}), "\nz =\n\n   1.0e+03 *\n\n   1.0000 + 0.0010i   0.0020 + 0.0000i\n\n"},
    });
}

TEST_F(NumericDisplay, FormatsThatPrintInTheirOwnWay) {
    expectShown({
        // Two decimals: real parts only.
        {"z", complexRow({{3, 4}}), "\nz =\n\n          3.00\n\n", PrtfmtTwoDecimal},
        {"a", doubles({{1, 0}}), "\na =\n\n          1.00             0\n\n", PrtfmtTwoDecimal},
        {"a", doubles({{2.5, 1234.567}}), "\na =\n\n          2.50       1234.57\n\n", PrtfmtTwoDecimal},
        {"A", doubles({{1, -2, 0, kNaN}, {-0.5, 3, kInf, 0}}), "\nA =\n\n+-  \n-++ \n\n", PrtfmtSign},
        {"z", complexRow({{0, 5}, {-1, -1}}), "\nz =\n\n -\n\n", PrtfmtSign},
        {"x", doubles({{1.0}}), "\nx =\n\n   3ff0000000000000\n\n", PrtfmtHex},
        {"t", ArrayPtr(vxCreateLogicalScalar(true)), "\nt =\n\n   1\n\n", PrtfmtHex},
        {"a", numeric<int16_t>(vxINT16_CLASS, {{-1}}), "\na =\n\n   ffff\n\n", PrtfmtHex},
        {"a", numeric<uint8_t>(vxUINT8_CLASS, {{255, 16}}), "\na =\n\n   ff   10\n\n", PrtfmtHex},
        {"a", numeric<int64_t>(vxINT64_CLASS, {{-2}}), "\na =\n\n   fffffffffffffffe\n\n", PrtfmtHex},
        {"s", numeric<float>(vxSINGLE_CLASS, {{1.0f}}), "\ns =\n\n   3f800000\n\n", PrtfmtHex},
        {"z", complexRow({{1, 2}}), "\nz =\n\n   3ff0000000000000   4000000000000000i\n\n", PrtfmtHex},
        // Rational: the star only in arrays of many columns.
        {"r", doubles({{0.5}, {1234567.5}}), "\nr =\n\n       1/2     \n 1234568       \n\n", PrtfmtRational},
        {"r", doubles({{1234567.5, 0.25}}), "\nr =\n\n       *              1/4     \n\n", PrtfmtRational},
        {"r", doubles({{3, -2}}), "\nr =\n\n       3             -2       \n\n", PrtfmtRational},
        {"r", doubles({{kNaN, kInf}}), "\nr =\n\n       0/0            1/0     \n\n", PrtfmtRational},
        {"r", doubles({{M_PI}}), "\nr =\n\n     355/113   \n\n", PrtfmtRational},
        {"z", complexRow({{0.5, 0.25}}), "\nz =\n\n       1/2      +    1/4i    \n\n", PrtfmtRational},
        {"z", complexRow({{1, 3}}), "\nz =\n\n       1        +    3i      \n\n", PrtfmtRational},
        {"e", doubles({{1500}, {999.99999}, {0}, {-0.0}, {kNaN}}),
         "\ne =\n\n     1.5000e+003\n     1.0000e+003\n     0.0000e+000\n     0.0000e+000\n" + k13 + "NaN\n\n",
         PrtfmtShortEng},
        {"e", doubles({{1500}, {999.99999}, {0}, {-0.0}, {kNaN}}),
         "\ne =\n\n    1.50000000000000e+003\n    999.999990000000e+000\n    0.00000000000000e+000\n"
         "    0.00000000000000e+000\n" + k22 + "NaN\n\n",
         PrtfmtLongEng},
        {"e", doubles({{1500}}), "\ne =\n\n     1.5000e+003\n\n", PrtfmtShortEng},
        {"z", complexRow({{1500, 2}}), "\nz =\n\n     1.5000e+003 +  2.0000e+000i\n\n", PrtfmtShortEng},
        {"z", complexRow({{1, 0}}), "\nz =\n\n     1.0000e+000 +" + k13 + "i\n\n", PrtfmtShortEng},
    });
    // Hexadecimal follows the word order of the format type.
    uvSetFormatType(1);
    std::string const out = showIn(PrtfmtHex, "x", doubles({{1.0}}).get());
    uvSetFormatType(0);
    EXPECT_EQ(out, "\nx =\n\n   000000003ff00000\n\n");
}

TEST_F(NumericDisplay, DebugFormatWritesTheHeaderThenShort) {
    ArrayPtr a = doubles({{1, 2}});
    char header[256];
    std::snprintf(header, sizeof header, "\nStructure address = %lx \nm = 1\nn = 2\npr = %lx \npi = 0\n",
                  reinterpret_cast<unsigned long>(a.get()), reinterpret_cast<unsigned long>(vxGetData(a.get())));
    EXPECT_EQ(showIn(PrtfmtDebug, "A", a.get()), std::string("\nA =\n\n") + header + "     1     2\n\n");
}

TEST_F(NumericDisplay, BadFormatsAndClassesAreRefusedBeforeAnyOutput) {
    ArrayPtr a = doubles({{1}});
    ArrayPtr s = structOf({{"x", num(5)}});
    ArrayPtr c = cellOf({1, 1}, {num(5)});
    size_t const dims[2] = {1, 1};
    ArrayPtr v(vxCreateVoidArray(2, dims));
    char const* const badFormat = "CALYX:services:invalidPrintFormat";
    std::tuple<int, vxArray const*, void (*)(char const*, vxArray const*), char const*> const rows[] = {
        {0, a.get(), ioPrintArray, badFormat},  {14, a.get(), ioPrintArray, badFormat}, {-3, a.get(), ioPrintArray, badFormat},
        {14, s.get(), ioPrintArray, badFormat}, {14, c.get(), ioPrintArray, badFormat},
        {PrtfmtShort, v.get(), ioPrintMatrix, "CALYX:vx:error15"},  // a class without a number form
    };
    for (auto const& [format, array, print, id] : rows) {
        SCOPED_TRACE(format);
        SetPrtfmt(format);
        Capture capture;
        try {
            print("x", array);
            ADD_FAILURE() << "no error";
        } catch (vx::Error const& e) {
            EXPECT_EQ(e.identifier(), id);
        }
        EXPECT_EQ(capture.outText(), "");
    }
}
