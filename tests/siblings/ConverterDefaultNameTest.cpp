// The name of a thread's default converter follows its pushes and pops.
#include <orrery/i18n/UnicodeConverterX.hpp>

#include <gtest/gtest.h>

#include <thread>

using Orrery::I18N::UnicodeConverterX;

TEST(ConverterDefaultName, FollowsTheThreadsPushedNames) {
    std::string const native = UnicodeConverterX::nativeDefaultName();
    EXPECT_EQ(UnicodeConverterX::getDefaultName(), native);
    UnicodeConverterX::pushTssDefaultConvName("ISO-8859-1");
    EXPECT_EQ(UnicodeConverterX::getDefaultName(), "ISO-8859-1");
    std::string other;
    std::thread([&] { other = UnicodeConverterX::getDefaultName(); }).join();
    EXPECT_EQ(other, native);  // another thread keeps its own default
    EXPECT_THROW(UnicodeConverterX::pushTssDefaultConvName("no-such-charset"), std::exception);
    EXPECT_EQ(UnicodeConverterX::getDefaultName(), "ISO-8859-1");
    EXPECT_TRUE(UnicodeConverterX::popTssDefaultConvName());
    EXPECT_EQ(UnicodeConverterX::getDefaultName(), native);
}
