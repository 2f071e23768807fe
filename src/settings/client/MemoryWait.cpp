#include "settings/client/MemoryWait.h"

#include <algorithm>
#include <utility>

namespace zumra::settings::client {

std::chrono::milliseconds MemoryWait::Pauses::Next() noexcept {
    return std::exchange(_next, std::min(2 * _next, kLongest));
}

bool MemoryWait::Pause(Pauses& pauses, const std::atomic<bool>& left) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + pauses.Next();
    osa::MutexLock lock(_mutex);
    while (!_ended && !left && Clock::now() < end) {
        _changed.WaitUntil(_mutex, end);
    }
    return !_ended && !left;
}

void MemoryWait::Wake() noexcept {
    osa::MutexLock lock(_mutex);
    _changed.NotifyAll();
}

void MemoryWait::End() noexcept {
    osa::MutexLock lock(_mutex);
    _ended = true;
    _changed.NotifyAll();
}

}  // namespace zumra::settings::client
