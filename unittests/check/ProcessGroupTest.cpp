#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "zumra/check/Runner.h"

namespace zumra::check {
namespace {

int signalToRaise = 0;

void Pass(int) {}

const TTest kPasses = {"passes", Pass, __FILE__, __LINE__};

void RaiseSignal() {
    raise(signalToRaise);
}

/// Runs a suite in this process, to which the signal comes before the first check.
[[noreturn]] void RunAndMeetSignal(int number) {
    signalToRaise = number;
    TCase* const testCase = tcase_create("case");
    tcase_add_unchecked_fixture(testCase, RaiseSignal, nullptr);
    tcase_add_test(testCase, &kPasses);
    Suite* const suite = suite_create("Suite");
    suite_add_tcase(suite, testCase);
    SRunner* const runner = srunner_create(suite);
    srunner_set_fork_status(runner, CK_NOFORK);
    srunner_run_all(runner, CK_SILENT);
    _exit(0);
}

int StatusOf(pid_t process) {
    int status = 0;
    waitpid(process, &status, 0);
    return status;
}

/// The status of a process that meets the signal, as another process of its group sees it; -1 when the
/// signal ended that one too.
int StatusSeenByNeighbour(int number) {
    const pid_t neighbour = fork();
    if (neighbour == 0) {
        setpgid(0, 0);
        const pid_t runner = fork();
        if (runner == 0)
            RunAndMeetSignal(number);
        const int status = StatusOf(runner);
        _exit(WIFSIGNALED(status) ? WTERMSIG(status) : 0);
    }
    const int status = StatusOf(neighbour);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ProcessGroup, SignalBeforeTheFirstCheckEndsTheRunnerAlone) {
    EXPECT_EQ(StatusSeenByNeighbour(SIGINT), SIGINT);
    EXPECT_EQ(StatusSeenByNeighbour(SIGTERM), SIGTERM);
}

TEST(ProcessGroup, AlarmBeforeTheFirstCheckEndsNobody) {
    EXPECT_EQ(StatusSeenByNeighbour(SIGALRM), 0);
}

}  // namespace
}  // namespace zumra::check
