/// @file
/// An object interface beside the callback tables: a host offers its IOProxy
/// once with setProxy, and users fetch it with getProxy. The base operations are
/// the neutral behaviour of a session without a host.
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

namespace services { namespace io {

/// The host's input and command-window operations, each with a neutral default.
class IOProxy {
public:
    virtual ~IOProxy();  ///< owned by the host
    virtual int read() const;  ///< 0
    virtual int flushRead() const;  ///< 0
    virtual void deleteCurrentLine() const;  ///< backspaces over 8 columns
    virtual void setCmdWindowLength(int length) const;  ///< nothing
    virtual int getCmdWindowLength() const;  ///< 0
    virtual int getCmdWindowCommand(char* buffer, int length) const;  ///< 0
    virtual int getCommandFontSJISFlag() const;  ///< 0
    virtual void timedBufferFlush() const;  ///< nothing

    /// Stores `proxy` only if none is stored yet (atomic compare-and-swap from
    /// null); later calls are dropped without a word. Returns what stood there
    /// before: null for the call that took effect. The proxy is not owned.
    static IOProxy const* setProxy(IOProxy const* proxy);
    /// The stored proxy, or else a private default object; never null.
    static IOProxy const* getProxy();
};

}} // namespace services::io

QZSERVICES_API_END
