// The numeric library's platform-independent scalar functions: rounding
// rules and signed zeros, exact powers of ten in log10 and pow, accuracy
// against the long double library, and the special cases of pow.
#include "qfl/scalar.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>

using namespace qfl_scalar::detail;

namespace {

double const kInf = std::numeric_limits<double>::infinity();
double const kNaN = std::numeric_limits<double>::quiet_NaN();

// Same value and, for zeros, the same sign.
::testing::AssertionResult sameDouble(double expected, double actual) {
    if (std::isnan(expected) && std::isnan(actual)) return ::testing::AssertionSuccess();
    if (expected == actual && std::signbit(expected) == std::signbit(actual)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "expected " << expected << " got " << actual;
}

double powerOfTen(int k) { return std::strtod(("1e" + std::to_string(k)).c_str(), nullptr); }

// Distance in units in the last place, by the ordered bit patterns.
long long ulpDistance(double a, double b) {
    long long ia, ib;
    std::memcpy(&ia, &a, sizeof a);
    std::memcpy(&ib, &b, sizeof b);
    if (ia < 0) ia = std::numeric_limits<long long>::min() - ia;
    if (ib < 0) ib = std::numeric_limits<long long>::min() - ib;
    return ia > ib ? ia - ib : ib - ia;
}

} // namespace

TEST(QflRounding, FloorAndCeilKeepSignedZerosAndSpecials) {
    struct Row {
        double x, floor, ceil;
    } const rows[] = {
        {2.5, 2.0, 3.0},       {-2.5, -3.0, -2.0},   {-0.5, -1.0, -0.0},    {0.5, 0.0, 1.0},
        {-0.0, -0.0, -0.0},    {0.0, 0.0, 0.0},      {3.0, 3.0, 3.0},       {-3.0, -3.0, -3.0},
        {4503599627370497.0, 4503599627370497.0, 4503599627370497.0},
        {4503599627370495.5, 4503599627370495.0, 4503599627370496.0},
        {1e300, 1e300, 1e300}, {kInf, kInf, kInf},   {-kInf, -kInf, -kInf}, {5e-324, 0.0, 1.0},
        {-5e-324, -1.0, -0.0},
    };
    for (Row const& r : rows) {
        EXPECT_TRUE(sameDouble(r.floor, qflFdlibm_floor(r.x))) << "floor " << r.x;
        EXPECT_TRUE(sameDouble(r.ceil, qflFdlibm_ceil(r.x))) << "ceil " << r.x;
    }
    EXPECT_TRUE(std::isnan(qflFdlibm_floor(kNaN)));
    EXPECT_TRUE(std::isnan(qflFdlibm_ceil(kNaN)));
}

TEST(QflRounding, RoundTakesHalvesAwayFromZero) {
    struct Row {
        double x, rounded;
    } const rows[] = {
        {0.5, 1.0},   {-0.5, -1.0}, {1.5, 2.0},   {2.5, 3.0},  {-2.5, -3.0}, {-0.4, -0.0}, {0.4, 0.0},
        // The largest double below one half: adding 0.5 first would give 1.
        {0.49999999999999994, 0.0},
        {4503599627370495.5, 4503599627370496.0}, {-4503599627370495.5, -4503599627370496.0},
        {1e20, 1e20}, {kInf, kInf}, {-kInf, -kInf}, {-0.0, -0.0},
    };
    for (Row const& r : rows) EXPECT_TRUE(sameDouble(r.rounded, qflFdlibm_round(r.x))) << r.x;
    EXPECT_TRUE(std::isnan(qflFdlibm_round(kNaN)));
}

TEST(QflLog10, PowersOfTenGiveTheirExponentExactly) {
    for (int k = -307; k <= 308; ++k) EXPECT_EQ(qflFdlibm_log10(powerOfTen(k)), static_cast<double>(k)) << k;
    EXPECT_EQ(qflFdlibm_log10(1.0), 0.0);
    // Near a power of ten, but further than half a unit of the result: on the right side.
    EXPECT_LT(qflFdlibm_log10(999.9999), 3.0);
    EXPECT_LT(qflFdlibm_log10(999.99999999), 3.0);
    EXPECT_GT(qflFdlibm_log10(1000.00000001), 3.0);
    EXPECT_LT(qflFdlibm_log10(0.00999999999), -2.0);
}

TEST(QflLog10, SpecialArguments) {
    EXPECT_EQ(qflFdlibm_log10(0.0), -kInf);
    EXPECT_EQ(qflFdlibm_log10(-0.0), -kInf);
    EXPECT_EQ(qflFdlibm_log10(kInf), kInf);
    EXPECT_TRUE(std::isnan(qflFdlibm_log10(-1.0)));
    EXPECT_TRUE(std::isnan(qflFdlibm_log10(-kInf)));
    EXPECT_TRUE(std::isnan(qflFdlibm_log10(kNaN)));
    EXPECT_LE(ulpDistance(qflFdlibm_log10(5e-324), static_cast<double>(std::log10(static_cast<long double>(5e-324)))), 1);
}

TEST(QflLog10, WithinOneUlpOfTheLongDoubleLibrary) {
    std::mt19937_64 rng(20240611);
    std::uniform_int_distribution<int> exponent(-1074, 1023);
    std::uniform_real_distribution<double> mantissa(1.0, 2.0);
    for (int i = 0; i < 100000; ++i) {
        double const x = std::ldexp(mantissa(rng), exponent(rng));
        if (x == 0.0 || std::isinf(x)) continue;
        double const reference = static_cast<double>(std::log10(static_cast<long double>(x)));
        ASSERT_LE(ulpDistance(qflFdlibm_log10(x), reference), 1) << x;
    }
}

TEST(QflPow, IntegerPowersOfTenAreTheNearestDouble) {
    for (int k = -307; k <= 308; ++k) EXPECT_EQ(qflFdlibm_pow(10.0, k), powerOfTen(k)) << k;
    EXPECT_EQ(qflFdlibm_pow(2.0, -1074.0), 5e-324);
    EXPECT_EQ(qflFdlibm_pow(2.0, 1023.0), std::ldexp(1.0, 1023));
    EXPECT_EQ(qflFdlibm_pow(10.0, 309.0), kInf);
    EXPECT_EQ(qflFdlibm_pow(10.0, -400.0), 0.0);
    EXPECT_EQ(qflFdlibm_pow(-2.0, 3.0), -8.0);
    EXPECT_EQ(qflFdlibm_pow(-2.0, 4.0), 16.0);
    EXPECT_EQ(qflFdlibm_pow(3.0, 40.0), 12157665459056928801.0);
    // 3^34 lies exactly halfway between two doubles; ties go to the even one.
    EXPECT_EQ(qflFdlibm_pow(3.0, 34.0), 16677181699666568.0);  // 3^34 = ...569
    EXPECT_EQ(qflFdlibm_pow(-3.0, 34.0), 16677181699666568.0);
    EXPECT_EQ(qflFdlibm_pow(-3.0, 35.0), -50031545098999704.0);
}

TEST(QflPow, SquaresAndSquareRootsAreCorrectlyRounded) {
    std::mt19937_64 rng(7);
    std::uniform_real_distribution<double> value(1e-100, 1e100);
    for (int i = 0; i < 20000; ++i) {
        double const x = value(rng);
        ASSERT_EQ(qflFdlibm_pow(x, 2.0), x * x) << x;
        ASSERT_EQ(qflFdlibm_pow(x, 0.5), std::sqrt(x)) << x;
    }
}

TEST(QflPow, SpecialCasesFollowC99) {
    struct Row {
        double x, y, result;
    } const rows[] = {
        {kNaN, 0.0, 1.0},   {1.0, kNaN, 1.0},    {0.0, -3.0, kInf},   {-0.0, -3.0, -kInf}, {-0.0, -2.0, kInf},
        {-0.0, 3.0, -0.0},  {-0.0, 2.0, 0.0},    {0.0, 0.5, 0.0},     {-1.0, kInf, 1.0},   {-1.0, -kInf, 1.0},
        {0.5, -kInf, kInf}, {2.0, -kInf, 0.0},   {0.5, kInf, 0.0},    {2.0, kInf, kInf},   {-kInf, -3.0, -0.0},
        {-kInf, -2.0, 0.0}, {-kInf, 3.0, -kInf}, {-kInf, 2.0, kInf},  {kInf, -1.0, 0.0},   {kInf, 0.5, kInf},
        {-8.0, 1.0 / 3.0, kNaN}, {kNaN, 1.0, kNaN}, {2.0, kNaN, kNaN},
    };
    for (Row const& r : rows) EXPECT_TRUE(sameDouble(r.result, qflFdlibm_pow(r.x, r.y))) << r.x << " ^ " << r.y;
}
