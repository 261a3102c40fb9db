// The vocabulary of numbers: specials in a field, engineering notation, the
// rational approximation, one element as text in every format, and size
// strings.
#include "display/display_support.hpp"
#include "qzservices/display/number_formats.hpp"
#include "qzservices/display/sizes.hpp"

using namespace qztest;

namespace {

std::string element(vxArray const* a, size_t index = 0, int format = PrtfmtShort) {
    SetPrtfmt(format);
    char dst[IO_FORMAT_ELEMENT_SIZE];
    ioFormatElement(dst, a, index);
    SetPrtfmt(PrtfmtShort);
    return dst;
}
} // namespace

class NumberText : public DisplayTest {};

TEST_F(NumberText, SpecialsStandRightAlignedInTheirField) {
    // The value, width, whether imaginary, and what was returned then the text.
    std::tuple<double, int, int, char const*> const rows[] = {
        {0.0, 10, 0, "1:         0"}, {-0.0, 6, 0, "1:     0"}, {0.0, 10, 1, "1:          "},
        {kNaN, 6, 0, "1:   NaN"},     {kInf, 5, 1, "1:  Inf"},   {-kInf, 4, 0, "1:-Inf"},
        {1.5, 10, 0, "0:untouched"},  {-1e-300, 10, 0, "0:untouched"},
        {kNaN, 2, 0, "1: NaN"},  // a field narrower than the text grows to it rather than writing before dst
    };
    for (auto [x, width, imag, expected] : rows) {
        char dst[64] = "untouched";
        int const wrote = ioPrintToStringNanOrInf(dst, &x, width, imag);
        EXPECT_EQ(std::to_string(wrote) + ":" + dst, expected);
    }
    Capture capture;
    double nan = kNaN, one = 1.0;
    EXPECT_EQ(ioPrintNanOrInf(&nan, 7, 0), 1);
    EXPECT_EQ(ioPrintNanOrInf(&one, 7, 0), 0);
    EXPECT_EQ(capture.outText(), "    NaN");
}

TEST_F(NumberText, EngineeringMantissaAndThreeDigitExponent) {
    // Beside the rows of the matrix display: small and large exponents, signs,
    // imaginary parts, and long decimals that shrink as the mantissa grows.
    std::tuple<double, int, bool, char const*> const rows[] = {
        {0.00025, PrtfmtShortEng, false, "   250.0000e-006"}, {-1500.0, PrtfmtShortEng, false, "    -1.5000e+003"},
        {1e-120, PrtfmtShortEng, false, "     1.0000e-120"},  {2.0, PrtfmtShortEng, true, "  2.0000e+000"},
        {-kInf, PrtfmtShortEng, false, "            -Inf"},   {25000.0, PrtfmtLongEng, false, "    25.0000000000000e+003"},
        {250000.0, PrtfmtLongEng, false, "    250.000000000000e+003"}, {2.5, PrtfmtLongEng, true, " 2.50000000000000e+000"},
    };
    char dst[64];
    for (auto const& [x, format, imag, expected] : rows) {
        SetPrtfmt(format);
        eng_fcn<double>(x, vxDOUBLE_CLASS, dst, imag);
        EXPECT_STREQ(dst, expected);
    }
    // Single works in single arithmetic; without a buffer the text is printed.
    eng_fcn<float>(1.5f, vxSINGLE_CLASS, dst, false);
    EXPECT_STREQ(dst, "   1.500000e+000");
    eng_fcn<float>(25.0f, vxSINGLE_CLASS, dst, true);
    EXPECT_STREQ(dst, " 25.00000e+000");
    eng_fcn<float>(std::numeric_limits<float>::infinity(), vxSINGLE_CLASS, dst, false);
    EXPECT_STREQ(dst, "             Inf");
    SetPrtfmt(PrtfmtShort);
    Capture capture;
    eng_fcn<float>(2500.0f, vxSINGLE_CLASS, nullptr, false);
    EXPECT_EQ(capture.outText(), "     2.5000e+003");
}

TEST_F(NumberText, RationalApproximations) {
    // The tolerance is relative: 1/3 misses 0.333333 by 3.3333e-7, just over
    // 1e-6 of it, so the next term decides.
    std::pair<double, char const*> const rows[] = {
        {0.5, "1/2"}, {3, "3/1"}, {0, "0/1"}, {M_PI, "355/113"}, {-0.75, "-3/4"}, {2.0 / 3.0, "2/3"},
        {0.3333333, "1/3"}, {0.333333, "333333/1e+06"}, {kNaN, "0/0"}, {kInf, "1/0"}, {-kInf, "-1/0"},
    };
    for (auto const& [x, expected] : rows) {
        double num = -99, den = -99;
        ioRationalApprox(&num, &den, x);
        char text[64];
        std::snprintf(text, sizeof text, "%g/%g", num, den);
        EXPECT_STREQ(text, expected) << x;
    }
}

TEST_F(NumberText, ElementsInEveryFormat) {
    std::tuple<ArrayPtr, size_t, int, std::string> const rows[] = {
        {doubles({{5}}), 0, PrtfmtShort, "     5"},           {doubles({{1.5}}), 0, PrtfmtShort, "    1.5000"},
        {doubles({{1234.5}}), 0, PrtfmtShort, "   1.2345e+03"}, {doubles({{999.5}}), 0, PrtfmtShort, "  999.5000"},
        {doubles({{123456}}), 0, PrtfmtShort, "      123456"},  {doubles({{1e9}}), 0, PrtfmtShort, "   1.0000e+09"},
        {doubles({{kNaN}}), 0, PrtfmtShort, "  NaN"},         {doubles({{kInf}}), 0, PrtfmtShort, "  Inf"},
        {doubles({{-kInf}}), 0, PrtfmtShort, " -Inf"},        {doubles({{0}}), 0, PrtfmtShort, "    0"},
        {doubles({{1, 2.5, 3}}), 1, PrtfmtShort, "    2.5000"},
        {doubles({{1.5}}), 0, PrtfmtLong, "   1.500000000000000"},
        {numeric<float>(vxSINGLE_CLASS, {{1.5f}}), 0, PrtfmtLong, "   1.5000000"},
        {complexRow({{3, 4}}), 0, PrtfmtShort, "   3.0000 + 4.0000i"},
        {complexRow({{0, 2}}), 0, PrtfmtShort, "   0.0000 + 2.0000i"},
        {complexRow({{1, -0.0}}), 0, PrtfmtShort, "   1.0000 + 0.0000i"},
        {complexRow({{1, -2}}), 0, PrtfmtShort, "   1.0000 - 2.0000i"},
        {complexRow({{1, kNaN}}), 0, PrtfmtShort, "   1.0000 +  NaNi"},
        {complexRow({{1000, 1}}), 0, PrtfmtShort, "   1.0000e+03 + 1.0000e+00i"},
        {complexRow({{3, 4}}), 0, PrtfmtDebug, "   3.0000+ 4.0000i"},  // debug keeps row 10: no blank before the sign
        {complexRow({{3, 4}}), 0, PrtfmtTwoDecimal, "          3.00"},
        {numeric<int8_t>(vxINT8_CLASS, {{-5}}), 0, PrtfmtShort, "   -5"},
        {numeric<uint64_t>(vxUINT64_CLASS, {{UINT64_MAX}}), 0, PrtfmtShort, " 18446744073709551615"},
        {ArrayPtr(vxCreateLogicalScalar(true)), 0, PrtfmtShort, "     1"},
        {complexInts<int16_t>(vxINT16_CLASS, {3, 3}, {-4, 0}), 0, PrtfmtShort, "      3 -      4i"},
        {complexInts<int16_t>(vxINT16_CLASS, {3, 3}, {-4, 0}), 1, PrtfmtShort, "      3 +       i"},  // zero: blank
        {doubles({{-2}}), 0, PrtfmtSign, "-"},                {doubles({{0}}), 0, PrtfmtSign, " "},
        {doubles({{1.0}}), 0, PrtfmtHex, "3ff0000000000000"}, {numeric<int16_t>(vxINT16_CLASS, {{-1}}), 0, PrtfmtHex, "ffff"},
        {complexRow({{1, 2}}), 0, PrtfmtHex, "3ff00000000000004000000000000000i"},
        {doubles({{0.5}}), 0, PrtfmtRational, "1/2"},         {doubles({{3}}), 0, PrtfmtRational, "3"},
        {doubles({{1234567.5}}), 0, PrtfmtRational, "*"},     {complexRow({{1, 3}}), 0, PrtfmtRational, "1 + 3i"},
        {complexRow({{0.5, 0.25}}), 0, PrtfmtRational, "1/2 + 1/4i"},
        {doubles({{1500}}), 0, PrtfmtShortEng, "     1.5000e+003"},
        {complexRow({{1500, 2}}), 0, PrtfmtShortEng, "     1.5000e+003 +  2.0000e+000i"},
        {complexRow({{1, 0}}), 0, PrtfmtShortEng, "     1.0000e+000 +             i"},
        // Characters in engineering formats show their code, read in the
        // element's own two bytes (signed), even at the very end of the data.
        {text("A"), 0, PrtfmtLongEng, "    65.0000000000000e+000"}, {text("abc"), 0, PrtfmtShortEng, "    97.0000e+000"},
        {text("abc"), 2, PrtfmtShortEng, "    99.0000e+000"},  {text("abc"), 2, PrtfmtLongEng, "    99.0000000000000e+000"},
        {chars({1, 2}, {0x2603, 0xD800}), 0, PrtfmtShortEng, "     9.7310e+003"},  // a snowman
        {chars({1, 2}, {0x2603, 0xD800}), 1, PrtfmtShortEng, "   -10.2400e+003"},  // a lone high surrogate
    };
    for (auto const& [array, index, format, expected] : rows) EXPECT_EQ(element(array.get(), index, format), expected);

    // The exponent that picks the format (log10 of the magnitude, truncated)
    // at and beside powers of ten, where a log10 off by an ulp would pick another.
    std::tuple<double, int, char const*> const exponents[] = {
        {0.0011, PrtfmtShort, "0.0011"},  {0.001, PrtfmtShort, "1.0000e-03"},   {0.00099, PrtfmtShort, "9.9000e-04"},
        {99.5, PrtfmtShort, "99.5000"},   {100.5, PrtfmtShort, "100.5000"},     {1000.5, PrtfmtShort, "1.0005e+03"},
        {99.5, PrtfmtLong, "99.500000000000000"}, {100.5, PrtfmtLong, "1.005000000000000e+02"},
        {100, PrtfmtLong, "100"},         {999999999, PrtfmtShort, "999999999"}, {1e9, PrtfmtShort, "1.0000e+09"},
    };
    for (auto const& [x, format, expected] : exponents) {
        std::string const text = element(doubles({{x}}).get(), 0, format);
        EXPECT_EQ(text.substr(text.find_first_not_of(' ')), expected);
    }
    // The longest element fits its buffer: blank, sign, 309 digits, ".00".
    EXPECT_EQ(element(doubles({{-1.7976931348623157e308}}).get(), 0, PrtfmtTwoDecimal).size(), 1u + 1 + 309 + 3);
}

TEST_F(NumberText, ElementsWithoutDataOrNumberForm) {
    size_t const dims[2] = {1, 1};
    ArrayPtr v(vxCreateVoidArray(2, dims));
    char dst[IO_FORMAT_ELEMENT_SIZE];
    EXPECT_THROW(ioFormatElement(dst, v.get(), 0), vx::Error);
    ArrayPtr header(vxCreateDoubleMatrix(1, 1, vxREAL));
    vxSetDataShared(header.get());  // no data of its own
    ioFormatElement(dst, header.get(), 0);
    EXPECT_STREQ(dst, "");
}

TEST_F(NumberText, SizeStringsAndSizeDisplays) {
    char dst[IO_SIZE_STRING_SIZE];
    EXPECT_EQ(ioSizeString(nd({2, 3, 4}).get(), dst), dst);
    EXPECT_STREQ(dst, "      2x3x4");
    EXPECT_STREQ(ioSizeString(nd({2, 2, 2, 2}).get(), dst), "      4-D");
    EXPECT_STREQ(ioSizeString(doubles({}).get(), dst), "      0x0");
    std::pair<ArrayPtr, char const*> const rows[] = {
        {ArrayPtr(zeros(3, 4)), "[3x4 double]"},   {ArrayPtr(vxCreateCellMatrix(1, 2)), "{1x2 cell}"},
        {ArrayPtr(zeros(0, 3)), "[0x3 double]"},   {chars({0, 0}, {}), "''"},
        {ArrayPtr(vxCreateCellMatrix(0, 0)), "{}"}, {ArrayPtr(zeros(0, 0, vxINT8_CLASS)), "[]"},
        {ArrayPtr(vxCreateStructMatrix(0, 0, 0, nullptr)), "[0x0 struct]"},
    };
    for (auto const& r : rows) EXPECT_EQ(ioSizeOrEmptyDisplay(r.first.get()), r.second);
    EXPECT_EQ(ioSizeDisplay(rows[0].first.get()), "[3x4 double]");
    EXPECT_EQ(ioSizeDisplay(rows[1].first.get()), "{1x2 cell}");
    size_t const zeros2[2] = {0, 0}, some[3] = {0, 3, 0};
    EXPECT_TRUE(ioIsAllZero(0, nullptr));
    EXPECT_TRUE(ioIsAllZero(2, zeros2));
    EXPECT_FALSE(ioIsAllZero(3, some));
}

TEST_F(NumberText, ObjectsAskTheSessionForTheirSize) {
    SizeCallbackScope scope;
    size_t const one[2] = {1, 1};
    ArrayPtr obj(vxCreateObject("polynom", 2, one, 0, nullptr));
    char dst[IO_SIZE_STRING_SIZE];
    _sv_iocb.sizeCallback = [](vxArray_tag const*) { return doubles({{2, 9223372036854777856.0}}).release(); };  // 2^63 + 2048
    EXPECT_STREQ(ioSizeString(obj.get(), dst), "      2x9223372036854777856");
    EXPECT_EQ(ioSizeDisplay(obj.get()), "[2x9223372036854777856 polynom]");
    _sv_iocb.sizeCallback = [](vxArray_tag const*) { return vxCreateString("2x3"); };
    EXPECT_STREQ(ioSizeString(obj.get(), dst), "      1x1");  // not double: its own size
    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return nullptr; };
    EXPECT_STREQ(ioSizeString(obj.get(), dst), "      1x1");
    _sv_iocb.sizeCallback = [](vxArray_tag const*) { return doubles({{std::nan(""), -4}}).release(); };
    EXPECT_STREQ(ioSizeString(obj.get(), dst), "      0x0");  // no size can be NaN or negative
    EXPECT_STREQ(ioSizeString(doubles({{1, 2}, {3, 4}}).get(), dst), "      2x2");  // other classes never ask
}
