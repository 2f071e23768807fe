#include "settings/client/InProcessSession.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <limits>
#include <utility>

#include "settings/server/Session.h"

namespace zumra::settings::client {

namespace {

/// The peer is this program itself, so what it sends is bounded by its own memory; the numbers only keep sums
/// of them from wrapping.
server::SessionLimits NoLimits() {
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max() / 8;
    return {kMost, kMost, kMost, kMost};
}

bool WouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

InProcessSession::InProcessSession(std::shared_ptr<InProcessStore> store, FileDescriptor socket,
                                   std::function<void()> wake, std::shared_ptr<const server::Identity> who)
    : _store(std::move(store)), _socket(std::move(socket)) {
    server::Session::Options options;
    options.limits = NoLimits();
    options.wake = std::move(wake);
    options.identity = std::move(who);
    _session = std::make_unique<server::Session>(_store->Env(), std::move(options));
}

InProcessSession::~InProcessSession() = default;

bool InProcessSession::Waiting() const {
    return _session->Waiting();
}

bool InProcessSession::WantsInput() const {
    return !_inputEnded && !_session->Waiting();
}

bool InProcessSession::WantsToSend() const {
    return !_unsent.empty() || _session->HasOutput();
}

bool InProcessSession::OnlyInputMatters() const {
    return WantsInput() && !WantsToSend() && _session->Subscriptions().empty();
}

bool InProcessSession::Serve(bool waitForInput) {
    if (Ended()) {
        return false;
    }
    _session->Resume();
    const bool received = WantsInput() && Receive(waitForInput);
    const bool sent = Send();
    if (_session->Ended() && !WantsToSend()) {
        Close();
    }
    return received || sent;
}

bool InProcessSession::Receive(bool wait) {
    std::array<char, std::size_t{64} << 10> buffer;
    const ssize_t received = ::recv(_socket.Get(), buffer.data(), buffer.size(), wait ? 0 : MSG_DONTWAIT);
    if (received > 0) {
        _session->Feed({buffer.data(), static_cast<std::size_t>(received)});
    } else if (received == 0 || !WouldBlock(errno)) {
        _inputEnded = true;
        _session->Finish();
    } else {
        return false;
    }
    return true;
}

/// Once, so that a flood of notifications does not keep requests waiting.
bool InProcessSession::Send() {
    if (_unsent.empty()) {
        _session->Resume();
        if (!_session->HasOutput()) {
            return false;
        }
        _output = _session->TakeOutput();
        _unsent = _output;
    }
    const ssize_t sent = ::send(_socket.Get(), _unsent.data(), _unsent.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0) {
        _unsent.remove_prefix(static_cast<std::size_t>(sent));
        return true;
    }
    if (WouldBlock(errno)) {
        return false;
    }
    // Nobody will read it any more.
    Close();
    return true;
}

}  // namespace zumra::settings::client
