/// @file
/// The utility layer: text output into the command window's streams, memory,
/// and the interrupt state.
#pragma once
#include "uv/uv_export.hpp"
#include <cstddef>
#include <string>

UV_API_BEGIN

extern "C" {

/// Output. Each ends in services::io::CXStream::CXOut (stream 0) or CXErr (1).
int uvPrintf(char const* format, ...) __attribute__((format(printf, 1, 2)));
/// Writes the string as it is, with no line feed added (as fputs).
int uvPuts(char const* text);
/// Writes `length` bytes to stream 0 (output) or 1 (error); NULs are written too.
int uvPutsn(int stream, char const* text, size_t length);

///@{
/// Memory. The plain forms return null on failure. uvFree accepts null.
void* uvMalloc(size_t size);
void* uvCalloc(size_t count, size_t size);
void* uvRealloc(void* p, size_t size);
void uvFree(void* p);
char* uvStrdup(char const* s);
///@}

///@{
/// The interrupt state: a pending flag (set by ctrl-C or the more prompt's quit)
/// and an enabled flag that says whether interrupts are honoured at all.
int uvIsInterruptPending(void);
void uvSetInterruptPending(int pending);
int uvIsInterruptEnabled(void);
int uvSetInterruptEnabled(int enabled);  ///< returns the previous value
///@}

///@{
/// The thread that receives signals and owns the sink stacks: the thread that
/// loaded the library, unless a host names another with uvSetSignalThread.
int uvIsSignalThread(void);
void uvSetSignalThread(void);
///@}

///@{
/// Switches for links in printed text: hot links (markup the command window
/// turns into clickable text) and links into the documentation. Off at load;
/// plain cells set during start.
bool uvGetHotLinks(void);
void uvSetHotLinks(bool on);
bool uvGetDocLinks(void);
void uvSetDocLinks(bool on);
///@}
/// True when text printed now may carry hot links: the switch is on and the
/// sink on top of CXOut supports them.
bool uvPrintfIsHot(void);

///@{
/// The order in which the two 32-bit words of a double are shown in
/// hexadecimal: 0 the high word first (the default), 1 the low word first.
int uvGetFormatType(void);
void uvSetFormatType(int type);
///@}

/// The number of times uvLongjmpIfInterruptPending has been called in this
/// process: a probe for tests of where long work checks for interrupts.
unsigned long long uvInterruptCheckCount(void);

} // extern "C"

///@{
/// The checked allocations throw std::bad_alloc instead of returning null.
void* uvMallocWithCheck(size_t size);
void* uvCallocWithCheck(size_t count, size_t size);
void* uvReallocWithCheck(void* p, size_t size);
///@}

/// The interrupt mode of the calling thread, set for a scope. In mode 1 (the
/// default) uvLongjmpIfInterruptPending acts on a pending interrupt; in mode 0
/// it leaves it pending, for code that polls uvIsInterruptPending and must not
/// be left by an exception (the event pump and its hooks).
class uvInterruptMode {
public:
    explicit uvInterruptMode(int mode);  ///< sets the calling thread's mode until the destructor
    ~uvInterruptMode();  ///< restores the mode that was in place
    uvInterruptMode(uvInterruptMode const&) = delete;
    uvInterruptMode& operator=(uvInterruptMode const&) = delete;
    static int current();  ///< the calling thread's mode

private:
    int previous_;
};

///@{
/// The high-resolution timer: a stamp, and the seconds elapsed since a stamp.
/// uvPERFtoc's first argument asks for the stamp to be restarted (unused here:
/// stamps are values), its third is the speed that uvGetPERFspeed reports.
unsigned long long uvPERFtic();
double uvPERFtoc(bool restart, unsigned long long stamp, double speed);
double uvGetPERFspeed();  ///< stamp units per second
///@}

/// The interrupt state as a class, for newer code.
class uvInterruptState {
public:
    /// Does not return when an interrupt is pending and enabled: clears the
    /// pending flag and throws Orrery::System::InterruptException (from a
    /// ctrl-C). Unlike uvLongjmpIfInterruptPending it acts in either interrupt
    /// mode: callers use it exactly where they want to be left.
    static void ThrowIfInterruptPending();
};
/// UTF-16 units as text in the native encoding (the locale's code page).
std::string utf16_to_lcp(unsigned short const* units, size_t count);

/// Does not return when an interrupt is pending and enabled (and the interrupt
/// mode is 1): clears the pending
/// flag and throws Orrery::System::InterruptException. Otherwise returns.
void uvLongjmpIfInterruptPending();

UV_API_END
