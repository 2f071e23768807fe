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

/// Where the character begins of which `text[at]` is a part; `at` in what is no text.
std::size_t StartOfCharacter(const std::string& text, std::size_t at) {
    std::size_t start = at;
    while (start > 0 && start < text.size() && at - start < 4 && !StartsCharacter(text[start]))
        --start;
    return start < text.size() && StartsCharacter(text[start]) ? start : at;
}

std::string Excerpt(const std::string& text, std::size_t start) {
    const std::size_t first = StartOfCharacter(text, start);
    const std::size_t end = StartOfCharacter(text, start + kExcerpt);
    return (first > 0 ? "..." : "") + text.substr(first, end - first) + (end < text.size() ? "..." : "");
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
