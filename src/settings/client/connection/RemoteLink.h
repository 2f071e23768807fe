#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>

#include "settings/client/connection/ILink.h"
#include "settings/client/connection/JoiningThread.h"
#include "zumra/osa/Mutex.h"

namespace zumra::settings::client {

/// Connects to a server, and again whenever the connection has ended, from a thread of its own: at first at
/// once, then after pauses that double from the first to 2 s, shortened by up to a half at random so that
/// clients that lost the same server do not all come back at the same moment. The pauses start anew after
/// each connection that was prepared. An attempt for which there is no memory has failed as any other.
class RemoteLink final : public ILink {
public:
    struct Steps {
        /// Makes a connection, which tells `onEnd` when it has ended; throws `zumra::osa::Exception` with the
        /// reason why there is none.
        std::function<std::shared_ptr<LiveConnection>(std::function<void()> onEnd)> connect;
        /// Prepares a new connection before anyone uses it; false, or an exception as above, when that
        /// failed.
        std::function<bool(const std::shared_ptr<LiveConnection>&)> prepare;
    };

    /// `patience`: how long calls wait for a server.
    RemoteLink(Steps steps, std::chrono::milliseconds patience, std::chrono::milliseconds firstPause);
    ~RemoteLink() override;

    [[nodiscard]] Clock::time_point GiveUpTime() const override;
    /// A call that is late waits all the same for an attempt to connect that is under way.
    [[nodiscard]] Linked Acquire(Clock::time_point giveUp) override;
    void EndWaiting() noexcept override;
    [[nodiscard]] bool Renews() const noexcept override { return true; }

private:
    void Run();
    bool TryConnect();
    void Refuse(const char* reason) noexcept;
    void Discard(Connection& connection);
    bool Prepare(const std::shared_ptr<LiveConnection>& live, std::uint64_t number);
    void AwaitEnd();
    void LetGo();
    void SetReason(const char* reason) noexcept ZUMRA_REQUIRES(_mutex);
    bool Pause();
    void OnEnd(std::uint64_t number);

    const Steps _steps;
    const std::chrono::milliseconds _patience;
    const std::chrono::milliseconds _firstPause;

    osa::Mutex _mutex{"remote link"};
    osa::Condition _changed;
    bool _stop ZUMRA_GUARDED_BY(_mutex) = false;
    bool _nobodyWaits ZUMRA_GUARDED_BY(_mutex) = false;
    /// When calls that are under way are cut off; set with `_nobodyWaits`.
    Clock::time_point _cutOff ZUMRA_GUARDED_BY(_mutex);
    /// What calls use; without a connection when there is none.
    Linked _current ZUMRA_GUARDED_BY(_mutex);
    /// What is being prepared.
    std::shared_ptr<LiveConnection> _fresh ZUMRA_GUARDED_BY(_mutex);
    /// The connection that was made last, and whether it has ended.
    std::uint64_t _number ZUMRA_GUARDED_BY(_mutex) = 0;
    bool _ended ZUMRA_GUARDED_BY(_mutex) = false;
    /// Whether there is no connection because one is just being made. The first attempt begins at once.
    bool _trying ZUMRA_GUARDED_BY(_mutex) = true;
    /// Why there is no connection, when there is none and none is being made.
    std::string _reason ZUMRA_GUARDED_BY(_mutex);

    // The thread's own.
    std::chrono::milliseconds _pause{0};
    std::minstd_rand _random{std::random_device{}()};
    JoiningThread _thread;
};

}  // namespace zumra::settings::client
