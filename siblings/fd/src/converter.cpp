// The RAII owner of one ICU converter and its ASCII fast path.
#include "converter.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace fd { namespace i18n { namespace detail {

namespace {

bool startsWithNoCase(char const* s, char const* prefix) {
    return strncasecmp(s, prefix, strlen(prefix)) == 0;
}

} // namespace

Converter::Converter(std::string const& name) : cnv_(nullptr), asciiTransparent_(false) {
    UErrorCode err = U_ZERO_ERROR;
    cnv_ = ucnv_open(name.c_str(), &err);
    if (U_FAILURE(err) || cnv_ == nullptr)
        throw std::invalid_argument("unknown character encoding \"" + name + "\"");
    char const* canonical = ucnv_getName(cnv_, &err);
    if (U_FAILURE(err)) canonical = "";
    // Shift_JIS and Big5 reuse ASCII bytes as trail bytes, so only these families
    // may take the ASCII shortcut.
    asciiTransparent_ = startsWithNoCase(canonical, "UTF-8") || startsWithNoCase(canonical, "US-ASCII") ||
                        startsWithNoCase(canonical, "ISO-8859") || startsWithNoCase(canonical, "EUC") ||
                        startsWithNoCase(canonical, "ibm-5348") || startsWithNoCase(canonical, "windows-125");
}

Converter::~Converter() { ucnv_close(cnv_); }

void Converter::toUnicode(char const* src, size_t n, bool flush, std::u16string& out) {
    char const* p = src;
    char const* end = src + n;
    char16_t chunk[1024];
    for (;;) {
        UErrorCode err = U_ZERO_ERROR;
        char16_t* target = chunk;
        ucnv_toUnicode(cnv_, &target, chunk + 1024, &p, end, nullptr, flush, &err);
        out.append(chunk, target - chunk);
        if (err == U_BUFFER_OVERFLOW_ERROR) continue;
        if (U_FAILURE(err)) throw std::runtime_error(std::string("character conversion failed: ") + u_errorName(err));
        return;
    }
}

void Converter::fromUnicode(char16_t const* src, size_t n, bool flush, std::string& out) {
    char16_t const* p = src;
    char16_t const* end = src + n;
    char chunk[2048];
    for (;;) {
        UErrorCode err = U_ZERO_ERROR;
        char* target = chunk;
        ucnv_fromUnicode(cnv_, &target, chunk + sizeof chunk, reinterpret_cast<UChar const**>(&p),
                         reinterpret_cast<UChar const*>(end), nullptr, flush, &err);
        out.append(chunk, target - chunk);
        if (err == U_BUFFER_OVERFLOW_ERROR) continue;
        if (U_FAILURE(err)) throw std::runtime_error(std::string("character conversion failed: ") + u_errorName(err));
        return;
    }
}

bool Converter::fromUnicodeInto(unsigned short const*& from, unsigned short const* fromEnd, char*& to, char* toEnd,
                                bool flush) {
    // An ASCII run converts to itself; ICU is asked only when nothing of an
    // earlier character waits inside it (cheap tests first).
    if (asciiTransparent_ && from < fromEnd && *from < 0x80 && to < toEnd && !pendingFromUnicode()) {
        std::ptrdiff_t const len = copyAsciiRun(from, to, std::min(fromEnd - from, toEnd - to));
        from += len;
        to += len;
        if (from == fromEnd) return true;
        if (to == toEnd) return false;
    }
    UErrorCode err = U_ZERO_ERROR;
    UChar const* src = reinterpret_cast<UChar const*>(from);
    ucnv_fromUnicode(cnv_, &to, toEnd, &src, reinterpret_cast<UChar const*>(fromEnd), nullptr, flush, &err);
    from = reinterpret_cast<unsigned short const*>(src);
    if (err == U_BUFFER_OVERFLOW_ERROR) return false;
    if (U_FAILURE(err)) throw std::runtime_error(std::string("character conversion failed: ") + u_errorName(err));
    return true;
}

bool Converter::pendingToUnicode() const {
    UErrorCode err = U_ZERO_ERROR;
    return ucnv_toUCountPending(cnv_, &err) > 0;
}

bool Converter::pendingFromUnicode() const {
    UErrorCode err = U_ZERO_ERROR;
    return ucnv_fromUCountPending(cnv_, &err) > 0;
}

}}} // namespace fd::i18n::detail
