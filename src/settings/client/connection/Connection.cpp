#include "settings/client/connection/Connection.h"

#include <new>
#include <string_view>
#include <utility>

#include "settings/client/commands/ReplyLine.h"
#include "settings/client/connection/Notification.h"
#include "zumra/osa/Exception.h"

namespace zumra::settings::client {

Connection::Connection(std::unique_ptr<IByteStream> stream, std::size_t messageLimit, INotificationSink& sink,
                       std::function<void()> onEnd)
    : _stream(std::move(stream)), _sink(sink), _onEnd(std::move(onEnd)), _replies(*_stream, messageLimit) {}

Connection::~Connection() = default;

void Connection::Start(Exchange& exchange) {
    osa::MutexLock sending(_sendMutex);
    _request.Clear();
    exchange.Write(_request.Out());
    if (!_request.Out().good()) {
        // The only thing that can make a stream into memory fail.
        throw std::bad_alloc();
    }
    if (Enqueue(exchange)) {
        Transmit(exchange);
    }
}

/// False when the connection has ended; the exchange is then done.
bool Connection::Enqueue(Exchange& exchange) {
    osa::MutexLock lock(_mutex);
    if (!_endReason.empty()) {
        exchange._lost = true;
        exchange._done = true;
        return false;
    }
    _pending.push_back(&exchange);
    // This thread is about to read itself; the idle reader is not to wake up for its reply.
    DisarmIdleReader();
    return true;
}

void Connection::Transmit(Exchange& exchange) {
    try {
        std::string_view rest = _request.Text();
        const std::size_t sent = _stream->TrySend(rest);
        exchange._sent = sent != 0;
        rest.remove_prefix(sent);
        if (!rest.empty()) {
            {
                // The server may have to get rid of notifications before it takes more.
                osa::MutexLock lock(_mutex);
                ArmIdleReader();
            }
            exchange._sent = true;
            _stream->Send(rest);
        }
    } catch (const osa::Exception& e) {
        GiveUpSending(e.what());
    } catch (const std::exception&) {
        // As in receiving, the server's end may run in there.
        GiveUpSending(ReplyStream::kOutOfMemory);
    }
}

void Connection::GiveUpSending(const char* reason) noexcept {
    {
        osa::MutexLock lock(_mutex);
        try {
            _sendFailure = reason;
        } catch (const std::bad_alloc&) {
            // What the reader finds will have to do.
        }
    }
    // The reader finds the end, after all that the server still said; only a reader may end an exchange.
    _stream->Shutdown();
}

ExchangeEnd Connection::Await(Exchange& exchange) {
    while (!WaitForTurn(exchange)) {
        while (!exchange._done) {
            ReadMessage();
        }
        GiveUpReading();
    }
    if (exchange._error) {
        throw osa::Exception(*exchange._error);
    }
    if (exchange._outOfMemory && !exchange._lost) {
        throw std::bad_alloc();
    }
    if (exchange._lost) {
        return exchange._sent ? ExchangeEnd::kLost : ExchangeEnd::kNotSent;
    }
    return ExchangeEnd::kReplied;
}

std::string Connection::EndReason() {
    osa::MutexLock lock(_mutex);
    return _endReason;
}

/// True when the exchange is done; otherwise this thread has become the reader.
bool Connection::WaitForTurn(Exchange& exchange) {
    osa::MutexLock lock(_mutex);
    exchange._waiting = true;
    while (!exchange._done && _reading) {
        exchange._changed.Wait(_mutex);
    }
    exchange._waiting = false;
    if (exchange._done) {
        return true;
    }
    DisarmIdleReader();
    _reading = true;
    return false;
}

void Connection::GiveUpReading() {
    osa::MutexLock lock(_mutex);
    _reading = false;
    if (!_pending.empty() && _pending.front()->_waiting) {
        _pending.front()->_changed.NotifyOne();
    } else {
        // Also when the first is still sending: it will take over when it is done.
        ArmIdleReader();
    }
}

void Connection::SetIdleReader(IIdleReader* reader) {
    osa::MutexLock lock(_mutex);
    DisarmIdleReader();
    _idleReader = reader;
    ArmIdleReader();
}

void Connection::WantIdleReading(bool wanted) {
    osa::MutexLock lock(_mutex);
    _idleReadingWanted = wanted;
    if (wanted) {
        ArmIdleReader();
    } else {
        DisarmIdleReader();
    }
}

void Connection::ArmIdleReader() {
    if (_idleReader != nullptr && (_idleReadingWanted || _endSeen) && !_reading && !_armed &&
        _endReason.empty()) {
        _armed = true;
        _idleReader->Arm(_replies.Unread() != 0 || _endSeen);
    }
}

void Connection::DisarmIdleReader() {
    if (_armed) {
        _armed = false;
        _idleReader->Disarm();
    }
}

void Connection::ReadIdle(bool atEnd) {
    {
        osa::MutexLock lock(_mutex);
        _endSeen = _endSeen || atEnd;
        if (_reading || (!_armed && !atEnd)) {
            return;
        }
        _armed = false;
        _reading = true;
    }
    // What there was may have been read meanwhile, and waiting is not for the reader.
    while (!_failed && (_replies.Unread() != 0 || _stream->CanReceive())) {
        ReadMessage();
    }
    GiveUpReading();
}

void Connection::ReadMessage() noexcept {
    try {
        try {
            TakeMessage();
        } catch (const osa::Exception& e) {
            Fail(ReasonOf(e));
        } catch (const std::bad_alloc&) {
            Fail(std::move(_outOfMemory));
        } catch (const std::exception& e) {
            Fail(std::string("connection lost: ") + e.what());
        }
    } catch (const std::bad_alloc&) {
        Fail(std::move(_outOfMemory));
    }
}

std::string Connection::ReasonOf(const osa::Exception& failure) {
    const std::string& end = _replies.EndReason();
    if (end.empty()) {
        return std::string("protocol error: ") + failure.what();
    }
    osa::MutexLock lock(_mutex);
    return _sendFailure.empty() ? end : _sendFailure;
}

void Connection::TakeMessage() {
    _replies.StartMessage();
    ReadReplyLine(_replies.In(), _line);
    if (_line == kNotificationLine) {
        const auto change = ReadNotification(_replies.In(), ++_notifications);
        _sink.OnNotification(change, _replies.MessageBytes());
    } else {
        TakeReply();
    }
}

void Connection::TakeReply() {
    Exchange* exchange = nullptr;
    {
        osa::MutexLock lock(_mutex);
        if (!_pending.empty()) {
            exchange = _pending.front();
        }
    }
    if (exchange == nullptr) {
        ThrowUnexpectedReply(kNotificationLine, _line);
    }
    const bool complete = exchange->TakeReply(_line, _replies.In());
    if (_replies.In().bad()) {
        throw std::bad_alloc();
    }
    if (!_replies.In().good()) {
        ThrowCutShort();
    }
    if (complete) {
        osa::MutexLock lock(_mutex);
        _pending.pop_front();
        exchange->_done = true;
        exchange->_changed.NotifyOne();
    }
}

/// Allocates nothing.
void Connection::Fail(std::string reason) noexcept {
    if (_failed) {
        return;
    }
    _failed = true;
    {
        osa::MutexLock lock(_mutex);
        _endReason = std::move(reason);
        for (Exchange* exchange : _pending) {
            exchange->_lost = true;
            exchange->_done = true;
            exchange->_changed.NotifyOne();
        }
        _pending.clear();
    }
    _stream->Shutdown();
    if (_onEnd) {
        _onEnd();
    }
}

}  // namespace zumra::settings::client
