#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "settings/client/connection/IByteStream.h"

namespace zumra::test {

/// A server that says what it was told to say, in pieces of a given size, and then closes the connection.
class ScriptedStream final : public settings::client::IByteStream {
public:
    ScriptedStream(std::string replies, std::size_t pieceSize, std::string* sent = nullptr)
        : _replies(std::move(replies)), _pieceSize(pieceSize), _sent(sent) {}

    std::size_t TrySend(std::string_view bytes) override {
        Send(bytes);
        return bytes.size();
    }
    void Send(std::string_view bytes) override {
        if (_sent != nullptr) {
            *_sent += bytes;
        }
    }
    std::size_t Receive(char* buffer, std::size_t size) override {
        const std::size_t received = _replies.copy(buffer, std::min(size, _pieceSize), _position);
        _position += received;
        return received;
    }
    void Shutdown() noexcept override {}
    [[nodiscard]] bool CanReceive() const noexcept override { return false; }
    [[nodiscard]] int Descriptor() const noexcept override { return -1; }

private:
    const std::string _replies;
    const std::size_t _pieceSize;
    std::string* const _sent;
    std::size_t _position = 0;
};

}  // namespace zumra::test
