#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "settings/server/SessionWaker.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::server {

/// What a connection has to send, in order and bounded: replies from the thread that drives the session,
/// notifications from whichever thread makes a change. Any thread may call every operation, except where it
/// says that only the driving thread does.
///
/// When more waits than the limit allows, the connection ends: what waits is dropped, and so is what comes.
/// The same when there is no memory for what is to be sent, for then its place in the order could not be
/// kept.
class OutputQueue {
public:
    /// `limit` in bytes. `waker` is called when a thread that does not drive the session gave it output while
    /// there was none, or ended it.
    OutputQueue(std::size_t limit, std::shared_ptr<Waker> waker);

    [[nodiscard]] bool HasOutput() const;
    [[nodiscard]] std::size_t PendingBytes() const;
    [[nodiscard]] std::string Take();
    [[nodiscard]] bool Ended() const;
    [[nodiscard]] std::string EndReason() const;

    /// So much waits that further requests had better be left until some of it was taken.
    [[nodiscard]] bool Crowded() const;

    /// Marks the calling thread as the one that drives the session for the mark's lifetime: it looks at the
    /// output afterwards and is not woken for what it does itself.
    class Driving {
    public:
        explicit Driving(OutputQueue& queue);
        ~Driving();
        Driving(const Driving&) = delete;
        Driving& operator=(const Driving&) = delete;

    private:
        OutputQueue& _queue;
    };

    /// Driving thread: appends a reply.
    void Append(std::string reply) noexcept;
    /// Any thread: appends the notification of the commit of this revision.
    void Notify(std::uint64_t revision, std::string text) noexcept;

    /// Driving thread: keeps notifications back, until `AppendAt` puts a reply about the store as it was at a
    /// revision behind the notifications of the commits up to it and before those of later ones, or until
    /// `Release`.
    void Hold();
    void AppendAt(std::uint64_t revision, std::string reply) noexcept;
    void Release() noexcept;

    /// The connection is over once its output was taken. Keeps the first reason.
    void End(std::string_view reason) noexcept;
    /// As `End`, but what waits is dropped. Any thread.
    void Abort(std::string_view reason) noexcept;

private:
    struct Held {
        std::uint64_t revision;
        std::string text;
    };

    void AppendLocked(std::string&& text) ZUMRA_REQUIRES(_mutex);
    void AppendHeldLocked(std::uint64_t revision, std::string&& reply) ZUMRA_REQUIRES(_mutex);
    bool FitsLocked(std::size_t bytes) ZUMRA_REQUIRES(_mutex);
    void AbortLocked(std::string_view reason) noexcept ZUMRA_REQUIRES(_mutex);
    void EndLocked(std::string_view reason) noexcept ZUMRA_REQUIRES(_mutex);
    std::string LimitReason() const;

    const std::size_t _limit;
    const std::shared_ptr<Waker> _waker;

    mutable osa::Mutex _mutex{"session output"};
    std::string _text ZUMRA_GUARDED_BY(_mutex);
    std::vector<Held> _held ZUMRA_GUARDED_BY(_mutex);
    std::size_t _heldBytes ZUMRA_GUARDED_BY(_mutex) = 0;
    bool _holding ZUMRA_GUARDED_BY(_mutex) = false;
    bool _ended ZUMRA_GUARDED_BY(_mutex) = false;
    std::string _endReason ZUMRA_GUARDED_BY(_mutex);
    std::thread::id _driver ZUMRA_GUARDED_BY(_mutex);
};

}  // namespace zumra::settings::server
