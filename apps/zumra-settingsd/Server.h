#pragma once

#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "settings/server/Session.h"
#include "zumra-settingsd/Connection.h"
#include "zumra-settingsd/Log.h"

namespace zumra::settingsd {

/// Accepts clients and serves them, all on the event loop's thread. Adds the reports "stats" (group
/// "Server"), "clients" (a group a connection) and "defaults" (the default settings) to the protocol.
class Server {
public:
    struct Limits {
        std::size_t connections;
        settings::server::SessionLimits session;
    };

    /// `listening`: a listening Unix socket, not owned, non-blocking. Everything given outlives the server.
    Server(asio::io_context& loop, const settings::server::ServerEnv& env, int listening,
           const Limits& limits, Log& log);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Takes no more clients, serves what those that there are have sent by now, and calls `done` when each
    /// has got its replies or `patience` is over.
    void Stop(std::chrono::milliseconds patience, std::function<void()> done);

    [[nodiscard]] std::size_t ConnectionCount() const { return _connections.size(); }

private:
    using Protocol = asio::local::stream_protocol;

    void Accept();
    void OnAccepted(const asio::error_code& error, Protocol::socket socket);
    void OnNotAccepted(const std::string& reason);
    void OnAcceptedAgain();
    void AcceptLater();
    void OnClosed(Connection& connection, const std::string& reason);
    void FinishStop();
    [[nodiscard]] core::IniFile Stats() const;
    [[nodiscard]] core::IniFile Defaults(const settings::server::Identity* who) const;
    [[nodiscard]] core::IniFile Clients(const settings::server::Identity* who) const;

    asio::io_context& _loop;
    const settings::server::ServerEnv& _env;
    const Limits _limits;
    Log& _log;
    Protocol::acceptor _acceptor;
    asio::steady_timer _timer;
    const std::shared_ptr<WakeUps> _wakeUps;
    std::shared_ptr<const settings::server::SessionReports> _reports;
    std::map<std::uint64_t, std::shared_ptr<Connection>> _connections;
    const std::chrono::steady_clock::time_point _started = std::chrono::steady_clock::now();
    std::uint64_t _accepted = 0;
    std::uint64_t _refused = 0;
    std::string _refusal;              ///< why the last one could not be accepted; empty when it was
    std::uint64_t _refusedBefore = 0;  ///< so many when that began
    bool _accepting = false;
    bool _stopping = false;
    std::function<void()> _stopped;
};

}  // namespace zumra::settingsd
