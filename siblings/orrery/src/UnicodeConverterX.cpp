// The character-set converter between UTF-16 and a named encoding, over ICU.
#include "orrery/i18n/UnicodeConverterX.hpp"

#include <unicode/ucnv.h>

#include <langinfo.h>

#include <cstring>

#include <map>
#include <vector>

namespace Orrery { namespace I18N {

InvalidCharacterSetException::InvalidCharacterSetException(std::string name)
    : name_(std::move(name)), message_("\"" + name_ + "\" is not a legal IANA character set name") {}

namespace {

// What a thread keeps: its pushed default names, the converter of the current
// default, and the converters asked for by name.
struct ThreadConverters {
    std::vector<std::string> defaults;
    std::unique_ptr<UnicodeConverterX> current;
    std::map<std::string, std::unique_ptr<UnicodeConverterX>> named;
};

ThreadConverters& threadConverters() {
    thread_local ThreadConverters converters;
    return converters;
}

} // namespace

bool UnicodeConverterX::isLegalName(char const* name) {
    if (name == nullptr || *name == '\0') return false;
    UErrorCode status = U_ZERO_ERROR;
    // Null unless `name` is listed under the IANA standard; ICU-only aliases
    // such as "SJIS" or "cp1252" are refused.
    char const* canonical = ucnv_getCanonicalName(name, "IANA", &status);
    return U_SUCCESS(status) && canonical != nullptr;
}

UnicodeConverterX::UnicodeConverterX(char const* name) : cnv_(nullptr) {
    if (!isLegalName(name)) throw InvalidCharacterSetException(name ? name : "");
    UErrorCode status = U_ZERO_ERROR;
    canonical_ = ucnv_getCanonicalName(name, "IANA", &status);
    cnv_ = ucnv_open(canonical_.c_str(), &status);
    if (U_FAILURE(status) || cnv_ == nullptr) {
        if (cnv_ != nullptr) ucnv_close(cnv_);
        throw InvalidCharacterSetException(name);
    }
    name_ = name;
}

UnicodeConverterX::~UnicodeConverterX() { ucnv_close(cnv_); }

std::u16string UnicodeConverterX::toUnicode(std::string const& bytes) const {
    ucnv_reset(cnv_);
    std::u16string out;
    if (bytes.empty()) return out;
    // Every byte yields at most two UTF-16 units in the sets ICU supports.
    out.resize(bytes.size() * 2 + 2);
    UErrorCode status = U_ZERO_ERROR;
    int32_t n = ucnv_toUChars(cnv_, reinterpret_cast<UChar*>(&out[0]), static_cast<int32_t>(out.size()),
                              bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        out.resize(static_cast<size_t>(n));
        status = U_ZERO_ERROR;
        ucnv_reset(cnv_);
        n = ucnv_toUChars(cnv_, reinterpret_cast<UChar*>(&out[0]), static_cast<int32_t>(out.size()),
                          bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    }
    out.resize(U_FAILURE(status) && status != U_STRING_NOT_TERMINATED_WARNING ? 0 : static_cast<size_t>(n));
    return out;
}

std::string UnicodeConverterX::fromUnicode(std::u16string const& text) const {
    ucnv_reset(cnv_);
    std::string out;
    if (text.empty()) return out;
    out.resize(static_cast<size_t>(UCNV_GET_MAX_BYTES_FOR_STRING(text.size(), ucnv_getMaxCharSize(cnv_))));
    UErrorCode status = U_ZERO_ERROR;
    int32_t n = ucnv_fromUChars(cnv_, &out[0], static_cast<int32_t>(out.size()),
                                reinterpret_cast<UChar const*>(text.data()), static_cast<int32_t>(text.size()),
                                &status);
    out.resize(U_FAILURE(status) && status != U_STRING_NOT_TERMINATED_WARNING ? 0 : static_cast<size_t>(n));
    return out;
}

std::string UnicodeConverterX::nativeDefaultName() {
    char const* codeset = nl_langinfo(CODESET);
    if (codeset == nullptr || *codeset == '\0') return "UTF-8";
    // Plain ASCII (the "C" locale) is widened to UTF-8, as the foundation
    // layer's conversions do, so that no character is lost.
    UErrorCode asciiStatus = U_ZERO_ERROR;
    char const* canonical = ucnv_getCanonicalName(codeset, "IANA", &asciiStatus);
    if (canonical != nullptr && std::strcmp(canonical, "US-ASCII") == 0) return "UTF-8";
    // The preferred (MIME) name reads best ("ISO-8859-1" rather than "ISO_8859-1:1987").
    for (char const* standard : {"MIME", "IANA"}) {
        UErrorCode status = U_ZERO_ERROR;
        char const* name = ucnv_getStandardName(codeset, standard, &status);
        if (U_SUCCESS(status) && name != nullptr && isLegalName(name)) return name;
    }
    return isLegalName(codeset) ? codeset : "UTF-8";
}

UnicodeConverterX* UnicodeConverterX::getThreadSpecific(char const* name) {
    ThreadConverters& tc = threadConverters();
    if (name != nullptr) {
        auto it = tc.named.find(name);
        if (it == tc.named.end())
            it = tc.named.emplace(name, std::unique_ptr<UnicodeConverterX>(new UnicodeConverterX(name))).first;
        return it->second.get();
    }
    std::string const wanted = tc.defaults.empty() ? nativeDefaultName() : tc.defaults.back();
    if (!tc.current || wanted != tc.current->getName()) tc.current.reset(new UnicodeConverterX(wanted.c_str()));
    return tc.current.get();
}

std::string UnicodeConverterX::getDefaultName() {
    ThreadConverters& tc = threadConverters();
    return tc.defaults.empty() ? nativeDefaultName() : tc.defaults.back();
}

void UnicodeConverterX::pushTssDefaultConvName(char const* name) {
    // Built first, so that a refused name leaves the stack as it was.
    std::unique_ptr<UnicodeConverterX> converter(new UnicodeConverterX(name));
    ThreadConverters& tc = threadConverters();
    tc.defaults.push_back(name);
    tc.current = std::move(converter);
}

bool UnicodeConverterX::popTssDefaultConvName() {
    ThreadConverters& tc = threadConverters();
    if (tc.defaults.empty()) return false;
    tc.defaults.pop_back();
    tc.current.reset();  // rebuilt from the new top at the next look-up
    return true;
}

}} // namespace Orrery::I18N
