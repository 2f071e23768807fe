#pragma once

#include <atomic>

#include "settings/client/connection/Connection.h"
#include "settings/client/connection/FileDescriptor.h"
#include "settings/client/connection/JoiningThread.h"

namespace zumra::settings::client {

/// A thread that reads a connection's notifications while no call does. Waits in the kernel otherwise; a call
/// that comes takes the stream out of its watch without waking it.
class BackgroundReader final : public IIdleReader {
public:
    /// The connection's stream has a descriptor. Throws `zumra::osa::Exception` for what the system refused.
    explicit BackgroundReader(Connection& connection);
    /// Ends the connection's stream, for the thread may be in the middle of a message.
    ~BackgroundReader() override;

    void Arm(bool now) noexcept override;
    void Disarm() noexcept override;

private:
    void Watch(unsigned events) noexcept;
    void Run();

    Connection& _connection;
    FileDescriptor _epoll;
    WakeFlag _wake;
    std::atomic<bool> _stop{false};
    JoiningThread _thread;
};

}  // namespace zumra::settings::client
