// A printf conversion of one number compiled once and applied without printf.
#include "display/fast_format.hpp"

#include <charconv>
#include <cmath>
#include <cstring>

namespace display_format {

namespace {

// Literal text up to the conversion, or after it: no '%' allowed, short.
bool takeLiteral(char const*& p, char const* end, char* dst, int& length) {
    length = 0;
    while (p < end && *p != '%') {
        if (length + 1 >= 16) return false;
        dst[length++] = *p++;
    }
    dst[length] = '\0';
    return true;
}

bool takeNumber(char const*& p, int& value) {
    if (*p < '0' || *p > '9') return false;
    value = 0;
    while (*p >= '0' && *p <= '9') {
        value = value * 10 + (*p++ - '0');
        if (value > 99) return false;
    }
    return true;
}

} // namespace

bool CompiledFormat::compile(char const* format) {
    compiled_ = false;
    if (format == nullptr) return false;
    char const* p = format;
    char const* end = format + std::strlen(format);
    if (!takeLiteral(p, end, prefix_, prefixLength_) || p == end) return false;
    ++p;  // '%'
    leftAlign_ = false;
    if (*p == '-') {
        leftAlign_ = true;
        ++p;
    }
    width_ = 0;
    if (*p >= '1' && *p <= '9' && !takeNumber(p, width_)) return false;
    precision_ = -1;
    if (*p == '.') {
        ++p;
        if (!takeNumber(p, precision_)) return false;
    }
    int longs = 0;
    while (*p == 'l' && longs < 2) {
        ++longs;
        ++p;
    }
    conversion_ = *p;
    switch (conversion_) {
    case 'd':
        floating_ = false;
        signed_ = true;
        break;
    case 'u':
        floating_ = false;
        signed_ = false;
        break;
    case 'f':
    case 'e':
    case 'g':
        if (longs != 0) return false;
        floating_ = true;
        signed_ = true;
        break;
    default: return false;
    }
    // printf's default precision for floating conversions; none for integers here.
    if (floating_ && precision_ < 0) precision_ = 6;
    if (!floating_ && precision_ >= 0) return false;
    ++p;
    if (!takeLiteral(p, end, suffix_, suffixLength_) || p != end) return false;
    compiled_ = true;
    return true;
}

int CompiledFormat::finish(char* out, char const* digits, int length) const {
    char* o = out;
    std::memcpy(o, prefix_, static_cast<size_t>(prefixLength_));
    o += prefixLength_;
    int const pad = width_ > length ? width_ - length : 0;
    if (!leftAlign_) {
        std::memset(o, ' ', static_cast<size_t>(pad));
        o += pad;
    }
    std::memcpy(o, digits, static_cast<size_t>(length));
    o += length;
    if (leftAlign_) {
        std::memset(o, ' ', static_cast<size_t>(pad));
        o += pad;
    }
    std::memcpy(o, suffix_, static_cast<size_t>(suffixLength_));
    o += suffixLength_;
    return static_cast<int>(o - out);
}

int CompiledFormat::formatDouble(char* out, double v) const {
    if (!compiled_ || !floating_ || !std::isfinite(v)) return -1;
    char digits[kMaxText];
    std::chars_format const style = conversion_ == 'f'   ? std::chars_format::fixed
                                    : conversion_ == 'e' ? std::chars_format::scientific
                                                         : std::chars_format::general;
    // At most 309 digits, the point and 99 decimals: with up to 15 characters
    // of literal text on each side that is within kMaxText.
    std::to_chars_result const r = std::to_chars(digits, digits + sizeof digits, v, style, precision_);
    if (r.ec != std::errc()) return -1;
    return finish(out, digits, static_cast<int>(r.ptr - digits));
}

int CompiledFormat::formatSigned(char* out, long long v) const {
    if (!compiled_ || floating_) return -1;
    char digits[32];
    std::to_chars_result const r =
        signed_ ? std::to_chars(digits, digits + sizeof digits, v)
                : std::to_chars(digits, digits + sizeof digits, static_cast<unsigned long long>(v));
    return finish(out, digits, static_cast<int>(r.ptr - digits));
}

int CompiledFormat::formatUnsigned(char* out, unsigned long long v) const {
    if (!compiled_ || floating_) return -1;
    char digits[32];
    std::to_chars_result const r = signed_ ? std::to_chars(digits, digits + sizeof digits, static_cast<long long>(v))
                                           : std::to_chars(digits, digits + sizeof digits, v);
    return finish(out, digits, static_cast<int>(r.ptr - digits));
}

} // namespace display_format
