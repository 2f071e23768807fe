#pragma once

#include <signal.h>
#include <time.h>

namespace zumra::check {

/// Watches a check that runs in the runner's own process: while an object lives, a crash and running out of
/// time write a line that names the check; then a crash takes its course, and a hanging program is ended with
/// status 1.
class Watchdog {
public:
    /// `seconds`: what the check may take; not positive: as long as it likes.
    explicit Watchdog(double seconds);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    struct sigaction _previousAlarm;
    timer_t _timer;
    bool _hasTimer = false;
};

/// What Check allows a check in a process of its own: `seconds`, or the default when that is not positive,
/// with CK_DEFAULT_TIMEOUT and CK_TIMEOUT_MULTIPLIER.
double AllowedSeconds(double seconds);

}  // namespace zumra::check
