// The end of the process after an unrecoverable internal error.
#include "fd/diag/terminate.hpp"

#include <cxxabi.h>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace fd { namespace diag {

void terminate(std::string const& message) {
    std::fprintf(stderr, "Fatal internal error: %s\n", message.c_str());
    std::fflush(stderr);
    std::abort();
}

namespace detail {

std::string demangle_typeid_name(char const* mangled) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(mangled, nullptr, nullptr, &status), std::free);
    return status == 0 && name ? std::string(name.get()) : std::string(mangled);
}

} // namespace detail

}} // namespace fd::diag
