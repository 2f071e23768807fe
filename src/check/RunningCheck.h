#pragma once

#include <cstddef>

namespace zumra::check {

/// The check that runs, for whatever ends it in the middle: a signal, `exit`, `std::terminate`. While an
/// object lives, these report the check by name instead of ending the run as if nothing were wrong.
///
/// Its data are static, since handlers get no context, and ready to be written from a signal handler.
class RunningCheck {
public:
    /// `file` and `line`: the place of the check's definition.
    RunningCheck(const char* file, int line);
    ~RunningCheck();
    RunningCheck(const RunningCheck&) = delete;
    RunningCheck& operator=(const RunningCheck&) = delete;

    /// Whether an object lives.
    static bool Exists() noexcept;

    /// Ends the check with the first failure noted so far: reported through Check when it has a process of
    /// its own, otherwise by a line on standard error and status 1.
    [[noreturn]] static void End();

    /// Writes to standard error that the check ended with `text`, in the form of Check's report, and the
    /// first failure if one was noted: "FILE:LINE:E:CASE:NAME:0: <text>". May be called in a signal handler.
    static void WriteEnd(const char* text) noexcept;
};

/// True in the process of a forked check.
bool IsForkedCheck();

/// Makes this process the one that runs the checks or forks them; before, it is the one that the program
/// started in.
void BecomeRunner();

}  // namespace zumra::check
