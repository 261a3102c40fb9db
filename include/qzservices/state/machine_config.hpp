/// @file
/// The machine configuration: a thread-safe store of facts about this process
/// (version, system, processor, root, encoding, C library), filled at first use
/// and open to additions, printed into diagnostics. Beside it, the host's
/// window-system query hooks.
#pragma once
#include "qzservices/export.hpp"
#include <iosfwd>
#include <string>

QZSERVICES_API_BEGIN

namespace services {

/// The store's interface; every operation locks, so any thread may use it.
class machine_config {
public:
    virtual std::string get(std::string const& key) = 0;  ///< empty when missing
    virtual void add(std::string const& key, std::string const& value) = 0;  ///< only a new key
    virtual void set(std::string const& key, std::string const& value) = 0;  ///< insert or overwrite
    virtual void remove(std::string const& key) = 0;  ///< a missing key is no error
    /// A line end, "Configuration:", each entry as "  <key, left in 19>: <value>"
    /// in byte order of the keys, and a line end; the stream's format is kept.
    virtual void print(std::ostream& out) = 0;
    virtual ~machine_config() {}

    /// The one instance, built on the first call from any thread, never destroyed.
    static machine_config& instance();
};

} // namespace services

/// Prints the configuration through `printer` (uvPrintf when null), one
/// printer("%.*s", length, text) call per block of text.
void svPrintMachineConfiguration(int (*printer)(char const*, ...));

/// The host's window-system queries; both null at start. The feature
/// "getwinsys" returns what `first` returns, or "Unknown" without it.
void svSetDisplayQueryFunctions(char const* (*first)(), char const* (*second)());
/// Reads both back into *first and *second.
void svGetDisplayQueryFunctions(char const* (**first)(), char const* (**second)());

/// Records the Java virtual machine's signature as "Virtual Machine"; the first
/// signature stays.
void svSetJreSignature(std::string const& text);

struct vxArray_tag;
/// The "getwinsys" feature's built-in: at most one output, no input.
void getwinsys(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** inArgs);
/// Registers "getwinsys" (value 1) once; called at load.
int init_regConfigFeatures(int);

QZSERVICES_API_END
