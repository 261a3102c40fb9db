/// @file
/// The session's message language and default character set, the report of
/// the locale found at start, and the registration of the library's numbered
/// message tables with the utility layer.
///
/// The language is a plain static cell for the main thread. The character set
/// is per thread, kept by the character-set converter.
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

struct vxArray_tag;

/// The language code ("en" or "ja" from the environment unless set), chosen on
/// the first call: "ja" only when LANG begins with "ja" (any case) and
/// CALYX_LANG is exactly "ja"; "en" in every other case.
char const* svGetLanguage();
/// Stores up to 31 characters of `code`; null is ignored. An empty code makes
/// the next svGetLanguage choose from the environment again.
void svSetLanguage(char const* code);
/// The ISO 639 form of this system's two-letter codes, by their first two
/// bytes: "ge" is "de", "sp" is "es"; anything else is returned as it is.
char const* getIsoLang(char const* code);
/// The resource subdirectory of the language: "en" for short codes and codes
/// beginning with "en", "ja" for "ja...", otherwise the code's first five characters.
char const* svLookInSubdirectory();
/// Its built-in: the subdirectory as text; no inputs, at most one output.
void svLookInSubdirectory(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

/// The name of the calling thread's default character set.
char const* svGetDefaultCharacterSet();
/// Makes `name` the thread's default character set; false, with the old set
/// kept, when the name is not a legal IANA name.
bool svSetDefaultCharacterSetPlain(char const* name);
/// The "DefaultCharacterSet" built-in: returns the set in force before the
/// call; a text input sets a new one, a rejected name is printed as a message.
void svSetDefaultCharacterSet(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
/// The "Locale" built-in: a 1-by-1 struct of strings describing the locale.
void svLocaleSetting(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

/// svSetLanguage, then the utility layer's message context (when it has one)
/// follows the new language.
void ioLanguageSwitcher(char const* code);

/// Message codes of the library's tables (facility in the high 16 bits).
enum : unsigned int {
    SERVICES_STATE_INVALID_CHARSET = 0x3e0001,
    SERVICES_STATE_CONFLICTING_JAVA_OPTS = 0x3e0002,
    SERVICES_STATE_UNSUPPORTED_JAVA_OPTS = 0x3e0003,
    SERVICES_STATE_NO_WINDOW_SYSTEM = 0x3e0004,
    SERVICES_STATE_DISABLING_JAVA = 0x3e0005,
    SERVICES_CONFIG_FILE_OPEN_FAILED = 0x4d0001,
    SERVICES_CONFIG_FILE_CLOSE_FAILED = 0x4d0002,
    SERVICES_CONFIG_FILE_OVERWRITE_FAILED = 0x4d0003,
    SERVICES_CONFIG_FILE_COPY_FAILED = 0x4d0004,
    SERVICES_CONFIG_CANT_DETERMINE_FILE_SIZE = 0x4d0005,
    SERVICES_CONFIG_CANT_DETERMINE_FILE_TYPE = 0x4d0006,
    SERVICES_CONFIG_OPENDIR_ERROR = 0x4d0007,
};

///@{
/// Register "Locale"; and "DefaultCharacterSet" with the two message tables.
/// Each runs once, at load.
int init_regLocaleFeatures(int);
int init_regCharsetFeatures(int);
///@}

QZSERVICES_API_END
