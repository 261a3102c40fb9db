// The compiled number formats of the matrix printer must give exactly the
// bytes snprintf gives with the same format: every format of the tables and
// every integer field, over a million values each, with subnormals, exact
// halfway cases, powers of ten and their neighbours among them.
#include "display/fast_format.hpp"
#include "display/format_tables.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <string>

using display_format::CompiledFormat;

namespace {

size_t const kValuesPerFormat = 1000000;

std::string hexOf(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    char text[32];
    std::snprintf(text, sizeof text, "0x%016llx", static_cast<unsigned long long>(bits));
    return text;
}

// Draws doubles of several kinds in turn, so that each kind is well covered.
class DoubleSource {
public:
    DoubleSource(int precision, char conversion, uint64_t seed) : precision_(precision), conversion_(conversion), rng_(seed) {}

    double next() {
        double v = 0;
        switch (turn_++ % 6) {
        case 0: v = anyFinite(); break;
        case 1: v = subnormal(); break;
        case 2: v = displayRange(); break;
        case 3: v = fixedTie(); break;
        case 4: v = significantTie(); break;
        default: v = nearPowerOfTen(); break;
        }
        return (rng_() & 1) ? -v : v;
    }

private:
    double anyFinite() {
        for (;;) {
            uint64_t bits = rng_() & 0x7fffffffffffffffULL;
            double v;
            std::memcpy(&v, &bits, sizeof v);
            if (std::isfinite(v)) return v;
        }
    }
    double subnormal() {
        uint64_t bits = rng_() & 0x000fffffffffffffULL;
        double v;
        std::memcpy(&v, &bits, sizeof v);
        return v;
    }
    // What a display divides by its scale: magnitudes around 1 to 1000.
    double displayRange() {
        std::uniform_real_distribution<double> u(0.0, 1.0);
        std::uniform_int_distribution<int> k(-6, 9);
        return u(rng_) * std::pow(10.0, k(rng_));
    }
    // (2n + 1) / 2^(p + 1) plus a whole part: exactly halfway at p decimals.
    double fixedTie() {
        int const p = precision_ < 20 ? precision_ : 20;
        uint64_t const odd = (rng_() % (1ULL << (p + 1 < 30 ? p + 1 : 30))) | 1ULL;
        double const whole = static_cast<double>(rng_() % 100000);
        return whole + std::ldexp(static_cast<double>(odd), -(p + 1));
    }
    // An integer of exactly p + 2 (e) or p + 1 (g) significant digits ending
    // in 5, times a power of ten that keeps it exact: halfway at p digits.
    double significantTie() {
        int const digits = (conversion_ == 'e' ? precision_ + 2 : precision_ + 1);
        if (digits > 16 || digits < 1) return anyFinite();
        uint64_t lo = 1;
        for (int i = 1; i < digits; ++i) lo *= 10;
        uint64_t n = lo + rng_() % (9 * lo);
        n = n - n % 10 + 5;
        double v = static_cast<double>(n);
        for (int k = static_cast<int>(rng_() % 4); k > 0 && v * 10 < 9007199254740992.0; --k) v *= 10;
        return v;
    }
    double nearPowerOfTen() {
        std::uniform_int_distribution<int> k(-320, 308);
        double const p = std::pow(10.0, k(rng_));
        switch (rng_() % 3) {
        case 0: return p;
        case 1: return std::nextafter(p, 0.0);
        default: return std::nextafter(p, std::numeric_limits<double>::infinity());
        }
    }

    int precision_;
    char conversion_;
    std::mt19937_64 rng_;
    unsigned turn_ = 0;
};

// Every distinct floating format of the tables.
std::set<std::string> tableFloatFormats() {
    using namespace display_tables;
    char const* const* tables[] = {fmtIntSmall,          fmtIntLarge,          fmtRealDouble,        fmtRealSingle,
                                   fmtComplexRealDouble, fmtComplexImagDouble, fmtComplexRealSingle, fmtComplexImagSingle};
    std::set<std::string> formats;
    for (auto table : tables)
        for (int row = 0; row < kRows; ++row) {
            std::string const f = table[row];
            if (!f.empty() && (f.back() == 'f' || f.back() == 'e' || f.back() == 'g')) formats.insert(f);
        }
    return formats;
}

int precisionOf(std::string const& f) {
    size_t const dot = f.find('.');
    return dot == std::string::npos ? 6 : std::atoi(f.c_str() + dot + 1);
}

} // namespace

TEST(CompiledFormats, EveryFloatingTableFormatMatchesSnprintfOverAMillionValues) {
    std::set<std::string> const formats = tableFloatFormats();
    ASSERT_GE(formats.size(), 25u);  // fixed, exponent and general rows of eight tables
    uint64_t seed = 1;
    for (std::string const& f : formats) {
        CompiledFormat compiled;
        ASSERT_TRUE(compiled.compile(f.c_str())) << f;
        DoubleSource source(precisionOf(f), f.back(), seed++);
        char fast[CompiledFormat::kMaxText];
        char slow[CompiledFormat::kMaxText];
        for (size_t i = 0; i < kValuesPerFormat; ++i) {
            double const v = source.next();
            int const n = compiled.formatDouble(fast, v);
            int const m = std::snprintf(slow, sizeof slow, f.c_str(), v);
            ASSERT_TRUE(n == m && std::memcmp(fast, slow, static_cast<size_t>(n)) == 0)
                << f << " of " << hexOf(v) << ": \"" << std::string(fast, n > 0 ? n : 0) << "\" against \"" << slow
                << "\"";
        }
    }
}

template <class T>
void checkIntegerFormat(char const* format, uint64_t seed) {
    CompiledFormat compiled;
    ASSERT_TRUE(compiled.compile(format)) << format;
    std::mt19937_64 rng(seed);
    T const edges[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T(0), T(1), T(-1), T(9), T(10)};
    char fast[CompiledFormat::kMaxText];
    char slow[CompiledFormat::kMaxText];
    for (size_t i = 0; i < kValuesPerFormat; ++i) {
        T v = i < sizeof edges / sizeof edges[0] ? edges[i] : static_cast<T>(rng());
        // Small magnitudes as often as large ones: shift away a random number of bits.
        if (i % 2 == 1) v = static_cast<T>(v >> (rng() % (8 * sizeof(T))));
        int n, m;
        if (std::numeric_limits<T>::is_signed) {
            n = compiled.formatSigned(fast, static_cast<long long>(v));
            m = std::strchr(format, 'l') ? std::snprintf(slow, sizeof slow, format, static_cast<long>(v))
                                         : std::snprintf(slow, sizeof slow, format, static_cast<int>(v));
        } else {
            n = compiled.formatUnsigned(fast, static_cast<unsigned long long>(v));
            m = std::strchr(format, 'l') ? std::snprintf(slow, sizeof slow, format, static_cast<unsigned long>(v))
                                         : std::snprintf(slow, sizeof slow, format, static_cast<unsigned>(v));
        }
        ASSERT_TRUE(n == m && std::memcmp(fast, slow, static_cast<size_t>(n)) == 0)
            << format << " of " << +v << ": \"" << std::string(fast, n > 0 ? n : 0) << "\" against \"" << slow << "\"";
    }
}

TEST(CompiledFormats, EveryIntegerFieldMatchesSnprintfOverAMillionValues) {
    checkIntegerFormat<int64_t>("%6ld", 11);
    checkIntegerFormat<int64_t>("%12ld", 12);
    checkIntegerFormat<int8_t>(" %4d", 13);
    checkIntegerFormat<uint8_t>("  %3u", 14);
    checkIntegerFormat<int16_t>(" %6d", 15);
    checkIntegerFormat<uint16_t>("  %5u", 16);
    checkIntegerFormat<int32_t>(" %11d", 17);
    checkIntegerFormat<uint32_t>("  %10u", 18);
    checkIntegerFormat<int64_t>(" %20ld", 19);
    checkIntegerFormat<uint64_t>(" %20lu", 20);
    checkIntegerFormat<uint8_t>("%6u", 21);
}

TEST(CompiledFormats, LiteralTextAndLeftAlignment) {
    char out[CompiledFormat::kMaxText];
    CompiledFormat twoDecimals(" %13.2f");
    ASSERT_TRUE(twoDecimals.isCompiled());
    EXPECT_EQ(std::string(out, twoDecimals.formatDouble(out, 2.5)), "          2.50");
    CompiledFormat left("%-6.0f|");
    EXPECT_EQ(std::string(out, left.formatDouble(out, 12.0)), "12    |");
    CompiledFormat noWidth("x%.3e");
    EXPECT_EQ(std::string(out, noWidth.formatDouble(out, 1234.5)), "x1.234e+03");  // a tie, to even
    CompiledFormat defaultPrecision("%f");
    EXPECT_EQ(std::string(out, defaultPrecision.formatDouble(out, 0.1)), "0.100000");
}

TEST(CompiledFormats, ShapesBeyondOneSimpleConversionAreRefused) {
    for (char const* f : {"   %08lx%08lx", "%+d", "%5s", "%c", "100%%", "%08.3f", "%.3d", "%Lf", "%lf ", "%5.2f %d",
                          "%1000d", "", "no conversion", "%lld%"}) {
        CompiledFormat c;
        EXPECT_FALSE(c.compile(f)) << f;
        char out[CompiledFormat::kMaxText];
        EXPECT_EQ(c.formatDouble(out, 1.0), -1) << f;
        EXPECT_EQ(c.formatSigned(out, 1), -1) << f;
    }
}

TEST(CompiledFormats, SpecialValuesAreLeftToSnprintf) {
    CompiledFormat c("%10.4f");
    char out[CompiledFormat::kMaxText];
    EXPECT_EQ(c.formatDouble(out, std::numeric_limits<double>::quiet_NaN()), -1);
    EXPECT_EQ(c.formatDouble(out, -std::numeric_limits<double>::infinity()), -1);
    EXPECT_EQ(c.formatSigned(out, 5), -1);  // an integer into a floating format
    CompiledFormat i("%6ld");
    EXPECT_EQ(i.formatDouble(out, 5.0), -1);
    // The largest double in fixed form with many decimals still fits.
    CompiledFormat wide("%99.99f");
    ASSERT_TRUE(wide.isCompiled());
    int const n = wide.formatDouble(out, std::numeric_limits<double>::max());
    EXPECT_EQ(n, 309 + 1 + 99);
}
