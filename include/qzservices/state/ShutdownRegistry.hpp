/// @file
/// Everything that takes part in leaving the program derives from ShutdownObject
/// and hands itself to ShutdownRegistry, which owns it from then on. The driver
/// of the exit walks the registry in up to four phases, newest object first.
///
/// Locks: a plain list mutex for changes of the list (never held during a
/// callback) and a recursive phase mutex held for a whole phase, so that an
/// object may unregister itself, or start a nested phase, from its own callback.
#pragma once
#include "qzservices/export.hpp"
#include <cstddef>
#include <string>

QZSERVICES_API_BEGIN

namespace services { namespace state { class ShutdownRegistryImpl; } }

/// One participant in the exit: each phase calls its hook, which a derived
/// class overrides where it has work to do.
class ShutdownObject {
public:
    explicit ShutdownObject(char const* name);  ///< null means the empty name
    ShutdownObject(ShutdownObject const& other);  ///< copies the name
    virtual ~ShutdownObject();

    virtual bool isOkToExit() const;  ///< base: true
    virtual bool closeAllWindows() const;  ///< base: true
    virtual void preTerminate() const;  ///< base: nothing
    virtual void terminate() const;  ///< base: nothing

    ///@{
    /// The name the registry finds the object by; null sets the empty name.
    std::string const& getName() const { return name; }
    void init_name(std::string const& newName) { name = newName; }
    void init_name(char const* newName) { name = newName ? newName : ""; }
    ///@}

    /// Frees the memory without running the destructor.
    static void Dealloc(ShutdownObject* object);

    ///@{
    /// Objects live in the utility layer's heap.
    static void* operator new(std::size_t size);
    static void operator delete(void* p);
    ///@}

private:
    std::string name;
};

/// The process-wide list of participants, walked newest first in each phase.
class ShutdownRegistry {
public:
    /// Takes ownership, unless an object of the same non-empty name is already
    /// registered: then nothing happens and the object stays the caller's.
    static void RegisterObject(ShutdownObject* object);
    /// Removes and destroys the first object of that name; waits first for a
    /// phase running on another thread. Unknown names do nothing.
    static void UnregisterObject(char const* name);

    static bool IsOkToExit();  ///< stops at the first refusal
    static bool CloseAllAppWindows(bool force);  ///< with force: asks all, answers true
    ///@{
    /// The last two phases: every object's preTerminate, then every terminate.
    static void PreTerminateApps();
    static void TerminateApps();
    ///@}

    ~ShutdownRegistry();

private:
    ShutdownRegistry();
    static ShutdownRegistry& instance();
    services::state::ShutdownRegistryImpl* impl_;
};

QZSERVICES_API_END
