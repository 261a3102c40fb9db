// A character-set converter between UTF-16 and one named encoding, over ICU.
// A name is accepted exactly when ICU knows it as an IANA name or alias.
// Each thread has a stack of default names; its top (or, when empty, the
// process's native encoding) names the thread's default converter.
#pragma once
#include "orrery/orrery_export.hpp"
#include <exception>
#include <memory>
#include <string>

ORRERY_API_BEGIN

struct UConverter;

namespace Orrery { namespace I18N {

class InvalidCharacterSetException : public std::exception {
public:
    explicit InvalidCharacterSetException(std::string name);
    char const* what() const noexcept override { return message_.c_str(); }
    std::string const& name() const { return name_; }

private:
    std::string name_;
    std::string message_;
};

class UnicodeConverterX {
public:
    // Throws InvalidCharacterSetException for a null name or one that is not
    // an IANA name known to ICU.
    explicit UnicodeConverterX(char const* name);
    ~UnicodeConverterX();
    UnicodeConverterX(UnicodeConverterX const&) = delete;
    UnicodeConverterX& operator=(UnicodeConverterX const&) = delete;

    // The name as it was given.
    char const* getName() const { return name_.c_str(); }
    // ICU's canonical name for it, e.g. "ISO-8859-1" for "latin1".
    char const* getCanonicalName() const { return canonical_.c_str(); }

    // Whole-text conversions; bytes that do not decode become U+FFFD, and
    // characters the set lacks become its substitute character.
    std::u16string toUnicode(std::string const& bytes) const;
    std::string fromUnicode(std::u16string const& text) const;

    static bool isLegalName(char const* name);

    // With null: the calling thread's default converter, owned by the thread
    // and valid until the thread's default changes or the thread ends. With a
    // name: the thread's cached converter of that name (thrown on as above).
    static UnicodeConverterX* getThreadSpecific(char const* name);

    // Makes `name` the calling thread's default; throws as the constructor
    // does, leaving the default unchanged.
    static void pushTssDefaultConvName(char const* name);
    // Returns to the previous default; false when nothing was pushed.
    static bool popTssDefaultConvName();
    // The IANA name of the process's native encoding (from LC_CTYPE, with plain
    // ASCII widened to UTF-8), used when the thread has pushed nothing.
    static std::string nativeDefaultName();
    // The name of the calling thread's default converter: the name pushed
    // last, or the native one.
    static std::string getDefaultName();

private:
    std::string name_;
    std::string canonical_;
    UConverter* cnv_;
};

}} // namespace Orrery::I18N

ORRERY_API_END
