// A scripted key reader for the more prompt, installed in the callback table.
// Each read takes the next key of the script (-1 when it runs out) and notes
// what the prompt's state was at that moment.
#pragma once
#include "qzservices/io/callbacks.hpp"
#include "qzservices/prompt/prompt.hpp"

#include <deque>
#include <stdexcept>
#include <vector>
#include <uv/uv.hpp>

namespace qztest {

struct KeyScript {
    std::deque<int> script;
    int reads = 0;
    int deletes = 0;
    bool throwOnRead = false;
    bool useDefaultReader = false;  // hand the read to the table's own default
    std::vector<int> requestersSeen;
    std::vector<int> interruptsEnabledSeen;

    void clear() { *this = KeyScript(); }
};

inline KeyScript& keys();

namespace detail {

inline int (*&defaultFlushRead())() {
    static int (*original)() = _sv_iocb.flushRead;
    return original;
}

inline int scriptedRead() {
    KeyScript& k = keys();
    ++k.reads;
    k.requestersSeen.push_back(static_cast<int>(services::prompt::getInputRequester()));
    k.interruptsEnabledSeen.push_back(uvIsInterruptEnabled());
    if (k.throwOnRead) throw std::runtime_error("the terminal went away");
    if (k.useDefaultReader) return defaultFlushRead()();
    if (k.script.empty()) return -1;
    int key = k.script.front();
    k.script.pop_front();
    return key;
}

inline void countedDelete() { ++keys().deletes; }

} // namespace detail

// The script, installed in the table at first use.
inline KeyScript& keys() {
    static KeyScript script;
    static bool installed = [] {
        detail::defaultFlushRead();  // remember the default before replacing it
        _svIoCallbacks table = {};
        table.flushRead = &detail::scriptedRead;
        table.deleteCurrentLine = &detail::countedDelete;
        svSetIoCallbacks(&table);
        return true;
    }();
    (void)installed;
    return script;
}

} // namespace qztest
