// Ends the process after an unrecoverable internal error: the message goes to
// standard error, then std::abort, so that a core or a debugger gets the state.
#pragma once
#include "fd/fd_export.hpp"
#include <string>

FD_API_BEGIN

namespace fd { namespace diag {

[[noreturn]] void terminate(std::string const& message);

namespace detail { std::string demangle_typeid_name(char const* mangled); }

}} // namespace fd::diag

FD_API_END
