// The numeric matrix printer: headings, the choice of format and width from
// the data, the scale line, specials, every integer class, complex parts and
// the formats that print in their own way. Expected texts are worked out
// from the display rules by hand.
#include "display/display_support.hpp"

#include <cmath>
#include <cstdint>
#include <limits>

using namespace qztest;

namespace {
double const kNaN = std::numeric_limits<double>::quiet_NaN();
double const kInf = std::numeric_limits<double>::infinity();
} // namespace

class NumericDisplay : public DisplayTest {};

TEST_F(NumericDisplay, WholeNumbersUseSixPlaceIntegerFields) {
    ArrayPtr a = doubles({{1, 2}, {3, 4}});
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n     1     2\n     3     4\n\n");
}

TEST_F(NumericDisplay, CompactSpacingDropsEveryBlankLine) {
    ArrayPtr a = doubles({{1, 2}, {3, 4}});
    compact();
    EXPECT_EQ(show("A", a.get()), "A =\n     1     2\n     3     4\n");
    ArrayPtr s = doubles({{1000.5, 2}});
    EXPECT_EQ(show("A", s.get()), "A =\n   1.0e+03 *\n    1.0005    0.0020\n");
}

TEST_F(NumericDisplay, FractionsUseTheFixedFormatOfTheRow) {
    ArrayPtr a = doubles({{1.5, -2.25}});
    EXPECT_EQ(show("x", a.get()), "\nx =\n\n    1.5000   -2.2500\n\n");
    ArrayPtr half = doubles({{0.5}});
    EXPECT_EQ(show("x", half.get()), "\nx =\n\n    0.5000\n\n");
    ArrayPtr small = doubles({{0.05, 0.001}});  // e is -1: no scale
    EXPECT_EQ(show("x", small.get()), "\nx =\n\n    0.0500    0.0010\n\n");
}

TEST_F(NumericDisplay, AMatrixBeyondTheRangeGetsAScaleLine) {
    ArrayPtr a = doubles({{1000.5, 2}});
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n   1.0e+03 *\n\n    1.0005    0.0020\n\n");
    ArrayPtr tiny = doubles({{0.0005, 0.0001}});
    EXPECT_EQ(show("A", tiny.get()), "\nA =\n\n   1.0e-03 *\n\n    0.5000    0.1000\n\n");
}

TEST_F(NumericDisplay, AScalarBeyondTheRangeUsesTheExponentForm) {
    ArrayPtr big = doubles({{1234.5}});
    EXPECT_EQ(show("x", big.get()), "\nx =\n\n   1.2345e+03\n\n");
    ArrayPtr tiny = doubles({{0.0005}});
    EXPECT_EQ(show("x", tiny.get()), "\nx =\n\n   5.0000e-04\n\n");
}

TEST_F(NumericDisplay, ExponentTwoIsScaledInLongButNotInShort) {
    ArrayPtr a = doubles({{999.5, 1}});
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n  999.5000    1.0000\n\n");
    EXPECT_EQ(showIn(PrtfmtLong, "A", a.get()),
              "\nA =\n\n   1.0e+02 *\n\n   9.994999999999999   0.010000000000000\n\n");
}

TEST_F(NumericDisplay, SpecialsAmongWholeNumbersKeepTheIntegerFields) {
    ArrayPtr a = doubles({{1, kNaN}, {kInf, -kInf}});
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n     1   NaN\n   Inf  -Inf\n\n");
}

TEST_F(NumericDisplay, SpecialsAndZeroAmongFractionsStandAlone) {
    ArrayPtr a = doubles({{1.5, kNaN, -kInf, 0}});
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n    1.5000       NaN      -Inf         0\n\n");
}

TEST_F(NumericDisplay, AllNaNHasNoMagnitudeAndStaysWhole) {
    ArrayPtr a = doubles({{kNaN, kNaN}});
    EXPECT_EQ(show("A", a.get()), "\nA =\n\n   NaN   NaN\n\n");
}

TEST_F(NumericDisplay, WholeValuesLeaveIntegerModeAtTenToTheNine) {
    ArrayPtr below = doubles({{999999999, 1}});
    EXPECT_EQ(show("A", below.get()), "\nA =\n\n   999999999           1\n\n");
    ArrayPtr matrix = doubles({{1e9, 1}});
    EXPECT_EQ(show("A", matrix.get()), "\nA =\n\n   1.0e+09 *\n\n    1.0000    0.0000\n\n");
    ArrayPtr scalar = doubles({{1e9}});
    EXPECT_EQ(show("x", scalar.get()), "\nx =\n\n   1.0000e+09\n\n");
}

TEST_F(NumericDisplay, SingleUsesItsOwnTables) {
    ArrayPtr a = numeric<float>(vxSINGLE_CLASS, {{1.5f, 2.25f}});
    EXPECT_EQ(show("s", a.get()), "\ns =\n\n    1.5000    2.2500\n\n");
    EXPECT_EQ(showIn(PrtfmtLong, "s", a.get()), "\ns =\n\n   1.5000000   2.2500000\n\n");
}

TEST_F(NumericDisplay, OtherFormatsOfTheTables) {
    ArrayPtr a = doubles({{1.5, 2}});
    EXPECT_EQ(showIn(PrtfmtShortE, "A", a.get()), "\nA =\n\n   1.5000e+00   2.0000e+00\n\n");
    ArrayPtr g = doubles({{0.1, 100.5}});
    EXPECT_EQ(showIn(PrtfmtShortG, "A", g.get()), "\nA =\n\n          0.1        100.5\n\n");
}

TEST_F(NumericDisplay, EverySignedIntegerClassHasItsOwnField) {
    EXPECT_EQ(show("a", numeric<int8_t>(vxINT8_CLASS, {{-128, 127}, {0, 5}}).get()),
              "\na =\n\n -128  127\n    0    5\n\n");
    EXPECT_EQ(show("a", numeric<int16_t>(vxINT16_CLASS, {{-32768, 7}}).get()), "\na =\n\n -32768      7\n\n");
    EXPECT_EQ(show("a", numeric<int32_t>(vxINT32_CLASS, {{INT32_MIN, 1}}).get()),
              "\na =\n\n -2147483648           1\n\n");
    EXPECT_EQ(show("a", numeric<int64_t>(vxINT64_CLASS, {{INT64_MIN, 1}}).get()),
              "\na =\n\n -9223372036854775808                    1\n\n");
}

TEST_F(NumericDisplay, EveryUnsignedIntegerClassHasItsOwnField) {
    EXPECT_EQ(show("a", numeric<uint8_t>(vxUINT8_CLASS, {{255, 0}}).get()), "\na =\n\n  255    0\n\n");
    EXPECT_EQ(show("a", numeric<uint16_t>(vxUINT16_CLASS, {{65535}}).get()), "\na =\n\n  65535\n\n");
    EXPECT_EQ(show("a", numeric<uint32_t>(vxUINT32_CLASS, {{4294967295u}}).get()), "\na =\n\n  4294967295\n\n");
    // A magnitude of 1.8e19 would scale a double matrix; an integer class never shows a scale.
    EXPECT_EQ(show("a", numeric<uint64_t>(vxUINT64_CLASS, {{UINT64_MAX, 1}}).get()),
              "\na =\n\n 18446744073709551615                    1\n\n");
}

TEST_F(NumericDisplay, IntegerFieldsIgnoreThePrintFormat) {
    ArrayPtr a = numeric<uint8_t>(vxUINT8_CLASS, {{7, 200}});
    EXPECT_EQ(showIn(PrtfmtShortE, "a", a.get()), "\na =\n\n    7  200\n\n");
    EXPECT_EQ(showIn(PrtfmtLong, "a", a.get()), "\na =\n\n    7  200\n\n");
}

TEST_F(NumericDisplay, LogicalUsesAnUnsignedSixPlaceField) {
    ArrayPtr a(vxCreateLogicalMatrix(1, 3));
    static_cast<unsigned char*>(vxGetData(a.get()))[0] = 1;
    static_cast<unsigned char*>(vxGetData(a.get()))[2] = 1;
    EXPECT_EQ(show("t", a.get()), "\nt =\n\n     1     0     1\n\n");
}

TEST_F(NumericDisplay, ComplexIntegersShowSignAndMagnitude) {
    ArrayPtr a = numeric<int8_t>(vxINT8_CLASS, {{3, -128}}, vxCOMPLEX);
    static_cast<int8_t*>(vxGetImagData(a.get()))[0] = 4;
    static_cast<int8_t*>(vxGetImagData(a.get()))[1] = -128;  // its magnitude wraps to itself: 128 unsigned
    EXPECT_EQ(show("z", a.get()), "\nz =\n\n    3 +    4i -128 -  128i\n\n");

    ArrayPtr b = numeric<int32_t>(vxINT32_CLASS, {{1}}, vxCOMPLEX);
    EXPECT_EQ(show("z", b.get()), "\nz =\n\n           1 +           0i\n\n");
    ArrayPtr c = numeric<uint16_t>(vxUINT16_CLASS, {{65535}}, vxCOMPLEX);
    static_cast<uint16_t*>(vxGetImagData(c.get()))[0] = 1;
    EXPECT_EQ(show("z", c.get()), "\nz =\n\n  65535 +      1i\n\n");
    ArrayPtr d = numeric<int64_t>(vxINT64_CLASS, {{INT64_MIN}}, vxCOMPLEX);
    static_cast<int64_t*>(vxGetImagData(d.get()))[0] = INT64_MIN;
    EXPECT_EQ(show("z", d.get()), "\nz =\n\n -9223372036854775808 -  9223372036854775808i\n\n");
}

TEST_F(NumericDisplay, ComplexDoublesShowBothParts) {
    EXPECT_EQ(show("z", complexRow({{3, 4}}).get()), "\nz =\n\n   3.0000 + 4.0000i\n\n");
    EXPECT_EQ(show("z", complexRow({{1, -2.5}}).get()), "\nz =\n\n   1.0000 - 2.5000i\n\n");
    // A zero real part keeps its decimals; a zero imaginary part too.
    EXPECT_EQ(show("z", complexRow({{0, 2}}).get()), "\nz =\n\n   0.0000 + 2.0000i\n\n");
    EXPECT_EQ(show("z", complexRow({{3, 0}}).get()), "\nz =\n\n   3.0000 + 0.0000i\n\n");
    EXPECT_EQ(show("z", complexRow({{1, kNaN}}).get()), "\nz =\n\n   1.0000 +    NaNi\n\n");
}

TEST_F(NumericDisplay, ComplexMatricesShareOneScale) {
    EXPECT_EQ(show("z", complexRow({{1000, 1}, {2, 0}}).get()),
              "\nz =\n\n   1.0e+03 *\n\n   1.0000 + 0.0010i   0.0020 + 0.0000i\n\n");
}

TEST_F(NumericDisplay, TwoDecimalFormatShowsRealPartsOnly) {
    EXPECT_EQ(showIn(PrtfmtTwoDecimal, "z", complexRow({{3, 4}}).get()), "\nz =\n\n          3.00\n\n");
    ArrayPtr whole = doubles({{1, 0}});
    EXPECT_EQ(showIn(PrtfmtTwoDecimal, "a", whole.get()), "\na =\n\n          1.00             0\n\n");
    ArrayPtr frac = doubles({{2.5, 1234.567}});
    EXPECT_EQ(showIn(PrtfmtTwoDecimal, "a", frac.get()), "\na =\n\n          2.50       1234.57\n\n");
}

TEST_F(NumericDisplay, SignFormatWritesOneCharacterAnElement) {
    ArrayPtr a = doubles({{1, -2, 0, kNaN}, {-0.5, 3, kInf, 0}});
    EXPECT_EQ(showIn(PrtfmtSign, "A", a.get()), "\nA =\n\n+-  \n-++ \n\n");
    // Real parts only.
    EXPECT_EQ(showIn(PrtfmtSign, "z", complexRow({{0, 5}, {-1, -1}}).get()), "\nz =\n\n -\n\n");
}

TEST_F(NumericDisplay, HexShowsTheStoredBits) {
    EXPECT_EQ(showIn(PrtfmtHex, "x", doubles({{1.0}}).get()), "\nx =\n\n   3ff0000000000000\n\n");
    ArrayPtr t(vxCreateLogicalScalar(true));
    EXPECT_EQ(showIn(PrtfmtHex, "t", t.get()), "\nt =\n\n   1\n\n");
    EXPECT_EQ(showIn(PrtfmtHex, "a", numeric<int16_t>(vxINT16_CLASS, {{-1}}).get()), "\na =\n\n   ffff\n\n");
    EXPECT_EQ(showIn(PrtfmtHex, "a", numeric<uint8_t>(vxUINT8_CLASS, {{255, 16}}).get()),
              "\na =\n\n   ff   10\n\n");
    EXPECT_EQ(showIn(PrtfmtHex, "a", numeric<int64_t>(vxINT64_CLASS, {{-2}}).get()),
              "\na =\n\n   fffffffffffffffe\n\n");
    EXPECT_EQ(showIn(PrtfmtHex, "s", numeric<float>(vxSINGLE_CLASS, {{1.0f}}).get()), "\ns =\n\n   3f800000\n\n");
    EXPECT_EQ(showIn(PrtfmtHex, "z", complexRow({{1, 2}}).get()),
              "\nz =\n\n   3ff0000000000000   4000000000000000i\n\n");
}

TEST_F(NumericDisplay, HexFollowsTheWordOrderOfTheFormatType) {
    uvSetFormatType(1);
    std::string const out = showIn(PrtfmtHex, "x", doubles({{1.0}}).get());
    uvSetFormatType(0);
    EXPECT_EQ(out, "\nx =\n\n   000000003ff00000\n\n");
}

TEST_F(NumericDisplay, RationalStarsOnlyManyColumnArrays) {
    ArrayPtr column = doubles({{0.5}, {1234567.5}});
    EXPECT_EQ(showIn(PrtfmtRational, "r", column.get()), "\nr =\n\n       1/2     \n 1234568       \n\n");
    ArrayPtr row = doubles({{1234567.5, 0.25}});
    EXPECT_EQ(showIn(PrtfmtRational, "r", row.get()), "\nr =\n\n       *              1/4     \n\n");
    ArrayPtr whole = doubles({{3, -2}});
    EXPECT_EQ(showIn(PrtfmtRational, "r", whole.get()), "\nr =\n\n       3             -2       \n\n");
    ArrayPtr specials = doubles({{kNaN, kInf}});
    EXPECT_EQ(showIn(PrtfmtRational, "r", specials.get()), "\nr =\n\n       0/0            1/0     \n\n");
    ArrayPtr pi = doubles({{M_PI}});
    EXPECT_EQ(showIn(PrtfmtRational, "r", pi.get()), "\nr =\n\n     355/113   \n\n");
}

TEST_F(NumericDisplay, RationalImaginaryPartsFillSevenPlaces) {
    EXPECT_EQ(showIn(PrtfmtRational, "z", complexRow({{0.5, 0.25}}).get()),
              "\nz =\n\n       1/2      +    1/4i    \n\n");
    EXPECT_EQ(showIn(PrtfmtRational, "z", complexRow({{1, 3}}).get()), "\nz =\n\n       1        +    3i      \n\n");
}

TEST_F(NumericDisplay, EngineeringShortAndLong) {
    ArrayPtr column = doubles({{1500}, {999.99999}, {0}, {-0.0}, {kNaN}});
    EXPECT_EQ(showIn(PrtfmtShortEng, "e", column.get()),
              "\ne =\n\n     1.5000e+003\n     1.0000e+003\n     0.0000e+000\n     0.0000e+000\n"
              "" + std::string(13, ' ') + "NaN\n\n");
    EXPECT_EQ(showIn(PrtfmtLongEng, "e", column.get()),
              "\ne =\n\n    1.50000000000000e+003\n    999.999990000000e+000\n    0.00000000000000e+000\n"
              "    0.00000000000000e+000\n" + std::string(22, ' ') + "NaN\n\n");
    ArrayPtr scalar = doubles({{1500}});
    EXPECT_EQ(showIn(PrtfmtShortEng, "e", scalar.get()), "\ne =\n\n     1.5000e+003\n\n");
}

TEST_F(NumericDisplay, EngineeringComplexParts) {
    EXPECT_EQ(showIn(PrtfmtShortEng, "z", complexRow({{1500, 2}}).get()),
              "\nz =\n\n     1.5000e+003 +  2.0000e+000i\n\n");
    // A zero imaginary part leaves its field blank.
    EXPECT_EQ(showIn(PrtfmtShortEng, "z", complexRow({{1, 0}}).get()),
              "\nz =\n\n     1.0000e+000 +" + std::string(13, ' ') + "i\n\n");
}

TEST_F(NumericDisplay, DebugFormatWritesTheHeaderThenShort) {
    ArrayPtr a = doubles({{1, 2}});
    char header[256];
    std::snprintf(header, sizeof header, "\nStructure address = %lx \nm = 1\nn = 2\npr = %lx \npi = 0\n",
                  reinterpret_cast<unsigned long>(a.get()), reinterpret_cast<unsigned long>(vxGetData(a.get())));
    EXPECT_EQ(showIn(PrtfmtDebug, "A", a.get()), std::string("\nA =\n\n") + header + "     1     2\n\n");
}

TEST_F(NumericDisplay, AnOutOfRangePrintFormatIsRefusedBeforeAnyOutput) {
    ArrayPtr a = doubles({{1}});
    for (int bad : {0, 14, -3}) {
        SetPrtfmt(bad);
        Capture capture;
        try {
            ioPrintArray("A", a.get());
            ADD_FAILURE() << "no error for " << bad;
        } catch (vx::Error const& e) {
            EXPECT_EQ(e.identifier(), "CALYX:services:invalidPrintFormat");
        }
        EXPECT_EQ(capture.outText(), "");
    }
    SetPrtfmt(PrtfmtShort);
}

TEST_F(NumericDisplay, AClassWithoutANumberFormIsErrorFifteenBeforeAnyOutput) {
    size_t const dims[2] = {1, 1};
    ArrayPtr v(vxCreateVoidArray(2, dims));
    Capture capture;
    try {
        ioPrintMatrix("v", v.get());
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), "CALYX:vx:error15");
    }
    EXPECT_EQ(capture.outText(), "");
}
