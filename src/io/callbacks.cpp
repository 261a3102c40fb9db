// The two callback tables: the exported _sv_iocb and the private table of the
// window-system and command-window functions. Their defaults, the setters that
// merge a host's functions into them, and the functions that call through them.
#include "qzservices/io/callbacks.hpp"
#include "qzservices/io/ioFlush.hpp"
#include "io/callbacks_private.hpp"

#include "uv/uv.hpp"

#include <unistd.h>

#include <climits>
#include <cstdio>

namespace {

void doNothing() {}
int returnZero() { return 0; }
int returnOne() { return 1; }
int returnMinusOne() { return -1; }
int returnFirst(int value) { return value; }
unsigned char returnFirstAsByte(int value) { return static_cast<unsigned char>(value); }
char const* debugPrompt() { return "D>> "; }
vxArray_tag* noSize(vxArray_tag const*) { return nullptr; }
void ignoreFlag(bool) {}
void ignoreText(char*) {}
char const* noName(int) { return nullptr; }
char* noCommand(char*, int) { return nullptr; }
bool acceptEvent(int, long) { return true; }
int noUserEvent(void (*)(long)) { return 0; }

int flushStdout() {
    std::fflush(stdout);
    return 0;
}

void putsToUtilityLayer(char* text, int length) {
    uvPutsn(0, text, length > 0 ? static_cast<size_t>(length) : 0);
}

// Entry 2 and the window-system sleep share this default. The flag is ignored.
unsigned int sleepWholeSeconds(double seconds, bool) {
    // The fraction is cut off, so less than a second is no sleep at all; the
    // negated test also turns NaN away.
    if (!(seconds >= 1.0)) return 0;
    unsigned int whole = seconds >= static_cast<double>(UINT_MAX) ? UINT_MAX : static_cast<unsigned int>(seconds);
    return ::sleep(whole);
}

// Replaces `slot` only when the host supplied something.
template <class Fn>
void take(Fn& slot, Fn value) {
    if (value != nullptr) slot = value;
}

} // namespace

// Both tables are constant-initialised, so they are complete before any static
// initialiser of another unit can call through them.
_svIoCallbacks _sv_iocb = {  // C linkage from its declaration
    nullptr,               // 0
    &doNothing,            // 1
    &sleepWholeSeconds,    // 2
    &flushStdout,          // 3
    &putsToUtilityLayer,   // 4
    &noSize,               // 5
    &returnZero,           // 6
    &returnZero,           // 7
    &returnFirst,          // 8
    &returnOne,            // 9
    &debugPrompt,          // 10
    &returnZero,           // 11
    &doNothing,            // 12
    &doNothing,            // 13
    &returnZero,           // 14
    &returnFirstAsByte,    // 15
    &returnZero,           // 16
    &doNothing,            // 17
    &returnZero,           // 18
    &doNothing,            // 19
    &doNothing,            // 20
    &returnZero,           // 21
    &ignoreFlag,           // 22
    &ignoreText,           // 23
    &returnMinusOne,       // 24
    &doNothing,            // 25
};

namespace services { namespace io { namespace detail {

HostCallbacks gHostCallbacks = {
    &flushStdout,        // flushCW
    &noName,             // wciGetName
    &doNothing,          // clearSession
    &doNothing,          // resetCWLength
    &noCommand,          // getCommand
    &acceptEvent,        // postUserEvent
    &noUserEvent,        // createUserEvent
    &doNothing,          // processSynchronousSystemEvents
    &doNothing,          // disableUserEvents
    &sleepWholeSeconds,  // sleep
    &doNothing,          // raiseXterm
    &doNothing,          // showSplashScreen
    &doNothing,          // bringToFront
};

}}} // namespace services::io::detail

using services::io::detail::gHostCallbacks;

// ---- setters ----

void svSetIoCallbacks(_svIoCallbacks* table) {
    if (table == nullptr) return;
    _svIoCallbacks& t = _sv_iocb;
    take(t.findFirstFileName, table->findFirstFileName);
    take(t.sysBeep, table->sysBeep);
    take(t.sleep, table->sleep);
    take(t.flush, table->flush);
    take(t.cmdTextOut, table->cmdTextOut);
    take(t.sizeCallback, table->sizeCallback);
    take(t.entry6, table->entry6);
    take(t.entry7, table->entry7);
    take(t.entry8, table->entry8);
    take(t.entry9, table->entry9);
    take(t.entry10, table->entry10);
    take(t.getLineProtocol, table->getLineProtocol);
    take(t.setupLineProtocol, table->setupLineProtocol);
    take(t.entry13, table->entry13);
    take(t.entry14, table->entry14);
    take(t.entry15, table->entry15);
    take(t.entry16, table->entry16);
    take(t.entry17, table->entry17);
    take(t.entry18, table->entry18);
    take(t.entry19, table->entry19);
    take(t.entry20, table->entry20);
    take(t.entry21, table->entry21);
    take(t.writerThreadPassThrough, table->writerThreadPassThrough);
    take(t.writerThreadAddCommandText, table->writerThreadAddCommandText);
    take(t.flushRead, table->flushRead);
    take(t.deleteCurrentLine, table->deleteCurrentLine);
}

void svSetWS_SysBeepFcn(void (*beep)()) { take(_sv_iocb.sysBeep, beep); }

void svSetUIW_CWCallbacks(int (*flushCW)(), char const* (*wciGetName)(int), void (*clearSession)(),
                          void (*resetCWLength)()) {
    take(gHostCallbacks.flushCW, flushCW);
    take(gHostCallbacks.wciGetName, wciGetName);
    take(gHostCallbacks.clearSession, clearSession);
    take(gHostCallbacks.resetCWLength, resetCWLength);
}

void svSetUIW_CWCallbacks(int (*flushCW)(), void (*)(char*, int), char const* (*wciGetName)(int),
                          void (*clearSession)(), void (*resetCWLength)()) {
    svSetUIW_CWCallbacks(flushCW, wciGetName, clearSession, resetCWLength);
}

void svSetUIW_GetCommandFcn(char* (*getCommand)(char*, int)) { take(gHostCallbacks.getCommand, getCommand); }

void svSetWS_EventFcns(bool (*postUserEvent)(int, long), int (*createUserEvent)(void (*)(long)),
                       void (*processSynchronousSystemEvents)(), void (*disableUserEvents)()) {
    take(gHostCallbacks.postUserEvent, postUserEvent);
    take(gHostCallbacks.createUserEvent, createUserEvent);
    take(gHostCallbacks.processSynchronousSystemEvents, processSynchronousSystemEvents);
    take(gHostCallbacks.disableUserEvents, disableUserEvents);
}

void svSetWS_SleepFcn(unsigned int (*sleepFcn)(double, bool)) { take(gHostCallbacks.sleep, sleepFcn); }
void svSetWS_RaiseXtermFcn(void (*raise)()) { take(gHostCallbacks.raiseXterm, raise); }
void svSetWS_ShowSplashScreen(void (*show)()) { take(gHostCallbacks.showSplashScreen, show); }
void svSetWS_BringCALYXToFront(void (*bringToFront)()) { take(gHostCallbacks.bringToFront, bringToFront); }

// ---- callers of _sv_iocb ----

bool svFindFirstFileName(char const* name, bool flag, char* out) {
    return _sv_iocb.findFirstFileName != nullptr && _sv_iocb.findFirstFileName(name, flag, out);
}

unsigned int svSleep(double seconds, bool flag) { return _sv_iocb.sleep(seconds, flag); }
int svIOGetLineProtocol() { return _sv_iocb.getLineProtocol(); }
void svIOSetupLineProtocol() { _sv_iocb.setupLineProtocol(); }
void svWriterThreadPassThrough(bool on) { _sv_iocb.writerThreadPassThrough(on); }
void svWriterThreadAddCommandText(char* text) { _sv_iocb.writerThreadAddCommandText(text); }

extern "C" void ioCmdTextOut(char* text, int length) { _sv_iocb.cmdTextOut(text, length); }

namespace services { namespace io {
int flushRead() { return _sv_iocb.flushRead(); }
void deleteCurrentLine() { _sv_iocb.deleteCurrentLine(); }
}} // namespace services::io

// ---- callers of the host table ----

int svUIW_FlushCW() { return gHostCallbacks.flushCW(); }
char const* svUIW_wciGetName(int item) { return gHostCallbacks.wciGetName(item); }
void svUIW_ClearSession() { gHostCallbacks.clearSession(); }
void svUIW_ResetCWLength() { gHostCallbacks.resetCWLength(); }
char* svUIW_GetCommand(char* buffer, int length) { return gHostCallbacks.getCommand(buffer, length); }
int svWS_CreateUserEvent(void (*handler)(long)) { return gHostCallbacks.createUserEvent(handler); }
void svWS_ProcessSynchronousSystemEvents() { gHostCallbacks.processSynchronousSystemEvents(); }
void svWS_DisableUserEvents() { gHostCallbacks.disableUserEvents(); }
unsigned int svWS_Sleep(double seconds) { return gHostCallbacks.sleep(seconds, false); }
void svWS_RaiseXterm() { gHostCallbacks.raiseXterm(); }
void svWS_ShowSplashScreen() { gHostCallbacks.showSplashScreen(); }
void svWS_BringCALYXToFront() { gHostCallbacks.bringToFront(); }

// ---- translation ----

char const* ioXlateContextWindow(char const* text, XlateContextEnum, XlateWindowEnum) { return text; }
char const* ioXlate(char const* text) { return ioXlateContextWindow(text, XLATE_CONTEXT_DEFAULT, XLATE_WINDOW_DEFAULT); }
char const* svXlate(char const* text) { return ioXlate(text); }
