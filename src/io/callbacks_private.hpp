// The private table of the host's window-system and command-window functions.
// Filled with neutral defaults at load and by the svSetWS_*/svSetUIW_* setters;
// read without a lock (see qzservices/io/callbacks.hpp). The poster of user
// events reads postUserEvent from here.
#pragma once

namespace services { namespace io { namespace detail {

struct HostCallbacks {
    int (*flushCW)();
    char const* (*wciGetName)(int item);
    void (*clearSession)();
    void (*resetCWLength)();
    char* (*getCommand)(char* buffer, int length);
    bool (*postUserEvent)(int eventId, long data);
    int (*createUserEvent)(void (*handler)(long));
    void (*processSynchronousSystemEvents)();
    void (*disableUserEvents)();
    unsigned int (*sleep)(double seconds, bool flag);
    void (*raiseXterm)();
    void (*showSplashScreen)();
    void (*bringToFront)();
};

extern HostCallbacks gHostCallbacks;

}}} // namespace services::io::detail
