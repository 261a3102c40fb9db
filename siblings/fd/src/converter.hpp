// A thin RAII owner of one stateful ICU converter. Conversions may be fed in
// pieces: with flush false an incomplete character waits inside the converter.
#pragma once
#include <unicode/ucnv.h>
#include <string>

namespace fd { namespace i18n { namespace detail {

class Converter {
public:
    explicit Converter(std::string const& name);
    ~Converter();
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;

    // Appends the conversion of [src, src+n) to `out`.
    void toUnicode(char const* src, size_t n, bool flush, std::u16string& out);
    void fromUnicode(char16_t const* src, size_t n, bool flush, std::string& out);

    // Converts into a caller's range, advancing both pointers; true once all
    // the source was used, false if the target filled first.
    bool fromUnicodeInto(unsigned short const*& from, unsigned short const* fromEnd, char*& to, char* toEnd,
                         bool flush);

    bool pendingToUnicode() const;
    bool pendingFromUnicode() const;
    // True for encodings in which a byte below 0x80 is always that ASCII
    // character and never part of a longer sequence: such bytes may bypass ICU.
    bool asciiTransparent() const { return asciiTransparent_; }

private:
    UConverter* cnv_;
    bool asciiTransparent_;
};

}}} // namespace fd::i18n::detail
