#pragma once

#include <cstddef>
#include <string_view>

namespace zumra::settings::client {

/// The client's end of a connection: bytes out, bytes in, in order.
///
/// Thread-safety: one thread sends and one receives at a time; `Shutdown` from any thread. Operations throw
/// `zumra::osa::Exception` "connection lost: <why>" when the stream can no longer do them.
class IByteStream {
public:
    virtual ~IByteStream() = default;

    /// Sends what can be sent without waiting; returns how many bytes that was.
    virtual std::size_t TrySend(std::string_view bytes) = 0;
    /// Sends all of it, waiting for the peer to take it.
    virtual void Send(std::string_view bytes) = 0;
    /// Waits for bytes and stores up to `size` of them (not 0); returns how many, 0 at the end of the stream.
    virtual std::size_t Receive(char* buffer, std::size_t size) = 0;
    /// Ends both directions: current and later operations fail or find the end, after what was received
    /// already.
    virtual void Shutdown() noexcept = 0;
    /// Whether a call of `Receive` would not wait. May say no where only a call can tell.
    [[nodiscard]] virtual bool CanReceive() const noexcept = 0;
    /// Readable when there is something to receive; -1 when only a call of `Receive` can tell.
    [[nodiscard]] virtual int Descriptor() const noexcept = 0;
};

}  // namespace zumra::settings::client
