// The locale the process found at start, resolved from the environment.
#include "fd/i18n/QzLocale.hpp"

#include <unicode/ucnv.h>

#include <langinfo.h>
#include <locale.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace fd { namespace i18n {

namespace {

char const* const kCategoryNames[QzLocale::kNumCategories] = {
    "LC_CTYPE", "LC_NUMERIC", "LC_TIME", "LC_COLLATE", "LC_MONETARY", "LC_MESSAGES"};
int const kCategoryMasks[QzLocale::kNumCategories] = {
    LC_CTYPE_MASK, LC_NUMERIC_MASK, LC_TIME_MASK, LC_COLLATE_MASK, LC_MONETARY_MASK, LC_MESSAGES_MASK};

// "language[_territory][.codeset][@modifier]", split up.
struct LocaleParts {
    std::string name;  // language and territory
    std::string codeset;
    std::string modifier;
};

LocaleParts split(std::string const& full) {
    LocaleParts parts;
    std::string rest = full;
    std::string::size_type at = rest.find('@');
    if (at != std::string::npos) {
        parts.modifier = rest.substr(at + 1);
        rest.erase(at);
    }
    std::string::size_type dot = rest.find('.');
    if (dot != std::string::npos) {
        parts.codeset = rest.substr(dot + 1);
        rest.erase(dot);
    }
    parts.name = rest;
    return parts;
}

// The preferred spelling of an encoding name ("utf8" is "UTF-8"); a name
// ICU does not know is kept as written.
std::string preferredEncodingName(std::string const& codeset, char const* standard) {
    for (char const* s : {standard, "MIME", "IANA"}) {
        UErrorCode status = U_ZERO_ERROR;
        char const* name = ucnv_getStandardName(codeset.c_str(), s, &status);
        if (U_SUCCESS(status) && name != nullptr) return name;
    }
    return codeset;
}

// The default code set of an installed locale named without one ("en_US").
std::string installedCodeset(std::string const& full) {
    locale_t loc = newlocale(LC_CTYPE_MASK, full.c_str(), static_cast<locale_t>(0));
    if (loc == static_cast<locale_t>(0)) return "US-ASCII";
    std::string codeset = nl_langinfo_l(CODESET, loc);
    freelocale(loc);
    return codeset;
}

bool isInstalled(int category, std::string const& full) {
    locale_t loc = newlocale(kCategoryMasks[category], full.c_str(), static_cast<locale_t>(0));
    if (loc == static_cast<locale_t>(0)) return false;
    freelocale(loc);
    return true;
}

bool isRightToLeft(std::string const& name) {
    std::string const language = name.substr(0, name.find('_'));
    for (char const* rtl : {"ar", "dv", "fa", "he", "iw", "ps", "sd", "ug", "ur", "yi"})
        if (language == rtl) return true;
    return false;
}

bool usesUSCustomary(std::string const& name) {
    std::string::size_type underscore = name.find('_');
    if (underscore == std::string::npos) return false;
    std::string const territory = name.substr(underscore + 1);
    return territory == "US" || territory == "LR" || territory == "MM";
}

} // namespace

char const* QzLocale::getLcCategoryName(int category) {
    return category >= 0 && category < kNumCategories ? kCategoryNames[category] : nullptr;
}

QzLocale QzLocale::fromEnvironment(EnvLookup const& env, InstalledTest const& installed) {
    auto lookup = [&env](char const* variable) -> std::string {
        char const* value = env(variable);
        return value != nullptr ? value : "";
    };
    QzLocale locale;
    bool anySet = false, fellBack = false;
    std::string ctypeCodeset, ctypeFull;
    for (int i = 0; i < kNumCategories; ++i) {
        std::string full = lookup("LC_ALL");
        if (full.empty()) full = lookup(kCategoryNames[i]);
        if (full.empty()) full = lookup("LANG");
        if (!full.empty()) anySet = true;
        if (full.empty() || full == "POSIX") full = "C";
        if (full != "C" && !installed(i, full)) {
            locale.warning_ += std::string(locale.warning_.empty() ? "" : "\n") + "The locale \"" + full +
                               "\" of " + kCategoryNames[i] + " is not available; \"C\" is used instead.";
            fellBack = true;
            full = "C";
        }
        LocaleParts parts = split(full);
        locale.names_.push_back(parts.name);
        locale.modifiers_.push_back(parts.modifier);
        if (i == 0) {
            ctypeFull = full;
            ctypeCodeset = parts.codeset;
        }
    }
    if (ctypeFull == "C")
        locale.encoding_ = "US-ASCII";
    else
        locale.encoding_ = preferredEncodingName(ctypeCodeset.empty() ? installedCodeset(ctypeFull) : ctypeCodeset,
                                                 "MIME");
    // The terminal shows text in the locale's encoding; Java has names of its own.
    locale.options_.push_back(preferredEncodingName(locale.encoding_, "JAVA"));
    locale.options_.push_back(locale.encoding_);
    locale.options_.push_back(isRightToLeft(locale.names_[0]) ? TextDirection::RightToLeft
                                                              : TextDirection::LeftToRight);
    locale.options_.push_back(usesUSCustomary(locale.names_[0]) ? MeasurementSystem::USCustomary
                                                                : MeasurementSystem::Metric);
    if (!anySet)
        locale.status_ = "No locale is set in the environment; the \"C\" locale is used.";
    else if (fellBack)
        locale.status_ = "The locale was initialized from the environment, with fallbacks to \"C\".";
    else
        locale.status_ = "The locale was initialized from the environment.";
    return locale;
}

QzLocale const& QzLocale::global() {
    // Made once, under the compiler's guard, and never freed: the locale is
    // read until the very end of the process.
    static QzLocale const* const global =
        new QzLocale(fromEnvironment([](char const* v) { return std::getenv(v); }, &isInstalled));
    return *global;
}

std::string const& QzLocale::getLocaleName(int category) const { return names_.at(static_cast<size_t>(category)); }
std::string const& QzLocale::getModifier(int category) const { return modifiers_.at(static_cast<size_t>(category)); }
std::string const& QzLocale::getEncoding() const { return encoding_; }
LocaleOptionValue const& QzLocale::getOptionData(int index) const { return options_.at(static_cast<size_t>(index)); }

std::string QzLcUtil::getInitStatusMsg() { return QzLocale::global().statusMessage(); }
std::string QzLcUtil::getInitWarningMsg() { return QzLocale::global().warningMessage(); }

}} // namespace fd::i18n
