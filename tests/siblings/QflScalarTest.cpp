// The numeric library's platform-independent scalar functions: rounding
// rules and signed zeros, exact powers of ten in log10 and pow, and the
// special cases of pow.
#include "qfl/scalar.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
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
        {-5e-324, -1.0, -0.0}, {kNaN, kNaN, kNaN},
    };
    for (Row const& r : rows)
        EXPECT_TRUE(sameDouble(r.floor, qflFdlibm_floor(r.x)) && sameDouble(r.ceil, qflFdlibm_ceil(r.x))) << r.x;
}

TEST(QflRounding, RoundTakesHalvesAwayFromZero) {
    struct Row {
        double x, rounded;
    } const rows[] = {
        {0.5, 1.0},   {-0.5, -1.0}, {1.5, 2.0},   {2.5, 3.0},  {-2.5, -3.0}, {-0.4, -0.0}, {0.4, 0.0},
        // The largest double below one half: adding 0.5 first would give 1.
        {0.49999999999999994, 0.0},
        {4503599627370495.5, 4503599627370496.0}, {-4503599627370495.5, -4503599627370496.0},
        {1e20, 1e20}, {kInf, kInf}, {-kInf, -kInf}, {-0.0, -0.0}, {kNaN, kNaN},
    };
    for (Row const& r : rows) EXPECT_TRUE(sameDouble(r.rounded, qflFdlibm_round(r.x))) << r.x;
}

TEST(QflLog10, PowersOfTenAreExactAndSpecialsFollowC99) {
    for (int k = -307; k <= 308; ++k) EXPECT_EQ(qflFdlibm_log10(powerOfTen(k)), static_cast<double>(k)) << k;
    EXPECT_EQ(qflFdlibm_log10(1.0), 0.0);
    // Near a power of ten, but further than half a unit of the result: on the right side.
    EXPECT_LT(qflFdlibm_log10(999.9999), 3.0);
    EXPECT_LT(qflFdlibm_log10(999.99999999), 3.0);
    EXPECT_GT(qflFdlibm_log10(1000.00000001), 3.0);
    EXPECT_LT(qflFdlibm_log10(0.00999999999), -2.0);
    for (double const special : {0.0, -0.0, kInf, -1.0, -kInf, kNaN})
        EXPECT_TRUE(sameDouble(std::log10(special), qflFdlibm_log10(special))) << special;
}

TEST(QflPow, IntegerPowersAreCorrectlyRoundedAndSpecialCasesFollowC99) {
    for (int k = -307; k <= 308; ++k) EXPECT_EQ(qflFdlibm_pow(10.0, k), powerOfTen(k)) << k;
    struct Row {
        double x, y, result;
    } const rows[] = {
        {2.0, -1074.0, 5e-324}, {2.0, 1023.0, std::ldexp(1.0, 1023)}, {10.0, 309.0, kInf}, {10.0, -400.0, 0.0},
        {-2.0, 3.0, -8.0}, {-2.0, 4.0, 16.0}, {3.0, 40.0, 12157665459056928801.0},
        // 3^34 = ...569 lies exactly halfway between two doubles; ties go to the even one.
        {3.0, 34.0, 16677181699666568.0}, {-3.0, 34.0, 16677181699666568.0}, {-3.0, 35.0, -50031545098999704.0},
        {kNaN, 0.0, 1.0},   {1.0, kNaN, 1.0},    {0.0, -3.0, kInf},   {-0.0, -3.0, -kInf}, {-0.0, -2.0, kInf},
        {-0.0, 3.0, -0.0},  {-0.0, 2.0, 0.0},    {0.0, 0.5, 0.0},     {-1.0, kInf, 1.0},   {-1.0, -kInf, 1.0},
        {0.5, -kInf, kInf}, {2.0, -kInf, 0.0},   {0.5, kInf, 0.0},    {2.0, kInf, kInf},   {-kInf, -3.0, -0.0},
        {-kInf, -2.0, 0.0}, {-kInf, 3.0, -kInf}, {-kInf, 2.0, kInf},  {kInf, -1.0, 0.0},   {kInf, 0.5, kInf},
        {-8.0, 1.0 / 3.0, kNaN}, {kNaN, 1.0, kNaN}, {2.0, kNaN, kNaN},
    };
    for (Row const& r : rows) EXPECT_TRUE(sameDouble(r.result, qflFdlibm_pow(r.x, r.y))) << r.x << " ^ " << r.y;
}
