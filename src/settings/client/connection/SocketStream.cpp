#include "settings/client/connection/SocketStream.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace zumra::settings::client {

namespace {

[[noreturn]] void ThrowLost(int error) {
    if (error == EPIPE || error == ECONNRESET) {
        throw osa::Exception("connection lost: the server closed it");
    }
    throw osa::Exception(SystemErrorText("connection lost", error));
}

/// The socket has a limit for waiting, and it was reached.
[[noreturn]] void ThrowSilent() {
    throw osa::Exception("connection lost: the server does not answer");
}

std::size_t SendSome(int socket, std::string_view bytes, int flags) {
    for (;;) {
        const ssize_t sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | flags);
        if (sent >= 0) {
            return static_cast<std::size_t>(sent);
        }
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return 0;
        }
        if (errno != EINTR) {
            ThrowLost(errno);
        }
    }
}

std::optional<std::size_t> ReceiveSome(int socket, char* buffer, std::size_t size, int flags) {
    for (;;) {
        const ssize_t received = ::recv(socket, buffer, size, flags);
        if (received >= 0) {
            return static_cast<std::size_t>(received);
        }
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return std::nullopt;
        }
        if (errno != EINTR) {
            ThrowLost(errno);
        }
    }
}

}  // namespace

std::size_t SocketStream::TrySend(std::string_view bytes) {
    return SendSome(_socket.Get(), bytes, MSG_DONTWAIT);
}

void SocketStream::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t sent = SendSome(_socket.Get(), bytes, 0);
        if (sent == 0) {
            ThrowSilent();
        }
        bytes.remove_prefix(sent);
    }
}

std::optional<std::size_t> SocketStream::TryReceive(char* buffer, std::size_t size) {
    return ReceiveSome(_socket.Get(), buffer, size, MSG_DONTWAIT);
}

std::size_t SocketStream::Receive(char* buffer, std::size_t size) {
    const auto received = ReceiveSome(_socket.Get(), buffer, size, 0);
    if (!received) {
        ThrowSilent();
    }
    return *received;
}

bool SocketStream::CanReceive() const noexcept {
    pollfd entry{_socket.Get(), POLLIN, 0};
    return ::poll(&entry, 1, 0) > 0;
}

void SocketStream::Shutdown() noexcept {
    ::shutdown(_socket.Get(), SHUT_RDWR);
}

}  // namespace zumra::settings::client
