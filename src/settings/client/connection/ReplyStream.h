#pragma once

#include <cstddef>
#include <istream>
#include <streambuf>
#include <string>
#include <vector>

#include "settings/client/connection/IByteStream.h"

namespace zumra::settings::client {

/// What is received, as the standard stream that commands read from, with a bound for one message.
///
/// Thread-safety: one thread at a time.
class ReplyStream final : private std::streambuf {
public:
    /// `messageLimit` bounds the bytes of one message (not 0), give or take what one receive brings.
    ReplyStream(IByteStream& source, std::size_t messageLimit);

    /// Call before each message.
    void StartMessage() noexcept { _messageBytes = Unread(); }
    [[nodiscard]] std::istream& In() noexcept { return _in; }
    /// Received bytes that were not read yet.
    [[nodiscard]] std::size_t Unread() const noexcept { return static_cast<std::size_t>(egptr() - gptr()); }
    /// Bytes of the message so far.
    [[nodiscard]] std::size_t MessageBytes() const noexcept { return _messageBytes - Unread(); }
    /// Why the stream ended: empty while it has not.
    [[nodiscard]] const std::string& EndReason() const noexcept { return _endReason; }

    static constexpr const char* kOutOfMemory = "connection lost: out of memory";

private:
    int_type underflow() override;
    std::size_t Receive();
    void End(const char* reason) noexcept;

    IByteStream& _source;
    const std::size_t _messageLimit;
    std::vector<char> _buffer;
    std::size_t _messageBytes = 0;
    std::string _endReason;
    std::istream _in;
};

}  // namespace zumra::settings::client
