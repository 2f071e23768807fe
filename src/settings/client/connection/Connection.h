#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "settings/client/connection/Exchange.h"
#include "settings/client/connection/IByteStream.h"
#include "settings/client/connection/ReplyStream.h"
#include "settings/client/connection/StringStream.h"
#include "zumra/osa/Exception.h"
#include "zumra/osa/Mutex.h"
#include "zumra/settings/common/SharedGroup.h"

namespace zumra::settings::client {

/// Who is told of the changes that a connection is notified of.
class INotificationSink {
public:
    virtual ~INotificationSink() = default;
    /// One notification, in the order of the stream, on the thread that read it. `bytes` is what its text
    /// took. What this throws ends the connection.
    virtual void OnNotification(const std::shared_ptr<const common::Change>& change, std::size_t bytes) = 0;
};

/// Who reads while no call does: a thread that waits until the stream is readable. Called under the
/// connection's lock; must not call back.
class IIdleReader {
public:
    virtual ~IIdleReader() = default;
    /// From now on call `Connection::ReadIdle` once when something can be read; `now`: it can already.
    virtual void Arm(bool now) noexcept = 0;
    virtual void Disarm() noexcept = 0;
};

/// The client's end of the line protocol over a byte stream: sends requests, hands every reply to the
/// exchange that asked for it, and notifications to the sink.
///
/// Exchanges of several threads are under way at once; their replies come in the order of their requests.
/// There is one reader at a time: a thread that waits for its reply reads itself when nobody else does, and
/// deals with what it meets on the way, so that a round trip costs no further thread. While no thread waits,
/// the idle reader, if there is one and it is wanted, reads notifications.
///
/// Thread-safety: every operation may be called from any thread. Once the stream has ended, or held what the
/// protocol does not allow, every exchange under way and every later one fails with the reason.
class Connection {
public:
    /// `messageLimit` bounds the bytes of one reply or notification. The sink outlives the connection.
    /// `onEnd`, when set, is called once when the connection has ended, on any thread, under no lock; the
    /// sink is told of nothing after that.
    Connection(std::unique_ptr<IByteStream> stream, std::size_t messageLimit, INotificationSink& sink,
               std::function<void()> onEnd = {});
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Sends the request; requests go out in the order in which this is called. `Await` must follow, unless
    /// this throws.
    void Start(Exchange& exchange);
    /// Waits until all replies have been read, or the connection has ended. Throws `zumra::osa::Exception`
    /// with the text of the first error that the server replied with, and `std::bad_alloc` when there was no
    /// memory for it, for what a reply holds or for what is done on success; nothing was changed then.
    [[nodiscard]] ExchangeEnd Await(Exchange& exchange);

    /// Why the connection ended; empty while it lives.
    [[nodiscard]] std::string EndReason();

    /// Null, and at the end null again, when there is none. The reader outlives its being set.
    void SetIdleReader(IIdleReader* reader);
    /// Whether notifications are to be read while no thread waits for a reply.
    void WantIdleReading(bool wanted);
    /// For the idle reader: reads what there is, unless a thread does already, or it is not wanted and
    /// `atEnd`, that the stream has ended, is false.
    void ReadIdle(bool atEnd = false);

    /// Ends the stream: exchanges under way fail.
    void Shutdown() noexcept { _stream->Shutdown(); }
    [[nodiscard]] const IByteStream& Stream() const noexcept { return *_stream; }

private:
    bool Enqueue(Exchange& exchange);
    void Transmit(Exchange& exchange) ZUMRA_REQUIRES(_sendMutex);
    void GiveUpSending(const char* reason) noexcept;
    bool WaitForTurn(Exchange& exchange);
    void GiveUpReading();
    void ArmIdleReader() ZUMRA_REQUIRES(_mutex);
    void DisarmIdleReader() ZUMRA_REQUIRES(_mutex);

    // For the one who is the reader.
    void ReadMessage() noexcept;
    std::string ReasonOf(const osa::Exception& failure);
    void TakeMessage();
    void TakeReply();
    void Fail(std::string reason) noexcept;

    const std::unique_ptr<IByteStream> _stream;
    INotificationSink& _sink;
    const std::function<void()> _onEnd;

    osa::Mutex _sendMutex{"connection sending"};
    StringStream _request ZUMRA_GUARDED_BY(_sendMutex);

    // Only the reader uses these; the reader changes under `_mutex`.
    ReplyStream _replies;
    std::string _line;
    std::uint64_t _notifications = 0;
    bool _failed = false;
    /// The end's reason when there is no memory for one.
    std::string _outOfMemory = ReplyStream::kOutOfMemory;

    osa::Mutex _mutex{"connection"};
    bool _reading ZUMRA_GUARDED_BY(_mutex) = false;
    bool _armed ZUMRA_GUARDED_BY(_mutex) = false;
    bool _idleReadingWanted ZUMRA_GUARDED_BY(_mutex) = false;
    /// The idle reader saw the end while another thread was reading, and will not see it again.
    bool _endSeen ZUMRA_GUARDED_BY(_mutex) = false;
    IIdleReader* _idleReader ZUMRA_GUARDED_BY(_mutex) = nullptr;
    /// In the order of their requests; each lives until it is done.
    std::deque<Exchange*> _pending ZUMRA_GUARDED_BY(_mutex);
    /// Why sending failed. It becomes the end's reason, in place of the end that this made itself.
    std::string _sendFailure ZUMRA_GUARDED_BY(_mutex);
    /// Why the connection ended; empty while it lives.
    std::string _endReason ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::client
