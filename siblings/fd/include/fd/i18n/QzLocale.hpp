// The locale the process found at start, as the foundation layer reports it:
// per category a locale name and modifier, one encoding, and option data.
// Built from the environment the way setlocale(LC_*, "") resolves it (LC_ALL,
// then the category's own variable, then LANG, then "C"); a locale that is not
// installed falls back to "C" with a warning. Read-only once built.
#pragma once
#include "fd/fd_export.hpp"
#include <boost/variant.hpp>

#include <functional>
#include <string>
#include <vector>

FD_API_BEGIN

namespace fd { namespace i18n {

enum class TextDirection { LeftToRight, RightToLeft };
enum class MeasurementSystem { Metric, USCustomary };

typedef boost::variant<std::string, TextDirection, MeasurementSystem> LocaleOptionValue;

class QzLocale {
public:
    static int const kNumCategories = 6;
    // Option indices of getOptionData.
    enum Option { JvmEncoding = 0, TerminalEncoding = 1, Direction = 2, Measurement = 3, kNumOptions = 4 };

    // "LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE", "LC_MONETARY",
    // "LC_MESSAGES" for 0 to 5 (the C library's numbering); null otherwise.
    static char const* getLcCategoryName(int category);

    typedef std::function<char const*(char const*)> EnvLookup;
    // `env` answers variable names (null: unset); `installed` says whether a
    // full locale name can be opened for a category.
    typedef std::function<bool(int category, std::string const& fullName)> InstalledTest;
    static QzLocale fromEnvironment(EnvLookup const& env, InstalledTest const& installed);
    // The process's locale, made once from the real environment.
    static QzLocale const& global();

    // Out-of-range categories and options throw std::out_of_range.
    std::string const& getLocaleName(int category) const;  // "en_US", "C"
    std::string const& getModifier(int category) const;    // "euro", or empty
    std::string const& getEncoding() const;                // of LC_CTYPE, e.g. "UTF-8"
    LocaleOptionValue const& getOptionData(int index) const;

    std::string const& statusMessage() const { return status_; }
    std::string const& warningMessage() const { return warning_; }

private:
    QzLocale() = default;
    std::vector<std::string> names_, modifiers_;
    std::string encoding_;
    std::vector<LocaleOptionValue> options_;
    std::string status_, warning_;
};

// What the start of the locale reported: a one-line status, and the warnings
// (empty when none), of the global locale.
class QzLcUtil {
public:
    static std::string getInitStatusMsg();
    static std::string getInitWarningMsg();
};

}} // namespace fd::i18n

FD_API_END
