#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "settings/client/InProcessStore.h"
#include "settings/client/connection/FileDescriptor.h"

namespace zumra::settings::server {
class Session;
struct Identity;
}  // namespace zumra::settings::server

namespace zumra::settings::client {

/// The server's end of one connection to a store of this program: a session, and the socket that leads to it.
/// Whoever has it runs it.
///
/// Thread-safety: one thread at a time.
class InProcessSession {
public:
    /// `wake` is called on any thread when another's doing made work for `Serve`. `who`: on whose behalf;
    /// null: the program itself.
    InProcessSession(std::shared_ptr<InProcessStore> store, FileDescriptor socket, std::function<void()> wake,
                     std::shared_ptr<const server::Identity> who = nullptr);
    ~InProcessSession();

    /// Receives, executes and sends what can be, once; true when that was anything. `waitForInput` makes it
    /// wait in the receiving.
    bool Serve(bool waitForInput = false);
    /// Nothing but input makes work for `Serve`: there is nothing to send, and no one else will change that.
    [[nodiscard]] bool OnlyInputMatters() const;
    /// The connection is at its end and its socket closed.
    [[nodiscard]] bool Ended() const noexcept { return _socket.Get() < 0; }

    void Close() noexcept { _socket.Close(); }

    [[nodiscard]] int Descriptor() const noexcept { return _socket.Get(); }
    /// True while the session waits for another thread's doing.
    [[nodiscard]] bool Waiting() const;
    /// False while input should be left where it is.
    [[nodiscard]] bool WantsInput() const;
    /// True while there is output that the socket has not taken.
    [[nodiscard]] bool WantsToSend() const;

private:
    bool Receive(bool wait);
    bool Send();

    const std::shared_ptr<InProcessStore> _store;
    FileDescriptor _socket;
    std::unique_ptr<server::Session> _session;
    bool _inputEnded = false;
    std::string _output;
    /// The part of `_output` that is still to be sent.
    std::string_view _unsent;
};

}  // namespace zumra::settings::client
