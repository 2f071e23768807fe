#pragma once

#include <array>
#include <asio/any_io_executor.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "settings/server/Session.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settingsd {

class Connection;

/// The connections that have something to do since the event loop last looked: one entry in the loop's queue
/// serves all of them, be it a thousand that are told of one change.
class WakeUps {
public:
    explicit WakeUps(asio::any_io_executor executor) : _executor(std::move(executor)) {}

    /// Any thread. `self` is kept until the loop has looked.
    static void Add(const std::shared_ptr<WakeUps>& self, std::weak_ptr<Connection> connection);

private:
    void Run();

    const asio::any_io_executor _executor;
    osa::Mutex _mutex{"wake-ups"};
    std::vector<std::weak_ptr<Connection>> _due ZUMRA_GUARDED_BY(_mutex);
};

/// One client of the daemon: moves bytes between its socket and its session, on the event loop's thread.
/// Reads only while the session has nothing to be sent and waits for nothing, so that what one client can
/// make the daemon hold is bounded by its session's limits.
class Connection : public std::enable_shared_from_this<Connection> {
public:
    using Socket = asio::local::stream_protocol::socket;
    /// Told once, when the connection is over, with the reason; empty after a regular end.
    using Closed = std::function<void(Connection&, const std::string& reason)>;

    Connection(std::uint64_t number, Socket socket,
               std::shared_ptr<const settings::server::Identity> identity, std::shared_ptr<WakeUps> wakeUps,
               Closed closed);

    /// `options.wake` is set here; everything else as the caller wants it.
    void Start(const settings::server::ServerEnv& env, settings::server::Session::Options options);
    /// Serves what has been received by now, answers it, and closes; for a daemon that stops.
    void Drain();
    /// The loop got to the wake-up.
    void Awake();
    /// Closes at once.
    void Close(const std::string& reason);

    [[nodiscard]] std::uint64_t Number() const { return _number; }
    [[nodiscard]] const settings::server::Identity& Peer() const { return *_identity; }
    [[nodiscard]] const settings::server::Session* GetSession() const { return _session.get(); }
    /// Bytes that wait to be sent.
    [[nodiscard]] std::size_t QueueDepth() const;

private:
    /// For all connections: the bytes are with the session before the next one reads.
    using Block = std::array<char, 65536>;

    void Go();
    void WaitForInput();
    void Receive();
    /// False when there is nothing (more) to be received now.
    bool ReceiveBlock();
    bool Send();
    void SendRest(std::size_t from);
    void Wake();
    void CloseSoonIfCutOff();

    const std::uint64_t _number;
    Socket _socket;
    std::shared_ptr<const settings::server::Identity> _identity;
    const std::shared_ptr<WakeUps> _wakeUps;
    Closed _closed;
    std::unique_ptr<settings::server::Session> _session;
    asio::steady_timer _timer;
    std::string _sending;
    std::atomic<bool> _woken{false};
    bool _reading = false;
    bool _inputEnded = false;
    bool _draining = false;
    bool _closingSoon = false;
    bool _over = false;
};

}  // namespace zumra::settingsd
