#pragma once

#include <optional>

#include "settings/client/connection/FileDescriptor.h"
#include "settings/client/connection/IByteStream.h"

namespace zumra::settings::client {

/// A connected stream socket.
class SocketStream : public IByteStream {
public:
    /// `socket` blocks, unless only the operations that do not wait are used.
    explicit SocketStream(FileDescriptor socket) : _socket(std::move(socket)) {}

    std::size_t TrySend(std::string_view bytes) override;
    void Send(std::string_view bytes) override;
    /// As `Receive`, but absent where that would wait.
    std::optional<std::size_t> TryReceive(char* buffer, std::size_t size);
    std::size_t Receive(char* buffer, std::size_t size) override;
    void Shutdown() noexcept override;
    [[nodiscard]] bool CanReceive() const noexcept override;
    [[nodiscard]] int Descriptor() const noexcept override { return _socket.Get(); }

private:
    FileDescriptor _socket;
};

}  // namespace zumra::settings::client
