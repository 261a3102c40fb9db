// ioPrintWrapped over arbitrary text, window widths and switches. Byte 0 is
// the window width, byte 1 the switches (bit 0 hot links, bit 1 error braces,
// bit 2 eighty-column mode); the rest is the text: a byte below 0x80 is one
// unit, any other byte makes one unit with the byte after it, so that readable
// seeds stay readable and every 16-bit unit can still occur.
//
// Besides the sanitizers, it checks what must hold for any text without
// backspaces or surrogates: the output lies between the markers, and its
// non-breakable units are those of the text, in order, with at most some
// zero-width ones missing at the end.
#include <qzservices/io/CXStream.hpp>
#include <qzservices/io/CXStringSink.hpp>
#include <qzservices/io/window.hpp>
#include <qzservices/io/wrapping.hpp>

#include <boost/make_shared.hpp>
#include <uv/unicode16.hpp>
#include <uv/uv.hpp>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

typedef std::basic_string<unsigned short> UString;

UString nonBreakable(UString const& s) {
    UString out;
    for (unsigned short c : s)
        if (!qzu_isbreakablespace(c)) out.push_back(c);
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size < 2) return 0;
    size_t const width = data[0];
    bool const hot = data[1] & 1, braces = data[1] & 2, eighty = data[1] & 4;
    UString text;
    bool plain = true;  // no backspace, no surrogate
    for (size_t i = 2; i < size; ++i) {
        unsigned short unit = data[i];
        if (unit >= 0x80 && i + 1 < size) unit = static_cast<unsigned short>(((unit & 0x7f) << 8) | data[++i]);
        plain = plain && unit != '\b' && (unit < 0xD800 || unit > 0xDFFF);
        text.push_back(unit);
    }

    // One capturing sink for the whole run, emptied before each input.
    static boost::shared_ptr<services::io::CXStringSink> const sink = [] {
        auto s = boost::make_shared<services::io::CXStringSink>();
        s->setNeedsFormattingForDisplay(true);
        services::io::CXStream::CXOut.push(s);
        return s;
    }();
    dynamic_cast<services::io::CXStringSink::ustringbuf&>(*sink->getUnicodeOutStreamBuffer()).str(UString());
    ioSetNumWindowColumns(width);
    ioUseEightyColumns(eighty);
    uvSetHotLinks(hot);
    ioPrintWrapped(text.data(), text.size(), braces);
    services::io::CXStream::CXOut.flush();

    UString const out = sink->getUnicodeString();
    UString const start = braces ? UString{'{', '\b'} : UString{'[', '\b'};
    UString const end = braces ? UString{'}', '\b', ' ', '\n'} : UString{']', '\b', ' ', '\n'};
    if (out.size() < start.size() + end.size() || out.compare(0, 2, start) != 0 ||
        out.compare(out.size() - 4, 4, end) != 0)
        std::abort();
    if (plain) {
        UString const shown = nonBreakable(out.substr(2, out.size() - 6));
        UString const given = nonBreakable(text);
        // The end may drop a last line that takes no columns (an empty hot
        // link, say), so the output is a prefix of the text.
        if (given.compare(0, shown.size(), shown) != 0) std::abort();
        if (!hot && shown.size() != given.size()) std::abort();
    }
    return 0;
}
