/// @file
/// Preferences: reading a key of "calyx.prf" and rewriting an integer in it,
/// the cache preference, the preferences directories (from the settings
/// layer, as local text), the toolbox cache file names, and the user's work
/// folder. No lock: the file may be rewritten by another writer meanwhile.
#pragma once
#include "qzservices/export.hpp"
#include <boost/any.hpp>
#include <string>

QZSERVICES_API_BEGIN

namespace cxutil { namespace contextmgr { struct CxrID; } }
struct vxArray_tag;

/// The value text of `key` (everything behind its first "="), from uvStrdup:
/// the caller frees it with uvFree. Null when there is no directory, no file,
/// no such key, or the key's line has no value text.
char* svGetPref(char const* key);
/// Rewrites the integer value of the first place where `key`'s text occurs in
/// the file as "I" and its digits, padded with zeros to the old value's
/// length. Nothing happens when the text is not in the file or the file cannot
/// be opened. The file is replaced whole (a new file beside it renamed over
/// it), so a reader or a crash sees either the old or the new content; a
/// symbolic link is followed and stays a link, and the permission bits are
/// kept. Where no file can be made beside it, the value is rewritten in place.
void svSetPref(char const* key, int value);
/// 0 cache off (always in standalone mode), 1 on, 2 on with diagnostics.
int svGetCachePreference();

/// The directories as local text. The const char* results are owned by a
/// per-thread cell and stay valid until the same thread calls the same
/// function again; null when the settings layer gives none.
char const* svGetPreferencesDirectory(bool create);  ///< the folder in use, made with `create`
///@{
/// Makes `dir` (and its parents) the folder in use; empty or null goes back to
/// the default. False, with the folder in use kept, when it cannot be made.
bool svSetPreferencesDirectory(char const* dir);
std::string svGetStandardPreferencesDirectory();  ///< below the home folder, ignoring CALYX_PREFDIR
char const* svGetDefaultPreferencesDirectory();  ///< CALYX_PREFDIR, else the standard one
char const* svGetPreviousPreferencesDirectory();  ///< the newest earlier release's folder beside it
std::string svCalyxDefaultPrefDirPrefix();  ///< the home folder and a slash
std::string svCalyxDefaultPrefDirSuffix(char const* text);  ///< ".calyx/" and the release `text`
char const* svGetTimestampFileName();  ///< "calyx.timestamp" in the folder in use
///@}

/// "<preferences directory>/toolbox_cache-3.4.0-<hash of the root>-linux64.xml",
/// the directory created if needed; null without one. Static buffer.
char const* svGetToolboxCacheFile();
/// "<root>/toolbox/local/toolbox_cache-linux64.xml". Another static buffer.
char const* svGetSystemToolboxCacheFile();

/// The built-in behind the preferences-directory command: at most one output,
/// at most one input (a logical or numeric scalar, nonzero to create).
void cxr_pref_dir(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);

/// The user's work folder: the "UserPath" setting of the "calyx" group as it
/// stands into `rawValue`, and resolved ("$documents" expanded) into
/// `resolved`; both buffers need 8194 bytes. The folder is created when the
/// value is the default one and it is missing.
void svGetPref_UserWorkFolder(char* rawValue, int rawSize, char* resolved, int resolvedSize, bool useFactory,
                              cxutil::contextmgr::CxrID const& id);
/// The factory value of "UserPath": "$documents/CALYX" as UTF-16 text.
void getDefaultUserFolder(boost::any& value);

QZSERVICES_API_END
