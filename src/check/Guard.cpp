#include "zumra/check/Guard.h"

#include <signal.h>
#include <sys/prctl.h>

#include <exception>
#include <optional>
#include <string>

#include "check/FirstFailure.h"
#include "check/LeftThreads.h"
#include "check/Registry.h"
#include "check/RunningCheck.h"
#include "check/Watchdog.h"
#include "zumra/check/Runner.h"

namespace zumra::check {

namespace {

/// A forked check dies with the runner, and its signals mean what they mean in any program.
void SettleForkedCheck() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const int number : {SIGALRM, SIGINT, SIGTERM})
        signal(number, SIG_DFL);
}

Watchdog::Seconds AllowedTimeOfRunningCheck() {
    const CheckDescription* const check = registry.Find(tcase_name());
    return AllowedTime(Watchdog::Seconds(check == nullptr ? 0 : check->timeoutSeconds));
}

void RunBody(const char* file, int line, void (*body)(void*), void* argument) {
    try {
        body(argument);
    } catch (const LeaveCheck&) {
    } catch (const std::exception& e) {
        firstFailure.Note(e.what(), file, line);
    } catch (...) {
        firstFailure.Note("unknown exception occurred", file, line);
    }
}

void RunWatched(const char* file, int line, void (*body)(void*), void* argument) {
    const RunningCheck running(file, line);
    std::optional<Watchdog> watchdog;
    if (IsForkedCheck())
        SettleForkedCheck();
    else
        watchdog.emplace(AllowedTimeOfRunningCheck());

    const LeftThreads threads;
    RunBody(file, line, body, argument);
    if (const std::size_t left = threads.Count(); left > 0)
        firstFailure.Note("the check left " + std::to_string(left) + " running thread(s) behind", file, line);
}

}  // namespace

void RunGuarded(const char* file, int line, void (*body)(void*), void* argument) {
    firstFailure.Clear();
    RunWatched(file, line, body, argument);
    if (firstFailure.IsSet())
        firstFailure.Report();
}

}  // namespace zumra::check
