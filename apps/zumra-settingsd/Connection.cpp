#include "zumra-settingsd/Connection.h"

#include <sys/socket.h>

#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>

namespace zumra::settingsd {

namespace {

/// For a peer that is still reading to take the last bytes before it is cut off.
constexpr std::chrono::milliseconds kLastBytes{500};

}  // namespace

void WakeUps::Add(const std::shared_ptr<WakeUps>& self, std::weak_ptr<Connection> connection) {
    bool first = false;
    {
        osa::MutexLock lock(self->_mutex);
        first = self->_due.empty();
        self->_due.push_back(std::move(connection));
    }
    if (first) {
        asio::post(self->_executor, [self] { self->Run(); });
    }
}

void WakeUps::Run() {
    std::vector<std::weak_ptr<Connection>> due;
    {
        osa::MutexLock lock(_mutex);
        due.swap(_due);
    }
    for (const auto& weak : due) {
        if (const auto connection = weak.lock()) {
            connection->Awake();
        }
    }
}

Connection::Connection(std::uint64_t number, Socket socket,
                       std::shared_ptr<const settings::server::Identity> identity,
                       std::shared_ptr<WakeUps> wakeUps, Closed closed)
    : _number(number),
      _socket(std::move(socket)),
      _identity(std::move(identity)),
      _wakeUps(std::move(wakeUps)),
      _closed(std::move(closed)),
      _timer(_socket.get_executor()) {}

void Connection::Start(const settings::server::ServerEnv& env, settings::server::Session::Options options) {
    _socket.non_blocking(true);
    options.identity = _identity;
    options.wake = [this] { Wake(); };
    _session = std::make_unique<settings::server::Session>(env, std::move(options));
    Go();
}

/// Any thread. Many changes before the loop gets to them wake it once. The session, and with it this call,
/// ends before the connection does.
void Connection::Wake() {
    if (!_woken.exchange(true)) {
        WakeUps::Add(_wakeUps, weak_from_this());
    }
}

void Connection::Awake() {
    _woken = false;
    Go();
}

/// Does whatever can be done now.
void Connection::Go() {
    if (_over) {
        return;
    }
    if (!_sending.empty()) {
        CloseSoonIfCutOff();
        return;
    }
    _session->Resume();
    if (_session->HasOutput()) {
        if (!Send()) {
            return;
        }
        if (_session->Waiting()) {
            // There may be room for the next request now; but others have their turn first.
            Wake();
            return;
        }
    }
    if (_session->Ended()) {
        Close(_session->EndReason());
    } else if (_draining && !_session->Waiting()) {
        Close("");
    } else if (!_session->Waiting() && !_inputEnded && !_draining) {
        WaitForInput();
    }
}

/// A session that ended for a reason has nothing to wait for but that the peer takes what is on its way to
/// it.
void Connection::CloseSoonIfCutOff() {
    if (_closingSoon || !_session->Ended() || _session->EndReason().empty()) {
        return;
    }
    _closingSoon = true;
    _timer.expires_after(kLastBytes);
    _timer.async_wait([weak = weak_from_this()](const asio::error_code& error) {
        const auto self = weak.lock();
        if (!error && self && !self->_over) {
            self->Close(self->_session->EndReason());
        }
    });
}

void Connection::WaitForInput() {
    if (_reading) {
        return;
    }
    _reading = true;
    _socket.async_wait(Socket::wait_read, [self = shared_from_this()](const asio::error_code& error) {
        self->_reading = false;
        if (error) {
            self->Close(error == asio::error::operation_aborted ? "" : error.message());
        } else if (!self->_over) {
            self->Receive();
        }
    });
}

void Connection::Receive() {
    if (_sending.empty() && !_session->Waiting()) {
        ReceiveBlock();
    }
    Go();
}

bool Connection::ReceiveBlock() {
    static thread_local Block block;
    const ssize_t got = ::recv(_socket.native_handle(), block.data(), block.size(), MSG_DONTWAIT);
    if (got > 0) {
        _session->Feed({block.data(), static_cast<std::size_t>(got)});
        return true;
    }
    if (got == 0) {
        _inputEnded = true;
        _session->Finish();
    } else if (errno != EAGAIN && errno != EINTR) {
        Close(std::generic_category().message(errno));
    }
    return false;
}

/// Sends what there is. True when the system has taken all of it at once; otherwise goes on when the rest is
/// gone, or has closed.
bool Connection::Send() {
    _sending = _session->TakeOutput();
    const ssize_t sent =
        ::send(_socket.native_handle(), _sending.data(), _sending.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(_sending.size())) {
        std::string().swap(_sending);
        return true;
    }
    if (sent < 0 && errno != EAGAIN && errno != EINTR) {
        Close(std::generic_category().message(errno));
        return false;
    }
    SendRest(sent > 0 ? static_cast<std::size_t>(sent) : 0);
    return false;
}

void Connection::SendRest(std::size_t from) {
    asio::async_write(_socket, asio::buffer(_sending) + from,
                      [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                          std::string().swap(self->_sending);
                          if (error) {
                              self->Close(error.message());
                          } else {
                              self->Go();
                          }
                      });
}

void Connection::Drain() {
    if (_over || _draining) {
        return;
    }
    while (!_over && !_session->Ended() && !_session->Waiting() && ReceiveBlock()) {
    }
    _draining = true;
    Go();
}

void Connection::Close(const std::string& reason) {
    if (std::exchange(_over, true)) {
        return;
    }
    asio::error_code ignored;
    _socket.close(ignored);
    _timer.cancel();
    const auto self = shared_from_this();
    _session.reset();
    _closed(*this, reason);
}

std::size_t Connection::QueueDepth() const {
    return _sending.size() + (_session != nullptr ? _session->PendingOutput() : 0);
}

}  // namespace zumra::settingsd
