// A printf conversion of one number, parsed once and applied to many values
// without printf: std::to_chars gives printf's exact digits (it is specified
// as printf in the "C" locale), and the field is padded here. The display
// formats are few and simple, so only their shape is compiled: literal text,
// one conversion (d, ld, lld, u, lu, llu, f, e, g) with an optional '-' flag,
// a width and a precision, literal text. Anything else is refused, and the
// caller keeps snprintf; so does a value that is NaN or infinite.
#pragma once
#include <cstddef>

namespace display_format {

class CompiledFormat {
public:
    // Room for the longest text any compiled format gives: a fixed-point
    // double near the largest value (309 digits, the point, 99 decimals) with
    // 15 characters of literal text on each side; a field is at most 99 wide.
    static constexpr size_t kMaxText = 512;

    CompiledFormat() = default;
    explicit CompiledFormat(char const* format) { compile(format); }

    // False when the format is not of the supported shape.
    bool compile(char const* format);
    bool isCompiled() const { return compiled_; }
    bool isFloating() const { return floating_; }
    bool isSigned() const { return signed_; }

    // Each writes the text into out (kMaxText bytes, no NUL) and returns its
    // length; -1 when the value must go to snprintf instead.
    int formatDouble(char* out, double v) const;
    int formatSigned(char* out, long long v) const;
    int formatUnsigned(char* out, unsigned long long v) const;

private:
    int finish(char* out, char const* digits, int length) const;

    char prefix_[16] = {};
    char suffix_[16] = {};
    int prefixLength_ = 0;
    int suffixLength_ = 0;
    int width_ = 0;
    int precision_ = -1;
    char conversion_ = 0;
    bool leftAlign_ = false;
    bool floating_ = false;
    bool signed_ = false;
    bool compiled_ = false;
};

}  // namespace display_format
