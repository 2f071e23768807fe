#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <string>

#include "client/PlayedConnection.h"
#include "settings/client/InProcessSession.h"
#include "settings/client/InProcessStore.h"
#include "settings/client/connection/FileDescriptor.h"
#include "settings/client/connection/JoiningThread.h"
#include "support/TemporaryDirectory.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::test {

/// A Unix socket in a folder of its own that clients can connect to while it is there.
class ListeningSocket {
public:
    void Open();
    /// Refuses who comes from now on, also while another thread accepts.
    void Close();
    /// Without a descriptor when the socket was closed.
    [[nodiscard]] settings::client::FileDescriptor Accept() const;
    /// The next connection, for the test to play.
    [[nodiscard]] PlayedConnection Play() const { return PlayedConnection(Accept()); }
    [[nodiscard]] const std::string& Path() const { return _path; }

private:
    const TemporaryDirectory _folder;
    const std::string _path = _folder.File("socket");
    settings::client::FileDescriptor _socket;
};

/// The server's end of one connection, on a thread of its own.
class ServedConnection {
public:
    ServedConnection(std::shared_ptr<settings::client::InProcessStore> store,
                     settings::client::FileDescriptor socket);
    /// Ends it in the middle of whatever it says.
    ~ServedConnection();
    ServedConnection(const ServedConnection&) = delete;
    ServedConnection& operator=(const ServedConnection&) = delete;

private:
    void Run();
    void Wait();

    const settings::client::FileDescriptor _handle;
    settings::client::WakeFlag _wake;
    settings::client::InProcessSession _session;
    settings::client::JoiningThread _thread;
};

/// A server of this program on a Unix socket that a test starts and ends as it likes. Its store outlives it.
/// Its memory never fails, as that of another process.
class SocketServer {
public:
    explicit SocketServer(const core::IniFile& defaults = {})
        : _store(std::make_shared<settings::client::InProcessStore>(defaults)) {}
    ~SocketServer() { Stop(); }
    SocketServer(const SocketServer&) = delete;
    SocketServer& operator=(const SocketServer&) = delete;

    void Start();
    /// Closes the socket and every connection, in the middle of whatever they say.
    void Stop();
    /// A server that closes each connection at once, or one that does not.
    void Refuse(bool refuse) { _refuse = refuse; }
    /// The next connection is closed when this many bytes were sent to the client.
    void CutNext(std::size_t bytes) { _cut = static_cast<long>(bytes); }
    /// Waits for connections to be made, counted since the beginning.
    void AwaitConnections(unsigned count);

    [[nodiscard]] const std::string& Path() const { return _listening.Path(); }
    [[nodiscard]] settings::server::SettingsManager& Store() { return _store->Manager(); }

private:
    void Run();
    void ServeUntilCut(settings::client::FileDescriptor socket, std::size_t bytes);

    const std::shared_ptr<settings::client::InProcessStore> _store;
    ListeningSocket _listening;
    std::atomic<bool> _refuse{false};
    std::atomic<long> _cut{-1};
    osa::Mutex _mutex;
    osa::Condition _changed;
    unsigned _count ZUMRA_GUARDED_BY(_mutex) = 0;
    std::list<ServedConnection> _served;
    settings::client::JoiningThread _thread;
};

}  // namespace zumra::test
