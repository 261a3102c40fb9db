// Character elements in the engineering formats: the element's character code
// is shown as a number, read in the element's own two bytes. Reading the data
// as doubles instead ran past the end of a short string.
#include "display/display_support.hpp"

#include <qzservices/display/number_formats.hpp>

#include <vector>

namespace {

using qztest::ArrayPtr;

class EngineeringCharacters : public qztest::DisplayTest {
protected:
    static std::string element(int format, vxArray const* array, size_t index) {
        std::vector<char> dst(IO_FORMAT_ELEMENT_SIZE, '\0');
        SetPrtfmt(format);
        ioFormatElement(dst.data(), array, index);
        SetPrtfmt(PrtfmtShort);
        return dst.data();
    }
};

TEST_F(EngineeringCharacters, ShowTheCodeOfEachCharacter) {
    ArrayPtr one = qztest::text("A");
    EXPECT_EQ(element(PrtfmtShortEng, one.get(), 0), "    65.0000e+000");
    EXPECT_EQ(element(PrtfmtLongEng, one.get(), 0), "    65.0000000000000e+000");

    // The last element of an odd-length string lies at the very end of its data.
    ArrayPtr three = qztest::text("abc");
    EXPECT_EQ(element(PrtfmtShortEng, three.get(), 0), "    97.0000e+000");
    EXPECT_EQ(element(PrtfmtShortEng, three.get(), 2), "    99.0000e+000");
    EXPECT_EQ(element(PrtfmtLongEng, three.get(), 2), "    99.0000000000000e+000");
}

TEST_F(EngineeringCharacters, UnitsBeyondAByteAreReadAsSigned16Bits) {
    vxChar const units[] = {0x2603, 0xD800};  // a snowman (9731); a lone high surrogate (-10240 signed)
    size_t const dims[2] = {1, 2};
    ArrayPtr a(vxCreateCharArray(2, dims));
    std::memcpy(vxGetData(a.get()), units, sizeof units);
    EXPECT_EQ(element(PrtfmtShortEng, a.get(), 0), "     9.7310e+003");
    EXPECT_EQ(element(PrtfmtShortEng, a.get(), 1), "   -10.2400e+003");
}

} // namespace
