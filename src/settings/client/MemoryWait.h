#pragma once

#include <atomic>
#include <chrono>

#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// Where the thread that calls callbacks waits for memory when it finds none for what it has to tell. It can
/// do nothing else: to leave a change out would be to lose it.
///
/// Thread-safety: every operation may be called from any thread.
class MemoryWait {
public:
    /// How long to wait before the next attempt: at first a moment, for memory mostly comes back at once.
    class Pauses {
    public:
        std::chrono::milliseconds Next() noexcept;

    private:
        std::chrono::milliseconds _next = kFirst;
    };

    /// Waits for the next pause. False when nobody is to be told any more: `left` has become true, or the
    /// waiting was ended.
    bool Pause(Pauses& pauses, const std::atomic<bool>& left);
    /// Call after such a `left` has changed.
    void Wake() noexcept;
    /// From now on nobody waits.
    void End() noexcept;

private:
    static constexpr std::chrono::milliseconds kFirst{1};
    static constexpr std::chrono::milliseconds kLongest{1000};

    osa::Mutex _mutex{"memory wait"};
    osa::Condition _changed;
    bool _ended ZUMRA_GUARDED_BY(_mutex) = false;
};

}  // namespace zumra::settings::client
