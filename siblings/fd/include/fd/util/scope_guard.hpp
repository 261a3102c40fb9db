// Runs a call when the scope ends, unless dismissed. The call's exceptions are
// swallowed in the destructor, since destructors must not throw.
#pragma once
#include "fd/fd_export.hpp"
#include <boost/function.hpp>
#include <utility>

FD_API_BEGIN

namespace fd { namespace util {

class scope_guard {
public:
    scope_guard() = default;
    explicit scope_guard(boost::function<void()> fn) : fn_(std::move(fn)) {}
    scope_guard(scope_guard const&) = delete;
    scope_guard& operator=(scope_guard const&) = delete;
    scope_guard(scope_guard&& other) noexcept : fn_(std::move(other.fn_)) { other.fn_.clear(); }
    ~scope_guard() { run(); }

    void dismiss() { fn_.clear(); }
    // Runs the call now, once; later runs do nothing.
    void run() noexcept {
        if (!fn_) return;
        boost::function<void()> fn;
        fn.swap(fn_);
        try { fn(); } catch (...) {}
    }

private:
    boost::function<void()> fn_;
};

}} // namespace fd::util

FD_API_END
