// The vocabulary of numbers: specials in a field, engineering notation, the
// rational approximation, one element as text, size strings and help links.
#include "display/display_support.hpp"
#include "qzservices/display/number_formats.hpp"
#include "qzservices/display/sizes.hpp"
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/callbacks.hpp"

#include <boost/make_shared.hpp>

#include <cmath>
#include <cstdint>
#include <limits>

using namespace qztest;

namespace {
double const kNaN = std::numeric_limits<double>::quiet_NaN();
double const kInf = std::numeric_limits<double>::infinity();

std::string special(double x, int width, int imag) {
    char dst[64] = "untouched";
    double v = x;
    int const wrote = ioPrintToStringNanOrInf(dst, &v, width, imag);
    return std::to_string(wrote) + ":" + dst;
}

std::string eng(double x, int format, vxClassID cls = vxDOUBLE_CLASS, bool imag = false) {
    SetPrtfmt(format);
    char dst[64];
    eng_fcn<double>(x, cls, dst, imag);
    SetPrtfmt(PrtfmtShort);
    return dst;
}

std::string rat(double x) {
    double num = -99, den = -99;
    ioRationalApprox(&num, &den, x);
    char text[64];
    std::snprintf(text, sizeof text, "%g/%g", num, den);
    return text;
}

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
    EXPECT_EQ(special(0.0, 10, 0), "1:         0");
    EXPECT_EQ(special(-0.0, 6, 0), "1:     0");
    EXPECT_EQ(special(0.0, 10, 1), "1:          ");
    EXPECT_EQ(special(kNaN, 6, 0), "1:   NaN");
    EXPECT_EQ(special(kInf, 5, 1), "1:  Inf");
    EXPECT_EQ(special(-kInf, 4, 0), "1:-Inf");
    EXPECT_EQ(special(1.5, 10, 0), "0:untouched");
    EXPECT_EQ(special(-1e-300, 10, 0), "0:untouched");
    // A field narrower than the text grows to it rather than writing before dst.
    EXPECT_EQ(special(kNaN, 2, 0), "1: NaN");
}

TEST_F(NumberText, PrintedSpecialsGoToTheOutput) {
    Capture capture;
    double nan = kNaN, one = 1.0;
    EXPECT_EQ(ioPrintNanOrInf(&nan, 7, 0), 1);
    EXPECT_EQ(ioPrintNanOrInf(&one, 7, 0), 0);
    EXPECT_EQ(capture.outText(), "    NaN");
}

TEST_F(NumberText, EngineeringMantissaAndThreeDigitExponent) {
    EXPECT_EQ(eng(1500.0, PrtfmtShortEng), "     1.5000e+003");
    EXPECT_EQ(eng(999.99999, PrtfmtShortEng), "     1.0000e+003");  // rounds up into the next exponent
    EXPECT_EQ(eng(0.0, PrtfmtShortEng), "     0.0000e+000");
    EXPECT_EQ(eng(-0.0, PrtfmtShortEng), "     0.0000e+000");
    EXPECT_EQ(eng(0.00025, PrtfmtShortEng), "   250.0000e-006");
    EXPECT_EQ(eng(-1500.0, PrtfmtShortEng), "    -1.5000e+003");
    EXPECT_EQ(eng(1e-120, PrtfmtShortEng), "     1.0000e-120");
    EXPECT_EQ(eng(1.0, PrtfmtShortEng), "     1.0000e+000");
    EXPECT_EQ(eng(2.0, PrtfmtShortEng, vxDOUBLE_CLASS, true), "  2.0000e+000");
    EXPECT_EQ(eng(kNaN, PrtfmtLongEng), std::string(22, ' ') + "NaN");
    EXPECT_EQ(eng(-kInf, PrtfmtShortEng), std::string(12, ' ') + "-Inf");
}

TEST_F(NumberText, EngineeringLongDecimalsShrinkAsTheMantissaGrows) {
    EXPECT_EQ(eng(1500.0, PrtfmtLongEng), "    1.50000000000000e+003");
    EXPECT_EQ(eng(25000.0, PrtfmtLongEng), "    25.0000000000000e+003");
    EXPECT_EQ(eng(250000.0, PrtfmtLongEng), "    250.000000000000e+003");
    EXPECT_EQ(eng(2.5, PrtfmtLongEng, vxDOUBLE_CLASS, true), " 2.50000000000000e+000");
}

TEST_F(NumberText, EngineeringOfSingleWorksInSingleArithmetic) {
    SetPrtfmt(PrtfmtLongEng);
    char dst[64];
    eng_fcn<float>(1.5f, vxSINGLE_CLASS, dst, false);
    EXPECT_STREQ(dst, "   1.500000e+000");
    eng_fcn<float>(25.0f, vxSINGLE_CLASS, dst, true);
    EXPECT_STREQ(dst, " 25.00000e+000");
    eng_fcn<float>(std::numeric_limits<float>::infinity(), vxSINGLE_CLASS, dst, false);
    EXPECT_STREQ(dst, "             Inf");
    SetPrtfmt(PrtfmtShort);
    Capture capture;
    eng_fcn<float>(2500.0f, vxSINGLE_CLASS, nullptr, false);  // no buffer: printed
    EXPECT_EQ(capture.outText(), "     2.5000e+003");
}

TEST_F(NumberText, RationalApproximations) {
    EXPECT_EQ(rat(0.5), "1/2");
    EXPECT_EQ(rat(3), "3/1");
    EXPECT_EQ(rat(0), "0/1");
    EXPECT_EQ(rat(M_PI), "355/113");
    EXPECT_EQ(rat(-0.75), "-3/4");
    EXPECT_EQ(rat(2.0 / 3.0), "2/3");
    EXPECT_EQ(rat(0.3333333), "1/3");
    // The tolerance is relative: 1/3 misses 0.333333 by 3.3333e-7, just over
    // 1e-6 of it, so the next term decides.
    EXPECT_EQ(rat(0.333333), "333333/1e+06");
    EXPECT_EQ(rat(kNaN), "0/0");
    EXPECT_EQ(rat(kInf), "1/0");
    EXPECT_EQ(rat(-kInf), "-1/0");
}

TEST_F(NumberText, ElementsOfDoubles) {
    EXPECT_EQ(element(doubles({{5}}).get()), "     5");
    EXPECT_EQ(element(doubles({{1.5}}).get()), "    1.5000");
    EXPECT_EQ(element(doubles({{1234.5}}).get()), "   1.2345e+03");
    EXPECT_EQ(element(doubles({{999.5}}).get()), "  999.5000");
    EXPECT_EQ(element(doubles({{123456}}).get()), "      123456");
    EXPECT_EQ(element(doubles({{1e9}}).get()), "   1.0000e+09");
    EXPECT_EQ(element(doubles({{kNaN}}).get()), "  NaN");
    EXPECT_EQ(element(doubles({{kInf}}).get()), "  Inf");
    EXPECT_EQ(element(doubles({{-kInf}}).get()), " -Inf");
    EXPECT_EQ(element(doubles({{0}}).get()), "    0");
    EXPECT_EQ(element(doubles({{1, 2.5, 3}}).get(), 1), "    2.5000");
    EXPECT_EQ(element(doubles({{1.5}}).get(), 0, PrtfmtLong), "   1.500000000000000");
    EXPECT_EQ(element(numeric<float>(vxSINGLE_CLASS, {{1.5f}}).get(), 0, PrtfmtLong), "   1.5000000");
}

TEST_F(NumberText, ElementsOfComplexDoubles) {
    EXPECT_EQ(element(complexRow({{3, 4}}).get()), "   3.0000 + 4.0000i");
    EXPECT_EQ(element(complexRow({{0, 2}}).get()), "   0.0000 + 2.0000i");
    EXPECT_EQ(element(complexRow({{1, -0.0}}).get()), "   1.0000 + 0.0000i");
    EXPECT_EQ(element(complexRow({{1, -2}}).get()), "   1.0000 - 2.0000i");
    EXPECT_EQ(element(complexRow({{1, kNaN}}).get()), "   1.0000 +  NaNi");
    EXPECT_EQ(element(complexRow({{1000, 1}}).get()), "   1.0000e+03 + 1.0000e+00i");
    // Debug keeps row 10, whose sign has no blank before it.
    EXPECT_EQ(element(complexRow({{3, 4}}).get(), 0, PrtfmtDebug), "   3.0000+ 4.0000i");
    EXPECT_EQ(element(complexRow({{3, 4}}).get(), 0, PrtfmtTwoDecimal), "          3.00");
}

TEST_F(NumberText, ElementsOfIntegersAndLogicals) {
    EXPECT_EQ(element(numeric<int8_t>(vxINT8_CLASS, {{-5}}).get()), "   -5");
    EXPECT_EQ(element(numeric<uint64_t>(vxUINT64_CLASS, {{UINT64_MAX}}).get()), " 18446744073709551615");
    ArrayPtr t(vxCreateLogicalScalar(true));
    EXPECT_EQ(element(t.get()), "     1");
    ArrayPtr z = numeric<int16_t>(vxINT16_CLASS, {{3, 3}}, vxCOMPLEX);
    static_cast<int16_t*>(vxGetImagData(z.get()))[0] = -4;
    EXPECT_EQ(element(z.get(), 0), "      3 -      4i");
    EXPECT_EQ(element(z.get(), 1), "      3 +       i");  // a zero imaginary part is blank
}

TEST_F(NumberText, ElementsInTheFormatsThatPrintTheirOwnWay) {
    EXPECT_EQ(element(doubles({{-2}}).get(), 0, PrtfmtSign), "-");
    EXPECT_EQ(element(doubles({{0}}).get(), 0, PrtfmtSign), " ");
    EXPECT_EQ(element(doubles({{1.0}}).get(), 0, PrtfmtHex), "3ff0000000000000");
    EXPECT_EQ(element(complexRow({{1, 2}}).get(), 0, PrtfmtHex), "3ff00000000000004000000000000000i");
    EXPECT_EQ(element(numeric<int16_t>(vxINT16_CLASS, {{-1}}).get(), 0, PrtfmtHex), "ffff");
    EXPECT_EQ(element(doubles({{0.5}}).get(), 0, PrtfmtRational), "1/2");
    EXPECT_EQ(element(doubles({{3}}).get(), 0, PrtfmtRational), "3");
    EXPECT_EQ(element(doubles({{1234567.5}}).get(), 0, PrtfmtRational), "*");
    EXPECT_EQ(element(complexRow({{0.5, 0.25}}).get(), 0, PrtfmtRational), "1/2 + 1/4i");
    EXPECT_EQ(element(complexRow({{1, 3}}).get(), 0, PrtfmtRational), "1 + 3i");
    EXPECT_EQ(element(doubles({{1500}}).get(), 0, PrtfmtShortEng), "     1.5000e+003");
    EXPECT_EQ(element(complexRow({{1500, 2}}).get(), 0, PrtfmtShortEng), "     1.5000e+003 +  2.0000e+000i");
    EXPECT_EQ(element(complexRow({{1, 0}}).get(), 0, PrtfmtShortEng),
              "     1.0000e+000 +" + std::string(13, ' ') + "i");
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

TEST_F(NumberText, TheLongestElementFitsItsBuffer) {
    ArrayPtr big = doubles({{-1.7976931348623157e308}});
    std::string const text = element(big.get(), 0, PrtfmtTwoDecimal);
    EXPECT_EQ(text.size(), 1u + 1 + 309 + 3);  // blank, sign, 309 digits, ".00"
    EXPECT_EQ(text.substr(text.size() - 3), ".00");
}

class SizeText : public DisplayTest {};

TEST_F(SizeText, SizeStringsAlignTheFirstDimension) {
    char dst[IO_SIZE_STRING_SIZE];
    size_t const d3[3] = {2, 3, 4};
    size_t const d4[4] = {2, 2, 2, 2};
    ArrayPtr a3(vxCreateNumericArray(3, d3, vxDOUBLE_CLASS, vxREAL));
    ArrayPtr a4(vxCreateNumericArray(4, d4, vxDOUBLE_CLASS, vxREAL));
    ArrayPtr e(vxCreateDoubleMatrix(0, 0, vxREAL));
    EXPECT_STREQ(ioSizeString(a3.get(), dst), "      2x3x4");
    EXPECT_STREQ(ioSizeString(a4.get(), dst), "      4-D");
    EXPECT_STREQ(ioSizeString(e.get(), dst), "      0x0");
    EXPECT_EQ(ioSizeString(e.get(), dst), dst);
}

TEST_F(SizeText, SizeDisplaysAndEmptyLiterals) {
    ArrayPtr d(vxCreateDoubleMatrix(3, 4, vxREAL));
    ArrayPtr c(vxCreateCellMatrix(1, 2));
    EXPECT_EQ(ioSizeDisplay(d.get()), "[3x4 double]");
    EXPECT_EQ(ioSizeDisplay(c.get()), "{1x2 cell}");
    ArrayPtr d03(vxCreateDoubleMatrix(0, 3, vxREAL));
    size_t const z[2] = {0, 0};
    ArrayPtr c00(vxCreateCharArray(2, z));
    ArrayPtr cell00(vxCreateCellMatrix(0, 0));
    ArrayPtr i00(vxCreateNumericMatrix(0, 0, vxINT8_CLASS, vxREAL));
    ArrayPtr s00(vxCreateStructMatrix(0, 0, 0, nullptr));
    EXPECT_EQ(ioSizeOrEmptyDisplay(d03.get()), "[0x3 double]");
    EXPECT_EQ(ioSizeOrEmptyDisplay(c00.get()), "''");
    EXPECT_EQ(ioSizeOrEmptyDisplay(cell00.get()), "{}");
    EXPECT_EQ(ioSizeOrEmptyDisplay(i00.get()), "[]");
    EXPECT_EQ(ioSizeOrEmptyDisplay(s00.get()), "[0x0 struct]");
    EXPECT_EQ(ioSizeOrEmptyDisplay(d.get()), "[3x4 double]");
}

TEST_F(SizeText, ObjectsAskTheSessionForTheirSize) {
    struct Restore {
        vxArray_tag* (*saved)(vxArray_tag const*) = _sv_iocb.sizeCallback;
        ~Restore() { _sv_iocb.sizeCallback = saved; }
    } restore;
    size_t const one[2] = {1, 1};
    ArrayPtr obj(vxCreateObject("polynom", 2, one, 0, nullptr));
    char dst[IO_SIZE_STRING_SIZE];

    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* {
        vxArray* dims = vxCreateDoubleMatrix(1, 2, vxREAL);
        vxGetPr(dims)[0] = 2;
        vxGetPr(dims)[1] = 9223372036854777856.0;  // 2^63 + 2048
        return dims;
    };
    EXPECT_STREQ(ioSizeString(obj.get(), dst), "      2x9223372036854777856");
    EXPECT_EQ(ioSizeDisplay(obj.get()), "[2x9223372036854777856 polynom]");

    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return vxCreateString("2x3"); };
    EXPECT_STREQ(ioSizeString(obj.get(), dst), "      1x1");  // not double: its own size
    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* { return nullptr; };
    EXPECT_STREQ(ioSizeString(obj.get(), dst), "      1x1");
    _sv_iocb.sizeCallback = [](vxArray_tag const*) -> vxArray_tag* {
        vxArray* dims = vxCreateDoubleMatrix(1, 2, vxREAL);
        vxGetPr(dims)[0] = std::numeric_limits<double>::quiet_NaN();
        vxGetPr(dims)[1] = -4;
        return dims;
    };
    EXPECT_STREQ(ioSizeString(obj.get(), dst), "      0x0");  // no size can be NaN or negative
    // Other classes never ask.
    ArrayPtr d(vxCreateDoubleMatrix(2, 2, vxREAL));
    EXPECT_STREQ(ioSizeString(d.get(), dst), "      2x2");
}

TEST_F(SizeText, AllZeroIsTrueForNoValues) {
    size_t const zeros[2] = {0, 0};
    size_t const some[3] = {0, 3, 0};
    EXPECT_TRUE(ioIsAllZero(0, nullptr));
    EXPECT_TRUE(ioIsAllZero(2, zeros));
    EXPECT_FALSE(ioIsAllZero(3, some));
}

namespace {
class HotSink : public services::io::CXStringSink {
public:
    bool supportsHotlinks() const override { return true; }
};
} // namespace

TEST_F(SizeText, HelpLinksOnlyWhenOutputIsHot) {
    EXPECT_EQ(ioCreateHelpHotlink("struct", "struct"), "struct");
    EXPECT_EQ(ioCreateBoldHelpHotlink("struct", "struct"), "struct");
    services::io::CXStream::CXOut.push(boost::make_shared<HotSink>());
    uvSetHotLinks(true);
    std::string const plain = ioCreateHelpHotlink("text \"x\"", "topic");
    std::string const bold = ioCreateBoldHelpHotlink("struct", "struct");
    uvSetHotLinks(false);
    std::string const off = ioCreateHelpHotlink("struct", "struct");
    services::io::CXStream::CXOut.pop();
    EXPECT_EQ(plain, "<a href=\"calyx:helpPopup topic\">text \"x\"</a>");  // nothing is escaped
    EXPECT_EQ(bold, "<a href=\"calyx:helpPopup struct\" style=\"font-weight:bold\">struct</a>");
    EXPECT_EQ(off, "struct");
}
