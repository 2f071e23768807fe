#pragma once

#include <chrono>

namespace zumra::settings::client {

/// A flag that a thread or an event loop can wait for: its file descriptor is readable while it is raised.
///
/// Thread-safety: `Wait` and `FileDescriptor` may be called from any thread; `Raise` and `Lower` under the
/// lock of whatever the flag stands for.
class ReadyFlag {
public:
    /// Lowered. Throws `osa::Exception` when the system has no descriptor left.
    ReadyFlag();
    ~ReadyFlag();
    ReadyFlag(const ReadyFlag&) = delete;
    ReadyFlag& operator=(const ReadyFlag&) = delete;

    void Raise() noexcept;
    void Lower() noexcept;

    /// Blocks until the flag is raised or `timeout` of monotonic time has passed; whether it is raised.
    /// A timeout of zero or below only looks.
    [[nodiscard]] bool Wait(std::chrono::milliseconds timeout) const;
    [[nodiscard]] int FileDescriptor() const noexcept { return _descriptor; }

private:
    int _descriptor;
    bool _raised = false;
};

}  // namespace zumra::settings::client
