#pragma once

#include <chrono>
#include <thread>

#include "zumra/osa/Mutex.h"

namespace zumra::check {

/// Watches a check that runs in the runner's own process: while an object lives, a crash and running out of
/// time write a line that names the check; then a crash takes its course, and a hanging program is ended with
/// status 1.
class Watchdog {
public:
    using Seconds = std::chrono::duration<double>;

    /// `allowed`: what the check may take; not positive: as long as it likes.
    explicit Watchdog(Seconds allowed);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

private:
    void EndWhenLate(std::chrono::steady_clock::time_point deadline);

    osa::Mutex _mutex;
    osa::Condition _ended;
    bool _hasEnded ZUMRA_GUARDED_BY(_mutex) = false;
    /// No signal: the check may block or use any of them.
    std::thread _thread;
};

/// What Check allows a check in a process of its own: `ownTimeout`, or the default when that is not positive,
/// with CK_DEFAULT_TIMEOUT and CK_TIMEOUT_MULTIPLIER.
Watchdog::Seconds AllowedTime(Watchdog::Seconds ownTimeout);

}  // namespace zumra::check
