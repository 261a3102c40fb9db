/// @file
/// Setting the Java support level: the command-line words, the resolution of
/// conflicts between them, and the lowering of the level when Java or a display
/// turns out to be missing. The level cell and its tests are in
/// session_modes.hpp. Plain cells, used during start on the main thread.
#pragma once
#include "qzservices/export.hpp"
#include "qzservices/state/session_modes.hpp"

#include <string>

QZSERVICES_API_BEGIN

/// Compares `what`, ignoring case, with "JVM", "AWT", "Swing", "QZT" and
/// "Desktop" and answers the matching svJavaUse* test; false for anything else.
bool svJavaUse(char const* what);

/// Stores `level` unless it is 0, then sets the hot links: both on at the
/// desktop level; otherwise hot links on exactly when EMACS is "t", and
/// documentation links on exactly when the AWT is in use. Returns the level in
/// force afterwards.
svJavaSupportLevel svJavaSetSupport(svJavaSupportLevel level);

/// Matches `word` exactly against the command-line words ("nojvm", "jvm",
/// "noawt", ...) and merges the level it asks for into `*level`; false, with
/// `*level` untouched, when the word is not one of them. The first conflict in
/// the process is reported on CXErr and as a warning, and keeps `*level`.
bool svJavaProcessCmdlineArg(char const* word, svJavaSupportLevel* level);

/// Falls back to no Java at all, with a message, unless the level is already
/// below the virtual machine. Returns the level in force afterwards.
svJavaSupportLevel svNoJava();

/// Falls back to the virtual machine without window toolkits when the level is
/// AWT or above: silently in standalone mode, otherwise with a message.
void svJavaNoDisplay();

/// The machine configuration's "Virtual Machine" entry while Java is enabled;
/// "Java is not enabled" when it is not, or when no signature was recorded.
std::string svGetJreSignature();

struct vxArray_tag;
/// The "useJava" feature's built-in: svJavaUse of one text, as a logical.
void useJava(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
/// Registers "useJava" (value 1) once; called at load.
int init_registerJavaSupportFeatures(int);

QZSERVICES_API_END
