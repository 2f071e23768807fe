#pragma once

#include <unistd.h>

#include <string>
#include <utility>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

/// Owns a file descriptor, or none (-1).
class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) noexcept : _fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : _fd(std::exchange(other._fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(_fd, other._fd);
        return *this;
    }
    ~FileDescriptor() { Close(); }

    [[nodiscard]] int Get() const noexcept { return _fd; }
    void Close() noexcept {
        if (_fd >= 0) {
            ::close(std::exchange(_fd, -1));
        }
    }

private:
    int _fd;
};

/// Two ends of a local stream.
struct SocketPair {
    FileDescriptor client;
    FileDescriptor server;
};

/// Throws `zumra::osa::Exception` "cannot make a socket pair: <why>".
[[nodiscard]] SocketPair MakeSocketPair(bool nonBlocking);

/// What another thread raises to wake one that polls. Throws "cannot make an event descriptor: <why>".
class WakeFlag {
public:
    WakeFlag();
    [[nodiscard]] int Descriptor() const noexcept { return _event.Get(); }
    void Raise() noexcept;
    void Lower() noexcept;

private:
    FileDescriptor _event;
};

/// "<what>: <what errno says>".
[[nodiscard]] std::string SystemErrorText(const std::string& what, int error);

}  // namespace zumra::settings::client
