// Runs a test's checks in a brand-new process: the test binary is started
// again for this one test, so process-global state (the first push, cells
// never set) is as at load, whatever ran before in the calling process.
//
// Usage inside a TEST body:
//   auto r = qztest::runInFreshProcess([] { ...; return 0; });
//   EXPECT_EQ(r.exitCode, 0);
// In the new process the lambda runs and its result is the exit code; the
// text it writes to file descriptor 1 comes back in r.stdoutText.
#pragma once
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace qztest {

struct ChildResult {
    int exitCode = -1;       // -1 if the child did not exit normally
    std::string stdoutText;  // what the checks wrote to file descriptor 1
};

inline ChildResult runInFreshProcess(std::function<int()> const& body) {
    ::testing::TestInfo const* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(info->test_suite_name()) + "." + info->name();

    char const* wanted = std::getenv("QZ_FRESH_CHILD");
    if (wanted != nullptr && name == wanted) {
        // The child: send what the checks print to the parent's pipe only, not
        // the test framework's own banner.
        std::fflush(stdout);
        dup2(std::atoi(std::getenv("QZ_FRESH_FD")), 1);
        int code = body();
        std::fflush(nullptr);
        _exit(code);
    }

    ChildResult result;
    int fds[2];
    if (pipe(fds) != 0) return result;
    pid_t pid = fork();
    if (pid == 0) {
        close(fds[0]);
        int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, 1);
        setenv("QZ_FRESH_CHILD", name.c_str(), 1);
        setenv("QZ_FRESH_FD", std::to_string(fds[1]).c_str(), 1);
        std::string filter = "--gtest_filter=" + name;
        execl("/proc/self/exe", "/proc/self/exe", filter.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(fds[1]);
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0) result.stdoutText.append(buf, static_cast<size_t>(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    return result;
}

// Checks inside a fresh process: report the failing condition on stderr and
// give a distinct exit code.
#define QZ_CHILD_CHECK(cond, code)                                     \
    do {                                                               \
        if (!(cond)) {                                                 \
            std::fprintf(stderr, "child check failed: %s\n", #cond);  \
            return (code);                                             \
        }                                                              \
    } while (0)

} // namespace qztest
