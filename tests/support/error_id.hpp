// The identifier of the catalogue error a call raises, for tables of calls
// that must fail with a given identifier.
#pragma once
#include <vx/errors.hpp>

#include <functional>
#include <string>

namespace qztest {

// The identifier of the vx::Error that `fn` raises, "" when it raises none.
inline std::string errorIdOf(std::function<void()> const& fn) {
    try {
        fn();
    } catch (vx::Error const& e) {
        return e.identifier();
    }
    return "";
}

} // namespace qztest
