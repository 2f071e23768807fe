#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "zumra/core/IniFile.h"
#include "zumra/settings/common/GroupNameMatcher.h"
#include "zumra/settings/server/IRestrictedSettingsLoader.h"
#include "zumra/settings/server/ServerEnv.h"

namespace zumra::settings::server {

/// Limits of one connection, in bytes unless said otherwise; 0 is not "no limit" but "nothing". The defaults
/// suit a device; `docs/protocol.md` says what happens at each.
struct SessionLimits {
    /// One line, without its line end.
    std::size_t line = std::size_t{1} << 20;
    /// The text of one document or of one list, all that is subscribed to together, and input that is kept
    /// while the session waits.
    std::size_t document = std::size_t{16} << 20;
    /// Entries of one list, and of all that is subscribed to together.
    std::size_t listEntries = 65536;
    /// What waits to be taken.
    std::size_t pendingOutput = std::size_t{64} << 20;
};

/// Further commands without arguments, by their command line, each answered like "get delimited" with the
/// document that the function returns for the one who asks (null: the program itself). What it throws becomes
/// an error reply. Called on the thread that drives the session.
using SessionReports = std::map<std::string, std::function<core::IniFile(const Identity*)>, std::less<>>;

/// The server's end of one connection: turns received bytes into operations on the store and their results
/// and notifications into bytes to send. Free of I/O. The protocol stands in `docs/protocol.md`.
///
/// Thread-safety: `Feed`, `Finish` and `Resume` from one thread at a time (the one that drives the session);
/// changes may come from any thread; the questions and `TakeOutput` may be called from any thread. Nothing
/// blocks on a save or on the peer. Destruction waits for a call of `wake` that runs on another thread.
///
/// Driving one:
///
///     session.Feed(received);
///     do {
///         send(session.TakeOutput());     // take again only when this much is on its way
///         session.Resume();
///     } while (session.HasOutput());
///     // session.Ended(): close. session.Waiting(): stop receiving until `wake`, then go on at "do".
///     // Otherwise: receive more, or on `wake` go on at "do".
class Session {
public:
    struct Options {
        SessionLimits limits;
        /// Null: the program itself, who may do everything.
        std::shared_ptr<const Identity> identity;
        /// Called, on any thread and under no lock, when someone else's doing gave this session output where
        /// there was none, made it ready for `Resume`, or ended it; never for what the driving thread does
        /// within `Feed`, `Finish` or `Resume` of this session. Must not destroy the session. May be empty.
        std::function<void()> wake;
        /// May be null.
        std::shared_ptr<const SessionReports> reports;
    };

    /// What `env` points to must outlive the session.
    Session(const ServerEnv& env, Options options);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Takes received bytes and executes the requests that they complete. While the session waits
    /// (`Waiting`), bytes are kept, up to the limit of a document; a driver should stop receiving.
    void Feed(std::string_view bytes);
    /// The input has ended: a pending document of "merge" ends with it. Nothing may be fed afterwards.
    void Finish();
    /// Goes on with kept bytes when what the session waited for has happened; otherwise does nothing.
    void Resume();

    /// True while a request is kept back: one that must be saved before its reply can be given, or any while
    /// so much output waits that some should be taken first.
    [[nodiscard]] bool Waiting() const;
    [[nodiscard]] bool HasOutput() const;
    /// Everything to be sent, in order; what was taken is gone.
    [[nodiscard]] std::string TakeOutput();
    /// The connection is to be closed once the output is sent: the input's end was served, or the peer broke
    /// a rule after which the next command's start is not known, or it was too slow for its bound.
    [[nodiscard]] bool Ended() const;
    /// Why it ended, for a log; empty after a regular end.
    [[nodiscard]] std::string EndReason() const;

    /// False once anything was received that could not be understood. A request that was understood and
    /// refused does not count.
    [[nodiscard]] bool InputUnderstood() const;
    /// How many bytes of output wait to be taken.
    [[nodiscard]] std::size_t PendingOutput() const;
    /// What the connection is subscribed to.
    [[nodiscard]] common::GroupNameMatcher Subscriptions() const;

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace zumra::settings::server
