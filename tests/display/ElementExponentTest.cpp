// The exponent that chooses an element's format (log10 of its magnitude,
// truncated toward zero) at and beside the powers of ten, where a log10 that
// is off by an ulp would pick another format.
#include "display/display_support.hpp"
#include "qzservices/display/number_formats.hpp"

using namespace qztest;

namespace {

std::string stripped(double x, int format) {
    ArrayPtr a = doubles({{x}});
    SetPrtfmt(format);
    char dst[IO_FORMAT_ELEMENT_SIZE];
    ioFormatElement(dst, a.get(), 0);
    SetPrtfmt(PrtfmtShort);
    char const* s = dst;
    while (*s == ' ') ++s;
    return s;
}

} // namespace

class ElementExponent : public DisplayTest {};

TEST_F(ElementExponent, SmallMagnitudesChangeFormatAtOneThousandth) {
    EXPECT_EQ(stripped(0.0011, PrtfmtShort), "0.0011");
    EXPECT_EQ(stripped(0.001, PrtfmtShort), "1.0000e-03");
    EXPECT_EQ(stripped(0.00099, PrtfmtShort), "9.9000e-04");
}

TEST_F(ElementExponent, LargeMagnitudesChangeFormatAtAHundredInLongAndAThousandInShort) {
    EXPECT_EQ(stripped(99.5, PrtfmtShort), "99.5000");
    EXPECT_EQ(stripped(100.5, PrtfmtShort), "100.5000");
    EXPECT_EQ(stripped(1000.5, PrtfmtShort), "1.0005e+03");
    EXPECT_EQ(stripped(99.5, PrtfmtLong), "99.500000000000000");
    EXPECT_EQ(stripped(100.5, PrtfmtLong), "1.005000000000000e+02");
}

TEST_F(ElementExponent, WholeNumbersLeaveTheIntegerFormatAtTenToTheNine) {
    EXPECT_EQ(stripped(100, PrtfmtLong), "100");
    EXPECT_EQ(stripped(999999999, PrtfmtShort), "999999999");
    EXPECT_EQ(stripped(1e9, PrtfmtShort), "1.0000e+09");
}
