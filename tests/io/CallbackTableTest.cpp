// The session callback tables: defaults at load, merging a host's table,
// setters that ignore null, the calling functions, and IOProxy.
#include "qzservices/io/CXStream.hpp"
#include "qzservices/io/CXStringSink.hpp"
#include "qzservices/io/IOProxy.hpp"
#include "qzservices/io/callbacks.hpp"
#include "qzservices/io/ioFlush.hpp"
#include "io/callbacks_private.hpp"
#include "support/child_process.hpp"
#include "support/recording_buffers.hpp"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <string>

using services::io::CXSink;
using services::io::CXStream;
using services::io::CXStringSink;
using services::io::IOProxy;
using services::io::detail::gHostCallbacks;
using services::io::detail::HostCallbacks;
using qztest::runInFreshProcess;

namespace {

// Puts both tables back as they were, so each test starts from the same state.
struct TableGuard {
    _svIoCallbacks savedIo = _sv_iocb;
    HostCallbacks savedHost = gHostCallbacks;
    ~TableGuard() {
        _sv_iocb = savedIo;
        gHostCallbacks = savedHost;
    }
};

// Captures narrow text written to CXOut for the length of a scope.
struct CaptureOut {
    boost::shared_ptr<std::stringbuf> buffer = boost::make_shared<std::stringbuf>();
    boost::shared_ptr<CXStringSink> sink = boost::make_shared<CXStringSink>(buffer);
    CaptureOut() { CXStream::CXOut.push(sink); }
    ~CaptureOut() { CXStream::CXOut.pop(); }
    std::string text() const { return sink->getString(); }
};

std::string gRecorded;
int gCalls = 0;
double gSeconds = 0;
bool gFlag = false;

void recordText(char* text, int length) {
    gRecorded.assign(text, static_cast<size_t>(length));
    ++gCalls;
}
void countCall() { ++gCalls; }
void otherCall() { gCalls += 100; }
int keyQ() { return 'q'; }
int flushSeven() { return 7; }
unsigned int recordSleep(double seconds, bool flag) {
    gSeconds = seconds;
    gFlag = flag;
    return 11;
}
bool findInTmp(char const* name, bool flag, char* out) {
    std::strcpy(out, "/tmp/");
    std::strcat(out, name);
    return !flag;
}
char const* itemName(int item) { return item == 2 ? "history" : "other"; }
int createEvent(void (*)(long)) { return 42; }
char* fillCommand(char* buffer, int) {
    std::strcpy(buffer, "x = 1");
    return buffer;
}

void resetRecorder() {
    gRecorded.clear();
    gCalls = 0;
    gSeconds = 0;
    gFlag = false;
}

// Each field of the exported table compared one by one, except `skipped`.
bool sameExcept(_svIoCallbacks const& a, _svIoCallbacks const& b, int skipped) {
    _svIoCallbacks x = a, y = b;
    if (skipped == 4) x.cmdTextOut = y.cmdTextOut = nullptr;
    if (skipped == 24) x.flushRead = y.flushRead = nullptr;
    return std::memcmp(&x, &y, sizeof x) == 0;
}

} // namespace

TEST(CallbackTableDefaults, NeutralAnswersWithNoHost) {
    auto r = runInFreshProcess([] {
        QZ_CHILD_CHECK(services::io::flushRead() == -1, 2);
        QZ_CHILD_CHECK(svIOGetLineProtocol() == 0, 3);
        QZ_CHILD_CHECK(_sv_iocb.findFirstFileName == nullptr, 4);
        QZ_CHILD_CHECK(_sv_iocb.sizeCallback(nullptr) == nullptr, 5);
        QZ_CHILD_CHECK(_sv_iocb.entry8(-12) == -12, 6);
        QZ_CHILD_CHECK(_sv_iocb.entry9() == 1, 7);
        QZ_CHILD_CHECK(std::strcmp(_sv_iocb.entry10(), "D>> ") == 0, 8);
        QZ_CHILD_CHECK(_sv_iocb.entry15(0x1F3) == 0xF3, 9);
        QZ_CHILD_CHECK(_sv_iocb.entry6() == 0 && _sv_iocb.entry21() == 0, 10);
        QZ_CHILD_CHECK(_sv_iocb.flush() == 0, 11);
        char buffer[8] = "keep";
        QZ_CHILD_CHECK(svUIW_GetCommand(buffer, 8) == nullptr, 12);
        QZ_CHILD_CHECK(svUIW_wciGetName(1) == nullptr, 13);
        QZ_CHILD_CHECK(svUIW_FlushCW() == 0, 14);
        QZ_CHILD_CHECK(svWS_CreateUserEvent(nullptr) == 0, 15);
        QZ_CHILD_CHECK(gHostCallbacks.postUserEvent(1, 2) == true, 16);
        // The ones that do nothing must still be callable.
        svIOSetupLineProtocol();
        svWriterThreadPassThrough(true);
        svWriterThreadAddCommandText(buffer);
        services::io::deleteCurrentLine();
        svUIW_ClearSession();
        svUIW_ResetCWLength();
        svWS_ProcessSynchronousSystemEvents();
        svWS_DisableUserEvents();
        svWS_RaiseXterm();
        svWS_ShowSplashScreen();
        svWS_BringCALYXToFront();
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(CallbackTableDefaults, FindFirstFileNameWithoutCallbackIsFalseAndLeavesOutput) {
    TableGuard guard;
    _sv_iocb.findFirstFileName = nullptr;
    char out[16] = "untouched";
    EXPECT_FALSE(svFindFirstFileName("a.m", false, out));
    EXPECT_STREQ(out, "untouched");
}

TEST(CallbackTableDefaults, CmdTextOutLandsInTheUtilityLayersOutput) {
    auto r = runInFreshProcess([] {
        CaptureOut capture;
        char text[] = "hello world";
        ioCmdTextOut(text, 5);
        char withNul[] = {'a', '\0', 'b'};
        ioCmdTextOut(withNul, 3);
        QZ_CHILD_CHECK(capture.text() == std::string("hello" "a\0b", 8), 2);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(CallbackTableMerge, AllNullTableChangesNothing) {
    TableGuard guard;
    _svIoCallbacks before = _sv_iocb;
    _svIoCallbacks empty{};
    svSetIoCallbacks(&empty);
    svSetIoCallbacks(nullptr);
    EXPECT_EQ(std::memcmp(&before, &_sv_iocb, sizeof before), 0);
}

TEST(CallbackTableMerge, EntryFourAloneChangesOnlyCmdTextOut) {
    TableGuard guard;
    resetRecorder();
    _svIoCallbacks before = _sv_iocb;
    _svIoCallbacks host{};
    host.cmdTextOut = &recordText;
    svSetIoCallbacks(&host);
    EXPECT_TRUE(sameExcept(before, _sv_iocb, 4));
    char text[] = "abcdef";
    ioCmdTextOut(text, 4);
    EXPECT_EQ(gRecorded, "abcd");
    EXPECT_EQ(gCalls, 1);
}

TEST(CallbackTableMerge, LaterPartialTableKeepsEarlierEntries) {
    TableGuard guard;
    resetRecorder();
    _svIoCallbacks first{};
    first.flushRead = &keyQ;
    svSetIoCallbacks(&first);
    _svIoCallbacks second{};
    second.deleteCurrentLine = &countCall;
    svSetIoCallbacks(&second);
    EXPECT_EQ(services::io::flushRead(), 'q');
    services::io::deleteCurrentLine();
    EXPECT_EQ(gCalls, 1);
}

TEST(CallbackTableMerge, FindFirstFileNameForwardsArgumentsAndAnswer) {
    TableGuard guard;
    _svIoCallbacks host{};
    host.findFirstFileName = &findInTmp;
    svSetIoCallbacks(&host);
    char out[64] = "";
    EXPECT_TRUE(svFindFirstFileName("f.m", false, out));
    EXPECT_STREQ(out, "/tmp/f.m");
    EXPECT_FALSE(svFindFirstFileName("g.m", true, out));
    EXPECT_STREQ(out, "/tmp/g.m");
}

TEST(CallbackTableSetters, SysBeepIgnoresNull) {
    TableGuard guard;
    resetRecorder();
    svSetWS_SysBeepFcn(&countCall);
    svSetWS_SysBeepFcn(nullptr);
    _sv_iocb.sysBeep();
    EXPECT_EQ(gCalls, 1);
    EXPECT_EQ(_sv_iocb.sysBeep, &countCall);
}

TEST(CallbackTableSetters, FiveArgumentCWCallbacksDropsTheTextFunction) {
    TableGuard guard;
    resetRecorder();
    void (*cmdTextOutBefore)(char*, int) = _sv_iocb.cmdTextOut;
    svSetUIW_CWCallbacks(&flushSeven, &recordText, &itemName, &countCall, &otherCall);
    EXPECT_EQ(_sv_iocb.cmdTextOut, cmdTextOutBefore);
    EXPECT_EQ(svUIW_FlushCW(), 7);
    EXPECT_STREQ(svUIW_wciGetName(2), "history");
    svUIW_ClearSession();
    svUIW_ResetCWLength();
    EXPECT_EQ(gCalls, 101);
    EXPECT_EQ(gRecorded, "");  // the text function was never called
}

TEST(CallbackTableSetters, EventFunctionsArePiecemeal) {
    TableGuard guard;
    resetRecorder();
    svSetWS_EventFcns(nullptr, &createEvent, nullptr, nullptr);
    svSetWS_EventFcns(nullptr, nullptr, nullptr, &countCall);
    EXPECT_EQ(svWS_CreateUserEvent(nullptr), 42);
    svWS_ProcessSynchronousSystemEvents();  // still the default: nothing
    svWS_DisableUserEvents();
    EXPECT_EQ(gCalls, 1);
    EXPECT_TRUE(gHostCallbacks.postUserEvent(0, 0));
}

TEST(CallbackTableSetters, SingleFunctionSettersIgnoreNull) {
    TableGuard guard;
    resetRecorder();
    svSetUIW_GetCommandFcn(&fillCommand);
    svSetUIW_GetCommandFcn(nullptr);
    svSetWS_RaiseXtermFcn(&countCall);
    svSetWS_RaiseXtermFcn(nullptr);
    svSetWS_ShowSplashScreen(&otherCall);
    svSetWS_ShowSplashScreen(nullptr);
    svSetWS_BringCALYXToFront(&countCall);
    svSetWS_BringCALYXToFront(nullptr);
    char buffer[32] = "";
    EXPECT_EQ(svUIW_GetCommand(buffer, 32), buffer);
    EXPECT_STREQ(buffer, "x = 1");
    svWS_RaiseXterm();
    svWS_ShowSplashScreen();
    svWS_BringCALYXToFront();
    EXPECT_EQ(gCalls, 102);
}

TEST(CallbackTableSleep, WindowSystemSleepPassesFlagFalse) {
    TableGuard guard;
    resetRecorder();
    svSetWS_SleepFcn(&recordSleep);
    svSetWS_SleepFcn(nullptr);
    gFlag = true;
    EXPECT_EQ(svWS_Sleep(2.5), 11u);
    EXPECT_EQ(gSeconds, 2.5);
    EXPECT_FALSE(gFlag);
}

TEST(CallbackTableSleep, SessionSleepForwardsSecondsAndFlag) {
    TableGuard guard;
    resetRecorder();
    _svIoCallbacks host{};
    host.sleep = &recordSleep;
    svSetIoCallbacks(&host);
    EXPECT_EQ(svSleep(0.25, true), 11u);
    EXPECT_EQ(gSeconds, 0.25);
    EXPECT_TRUE(gFlag);
}

TEST(CallbackTableSleep, DefaultSleepCutsTheFractionOff) {
    TableGuard guard;
    auto seconds = [](double asked, bool windowSystem) {
        auto start = std::chrono::steady_clock::now();
        unsigned int left = windowSystem ? svWS_Sleep(asked) : svSleep(asked, false);
        EXPECT_EQ(left, 0u);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    double slept = seconds(1.9, false);
    EXPECT_GE(slept, 0.95);
    EXPECT_LT(slept, 1.5);
    // Below one second, or nonsense: no sleep at all.
    EXPECT_LT(seconds(0.9, false), 0.3);
    EXPECT_LT(seconds(-5.0, false), 0.3);
    EXPECT_LT(seconds(std::nan(""), false), 0.3);
    EXPECT_LT(seconds(0.99, true), 0.3);
}

namespace {

class HostProxy : public IOProxy {
public:
    explicit HostProxy(int length) : length_(length) {}
    int getCmdWindowLength() const override { return length_; }
private:
    int length_;
};

} // namespace

TEST(IOProxy, FirstSetProxyWinsAndLaterOnesAreDropped) {
    auto r = runInFreshProcess([] {
        static HostProxy first(40), second(50);
        IOProxy const* dummy = IOProxy::getProxy();
        QZ_CHILD_CHECK(dummy != nullptr, 2);
        QZ_CHILD_CHECK(IOProxy::setProxy(&first) == nullptr, 3);
        QZ_CHILD_CHECK(IOProxy::setProxy(&second) == &first, 4);
        QZ_CHILD_CHECK(IOProxy::setProxy(nullptr) == &first, 5);
        QZ_CHILD_CHECK(IOProxy::getProxy() == &first, 6);
        QZ_CHILD_CHECK(IOProxy::getProxy()->getCmdWindowLength() == 40, 7);
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(IOProxy, DefaultObjectGivesTheBaseBehaviour) {
    auto r = runInFreshProcess([] {
        IOProxy const* p = IOProxy::getProxy();
        QZ_CHILD_CHECK(p != nullptr, 2);
        QZ_CHILD_CHECK(p == IOProxy::getProxy(), 3);
        char buffer[8] = "";
        QZ_CHILD_CHECK(p->read() == 0 && p->flushRead() == 0, 4);
        QZ_CHILD_CHECK(p->getCmdWindowLength() == 0 && p->getCmdWindowCommand(buffer, 8) == 0, 5);
        QZ_CHILD_CHECK(p->getCommandFontSJISFlag() == 0, 6);
        p->setCmdWindowLength(30);
        QZ_CHILD_CHECK(p->getCmdWindowLength() == 0, 7);
        p->timedBufferFlush();
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}

TEST(IOProxy, BaseDeleteCurrentLineBacksOverEightColumnsAndFlushes) {
    auto r = runInFreshProcess([] {
        auto buffer = boost::make_shared<qztest::RecordingBuffer>();
        auto sink = boost::make_shared<CXSink>(boost::shared_ptr<std::streambuf>(buffer));
        CXStream::CXOut.push(sink);
        int syncsBefore = buffer->syncs;
        HostProxy proxy(0);
        proxy.deleteCurrentLine();
        QZ_CHILD_CHECK(buffer->text == "\b\b\b\b\b\b\b\b        \b\b\b\b\b\b\b\b", 2);
        QZ_CHILD_CHECK(buffer->syncs > syncsBefore, 3);
        CXStream::CXOut.pop();
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}
