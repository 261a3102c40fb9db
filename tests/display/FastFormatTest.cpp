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
#include <tuple>

using display_format::CompiledFormat;

namespace {

size_t const kValuesPerFormat = 1000000;

double fromBits(uint64_t bits) {
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

// Draws doubles of six kinds in turn, so that each kind is well covered, for
// a conversion ('f', 'e' or 'g') of the given precision.
double nextDouble(std::mt19937_64& rng, unsigned turn, int precision, char conversion) {
    double v = std::numeric_limits<double>::infinity();
    switch (turn % 6) {
    case 0:  // any finite value
        while (!std::isfinite(v)) v = fromBits(rng() & 0x7fffffffffffffffULL);
        break;
    case 1: v = fromBits(rng() & 0x000fffffffffffffULL); break;  // subnormal
    case 2:  // what a display divides by its scale
        v = std::uniform_real_distribution<double>(0, 1)(rng) * std::pow(10.0, static_cast<int>(rng() % 16) - 6);
        break;
    case 3: {  // (2n + 1) / 2^(p + 1) plus a whole part: exactly halfway at p decimals
        int const p = std::min(precision, 20);
        v = static_cast<double>(rng() % 100000) +
            std::ldexp(static_cast<double>((rng() % (1ULL << std::min(p + 1, 30))) | 1ULL), -(p + 1));
        break;
    }
    case 4: {  // p + 2 (e) or p + 1 (g) significant digits ending in 5, kept exact: halfway at p digits
        int const digits = conversion == 'e' ? precision + 2 : precision + 1;
        if (digits > 16) return nextDouble(rng, 0, precision, conversion);
        uint64_t lo = 1;
        for (int i = 1; i < digits; ++i) lo *= 10;
        uint64_t const n = lo + rng() % (9 * lo);
        v = static_cast<double>(n - n % 10 + 5);
        for (int k = static_cast<int>(rng() % 4); k > 0 && v * 10 < 9007199254740992.0; --k) v *= 10;
        break;
    }
    default: {  // a power of ten or a neighbour
        double const p = std::pow(10.0, static_cast<int>(rng() % 629) - 320);
        uint64_t const side = rng() % 3;
        v = side == 0 ? p : std::nextafter(p, side == 1 ? 0.0 : std::numeric_limits<double>::infinity());
    }
    }
    return (rng() & 1) ? -v : v;
}

// snprintf is given the same conversion for a long long or unsigned long
// long, which prints the same bytes for a value in range.
template <class T>
void checkIntegerFormat(char const* format, uint64_t seed) {
    CompiledFormat compiled;
    ASSERT_TRUE(compiled.compile(format)) << format;
    std::string wide = format;
    wide.insert(wide.find_last_of("du"), wide.find('l') == std::string::npos ? "ll" : "l");
    std::mt19937_64 rng(seed);
    T const edges[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T(0), T(1), T(-1), T(9), T(10)};
    char fast[CompiledFormat::kMaxText], slow[CompiledFormat::kMaxText];
    for (size_t i = 0; i < kValuesPerFormat; ++i) {
        T v = i < sizeof edges / sizeof edges[0] ? edges[i] : static_cast<T>(rng());
        // Small magnitudes as often as large ones: shift away a random number of bits.
        if (i % 2 == 1) v = static_cast<T>(v >> (rng() % (8 * sizeof(T))));
        bool const isSigned = std::numeric_limits<T>::is_signed;
        int const n = isSigned ? compiled.formatSigned(fast, static_cast<long long>(v))
                               : compiled.formatUnsigned(fast, static_cast<unsigned long long>(v));
        int const m = isSigned ? std::snprintf(slow, sizeof slow, wide.c_str(), static_cast<long long>(v))
                               : std::snprintf(slow, sizeof slow, wide.c_str(), static_cast<unsigned long long>(v));
        ASSERT_TRUE(n == m && std::memcmp(fast, slow, static_cast<size_t>(n)) == 0)
            << format << " of " << +v << ": \"" << std::string(fast, n > 0 ? n : 0) << "\" against \"" << slow << "\"";
    }
}

} // namespace

TEST(CompiledFormats, EveryFloatingTableFormatMatchesSnprintfOverAMillionValues) {
    using namespace display_tables;
    std::set<std::string> formats;
    for (auto table : {fmtIntSmall, fmtIntLarge, fmtRealDouble, fmtRealSingle, fmtComplexRealDouble, fmtComplexImagDouble,
                       fmtComplexRealSingle, fmtComplexImagSingle})
        for (int row = 0; row < kRows; ++row) {
            std::string const f = table[row];
            if (!f.empty() && std::strchr("feg", f.back())) formats.insert(f);
        }
    ASSERT_GE(formats.size(), 25u);  // fixed, exponent and general rows of eight tables
    uint64_t seed = 1;
    for (std::string const& f : formats) {
        CompiledFormat compiled;
        ASSERT_TRUE(compiled.compile(f.c_str())) << f;
        size_t const dot = f.find('.');
        int const precision = dot == std::string::npos ? 6 : std::atoi(f.c_str() + dot + 1);
        std::mt19937_64 rng(seed++);
        char fast[CompiledFormat::kMaxText], slow[CompiledFormat::kMaxText];
        for (unsigned i = 0; i < kValuesPerFormat; ++i) {
            double const v = nextDouble(rng, i, precision, f.back());
            int const n = compiled.formatDouble(fast, v);
            int const m = std::snprintf(slow, sizeof slow, f.c_str(), v);
            ASSERT_TRUE(n == m && std::memcmp(fast, slow, static_cast<size_t>(n)) == 0)
                << f << " of " << std::hexfloat << v << ": \"" << std::string(fast, n > 0 ? n : 0) << "\" against \""
                << slow << "\"";
        }
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

TEST(CompiledFormats, LiteralTextAlignmentAndWhatIsLeftToSnprintf) {
    std::tuple<char const*, double, char const*> const rows[] = {
        {" %13.2f", 2.5, "          2.50"}, {"%-6.0f|", 12.0, "12    |"},
        {"x%.3e", 1234.5, "x1.234e+03"} /* a tie, to even */, {"%f", 0.1, "0.100000"},
    };
    char out[CompiledFormat::kMaxText];
    for (auto const& [format, value, expected] : rows) {
        CompiledFormat const c(format);
        ASSERT_TRUE(c.isCompiled()) << format;
        int const n = c.formatDouble(out, value);
        EXPECT_EQ(std::string(out, n > 0 ? n : 0), expected);
    }
    CompiledFormat const wide("%99.99f");  // the longest text still fits
    EXPECT_EQ(wide.formatDouble(out, std::numeric_limits<double>::max()), 309 + 1 + 99);
    for (char const* f : {"   %08lx%08lx", "%+d", "%5s", "%c", "100%%", "%08.3f", "%.3d", "%Lf", "%lf ", "%5.2f %d",
                          "%1000d", "", "no conversion", "%lld%"}) {
        CompiledFormat c;
        EXPECT_FALSE(c.compile(f)) << f;
        EXPECT_EQ(c.formatDouble(out, 1.0), -1) << f;
        EXPECT_EQ(c.formatSigned(out, 1), -1) << f;
    }
    CompiledFormat const c("%10.4f"), i("%6ld");
    EXPECT_EQ(c.formatDouble(out, std::numeric_limits<double>::quiet_NaN()), -1);
    EXPECT_EQ(c.formatDouble(out, -std::numeric_limits<double>::infinity()), -1);
    EXPECT_EQ(c.formatSigned(out, 5), -1);  // an integer into a floating format
    EXPECT_EQ(i.formatDouble(out, 5.0), -1);
}
