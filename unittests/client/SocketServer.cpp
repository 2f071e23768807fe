#include "client/SocketServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "support/FailingMemory.h"

namespace zumra::test {

using settings::client::FileDescriptor;
using settings::client::JoiningThread;

namespace {

/// Passes on what there is, at most `size` bytes; how many, 0 at the end.
std::size_t PassOn(int from, int to, std::size_t size) {
    char buffer[4096];
    const ssize_t got = ::recv(from, buffer, std::min(size, sizeof buffer), 0);
    for (ssize_t sent = 0; sent < got;) {
        const ssize_t put = ::send(to, buffer + sent, static_cast<std::size_t>(got - sent), MSG_NOSIGNAL);
        if (put <= 0) {
            return 0;
        }
        sent += put;
    }
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

/// Passes on both ways until one side ends or the client was sent this many bytes.
void PassOnUntil(int client, int server, std::size_t bytes) {
    while (bytes != 0) {
        pollfd ready[2] = {{client, POLLIN, 0}, {server, POLLIN, 0}};
        ::poll(ready, 2, -1);
        if (ready[0].revents != 0 && PassOn(client, server, sizeof ready * 100) == 0) {
            return;
        }
        if (ready[1].revents != 0) {
            const std::size_t sent = PassOn(server, client, bytes);
            if (sent == 0) {
                return;
            }
            bytes -= sent;
        }
    }
}

}  // namespace

void ListeningSocket::Open() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, _path.c_str(), sizeof address.sun_path - 1);
    _socket = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const void* generic = &address;
    if (::bind(_socket.Get(), static_cast<const sockaddr*>(generic), sizeof address) != 0 ||
        ::listen(_socket.Get(), 100) != 0) {
        std::abort();
    }
}

void ListeningSocket::Close() {
    ::shutdown(_socket.Get(), SHUT_RDWR);
    ::unlink(_path.c_str());
}

FileDescriptor ListeningSocket::Accept() const {
    return FileDescriptor(::accept4(_socket.Get(), nullptr, nullptr, SOCK_CLOEXEC));
}

ServedConnection::ServedConnection(std::shared_ptr<settings::client::InProcessStore> store,
                                   FileDescriptor socket)
    : _handle(::dup(socket.Get())),
      _session(std::move(store), std::move(socket), [this] { _wake.Raise(); }),
      _thread([this] { Run(); }) {}

ServedConnection::~ServedConnection() {
    ::shutdown(_handle.Get(), SHUT_RDWR);
}

void ServedConnection::Run() {
    const FailingMemory::Pause pause;
    while (!_session.Ended()) {
        Wait();
        _session.Serve();
    }
}

void ServedConnection::Wait() {
    const int events = (_session.WantsInput() ? POLLIN : 0) | (_session.WantsToSend() ? POLLOUT : 0);
    pollfd entries[2] = {{_wake.Descriptor(), POLLIN, 0},
                         {events != 0 ? _session.Descriptor() : -1, static_cast<short>(events), 0}};
    ::poll(entries, 2, -1);
    if (entries[0].revents != 0) {
        _wake.Lower();
    }
}

void SocketServer::Start() {
    _listening.Open();
    _thread = JoiningThread([this] { Run(); });
}

void SocketServer::Run() {
    const FailingMemory::Pause pause;
    for (;;) {
        FileDescriptor socket = _listening.Accept();
        if (socket.Get() < 0) {
            return;
        }
        {
            osa::MutexLock lock(_mutex);
            ++_count;
            _changed.NotifyAll();
        }
        const long cut = _cut.exchange(-1);
        if (cut >= 0) {
            ServeUntilCut(std::move(socket), static_cast<std::size_t>(cut));
        } else if (!_refuse) {
            _served.emplace_back(_store, std::move(socket));
        }
    }
}

void SocketServer::ServeUntilCut(FileDescriptor socket, std::size_t bytes) {
    settings::client::SocketPair pair = settings::client::MakeSocketPair(false);
    const FileDescriptor inner = std::move(pair.client);
    const ServedConnection server(_store, std::move(pair.server));
    PassOnUntil(socket.Get(), inner.Get(), bytes);
}

void SocketServer::Stop() {
    _listening.Close();
    _thread.Join();
    _served.clear();
}

void SocketServer::AwaitConnections(unsigned count) {
    osa::MutexLock lock(_mutex);
    while (_count < count) {
        _changed.Wait(_mutex);
    }
}

}  // namespace zumra::test
