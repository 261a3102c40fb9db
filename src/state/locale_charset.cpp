// The message language, the default character set, the locale report and the
// library's numbered message tables.
#include "qzservices/state/locale_charset.hpp"
#include "qzservices/state/features.hpp"

#include <fd/i18n/QzLocale.hpp>
#include <orrery/i18n/UnicodeConverterX.hpp>
#include <uv/messages.hpp>
#include <uv/strings.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <boost/variant/get.hpp>

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

namespace {

// Empty until the first svGetLanguage or svSetLanguage.
char i18n[32] = "";
char subdirectory[6] = "";

// strncpy-style copies of at most size - 1 bytes: the last byte of each
// buffer is never written, so it stays the terminator.
void copyTerminated(char* target, char const* source, size_t size) { uvStrncpy(target, source, size - 1); }

char const* languageFromEnvironment() {
    char const* lang = std::getenv("LANG");
    // CALYX_LANG counts only under a Japanese LANG: no other language is ever
    // taken from the environment.
    if (lang == nullptr || strncasecmp(lang, "ja", 2) != 0) return "en";
    char const* calyxLang = std::getenv("CALYX_LANG");
    return calyxLang != nullptr && std::strcmp(calyxLang, "ja") == 0 ? "ja" : "en";
}

} // namespace

char const* svGetLanguage() {
    if (i18n[0] == '\0') copyTerminated(i18n, languageFromEnvironment(), sizeof i18n);
    return i18n;
}

void svSetLanguage(char const* code) {
    if (code == nullptr) return;
    copyTerminated(i18n, code, sizeof i18n);
}

char const* getIsoLang(char const* code) {
    if (code == nullptr) return nullptr;
    if (std::strncmp(code, "en", 2) == 0) return "en";
    if (std::strncmp(code, "ja", 2) == 0) return "ja";
    if (std::strncmp(code, "ge", 2) == 0) return "de";
    if (std::strncmp(code, "sp", 2) == 0) return "es";
    return code;
}

char const* svLookInSubdirectory() {
    char const* language = svGetLanguage();
    if (language == nullptr || language[0] == '\0' || language[1] == '\0' || std::strncmp(language, "en", 2) == 0)
        return "en";
    if (std::strncmp(language, "ja", 2) == 0) return "ja";
    copyTerminated(subdirectory, language, sizeof subdirectory);
    return subdirectory;
}

void svLookInSubdirectory(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    outArgs[0] = vxCreateString(svLookInSubdirectory());
}

char const* svGetDefaultCharacterSet() {
    return Orrery::I18N::UnicodeConverterX::getThreadSpecific(nullptr)->getName();
}

bool svSetDefaultCharacterSetPlain(char const* name) {
    try {
        Orrery::I18N::UnicodeConverterX::pushTssDefaultConvName(name);
        return true;
    } catch (Orrery::I18N::InvalidCharacterSetException const&) {
        return false;
    }
}

void svSetDefaultCharacterSet(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 1) vxm::detail::error_maxrhs();
    // Made first: the name belongs to the converter that a change replaces.
    outArgs[0] = vxCreateString(svGetDefaultCharacterSet());
    if (inCount == 0 || inArgs[0] == nullptr || !vxIsChar(inArgs[0])) return;  // other classes: silently nothing
    std::string const name = vxArrayToStdString(inArgs[0]);
    if (svSetDefaultCharacterSetPlain(name.c_str())) return;
    char buffer[128];
    uv_sprintm(uvGetMessageContext(), buffer, sizeof buffer, SERVICES_STATE_INVALID_CHARSET, name.c_str());
    uvPrintf("%s", buffer);
}

void svLocaleSetting(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    using fd::i18n::QzLocale;
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    QzLocale const& locale = QzLocale::global();

    char const* fields[QzLocale::kNumCategories + 5];
    for (int i = 0; i < QzLocale::kNumCategories; ++i) fields[i] = QzLocale::getLcCategoryName(i);
    char const* const tail[] = {"encoding", "terminalEncoding", "jvmEncoding", "status", "warning"};
    std::copy(std::begin(tail), std::end(tail), fields + QzLocale::kNumCategories);

    std::string values[QzLocale::kNumCategories + 5];
    for (int i = 0; i < QzLocale::kNumCategories; ++i) {
        values[i] = locale.getLocaleName(i) + "." + locale.getEncoding();
        if (!locale.getModifier(i).empty()) values[i] += "@" + locale.getModifier(i);
    }
    int at = QzLocale::kNumCategories;
    values[at++] = locale.getEncoding();
    // Throws boost::bad_get if the foundation layer stored a non-text option.
    values[at++] = boost::get<std::string>(locale.getOptionData(QzLocale::TerminalEncoding));
    values[at++] = boost::get<std::string>(locale.getOptionData(QzLocale::JvmEncoding));
    values[at++] = fd::i18n::QzLcUtil::getInitStatusMsg();
    values[at++] = fd::i18n::QzLcUtil::getInitWarningMsg();

    int const count = QzLocale::kNumCategories + 5;
    vxArray_tag* report = vxCreateStructMatrix(1, 1, count, fields);
    for (int i = 0; i < count; ++i) vxSetFieldByNumber(report, 0, i, vxCreateString(values[i].c_str()));
    outArgs[0] = report;
}

void ioLanguageSwitcher(char const* code) {
    svSetLanguage(code);
    if (uvMessageContext* context = uvGetMessageContext()) uv_change_language(context, code);
}

namespace {

// The library's numbered messages; the quotes inside the texts are part of them.
unsigned int const kStateCodes[] = {0x3e0001, 0x3e0002, 0x3e0003, 0x3e0004, 0x3e0005};
char const* const kStateNames[] = {
    "SERVICES_STATE_INVALID_CHARSET", "SERVICES_STATE_CONFLICTING_JAVA_OPTS", "SERVICES_STATE_UNSUPPORTED_JAVA_OPTS",
    "SERVICES_STATE_NO_WINDOW_SYSTEM", "SERVICES_STATE_DISABLING_JAVA"};
char const* const kStateTexts[] = {
    "Error: \"%s\" is not a legal IANA character set name.",
    "\"You have specified multiple/conflicting Java options.  Using '%s'\"",
    "\"Unsupported Java option '%s' may cause problems\"",
    "\"No window system found.  Java option '%s' ignored\"",
    "\"Disabling Java support\""};
uvMessageTable const kStateTable = {5, 0x3e, kStateCodes, kStateNames, kStateTexts};

unsigned int const kConfigCodes[] = {0x4d0001, 0x4d0002, 0x4d0003, 0x4d0004, 0x4d0005, 0x4d0006, 0x4d0007};
char const* const kConfigNames[] = {
    "SERVICES_CONFIG_FILE_OPEN_FAILED",        "SERVICES_CONFIG_FILE_CLOSE_FAILED",
    "SERVICES_CONFIG_FILE_OVERWRITE_FAILED",   "SERVICES_CONFIG_FILE_COPY_FAILED",
    "SERVICES_CONFIG_CANT_DETERMINE_FILE_SIZE", "SERVICES_CONFIG_CANT_DETERMINE_FILE_TYPE",
    "SERVICES_CONFIG_OPENDIR_ERROR"};
char const* const kConfigTexts[] = {
    "Could not open file '%s'. Reason: '%s'",
    "Could not close file '%s'. Reason: '%s'",
    "Could not write to file '%s'. The file exists, and overwrite permission has been denied",
    "Failed copying '%s' to '%s'. Should have written %d bytes to destination file, but actually wrote %d bytes",
    "Could not determine size of file '%s'. Reason: '%s'",
    "Could not determine type of file '%s'. Reason: '%s'",
    "Could not open directory '%s'. Reason: '%s'"};
uvMessageTable const kConfigTable = {7, 0x4d, kConfigCodes, kConfigNames, kConfigTexts};

struct RegisterLocaleFeatures {
    RegisterLocaleFeatures() {
        i18n[0] = '\0';
        svRegisterBuiltin("Locale", 0, &svLocaleSetting);
    }
};

struct RegisterCharsetFeatures {
    RegisterCharsetFeatures() {
        svRegisterBuiltin("DefaultCharacterSet", 0, &svSetDefaultCharacterSet);
        uv_mem_add_primary_message_table(uvGetMessageCatalog(), &kStateTable);
        uv_mem_add_primary_message_table(uvGetMessageCatalog(), &kConfigTable);
    }
};

} // namespace

int init_regLocaleFeatures(int) { return services::static_manager<RegisterLocaleFeatures>::instance(0); }
int init_regCharsetFeatures(int) { return services::static_manager<RegisterCharsetFeatures>::instance(0); }

namespace {
int const localeRegisteredAtLoad = init_regLocaleFeatures(0);
int const charsetRegisteredAtLoad = init_regCharsetFeatures(0);
} // namespace
