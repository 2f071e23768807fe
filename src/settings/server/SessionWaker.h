#pragma once

#include <functional>
#include <utility>

#include "zumra/osa/Mutex.h"

namespace zumra::settings::server {

/// Calls a session's driver from other threads, and no more once the session is closed. Any thread may call
/// every operation.
class Waker {
public:
    /// `wake` may be empty.
    explicit Waker(std::function<void()> wake) : _wake(std::move(wake)) {}

    /// Calls the driver under no lock. What it throws is dropped: the thread that calls has nothing to do
    /// with this session.
    void Call() noexcept;
    /// Waits for calls that run on other threads; afterwards there are none. Not from within a call.
    void Close();

private:
    const std::function<void()> _wake;
    osa::Mutex _mutex{"session waker"};
    osa::Condition _idle;
    unsigned _running ZUMRA_GUARDED_BY(_mutex) = 0;
    bool _closed ZUMRA_GUARDED_BY(_mutex) = false;
};

}  // namespace zumra::settings::server
