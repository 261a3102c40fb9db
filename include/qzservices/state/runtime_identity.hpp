/// @file
/// Who and where this process is: the installation root, the version texts,
/// the platform names, the graphics status word and the interpreter's runtime
/// interface. Static cells, filled on first use (an early call on the main
/// thread is expected to do that), no lock.
#pragma once
#include "qzservices/export.hpp"

struct vxArray_tag;

QZSERVICES_API_BEGIN

// The platform table; this is a 64-bit Linux build, entry 1 of each.
unsigned int svPlatformIndex(unsigned int ignored);  ///< always 1
char const* svComputer();  ///< "LINUX64"
char const* svArch();  ///< "linux64"
char const* svVxeExtension();  ///< ".vxea64"
/// A 1-by-5 struct array with the fields "ext" and "arch", in table order.
void svAllVxeExtensions(vxArray_tag** out);

// Version texts, made from the library's own version symbols at first use.
char const* svCalyxVersion();  ///< "<version> (R2031b)"
char const* svCalyxSplashVersion();  ///< "R2031b (<version>)"
char const* svCalyxImageDate();  ///< the build date, "February 15, 2031"
char const* svCalyxSplashArch();  ///< "64-bit (linux64)"
char const* svCalyxRelease();  ///< "2031b"
char const* svCalyxDescription();  ///< ""

///@{
/// The directory of this library, resolved, and the installation root above
/// its "bin" component.
char const* svGetBinArchDir();
char const* svCalyxRoot();
///@}
/// Overrides the root, with a warning that this is for unit tests. Returns the
/// root buffer.
char* svSetCXRoot(char const* root);
/// "<root>/toolbox", made once.
char const* svGetToolboxPrefix();

/// A search path of the path library (opaque here).
typedef struct pxPathObject* pxPath;
/// Sets the directories of `path` to CALYXPATH when that is set and not empty,
/// else to "<root>/toolbox/local", without warnings for missing directories;
/// when the list is unchanged, reads all listings again.
void svSetStartupPath(pxPath path);

///@{
/// The graphics status word. Set and clear touch only the low three bits and
/// return the previous word; get always shows bit 6 (64).
int svSetPGStatus(int bits);
int svClearPGStatus(int bits);
int svGetPGStatus();
///@}

/// The interface the interpreter hands over. Until it does, a static instance
/// of this base answers every call with 0.
class svCXRuntime {
public:
    virtual ~svCXRuntime();
    ///@{
    /// Whether code is running, who asks for input, and the stream in use,
    /// as the interpreter knows them.
    virtual int GetCodeBlockStatus();
    virtual int GetInputRequester();
    virtual int GetActiveStreamID();
    ///@}
};

/// Only the first non-null runtime is taken; later ones and null are ignored.
void svSetRuntimeInstance(svCXRuntime* runtime);
///@{
/// The runtime's answers.
int svGetCodeBlockStatus();
int svGetInputRequester();
///@}

#include <string>

QZSERVICES_DETAIL_BEGIN
namespace services { namespace state { namespace detail {
/// A build date "Feb 15 2031" in long form, "February 15, 2031"; a text that is
/// not three fields with a known month first stays as it is.
std::string longBuildDate(std::string const& date);
/// The installation root above a library directory: components cut from the
/// end until the one just cut is "bin" or no "/" is left.
std::string rootFromBinDir(std::string directory);
}}} // namespace services::state::detail
QZSERVICES_DETAIL_END

QZSERVICES_API_END
