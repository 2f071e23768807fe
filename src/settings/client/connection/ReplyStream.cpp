#include "settings/client/connection/ReplyStream.h"

#include <cstring>
#include <exception>
#include <new>

#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

namespace {

constexpr std::size_t kBufferSize = std::size_t{64} << 10;

}  // namespace

ReplyStream::ReplyStream(IByteStream& source, std::size_t messageLimit)
    : _source(source), _messageLimit(messageLimit), _buffer(kBufferSize), _in(this) {
    setg(_buffer.data(), _buffer.data(), _buffer.data());
    // For the reason that must not need memory.
    _endReason.reserve(std::strlen(kOutOfMemory));
}

ReplyStream::int_type ReplyStream::underflow() {
    const std::size_t received = Receive();
    if (received == 0) {
        return traits_type::eof();
    }
    _messageBytes += received;
    setg(_buffer.data(), _buffer.data(), _buffer.data() + received);
    return traits_type::to_int_type(_buffer.front());
}

std::size_t ReplyStream::Receive() {
    if (!_endReason.empty()) {
        return 0;
    }
    if (_messageBytes > _messageLimit) {
        _endReason = "protocol error: message over its limit of " + std::to_string(_messageLimit) + " bytes";
        return 0;
    }
    try {
        const std::size_t received = _source.Receive(_buffer.data(), _buffer.size());
        if (received == 0) {
            _endReason = "connection lost: the server closed it";
        }
        return received;
    } catch (const osa::Exception& e) {
        // A stream turns exceptions of its buffer into a flag, and the reason would be gone.
        End(e.what());
    } catch (const std::exception&) {
        // Within a process the server's end runs in there, which refuses nothing but for want of memory.
        End(kOutOfMemory);
    }
    return 0;
}

void ReplyStream::End(const char* reason) noexcept {
    try {
        _endReason = reason;
    } catch (const std::bad_alloc&) {
        _endReason = kOutOfMemory;
    }
}

}  // namespace zumra::settings::client
