/// @file
/// The tables through which the library asks its host for what only the host
/// can do (beep, sleep, read a key, talk to the command window), with their
/// setters and the thin functions that call through them.
///
/// Every entry holds a neutral default from load on, so the library works with
/// no host. No lock: the host fills the tables during start, before other
/// threads call through them; each call reads its pointer anew. The calling
/// functions add nothing: no null test, no lock.
#pragma once
#include "qzservices/export.hpp"

QZSERVICES_API_BEGIN

struct vxArray_tag;

// ---- the exported table ----

/// The host's view of the 26 entries; the comment gives the default at load.
/// Entries without a caller in this library keep their shape for the host.
struct _svIoCallbacks {
    bool (*findFirstFileName)(char const* name, bool flag, char* out);  ///< 0: null
    void (*sysBeep)();  ///< 1: does nothing
    unsigned int (*sleep)(double seconds, bool flag);  ///< 2: whole seconds
    int (*flush)();  ///< 3: fflush(stdout), 0
    void (*cmdTextOut)(char* text, int length);  ///< 4: uvPutsn(0, ...)
    vxArray_tag* (*sizeCallback)(vxArray_tag const* array);  ///< 5: null
    int (*entry6)();  ///< 6: 0
    int (*entry7)();  ///< 7: 0
    int (*entry8)(int value);  ///< 8: its argument
    int (*entry9)();  ///< 9: 1
    char const* (*entry10)();  ///< 10: "D>> "
    int (*getLineProtocol)();  ///< 11: 0
    void (*setupLineProtocol)();  ///< 12: does nothing
    void (*entry13)();  ///< 13: does nothing
    int (*entry14)();  ///< 14: 0
    unsigned char (*entry15)(int value);  ///< 15: its argument as a byte
    int (*entry16)();  ///< 16: 0
    void (*entry17)();  ///< 17: does nothing
    int (*entry18)();  ///< 18: 0
    void (*entry19)();  ///< 19: does nothing
    void (*entry20)();  ///< 20: does nothing
    int (*entry21)();  ///< 21: 0
    void (*writerThreadPassThrough)(bool on);  ///< 22: does nothing
    void (*writerThreadAddCommandText)(char* text);  ///< 23: does nothing
    int (*flushRead)();  ///< 24: -1
    void (*deleteCurrentLine)();  ///< 25: does nothing
};

extern "C" _svIoCallbacks _sv_iocb;  ///< the table itself, with C linkage for hosts

/// Copies `table` into _sv_iocb entry by entry, skipping null entries, so a host
/// may pass a partly filled table and call again later to change a few.
void svSetIoCallbacks(_svIoCallbacks* table);

///@{
/// Callers of _sv_iocb. svFindFirstFileName answers false while entry 0 is null.
bool svFindFirstFileName(char const* name, bool flag, char* out);
unsigned int svSleep(double seconds, bool flag);  ///< entry 2: sleeps through the host
int svIOGetLineProtocol();  ///< entry 11: the host's line protocol
void svIOSetupLineProtocol();  ///< entry 12: the host sets its line protocol up
void svWriterThreadPassThrough(bool on);  ///< entry 22: passes text straight through, or not
void svWriterThreadAddCommandText(char* text);  ///< entry 23: adds command text
///@}

namespace services { namespace io {
int flushRead();  ///< waits for one key and returns its code; -1 with no host
void deleteCurrentLine();  ///< removes the current line of the command window
}} // namespace services::io

// ---- the host's window-system and command-window functions ----

/// Each setter ignores null arguments and keeps what was there.
void svSetUIW_CWCallbacks(int (*flushCW)(), char const* (*wciGetName)(int), void (*clearSession)(),
                          void (*resetCWLength)());
/// The text output function is dropped; the other four go to the form above.
void svSetUIW_CWCallbacks(int (*flushCW)(), void (*textOut)(char*, int), char const* (*wciGetName)(int),
                          void (*clearSession)(), void (*resetCWLength)());
void svSetUIW_GetCommandFcn(char* (*getCommand)(char*, int));  ///< the reader of one command line
/// The host's user-event functions.
void svSetWS_EventFcns(bool (*postUserEvent)(int, long), int (*createUserEvent)(void (*)(long)),
                       void (*processSynchronousSystemEvents)(), void (*disableUserEvents)());
void svSetWS_SleepFcn(unsigned int (*sleepFcn)(double, bool));  ///< the host's sleep
void svSetWS_RaiseXtermFcn(void (*raise)());  ///< raises the terminal window
void svSetWS_ShowSplashScreen(void (*show)());  ///< shows the splash screen
void svSetWS_BringCALYXToFront(void (*bringToFront)());  ///< brings the application to the front
/// The one setter that writes into _sv_iocb: entry 1, the beep.
void svSetWS_SysBeepFcn(void (*beep)());

int svUIW_FlushCW();  ///< flushes the command window (standard output with no host)
char const* svUIW_wciGetName(int item);  ///< the host's name for `item`
void svUIW_ClearSession();  ///< clears the command window's session
void svUIW_ResetCWLength();  ///< resets the command window's length
char* svUIW_GetCommand(char* buffer, int length);  ///< reads one command line into `buffer`
int svWS_CreateUserEvent(void (*handler)(long));  ///< an event id whose posts run `handler`
void svWS_ProcessSynchronousSystemEvents();  ///< lets the host handle its pending system events
void svWS_DisableUserEvents();  ///< stops the host from delivering user events
unsigned int svWS_Sleep(double seconds);  ///< passes the flag false
void svWS_RaiseXterm();  ///< calls the host's raise function
void svWS_ShowSplashScreen();  ///< calls the host's splash-screen function
void svWS_BringCALYXToFront();  ///< calls the host's bring-to-front function

// ---- translation of user-visible text ----

/// Where a text is used; only the default context exists.
enum XlateContextEnum { XLATE_CONTEXT_DEFAULT = 0 };
/// Which window shows a text; only the default window exists.
enum XlateWindowEnum { XLATE_WINDOW_DEFAULT = 0 };

///@{
/// No translation is installed: each returns `text` itself.
char const* svXlate(char const* text);
char const* ioXlate(char const* text);
char const* ioXlateContextWindow(char const* text, XlateContextEnum context, XlateWindowEnum window);
///@}

QZSERVICES_API_END
