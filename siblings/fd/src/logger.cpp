// The levelled diagnostic logger that the environment turns on.
#include "fd/log/logger.hpp"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace fd { namespace log {

namespace {

std::atomic<int> gThreshold{-1};
std::mutex gWriteMutex;
// The open scopes as the pointers given (literals), formatted only when a
// record is written, so that an open scope costs no allocation.
struct ScopeEntry {
    char const* signature;
    char const* file;
    int line;
};
thread_local std::vector<ScopeEntry> tScopes;
std::atomic<int> gObserverThreshold{0};
basic_diagnostic_logger::observer gObserver;  // guarded by gWriteMutex

int readThreshold() {
    char const* v = std::getenv("FD_LOG_LEVEL");
    if (v == nullptr) return 0;
    char* end = nullptr;
    long n = std::strtol(v, &end, 10);
    return (end == v || n < 0) ? 0 : static_cast<int>(n > 1 << 20 ? 1 << 20 : n);
}

} // namespace

basic_diagnostic_logger::basic_diagnostic_logger(std::string name) : name_(std::move(name)) {}

int basic_diagnostic_logger::threshold() {
    int t = gThreshold.load(std::memory_order_relaxed);
    if (t < 0) {
        t = readThreshold();
        gThreshold.store(t, std::memory_order_relaxed);
    }
    return t;
}

void basic_diagnostic_logger::reload_environment() { gThreshold.store(readThreshold()); }

bool basic_diagnostic_logger::enabled(int level) const {
    return level > 0 && (level <= threshold() || level <= gObserverThreshold.load(std::memory_order_relaxed));
}

void basic_diagnostic_logger::set_observer(observer fn, int threshold) {
    std::lock_guard<std::mutex> lock(gWriteMutex);
    gObserverThreshold.store(fn ? threshold : 0);
    gObserver = std::move(fn);
}

std::string basic_diagnostic_logger::current_scopes() {
    std::string s;
    for (auto const& scope : tScopes) {
        if (!s.empty()) s += '/';
        s += std::string(scope.signature) + " (" + scope.file + ":" + std::to_string(scope.line) + ")";
    }
    return s;
}

void basic_diagnostic_logger::write(int level, std::string const& text) const {
    if (!enabled(level)) return;
    std::lock_guard<std::mutex> lock(gWriteMutex);
    if (gObserver && level <= gObserverThreshold.load()) gObserver(record{name_, level, text});
    if (level > threshold()) return;
    char const* path = std::getenv("FD_LOG_FILE");
    FILE* f = path ? std::fopen(path, "a") : stderr;
    if (f == nullptr) f = stderr;
    std::fprintf(f, "[%s] %d %s: %s\n", name_.c_str(), level, current_scopes().c_str(), text.c_str());
    if (f != stderr) std::fclose(f);
}

basic_diagnostic_logger::named_scope::named_scope(basic_diagnostic_logger const& logger, char const* signature,
                                                  char const* file, int line)
    : logger_(logger) {
    tScopes.push_back(ScopeEntry{signature, file, line});
    if (logger_.enabled(32)) logger_.write(32, signature);
}

basic_diagnostic_logger::named_scope::~named_scope() {
    if (logger_.enabled(64)) logger_.write(64, "leave");
    tScopes.pop_back();
}

}} // namespace fd::log
