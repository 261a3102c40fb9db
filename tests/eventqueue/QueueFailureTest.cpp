// The failure table of the queue, on queues of the test's own whose pipe ends
// are swapped for descriptors that fail in the wanted way.
#include "eventqueue/QueueFixture.hpp"
#include "support/child_process.hpp"

#include <qzservices/orrery/InterruptException.hpp>
#include <msg/calyx_messages.hpp>
#include <vx/errors.hpp>

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

using eventqueue::UserEventQueueBlockedException;
using eventqueue::UserEventQueueImpl;
using qztest::seenTags;
using qztest::taggedRecord;

namespace {

typedef std::chrono::steady_clock Clock;

// The error text carries the errno as its argument.
void expectError(std::function<void()> const& failing, std::string const& id, int err) {
    try {
        failing();
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        EXPECT_EQ(e.identifier(), id);
        EXPECT_NE(std::string(e.what()).find("errno " + std::to_string(err)), std::string::npos) << e.what();
    }
}

// Points `fd` at /dev/null opened with `flags`.
void redirectToDevNull(int fd, int flags) {
    int const devNull = open("/dev/null", flags);
    ASSERT_EQ(dup2(devNull, fd), fd);
    close(devNull);
}

struct QueueOfOurOwn : ::testing::Test {
    std::unique_ptr<UserEventQueueImpl> impl{new UserEventQueueImpl};
    void SetUp() override { seenTags().clear(); }

    // Pushes with the write end swapped for `writer`: the push must throw the
    // blocked exception by pointer. Then the real end is put back, and the
    // event is found queued. Returns the seconds the push took.
    double blockedPush(int writer) {
        int const original = dup(impl->getWriteFd());
        EXPECT_EQ(dup2(writer, impl->getWriteFd()), impl->getWriteFd());
        Clock::time_point start = Clock::now();
        std::unique_ptr<UserEventQueueBlockedException> caught;
        try {
            impl->push(taggedRecord(1));
        } catch (UserEventQueueBlockedException* e) {
            caught.reset(e);
        }
        double const waited = std::chrono::duration<double>(Clock::now() - start).count();
        EXPECT_EQ(caught ? *caught->GetID() : "none", "");
        dup2(original, impl->getWriteFd());
        close(original);
        EXPECT_FALSE(impl->eventPending());  // queued without a byte; the next push writes one
        impl->push(taggedRecord(2));
        impl->flush();
        EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 2}));
        return waited;
    }
};

void ignoreSignal(int) {}

} // namespace

TEST_F(QueueOfOurOwn, StartsWithItsReadEndWatchedAndOnlyItsWriteEndNonBlocking) {
    EXPECT_EQ(impl->getTimerSec(), -1);
    EXPECT_EQ(impl->removeInput(impl->getReadFd()), &eventqueue::ReadPipe);
    EXPECT_NE(fcntl(impl->getWriteFd(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(impl->getReadFd(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(QueueOfOurOwn, ReadFailuresCarryTheirErrno) {
    redirectToDevNull(impl->getWriteFd(), O_WRONLY);  // the pipe's only writer is gone: end of file
    expectError([&] { impl->pop(); }, "CALYX:services:UserEventQueueReadFailed", 0);
    expectError([&] { impl->flush(); }, "CALYX:services:UserEventQueueReadFailed", 0);  // the mutex was released
    redirectToDevNull(impl->getReadFd(), O_WRONLY);
    expectError([&] { impl->flush(); }, "CALYX:services:UserEventQueueReadFailed", EBADF);
}

TEST_F(QueueOfOurOwn, InterruptedReadIsAnInterruptAndLeavesTheQueueUsable) {
    struct sigaction sa {}, old {};
    sa.sa_handler = &ignoreSignal;  // no SA_RESTART: the read must see EINTR
    ASSERT_EQ(sigaction(SIGUSR1, &sa, &old), 0);
    pthread_t const reader = pthread_self();
    std::atomic<bool> done{false};
    std::thread kicker([&] {
        for (int i = 0; !done && i < 1000; ++i) {
            pthread_kill(reader, SIGUSR1);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        if (!done) impl->push(taggedRecord(0, nullptr));  // never interrupted: free the reader
    });
    EXPECT_THROW(impl->pop(), Orrery::System::InterruptException);  // the pipe is empty: blocks in read
    done = true;
    kicker.join();
    sigaction(SIGUSR1, &old, nullptr);
    impl->push(taggedRecord(5));
    impl->flush();
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{5}));
}

TEST_F(QueueOfOurOwn, FullPipeIsRetriedForAboutASecondOtherWriteFailuresAreBlockedAtOnce) {
    int full[2];
    ASSERT_EQ(pipe(full), 0);
    ASSERT_EQ(fcntl(full[1], F_SETFL, O_NONBLOCK), 0);
    while (write(full[1], "xxxxxxxxxxxxxxxx", 16) > 0) {
    }
    double const waited = blockedPush(full[1]);
    EXPECT_GE(waited, 0.9);  // a hundred sleeps of 10 ms
    EXPECT_LT(waited, 20.0);
    close(full[0]);
    close(full[1]);

    seenTags().clear();
    int const readOnly = open("/dev/null", O_RDONLY);  // writes fail with EBADF
    EXPECT_LT(blockedPush(readOnly), 0.5);
    close(readOnly);
}

TEST_F(QueueOfOurOwn, FailedCloseIsReportedAfterClosingBoth) {
    int const writeFd = impl->getWriteFd();
    ASSERT_EQ(close(impl->getReadFd()), 0);  // the queue's own close of it will fail
    UserEventQueueImpl* raw = impl.release();
    // A destructor that may throw: not through unique_ptr's noexcept deleter.
    expectError([raw] { delete raw; }, "CALYX:services:UserEventQueueFileDescriptorCloseFailed", EBADF);
    errno = 0;
    EXPECT_EQ(fcntl(writeFd, F_GETFD), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(QueueCreation, PipeFailureIsReportedWithItsErrno) {
    auto r = qztest::runInFreshProcess([] {
        // Raised once while descriptors are free: the sanitizer's type check
        // of the message needs a pipe of its own the first time.
        try {
            vxErrMsgId(CALYX::services::UserEventQueuePipeCreationFailed("0"));
        } catch (vx::Error const& e) {
            (void)e.identifier();
        }
        int lowest = dup(0);
        QZ_CHILD_CHECK(lowest >= 0, 2);
        close(lowest);
        rlimit limit{};
        QZ_CHILD_CHECK(getrlimit(RLIMIT_NOFILE, &limit) == 0, 3);
        limit.rlim_cur = static_cast<rlim_t>(lowest) + 4;
        QZ_CHILD_CHECK(setrlimit(RLIMIT_NOFILE, &limit) == 0, 4);
        while (dup(0) >= 0) {  // no descriptor left: pipe fails with EMFILE
        }
        try {
            UserEventQueueImpl impl;
            return 5;
        } catch (vx::Error const& e) {
            QZ_CHILD_CHECK(e.identifier() == "CALYX:services:UserEventQueuePipeCreationFailed", 6);
            QZ_CHILD_CHECK(std::string(e.what()).find("errno " + std::to_string(EMFILE)) != std::string::npos, 7);
        }
        return 0;
    });
    EXPECT_EQ(r.exitCode, 0);
}
