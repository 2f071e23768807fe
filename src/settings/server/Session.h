#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "zumra/settings/server/IRestrictedSettingsLoader.h"
#include "zumra/settings/server/ServerEnv.h"

namespace zumra::settings::server {

/// Limits of one connection, in bytes unless said otherwise; 0 is not "no limit" but "nothing".
struct SessionLimits {
    std::size_t line = std::size_t{1} << 20;
    std::size_t document = std::size_t{16} << 20;
    std::size_t listEntries = 65536;
    std::size_t pendingOutput = std::size_t{64} << 20;
};

/// The server's end of one connection: turns received bytes into operations on the store and their results
/// and notifications into bytes to send. Free of I/O.
///
/// Thread-safety: `Feed`, `Finish` and `Resume` from one thread at a time; changes may come from any thread;
/// `TakeOutput`, `HasOutput` and `Ended` may be called from any thread.
class Session {
public:
    struct Options {
        SessionLimits limits;
        /// Null: the program itself, who may do everything.
        std::shared_ptr<const Identity> identity;
        /// Called, on any thread and under no lock, when another thread's doing gave this session output,
        /// made it ready for `Resume`, or ended it. May be empty.
        std::function<void()> wake;
    };

    Session(const ServerEnv& env, Options options);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Takes received bytes and executes the requests that they complete. While the session waits for a save
    /// (`Waiting`), bytes are kept; a driver should then stop reading until `wake` and `Resume`.
    void Feed(std::string_view bytes);
    /// The input has ended: a pending document of "merge" ends with it.
    void Finish();
    /// Goes on with kept bytes when what the session waited for has happened.
    void Resume();

    /// True while a request waits for a save before its reply can be given.
    [[nodiscard]] bool Waiting() const;
    [[nodiscard]] bool HasOutput() const;
    /// Everything to be sent, in order; what was taken is gone.
    [[nodiscard]] std::string TakeOutput();
    /// The connection is to be closed once the output is sent: the input's end was served, or the peer broke
    /// a rule after which the next command's start is not known, or it was too slow for its bound.
    [[nodiscard]] bool Ended() const;
    /// Why it ended, for a log; empty after a regular end.
    [[nodiscard]] std::string EndReason() const;

private:
    class Impl;
    std::unique_ptr<Impl> _impl;
};

}  // namespace zumra::settings::server
