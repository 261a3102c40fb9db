// The utility layer's 16-bit text helpers.
#include <gtest/gtest.h>
#include <uv/unicode16.hpp>
#include <uv/uv.hpp>

#include <set>

TEST(Utf16Helpers, BreakableUnitsAreExactlyTheListedSpaces) {
    std::set<unsigned> const breakable = {'\t', '\n', 0x0B, 0x0C, '\r', ' ', 0x1680, 0x2000, 0x2001, 0x2002,
                                          0x2003, 0x2004, 0x2005, 0x2006, 0x2008, 0x2009, 0x200A, 0x205F, 0x3000};
    for (unsigned c = 0; c <= 0xFFFF; ++c) {
        ASSERT_EQ(breakable.count(c) == 1, qzu_isbreakablespace(static_cast<unsigned short>(c))) << std::hex << c;
    }
}

TEST(Utf16Helpers, ConversionFromNativeText) {
    unsigned short* wide = lcp_to_utf16("a\xC3\xA9z");
    ASSERT_NE(nullptr, wide);
    EXPECT_EQ(3, utf16_strlen(wide));
    EXPECT_EQ(0xE9, wide[1]);
    uvFree(wide);
    // A malformed byte becomes the replacement character, not an error.
    wide = lcp_to_utf16("x\xFF");
    ASSERT_NE(nullptr, wide);
    EXPECT_EQ(2, utf16_strlen(wide));
    EXPECT_EQ(0xFFFD, wide[1]);
    uvFree(wide);
    EXPECT_EQ(nullptr, lcp_to_utf16(nullptr));
    EXPECT_EQ(-1, utf16_strlen(nullptr));
}

TEST(Utf16Helpers, SearchLooksAtExactlyCountUnitsNulsIncluded) {
    unsigned short const text[] = {'a', 0, 'b', 'c'};
    EXPECT_EQ(text + 2, utf16_strnchr(text, 4, 'b'));
    EXPECT_EQ(nullptr, utf16_strnchr(text, 2, 'b'));
    EXPECT_EQ(text + 1, utf16_strnchr(text, 4, 0));
    EXPECT_EQ(nullptr, utf16_strnchr(nullptr, 4, 'a'));
}
