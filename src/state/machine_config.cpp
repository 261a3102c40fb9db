// The machine configuration store, its printing, the window-system query
// hooks and the "getwinsys" feature.
#include "qzservices/state/machine_config.hpp"
#include "qzservices/state/features.hpp"
#include "qzservices/state/runtime_identity.hpp"

#include <orrery/i18n/UnicodeConverterX.hpp>
#include <uv/machine_info.hpp>
#include <uv/uv.hpp>
#include <vx/array.hpp>
#include <vx/errors.hpp>

#include <boost/io/ios_state.hpp>
#include <boost/iostreams/categories.hpp>
#include <boost/iostreams/stream.hpp>
#include <boost/thread/locks.hpp>
#include <boost/thread/mutex.hpp>
#include <gnu/libc-version.h>

#include <atomic>
#include <iomanip>
#include <map>
#include <new>
#include <ostream>
#include <thread>

namespace services {

namespace {

class machine_config_impl : public machine_config {
public:
    machine_config_impl() {
        add("CALYX Version", svCalyxVersion());
        add("Operating System", uvGetOS());
        add("Processor ID", uvGetCPUID());
        add("CALYX Root", svCalyxRoot());
        add("CALYX Architecture", "linux64");
        add("Default Encoding", Orrery::I18N::UnicodeConverterX::getDefaultName());
        add("GNU C Library", std::string(gnu_get_libc_version()) + " " + gnu_get_libc_release());
    }

    std::string get(std::string const& key) override {
        boost::lock_guard<boost::mutex> lock(mutex_);
        auto it = entries_.find(key);
        return it != entries_.end() ? it->second : std::string();
    }
    void add(std::string const& key, std::string const& value) override {
        boost::lock_guard<boost::mutex> lock(mutex_);
        entries_.emplace(key, value);
    }
    void set(std::string const& key, std::string const& value) override {
        boost::lock_guard<boost::mutex> lock(mutex_);
        entries_[key] = value;
    }
    void remove(std::string const& key) override {
        boost::lock_guard<boost::mutex> lock(mutex_);
        entries_.erase(key);
    }
    void print(std::ostream& out) override {
        boost::lock_guard<boost::mutex> lock(mutex_);
        boost::io::ios_all_saver saved(out);
        // The caller's fill and flags must not reach the padding.
        out.fill(' ');
        out.flags(std::ios_base::dec | std::ios_base::left);
        out << "\nConfiguration:\n";
        for (auto const& entry : entries_)
            out << "  " << std::setw(19) << entry.first << std::setw(0) << ": " << entry.second << '\n';
        out << '\n';
    }

private:
    boost::mutex mutex_;
    std::map<std::string, std::string> entries_;  // byte order of the keys
};

// Built in place on first use and never destroyed, so that it may be used
// from static destructors and from any thread.
std::atomic<int> gState{0};  // 0 empty, 1 being built, 2 ready
alignas(machine_config_impl) unsigned char gStorage[sizeof(machine_config_impl)];

// A sink that hands each block to a printf-like function.
class PrinterSink {
public:
    typedef char char_type;
    typedef boost::iostreams::sink_tag category;
    explicit PrinterSink(int (*printer)(char const*, ...)) : printer_(printer) {}
    std::streamsize write(char const* text, std::streamsize n) {
        // "%.*s" takes an int: a huge block goes in pieces.
        std::streamsize done = 0;
        while (done < n) {
            int piece = static_cast<int>(std::min<std::streamsize>(n - done, 1 << 30));
            printer_("%.*s", piece, text + done);
            done += piece;
        }
        return n;
    }

private:
    int (*printer_)(char const*, ...);
};

char const* (*gDisplayQueryFirst)() = nullptr;
char const* (*gDisplayQuerySecond)() = nullptr;

} // namespace

machine_config& machine_config::instance() {
    machine_config_impl* const object = reinterpret_cast<machine_config_impl*>(gStorage);
    if (gState.load(std::memory_order_acquire) == 2) return *object;
    int expected = 0;
    if (gState.compare_exchange_strong(expected, 1, std::memory_order_acq_rel)) {
        new (gStorage) machine_config_impl();
        gState.store(2, std::memory_order_release);
        return *object;
    }
    while (gState.load(std::memory_order_acquire) != 2) std::this_thread::yield();
    return *object;
}

} // namespace services

void svPrintMachineConfiguration(int (*printer)(char const*, ...)) {
    boost::iostreams::stream<services::PrinterSink> out(services::PrinterSink(printer != nullptr ? printer : &uvPrintf));
    services::machine_config::instance().print(out);
    out.close();  // everything reaches the printer before the return
}

void svSetDisplayQueryFunctions(char const* (*first)(), char const* (*second)()) {
    services::gDisplayQueryFirst = first;
    services::gDisplayQuerySecond = second;
}

void svGetDisplayQueryFunctions(char const* (**first)(), char const* (**second)()) {
    if (first != nullptr) *first = services::gDisplayQueryFirst;
    if (second != nullptr) *second = services::gDisplayQuerySecond;
}

void svSetJreSignature(std::string const& text) {
    services::machine_config::instance().add("Virtual Machine", text);
}

void getwinsys(int outCount, vxArray_tag** outArgs, int inCount, vxArray_tag** /*inArgs*/) {
    if (outCount > 1) vxm::detail::error_maxlhs();
    if (inCount > 0) vxm::detail::error_maxrhs();
    char const* name = nullptr;
    if (services::gDisplayQueryFirst != nullptr) name = services::gDisplayQueryFirst();
    outArgs[0] = vxCreateString(name != nullptr ? name : "Unknown");
}

namespace {

struct RegisterConfigFeatures {
    RegisterConfigFeatures() { svRegisterBuiltin("getwinsys", 1, &getwinsys); }
};

} // namespace

int init_regConfigFeatures(int) { return services::static_manager<RegisterConfigFeatures>::instance(0); }

namespace {
int const registeredAtLoad = init_regConfigFeatures(0);
}
