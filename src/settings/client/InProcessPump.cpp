#include "settings/client/InProcessPump.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>

#include "settings/client/InProcessSession.h"
#include "settings/client/connection/SocketStream.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

namespace {

/// Runs the session between its own sends and receives, so that neither end ever waits for the other with a
/// full buffer between them.
class InProcessPump final : public IByteStream {
public:
    InProcessPump(std::shared_ptr<InProcessStore> store, std::shared_ptr<const server::Identity> who,
                  SocketPair sockets)
        : _client(std::move(sockets.client)),
          _session(
              std::move(store), std::move(sockets.server), [this] { OnWake(); }, std::move(who)) {}

    std::size_t TrySend(std::string_view bytes) override {
        Send(bytes);
        return bytes.size();
    }
    void Send(std::string_view bytes) override;
    std::size_t Receive(char* buffer, std::size_t size) override;
    void Shutdown() noexcept override { _client.Shutdown(); }
    [[nodiscard]] bool CanReceive() const noexcept override { return false; }
    [[nodiscard]] int Descriptor() const noexcept override { return -1; }

private:
    bool SetReceivedAside() ZUMRA_REQUIRES(_mutex);
    std::size_t TakeSetAside(char* buffer, std::size_t size) ZUMRA_REQUIRES(_mutex);
    void WaitForWake() ZUMRA_REQUIRES(_mutex);
    void OnWake();

    SocketStream _client;

    osa::Mutex _wakeMutex{"pump wake"};
    osa::Condition _woken;
    bool _wake ZUMRA_GUARDED_BY(_wakeMutex) = false;

    osa::Mutex _mutex{"pump"};
    /// Received while there was still something to send.
    std::string _setAside ZUMRA_GUARDED_BY(_mutex);
    std::size_t _setAsideTaken ZUMRA_GUARDED_BY(_mutex) = 0;
    InProcessSession _session ZUMRA_GUARDED_BY(_mutex);
};

void InProcessPump::Send(std::string_view bytes) {
    osa::MutexLock lock(_mutex);
    for (;;) {
        const std::size_t sent = _client.TrySend(bytes);
        bytes.remove_prefix(sent);
        if (bytes.empty()) {
            return;
        }
        const bool received = SetReceivedAside();
        if (!_session.Serve() && !received && sent == 0) {
            WaitForWake();
        }
    }
}

std::size_t InProcessPump::Receive(char* buffer, std::size_t size) {
    osa::MutexLock lock(_mutex);
    if (_setAside.size() != _setAsideTaken) {
        return TakeSetAside(buffer, size);
    }
    for (;;) {
        const bool served = _session.Serve();
        if (const auto received = _client.TryReceive(buffer, size)) {
            return *received;
        }
        if (!served) {
            WaitForWake();
        }
    }
}

/// Makes room for what the session has to send.
bool InProcessPump::SetReceivedAside() {
    std::array<char, std::size_t{64} << 10> buffer;
    const auto received = _client.TryReceive(buffer.data(), buffer.size());
    _setAside.append(buffer.data(), received.value_or(0));
    return received.value_or(0) != 0;
}

std::size_t InProcessPump::TakeSetAside(char* buffer, std::size_t size) {
    const std::size_t taken = _setAside.copy(buffer, size, _setAsideTaken);
    _setAsideTaken += taken;
    if (_setAsideTaken == _setAside.size()) {
        std::string().swap(_setAside);
        _setAsideTaken = 0;
    }
    return taken;
}

void InProcessPump::WaitForWake() {
    osa::MutexLock lock(_wakeMutex);
    if (!_wake && !_session.Waiting()) {
        // Nobody is left who could have anything to say: the session was asked last.
        throw osa::Exception("connection lost: the server does not answer");
    }
    while (!_wake) {
        _woken.Wait(_wakeMutex);
    }
    _wake = false;
}

void InProcessPump::OnWake() {
    osa::MutexLock lock(_wakeMutex);
    _wake = true;
    _woken.NotifyOne();
}

}  // namespace

std::unique_ptr<IByteStream> MakeInProcessPump(std::shared_ptr<InProcessStore> store,
                                               std::shared_ptr<const server::Identity> who) {
    return std::make_unique<InProcessPump>(std::move(store), std::move(who), MakeSocketPair(true));
}

}  // namespace zumra::settings::client
