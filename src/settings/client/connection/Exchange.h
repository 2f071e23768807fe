#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <istream>
#include <optional>
#include <string>
#include <utility>

#include "settings/client/commands/RemoteCommand.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// How an exchange ended.
enum class ExchangeEnd {
    kReplied,
    /// The connection ended before any of the request was sent: nothing can have come of it.
    kNotSent,
    /// The connection ended before the reply was there: whether the request was carried out is not known.
    kLost,
};

/// What one call asks of the server: one or two commands that are sent together, and their replies.
///
/// A command without a reply is followed by a "sync", so that its error, if it meets one, is known to be its
/// own and the exchange ends when it was applied.
class Exchange {
public:
    explicit Exchange(RemoteCommand& command) : _commands{&command, nullptr}, _count(1) {}
    Exchange(RemoteCommand& first, RemoteCommand& second) : _commands{&first, &second}, _count(2) {}
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Called when all replies have been read and none was an error: on the thread that read them, before it
    /// reads anything else. Must be quick and not use the connection. What it throws ends the connection,
    /// except `std::bad_alloc`: that is thrown by `Connection::Await` alone, so it must have done nothing
    /// then.
    void OnSuccess(std::function<void()> action) { _onSuccess = std::move(action); }

    void Write(std::ostream& out);
    /// Takes the reply that begins with `line`, and reads the rest of it. True when the exchange is complete.
    /// Throws `zumra::osa::Exception` when it is no reply to what was asked, and `std::bad_alloc` where
    /// memory ended and where the reply ends is not known.
    bool TakeReply(const std::string& line, std::istream& in);

    /// The first error that the server replied with.
    [[nodiscard]] const std::optional<std::string>& Error() const noexcept { return _error; }

private:
    friend class Connection;

    void TakeError(std::istream& in);
    void TakeRest(std::istream& in);
    void Succeed();

    std::array<RemoteCommand*, 2> _commands;
    std::size_t _count;
    std::function<void()> _onSuccess;

    std::size_t _next = 0;
    bool _nextHasFailed = false;
    std::optional<std::string> _error;
    /// For a reply, an error's text or what is done on success; all replies were read all the same.
    bool _outOfMemory = false;

    bool _sent = false;

    // The connection's, under its lock.
    bool _waiting = false;
    bool _done = false;
    bool _lost = false;
    osa::Condition _changed;
};

}  // namespace zumra::settings::client
