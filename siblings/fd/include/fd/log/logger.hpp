// A levelled diagnostic logger, off unless the environment turns it on:
//   FD_LOG_LEVEL=N   write records whose level is at most N (0, the default, writes nothing)
//   FD_LOG_FILE=path append to that file instead of standard error
// Levels follow the convention: 1 error, 2 warning, 4 info, 8 debug, 32 scope entry, 64 scope exit.
// An observer set in the process (a test, or a host that keeps its own log)
// receives every record up to its own threshold, whatever the environment says.
#pragma once
#include "fd/fd_export.hpp"
#include <functional>
#include <string>

FD_API_BEGIN

namespace fd { namespace log {

class basic_diagnostic_logger {
public:
    explicit basic_diagnostic_logger(std::string name);
    std::string const& name() const { return name_; }
    // Cheap test to be made before building a record.
    bool enabled(int level) const;
    void write(int level, std::string const& text) const;

    // A named scope: on entry pushes `signature` (with file and line) on this
    // thread's scope list and writes it at level 32; on exit writes at level 64 and pops.
    class named_scope {
    public:
        named_scope(basic_diagnostic_logger const& logger, char const* signature,
                    char const* file, int line);
        ~named_scope();
        named_scope(named_scope const&) = delete;
        named_scope& operator=(named_scope const&) = delete;
    private:
        basic_diagnostic_logger const& logger_;
    };

    // The scopes open on the calling thread, outermost first, joined by "/".
    static std::string current_scopes();
    // The threshold read from the environment (re-read by reload, for tests).
    static int threshold();
    static void reload_environment();

    struct record {
        std::string logger;  // the name of the logger that wrote it
        int level;
        std::string text;
    };
    typedef std::function<void(record const&)> observer;
    // Hands every record of level 1 to `threshold` to `fn`, from the writing
    // thread, under the logger's write lock. An empty `fn` removes the observer.
    static void set_observer(observer fn, int threshold);

private:
    std::string name_;
};

}} // namespace fd::log

FD_API_END
