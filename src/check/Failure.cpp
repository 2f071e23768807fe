#include "zumra/check/Failure.h"

#include <unistd.h>

#include <algorithm>

#include "check/FirstFailure.h"
#include "check/RunningCheck.h"

namespace zumra::check {

namespace {

/// Two texts that do not fit into a report together show so many bytes each, from a little before they
/// differ.
constexpr std::size_t kExcerpt = 1900;
constexpr std::size_t kBeforeDifference = 100;

std::size_t StartOfExcerpt(const std::string& a, const std::string& b) {
    const auto difference = std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first;
    const auto same = static_cast<std::size_t>(difference - a.begin());
    return same > kBeforeDifference ? same - kBeforeDifference : 0;
}

std::string Excerpt(const std::string& text, std::size_t start) {
    const std::string shown = text.substr(start, kExcerpt);
    return (start > 0 ? "..." : "") + shown + (start + shown.size() < text.size() ? "..." : "");
}

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
    firstFailure.MarkPlace();
    throw LeaveCheck();
}

std::string CreateMismatchedStringErrorMessage(const std::string& expected, const std::string& actual) {
    if (expected.size() + actual.size() <= 2 * kExcerpt)
        return "expected: " + expected + " but got: " + actual;
    const std::size_t start = StartOfExcerpt(expected, actual);
    return "expected: " + Excerpt(expected, start) + " but got: " + Excerpt(actual, start);
}

}  // namespace zumra::check
