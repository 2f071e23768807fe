#include "settings/client/InProcessThread.h"

#include <poll.h>

#include <array>
#include <exception>
#include <utility>

#include "settings/client/connection/SocketStream.h"

namespace zumra::settings::client {

InProcessThread::InProcessThread(std::shared_ptr<InProcessStore> store, FileDescriptor socket)
    : _session(std::move(store), std::move(socket), [this] { _wake.Raise(); }), _thread([this] { Run(); }) {}

void InProcessThread::Run() noexcept {
    try {
        while (!_session.Ended()) {
            if (_session.OnlyInputMatters()) {
                // One call into the kernel less in every round trip.
                _session.Serve(true);
            } else {
                Wait();
                _session.Serve();
            }
        }
    } catch (const std::exception&) {
        // Out of memory, most likely. The client finds its connection ended.
        _session.Close();
    }
}

void InProcessThread::Wait() {
    const int events = (_session.WantsInput() ? POLLIN : 0) | (_session.WantsToSend() ? POLLOUT : 0);
    // Without events the socket is not watched at all, or a hang-up would make this return at once.
    const int socket = events != 0 ? _session.Descriptor() : -1;
    std::array<pollfd, 2> entries{{{_wake.Descriptor(), POLLIN, 0}, {socket, static_cast<short>(events), 0}}};
    ::poll(entries.data(), entries.size(), -1);
    if (entries[0].revents != 0) {
        _wake.Lower();
    }
}

namespace {

class ThreadServedStream final : public SocketStream {
public:
    ThreadServedStream(std::shared_ptr<InProcessStore> store, SocketPair sockets)
        : SocketStream(std::move(sockets.client)), _server(std::move(store), std::move(sockets.server)) {}
    ~ThreadServedStream() override { Shutdown(); }

private:
    InProcessThread _server;
};

}  // namespace

std::unique_ptr<IByteStream> MakeInProcessThread(std::shared_ptr<InProcessStore> store) {
    return std::make_unique<ThreadServedStream>(std::move(store), MakeSocketPair(false));
}

}  // namespace zumra::settings::client
