#include "zumra-settingsd/Server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "zumra-settingsd/PeerIdentity.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settingsd {

namespace {

/// After running out of descriptors: long enough not to spin, short enough not to be noticed.
constexpr std::chrono::milliseconds kAcceptPause{100};

std::string Describe(const settings::server::Identity& peer) {
    const auto number = [](const auto& value) {
        return value ? std::to_string(*value) : std::string("unknown");
    };
    return "process " + number(peer.pid) + ", user " + number(peer.uid);
}

}  // namespace

Server::Server(asio::io_context& loop, const settings::server::ServerEnv& env, int listening,
               const Limits& limits, Log& log)
    : _loop(loop),
      _env(env),
      _limits(limits),
      _log(log),
      _acceptor(loop, Protocol(), ::dup(listening)),
      _timer(loop),
      _wakeUps(std::make_shared<WakeUps>(loop.get_executor())) {
    settings::server::SessionReports reports;
    reports["stats"] = [this](const settings::server::Identity*) { return Stats(); };
    reports["clients"] = [this](const settings::server::Identity* who) { return Clients(who); };
    reports["defaults"] = [this](const settings::server::Identity* who) { return Defaults(who); };
    _reports = std::make_shared<const settings::server::SessionReports>(std::move(reports));
    Accept();
}

Server::~Server() {
    while (!_connections.empty()) {
        _connections.begin()->second->Close("the daemon ended");
    }
}

void Server::Accept() {
    if (_accepting || _stopping || _connections.size() >= _limits.connections) {
        return;
    }
    _accepting = true;
    _acceptor.async_accept([this](const asio::error_code& error, Protocol::socket socket) {
        _accepting = false;
        OnAccepted(error, std::move(socket));
    });
}

void Server::OnAccepted(const asio::error_code& error, Protocol::socket socket) {
    if (error == asio::error::operation_aborted || _stopping) {
        return;
    }
    if (error) {
        OnNotAccepted(error.message());
        AcceptLater();
        return;
    }
    OnAcceptedAgain();
    const auto identity = PeerIdentity(socket.native_handle());
    const std::uint64_t number = ++_accepted;
    const auto connection = std::make_shared<Connection>(
        number, std::move(socket), identity, _wakeUps,
        [this](Connection& closed, const std::string& reason) { OnClosed(closed, reason); });
    _connections.emplace(number, connection);
    _log.Debug("connection " + std::to_string(number) + " from " + Describe(*identity));
    settings::server::Session::Options options;
    options.limits = _limits.session;
    options.reports = _reports;
    connection->Start(_env, std::move(options));
    if (_connections.size() >= _limits.connections) {
        _log.Warning("all " + std::to_string(_limits.connections) + " connections are in use; others wait");
    }
    Accept();
}

/// A reason is told once, however often it is tried again.
void Server::OnNotAccepted(const std::string& reason) {
    if (_refusal.empty()) {
        _refusedBefore = _refused;
    }
    ++_refused;
    if (std::exchange(_refusal, reason) != reason) {
        _log.Error("cannot accept connections, trying again: " + reason);
    }
}

void Server::OnAcceptedAgain() {
    if (!_refusal.empty()) {
        _refusal.clear();
        _log.Notice("connections are accepted again, after " + std::to_string(_refused - _refusedBefore) +
                    " attempts that failed");
    }
}

void Server::AcceptLater() {
    _timer.expires_after(kAcceptPause);
    _timer.async_wait([this](const asio::error_code& error) {
        if (!error) {
            Accept();
        }
    });
}

void Server::OnClosed(Connection& connection, const std::string& reason) {
    const std::string name = "connection " + std::to_string(connection.Number());
    if (reason.empty()) {
        _log.Debug(name + " closed");
    } else {
        _log.Notice(name + " (" + Describe(connection.Peer()) + ") closed: " + reason);
    }
    _connections.erase(connection.Number());
    if (_stopping && _connections.empty()) {
        FinishStop();
    } else {
        Accept();
    }
}

void Server::Stop(std::chrono::milliseconds patience, std::function<void()> done) {
    _stopping = true;
    _stopped = std::move(done);
    asio::error_code ignored;
    _acceptor.close(ignored);
    std::vector<std::shared_ptr<Connection>> connections;
    for (const auto& [number, connection] : _connections) {
        connections.push_back(connection);
    }
    for (const auto& connection : connections) {
        connection->Drain();
    }
    if (_connections.empty()) {
        FinishStop();
        return;
    }
    _timer.expires_after(patience);
    _timer.async_wait([this](const asio::error_code& error) {
        if (!error) {
            FinishStop();
        }
    });
}

void Server::FinishStop() {
    _timer.cancel();
    if (const auto done = std::exchange(_stopped, nullptr)) {
        asio::post(_loop, done);
    }
}

core::IniFile Server::Stats() const {
    const auto uptime = std::chrono::steady_clock::now() - _started;
    const auto store = _env.settingsManager->Statistics();
    std::size_t queued = 0;
    for (const auto& [number, connection] : _connections) {
        queued += connection->QueueDepth();
    }
    core::IniFile report;
    auto& server = report["Server"];
    server["Process"] = std::to_string(::getpid());
    server["UptimeSeconds"] =
        std::to_string(std::chrono::duration_cast<std::chrono::seconds>(uptime).count());
    server["Revision"] = std::to_string(store.revision);
    server["SavedRevision"] = std::to_string(store.savedRevision);
    server["Groups"] = std::to_string(store.groups);
    server["Subscribers"] = std::to_string(store.listeners);
    server["Connections"] = std::to_string(_connections.size());
    server["ConnectionsAccepted"] = std::to_string(_accepted);
    server["ConnectionsRefused"] = std::to_string(_refused);
    server["QueueDepth"] = std::to_string(queued);
    return report;
}

core::IniFile Server::Defaults(const settings::server::Identity* who) const {
    core::IniFile report;
    for (auto& [name, values] :
         _env.settingsManager->ReadDefaults(settings::common::GroupNameMatcher("*"), who)) {
        report.SetGroup(name, *values);
    }
    return report;
}

/// Everybody sees that a client is there; what it subscribes to, only its own user and root.
core::IniFile Server::Clients(const settings::server::Identity* who) const {
    core::IniFile report;
    for (const auto& [number, connection] : _connections) {
        auto& client = report["Clients/" + std::to_string(number)];
        const settings::server::Identity& peer = connection->Peer();
        client["Process"] = peer.pid ? std::to_string(*peer.pid) : "";
        client["User"] = peer.uid ? std::to_string(*peer.uid) : "";
        client["QueueDepth"] = std::to_string(connection->QueueDepth());
        const bool visible = who == nullptr || who->uid == 0u || (who->uid && who->uid == peer.uid);
        if (connection->GetSession() == nullptr || !visible) {
            continue;
        }
        const auto subscriptions = connection->GetSession()->Subscriptions();
        std::size_t index = 0;
        for (const auto* entries : {&subscriptions.Names(), &subscriptions.Patterns()}) {
            for (const std::string& entry : *entries) {
                std::string key = std::to_string(index++);
                client["Subscription" + std::string(key.size() < 3 ? 3 - key.size() : 0, '0') + key] = entry;
            }
        }
    }
    return report;
}

}  // namespace zumra::settingsd
