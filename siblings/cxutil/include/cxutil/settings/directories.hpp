// Where the user's preferences live. The directory is, in this order of
// precedence: the one set by setPreferencesDirectoryUStr, the environment
// variable CALYX_PREFDIR when set and not empty, $XDG_CONFIG_HOME/calyx/R2031b
// when XDG_CONFIG_HOME is set and not empty, and ~/.calyx/R2031b. Paths are
// UTF-16 texts; an empty text means "none".
#pragma once
#include "cxutil/cxutil_export.hpp"
#include <string>

CXUTIL_API_BEGIN

namespace cxutil { namespace settings {

typedef std::basic_string<unsigned short> ustring;

// The release whose preferences this is.
extern char const* const kReleaseName;  // "R2031b"

// The preferences directory; with `create`, the directory and its parents are
// made when missing, and the result is empty if that fails.
ustring getPreferencesDirectoryUStr(bool create);
// Overrides the directory for this process; it is created when missing. An
// empty text drops the override. False, with nothing changed, when the
// directory neither exists nor can be made.
bool setPreferencesDirectoryUStr(ustring const& directory);
// The directory of the platform's convention (XDG, then the home folder),
// whatever the override and CALYX_PREFDIR say.
ustring getStandardPreferencesDirectoryUStr();
// The directory without the override: CALYX_PREFDIR, else the standard one.
ustring getDefaultPreferencesDirectoryUStr();
// The newest existing preferences directory of an earlier release beside the
// standard one (a sibling named like "R2030a" that sorts before this
// release), for migration; empty if there is none.
ustring getPreviousPreferencesDirectoryUStr();
// The user's home folder with a trailing separator; empty without a home.
ustring calyxDefaultPrefDirPrefixUStr();
// The part behind that prefix for a release: ".calyx/" and the text.
ustring calyxDefaultPrefDirSuffixUStr(ustring const& release);
// The file in the preferences directory that records when the preferences
// were last migrated ("calyx.timestamp").
ustring getTimestampFileNameUStr();

// The path without separators at its end; "/" stays "/".
std::string StripFinalPathNameSep(std::string path);
ustring StripFinalPathNameSep(ustring path);

}} // namespace cxutil::settings

CXUTIL_API_END
