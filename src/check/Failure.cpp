#include "zumra/check/Failure.h"

#include <unistd.h>

#include "check/FirstFailure.h"
#include "check/RunningCheck.h"

namespace zumra::check {

namespace {

/// A check that `RunGuarded` does not run fails as Check lets it; a thread that outlived its check cannot,
/// Check would jump onto another thread's stack.
[[noreturn]] void FailUnguarded() {
    const bool isMainThread = gettid() == getpid();
    if (isMainThread)
        firstFailure.Report();
    RunningCheck::End();
}

}  // namespace

void FailOnLine(const std::string& message, const char* file, int line) {
    const bool isGuarded = RunningCheck::Exists();
    if (!isGuarded)
        firstFailure.Clear();
    firstFailure.Note(message, file, line);
    if (!isGuarded)
        FailUnguarded();
    throw LeaveCheck();
}

std::string CreateMismatchedStringErrorMessage(const std::string& expected, const std::string& actual) {
    return "expected: " + expected + " but got: " + actual;
}

}  // namespace zumra::check
