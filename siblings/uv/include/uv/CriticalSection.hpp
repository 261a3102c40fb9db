// The utility layer's older lock. It is recursive: the thread that holds it
// may acquire it again, and must release it as often as it acquired it.
#pragma once
#include "uv/uv_export.hpp"
#include <mutex>

UV_API_BEGIN

namespace Orrery { namespace System {

class CriticalSection_DEPRECATED {
public:
    CriticalSection_DEPRECATED() = default;
    CriticalSection_DEPRECATED(CriticalSection_DEPRECATED const&) = delete;
    CriticalSection_DEPRECATED& operator=(CriticalSection_DEPRECATED const&) = delete;

    // Callers written for this class call init() after construction. The lock
    // is usable from construction on, so init() only records that it was called.
    void init();
    bool initialized() const { return initialized_; }
    void acquire();
    void release();

private:
    std::recursive_mutex mutex_;
    bool initialized_ = false;
};

// Holds the lock for a scope, also when an exception leaves it.
class CriticalSectionGuard {
public:
    explicit CriticalSectionGuard(CriticalSection_DEPRECATED& cs) : cs_(cs) { cs_.acquire(); }
    ~CriticalSectionGuard() { cs_.release(); }
    CriticalSectionGuard(CriticalSectionGuard const&) = delete;
    CriticalSectionGuard& operator=(CriticalSectionGuard const&) = delete;

private:
    CriticalSection_DEPRECATED& cs_;
};

}} // namespace Orrery::System

UV_API_END
