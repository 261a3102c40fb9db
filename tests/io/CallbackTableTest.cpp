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
char* fillCommand(char* buffer, int) { return std::strcpy(buffer, "x = 1"); }

// Puts both tables back as they were and clears the recorder, so each test
// starts from the same state.
class CallbackTable : public ::testing::Test {
protected:
    void SetUp() override {
        gRecorded.clear();
        gCalls = 0;
        gSeconds = 0;
        gFlag = false;
    }
    void TearDown() override {
        _sv_iocb = savedIo_;
        gHostCallbacks = savedHost_;
    }
private:
    _svIoCallbacks savedIo_ = _sv_iocb;
    HostCallbacks savedHost_ = gHostCallbacks;
};

} // namespace

TEST(CallbackTableDefaults, NeutralAnswersWithNoHost) {
    EXPECT_EQ(0, runInFreshProcess([] {
        QZ_CHILD_CHECK(services::io::flushRead() == -1 && svIOGetLineProtocol() == 0, 2);
        QZ_CHILD_CHECK(_sv_iocb.findFirstFileName == nullptr && _sv_iocb.sizeCallback(nullptr) == nullptr, 4);
        QZ_CHILD_CHECK(_sv_iocb.entry8(-12) == -12 && _sv_iocb.entry9() == 1, 6);
        QZ_CHILD_CHECK(std::strcmp(_sv_iocb.entry10(), "D>> ") == 0 && _sv_iocb.entry15(0x1F3) == 0xF3, 8);
        QZ_CHILD_CHECK(_sv_iocb.entry6() == 0 && _sv_iocb.entry21() == 0 && _sv_iocb.flush() == 0, 10);
        char buffer[8] = "keep";
        QZ_CHILD_CHECK(svUIW_GetCommand(buffer, 8) == nullptr && svUIW_wciGetName(1) == nullptr, 12);
        QZ_CHILD_CHECK(svUIW_FlushCW() == 0 && svWS_CreateUserEvent(nullptr) == 0, 14);
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
        // The default text function lands in CXOut, NUL bytes and all.
        auto sink = boost::make_shared<CXStringSink>(boost::make_shared<std::stringbuf>());
        CXStream::CXOut.push(sink);
        char text[] = "hello world";
        ioCmdTextOut(text, 5);
        char withNul[] = {'a', '\0', 'b'};
        ioCmdTextOut(withNul, 3);
        QZ_CHILD_CHECK(sink->getString() == std::string("hello" "a\0b", 8), 17);
        return 0;
    }).exitCode);
}

TEST_F(CallbackTable, AllNullTableChangesNothingAndEntryFourAloneOnlyCmdTextOut) {
    // The setter as a host declares it, with a pointer to a table it may change.
    void (*const setter)(_svIoCallbacks*) = &svSetIoCallbacks;
    _svIoCallbacks before = _sv_iocb;
    _svIoCallbacks host{};
    setter(&host);
    svSetIoCallbacks(nullptr);
    EXPECT_EQ(std::memcmp(&before, &_sv_iocb, sizeof before), 0);
    host.cmdTextOut = &recordText;
    svSetIoCallbacks(&host);
    _svIoCallbacks after = _sv_iocb;
    EXPECT_EQ(after.cmdTextOut, &recordText);
    after.cmdTextOut = before.cmdTextOut;
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
    char text[] = "abcdef";
    ioCmdTextOut(text, 4);
    EXPECT_EQ(gRecorded, "abcd");
    EXPECT_EQ(gCalls, 1);
}

TEST_F(CallbackTable, LaterPartialTableKeepsEarlierEntries) {
    _svIoCallbacks first{};
    first.flushRead = &keyQ;
    first.sleep = &recordSleep;
    svSetIoCallbacks(&first);
    _svIoCallbacks second{};
    second.deleteCurrentLine = &countCall;
    svSetIoCallbacks(&second);
    EXPECT_EQ(services::io::flushRead(), 'q');
    services::io::deleteCurrentLine();
    EXPECT_EQ(gCalls, 1);
    EXPECT_EQ(svSleep(0.25, true), 11u);
    EXPECT_EQ(gSeconds, 0.25);
    EXPECT_TRUE(gFlag);
}

TEST_F(CallbackTable, FindFirstFileNameIsFalseWithoutCallbackElseForwards) {
    _sv_iocb.findFirstFileName = nullptr;
    char out[64] = "untouched";
    EXPECT_FALSE(svFindFirstFileName("a.cx", false, out));
    EXPECT_STREQ(out, "untouched");
    _svIoCallbacks host{};
    host.findFirstFileName = &findInTmp;
    svSetIoCallbacks(&host);
    EXPECT_TRUE(svFindFirstFileName("f.cx", false, out));
    EXPECT_STREQ(out, "/tmp/f.cx");
    EXPECT_FALSE(svFindFirstFileName("g.cx", true, out));
    EXPECT_STREQ(out, "/tmp/g.cx");
}

TEST_F(CallbackTable, SingleFunctionSettersIgnoreNull) {
    svSetWS_SysBeepFcn(&countCall);
    svSetWS_SysBeepFcn(nullptr);
    svSetUIW_GetCommandFcn(&fillCommand);
    svSetUIW_GetCommandFcn(nullptr);
    svSetWS_RaiseXtermFcn(&countCall);
    svSetWS_RaiseXtermFcn(nullptr);
    svSetWS_ShowSplashScreen(&otherCall);
    svSetWS_ShowSplashScreen(nullptr);
    svSetWS_BringCALYXToFront(&countCall);
    svSetWS_BringCALYXToFront(nullptr);
    svSetWS_SleepFcn(&recordSleep);
    svSetWS_SleepFcn(nullptr);
    _sv_iocb.sysBeep();
    EXPECT_EQ(_sv_iocb.sysBeep, &countCall);
    char buffer[32] = "";
    EXPECT_EQ(svUIW_GetCommand(buffer, 32), buffer);
    EXPECT_STREQ(buffer, "x = 1");
    svWS_RaiseXterm();
    svWS_ShowSplashScreen();
    svWS_BringCALYXToFront();
    EXPECT_EQ(gCalls, 103);
    // The window system's sleep passes the flag as false.
    gFlag = true;
    EXPECT_EQ(svWS_Sleep(2.5), 11u);
    EXPECT_EQ(gSeconds, 2.5);
    EXPECT_FALSE(gFlag);
}

TEST_F(CallbackTable, GroupSettersForwardEachFunctionAndNullKeepsTheDefault) {
    void (*cmdTextOutBefore)(char*, int) = _sv_iocb.cmdTextOut;
    svSetUIW_CWCallbacks(&flushSeven, &recordText, &itemName, &countCall, &otherCall);
    EXPECT_EQ(_sv_iocb.cmdTextOut, cmdTextOutBefore);  // the five-argument form drops the text function
    EXPECT_EQ(svUIW_FlushCW(), 7);
    EXPECT_STREQ(svUIW_wciGetName(2), "history");
    svUIW_ClearSession();
    svUIW_ResetCWLength();
    EXPECT_EQ(gCalls, 101);
    svSetWS_EventFcns(nullptr, &createEvent, nullptr, nullptr);
    svSetWS_EventFcns(nullptr, nullptr, nullptr, &countCall);
    EXPECT_EQ(svWS_CreateUserEvent(nullptr), 42);
    svWS_ProcessSynchronousSystemEvents();  // still the default: nothing
    svWS_DisableUserEvents();
    EXPECT_EQ(gCalls, 102);
    EXPECT_TRUE(gHostCallbacks.postUserEvent(0, 0));
}

TEST_F(CallbackTable, DefaultSleepCutsTheFractionOff) {
    auto seconds = [](double asked, bool windowSystem) {
        auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(windowSystem ? svWS_Sleep(asked) : svSleep(asked, false), 0u);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    double slept = seconds(1.9, false);
    EXPECT_GE(slept, 0.95);
    EXPECT_LT(slept, 1.5);
    // Below one second, or nonsense: no sleep at all.
    for (double asked : {0.9, -5.0, std::nan("")}) EXPECT_LT(seconds(asked, false), 0.3) << asked;
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

TEST(IOProxy, DefaultObjectThenTheFirstSetProxyWins) {
    EXPECT_EQ(0, runInFreshProcess([] {
        IOProxy const* p = IOProxy::getProxy();
        QZ_CHILD_CHECK(p != nullptr && p == IOProxy::getProxy(), 2);
        char buffer[8] = "";
        QZ_CHILD_CHECK(p->read() == 0 && p->flushRead() == 0 && p->getCommandFontSJISFlag() == 0, 3);
        QZ_CHILD_CHECK(p->getCmdWindowLength() == 0 && p->getCmdWindowCommand(buffer, 8) == 0, 4);
        p->setCmdWindowLength(30);
        QZ_CHILD_CHECK(p->getCmdWindowLength() == 0, 5);
        p->timedBufferFlush();

        static HostProxy first(40), second(50);
        QZ_CHILD_CHECK(IOProxy::setProxy(&first) == nullptr, 6);
        QZ_CHILD_CHECK(IOProxy::setProxy(&second) == &first && IOProxy::setProxy(nullptr) == &first, 7);
        QZ_CHILD_CHECK(IOProxy::getProxy() == &first && IOProxy::getProxy()->getCmdWindowLength() == 40, 8);

        // The base deleteCurrentLine backs over eight columns and flushes.
        auto buffer8 = boost::make_shared<qztest::RecordingBuffer>();
        CXStream::CXOut.push(boost::make_shared<CXSink>(boost::shared_ptr<std::streambuf>(buffer8)));
        int syncsBefore = buffer8->syncs;
        first.deleteCurrentLine();
        QZ_CHILD_CHECK(buffer8->text == "\b\b\b\b\b\b\b\b        \b\b\b\b\b\b\b\b", 9);
        QZ_CHILD_CHECK(buffer8->syncs > syncsBefore, 10);
        CXStream::CXOut.pop();
        return 0;
    }).exitCode);
}
