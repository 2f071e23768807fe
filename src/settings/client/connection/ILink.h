#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "settings/client/connection/LiveConnection.h"

namespace zumra::settings::client {

/// How a client comes by the connection that it uses.
///
/// Thread-safety: every operation may be called from any thread.
class ILink {
public:
    using Clock = std::chrono::steady_clock;

    /// A connection, and which one it is: later ones have higher numbers.
    struct Linked {
        std::shared_ptr<LiveConnection> live;
        std::uint64_t number = 0;
    };

    virtual ~ILink() = default;

    /// When a call that begins now gives up waiting for a server.
    [[nodiscard]] virtual Clock::time_point GiveUpTime() const = 0;
    /// The connection to use now. Where it can be made again, waits for that until `giveUp`, and throws
    /// `zumra::osa::Exception` with the reason when there is none until then.
    [[nodiscard]] virtual Linked Acquire(Clock::time_point giveUp) = 0;
    /// From now on nobody waits for a server that is not there, and one that is there has a second left for
    /// what is under way.
    virtual void EndWaiting() noexcept = 0;
    /// Whether a connection that ended is followed by another.
    [[nodiscard]] virtual bool Renews() const noexcept = 0;
};

/// The one connection of a client within the process.
class FixedLink final : public ILink {
public:
    explicit FixedLink(std::shared_ptr<LiveConnection> live) : _live(std::move(live)) {}

    [[nodiscard]] Clock::time_point GiveUpTime() const override { return {}; }
    [[nodiscard]] Linked Acquire(Clock::time_point /*giveUp*/) override { return {_live, 1}; }
    void EndWaiting() noexcept override {}
    [[nodiscard]] bool Renews() const noexcept override { return false; }

private:
    const std::shared_ptr<LiveConnection> _live;
};

}  // namespace zumra::settings::client
