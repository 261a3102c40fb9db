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
void expectError(vx::Error const& e, std::string const& id, int err) {
    EXPECT_EQ(e.identifier(), id);
    EXPECT_NE(std::string(e.what()).find("errno " + std::to_string(err)), std::string::npos) << e.what();
}

// Points `fd` at what `replacement` refers to.
void redirect(int fd, int replacement) { ASSERT_EQ(dup2(replacement, fd), fd); }

int openDevNull(int flags) {
    int fd = open("/dev/null", flags);
    EXPECT_GE(fd, 0);
    return fd;
}

struct QueueOfOurOwn : ::testing::Test {
    std::unique_ptr<UserEventQueueImpl> impl{new UserEventQueueImpl};
    void SetUp() override { seenTags().clear(); }
};

} // namespace

TEST_F(QueueOfOurOwn, StartsWithItsReadEndWatchedAndNoTimer) {
    EXPECT_EQ(impl->getTimerSec(), -1);
    EXPECT_EQ(impl->getTimerUSec(), -1);
    EXPECT_EQ(impl->removeInput(impl->getReadFd()), &eventqueue::ReadPipe);
    EXPECT_NE(fcntl(impl->getWriteFd(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(impl->getReadFd(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(QueueOfOurOwn, EndOfFileOnTheReadEndIsAReadFailure) {
    int const devNull = openDevNull(O_WRONLY);
    redirect(impl->getWriteFd(), devNull);  // the pipe's only writer is gone
    close(devNull);
    try {
        impl->pop();
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        expectError(e, "CALYX:services:UserEventQueueReadFailed", 0);
    }
    // The mutex was released: the same call fails the same way rather than hang.
    EXPECT_THROW(impl->flush(), vx::Error);
}

TEST_F(QueueOfOurOwn, ReadErrorCarriesItsErrno) {
    int const writeOnly = openDevNull(O_WRONLY);
    redirect(impl->getReadFd(), writeOnly);
    close(writeOnly);
    try {
        impl->flush();
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        expectError(e, "CALYX:services:UserEventQueueReadFailed", EBADF);
    }
}

namespace {
void ignoreSignal(int) {}
} // namespace

TEST_F(QueueOfOurOwn, InterruptedReadIsAnInterruptAndLeavesTheQueueUsable) {
    struct sigaction sa {};
    struct sigaction old {};
    sa.sa_handler = &ignoreSignal;
    sigemptyset(&sa.sa_mask);
    sa.sa_flags = 0;  // no restart: the read must see EINTR
    ASSERT_EQ(sigaction(SIGUSR1, &sa, &old), 0);

    std::atomic<int> outcome{0};  // 1 interrupt, 2 anything else
    pthread_t reader = 0;
    std::atomic<bool> started{false};
    std::thread t([&] {
        reader = pthread_self();
        started = true;
        try {
            impl->pop();  // the pipe is empty: blocks in read
            outcome = 2;
        } catch (Orrery::System::InterruptException const&) {
            outcome = 1;
        } catch (...) {
            outcome = 2;
        }
    });
    while (!started) std::this_thread::yield();
    Clock::time_point const deadline = Clock::now() + std::chrono::seconds(20);
    while (outcome == 0 && Clock::now() < deadline) {
        pthread_kill(reader, SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (outcome == 0) {
        // Never interrupted: free the reader so that the test can end.
        impl->push(taggedRecord(0, nullptr));
    }
    t.join();
    sigaction(SIGUSR1, &old, nullptr);
    EXPECT_EQ(outcome, 1);

    impl->push(taggedRecord(5));
    impl->flush();
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{5}));
}

TEST_F(QueueOfOurOwn, FullPipeIsRetriedForAboutASecondThenBlocked) {
    int full[2];
    ASSERT_EQ(pipe(full), 0);
    ASSERT_EQ(fcntl(full[1], F_SETFL, O_NONBLOCK), 0);
    while (write(full[1], "xxxxxxxxxxxxxxxx", 16) > 0) {
    }
    int const original = dup(impl->getWriteFd());
    redirect(impl->getWriteFd(), full[1]);

    Clock::time_point start = Clock::now();
    UserEventQueueBlockedException* caught = nullptr;
    try {
        impl->push(taggedRecord(1));
    } catch (UserEventQueueBlockedException* e) {
        caught = e;
    }
    double const waited = std::chrono::duration<double>(Clock::now() - start).count();
    ASSERT_NE(caught, nullptr);
    std::unique_ptr<UserEventQueueBlockedException> owned(caught);
    EXPECT_EQ(*owned->GetID(), "");
    EXPECT_EQ(*owned->GetMessageTxt(), "");
    EXPECT_GE(waited, 0.9);  // a hundred sleeps of 10 ms
    EXPECT_LT(waited, 20.0);

    // The event stayed queued without a byte; the next push writes one.
    redirect(impl->getWriteFd(), original);
    close(original);
    close(full[0]);
    close(full[1]);
    EXPECT_FALSE(impl->eventPending());
    impl->push(taggedRecord(2));
    impl->flush();
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 2}));
}

TEST_F(QueueOfOurOwn, OtherWriteFailureIsBlockedAtOnce) {
    int const original = dup(impl->getWriteFd());
    int const readOnly = openDevNull(O_RDONLY);
    redirect(impl->getWriteFd(), readOnly);  // writes fail with EBADF
    close(readOnly);
    Clock::time_point start = Clock::now();
    UserEventQueueBlockedException* caught = nullptr;
    try {
        impl->push(taggedRecord(1));
    } catch (UserEventQueueBlockedException* e) {
        caught = e;
    }
    delete caught;
    EXPECT_NE(caught, nullptr);
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - start).count(), 0.5);
    redirect(impl->getWriteFd(), original);
    close(original);
    impl->push(taggedRecord(2));
    impl->flush();
    EXPECT_EQ(seenTags(), (std::vector<std::uint64_t>{1, 2}));
}

TEST_F(QueueOfOurOwn, FailedCloseIsReportedAfterClosingBoth) {
    int const readFd = impl->getReadFd();
    int const writeFd = impl->getWriteFd();
    ASSERT_EQ(close(readFd), 0);  // the queue's own close of it will fail
    UserEventQueueImpl* raw = impl.release();
    try {
        delete raw;  // a destructor that may throw: not through unique_ptr's noexcept deleter
        ADD_FAILURE() << "no error";
    } catch (vx::Error const& e) {
        expectError(e, "CALYX:services:UserEventQueueFileDescriptorCloseFailed", EBADF);
    }
    // The write end was closed all the same.
    errno = 0;
    EXPECT_EQ(fcntl(writeFd, F_GETFD), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(QueueCreation, PipeFailureIsReportedWithItsErrno) {
    auto r = qztest::runInFreshProcess([] {
        // Raise the same error once while descriptors are free: a sanitizer's
        // type check of the message probes memory through a pipe of its own,
        // and remembers the types it has seen.
        try {
            vxErrMsgId(CALYX::services::UserEventQueuePipeCreationFailed("0"));
        } catch (vx::Error const& e) {
            QZ_CHILD_CHECK(!e.identifier().empty() && e.what() != nullptr, 1);
        }
        // Leave no descriptor free, so that pipe fails with EMFILE.
        int lowest = dup(0);
        QZ_CHILD_CHECK(lowest >= 0, 2);
        close(lowest);
        rlimit limit{};
        QZ_CHILD_CHECK(getrlimit(RLIMIT_NOFILE, &limit) == 0, 3);
        limit.rlim_cur = static_cast<rlim_t>(lowest) + 4;
        QZ_CHILD_CHECK(setrlimit(RLIMIT_NOFILE, &limit) == 0, 4);
        while (dup(0) >= 0) {
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
