// Sanitizer settings compiled into every test binary, so that they hold when a
// suite is run by hand as well as under ctest. The runtimes look these up by
// name in the dynamic symbol table, so they are visible despite the project's
// hidden default.
#pragma GCC visibility push(default)
extern "C" {

char const* __asan_default_options() {
    // Huge requests must return null so that the checked allocators can report them.
    return "detect_leaks=1:allocator_may_return_null=1:detect_stack_use_after_return=1";
}

char const* __ubsan_default_options() { return "print_stacktrace=1:halt_on_error=1"; }

char const* __tsan_default_options() { return "halt_on_error=1:second_deadlock_stack=1:allocator_may_return_null=1"; }

// The objects the library never frees on purpose are listed, each with its
// reason, in one file of the source tree; its path is compiled in.
char const* __lsan_default_options() { return "suppressions=" QZ_LSAN_SUPPRESSIONS; }

} // extern "C"
#pragma GCC visibility pop
