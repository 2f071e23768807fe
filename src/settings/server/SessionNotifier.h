#pragma once

#include <atomic>
#include <cstddef>
#include <memory>

#include "settings/common/ChangeRouter.h"
#include "settings/server/SessionFormat.h"
#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::server {

struct Identity;
struct SessionLimits;
class OutputQueue;
class SettingsManager;

/// What a connection is subscribed to, and the notifications of it: puts each change, as far as the
/// connection's identity may read it, into the output queue. `OnChange` comes from any thread,
/// `Subscriptions` may be called from any; everything else is the driving thread's.
class SessionNotifier : public common::IChangeListener {
public:
    /// Everything given must outlive the notifier; `who` may be null.
    SessionNotifier(SettingsManager& manager, const Identity* who, const SessionLimits& limits,
                    OutputQueue& output);
    /// Waits for a call of `OnChange` on another thread.
    ~SessionNotifier() override;
    SessionNotifier(const SessionNotifier&) = delete;
    SessionNotifier& operator=(const SessionNotifier&) = delete;

    /// Throws `zumra::osa::Exception` and changes nothing when it would be more than the limits allow.
    void Subscribe(common::GroupNameMatcher groups);
    void Unsubscribe(const common::GroupNameMatcher& groups);
    [[nodiscard]] bool Subscribed() const noexcept { return _subscribed; }
    [[nodiscard]] common::GroupNameMatcher Subscriptions() const;

    /// When this returns, the notifications of all that was committed before the call are in the output.
    void Settle();

    void SetFormat(Format format) noexcept { _format.store(format, std::memory_order_relaxed); }
    [[nodiscard]] Format CurrentFormat() const noexcept { return _format.load(std::memory_order_relaxed); }

    void OnChange(const std::shared_ptr<const common::Change>& change,
                  const common::CoveredNames& covered) override;

private:
    void Notify(const std::shared_ptr<const common::Change>& change, const common::CoveredNames& names);
    void CheckLimits(const common::GroupNameMatcher& fresh) const;

    SettingsManager& _manager;
    const Identity* const _who;
    const SessionLimits& _limits;
    OutputQueue& _output;
    std::atomic<Format> _format{Format::kIni};
    bool _subscribed = false;  ///< to anything, ever
};

}  // namespace zumra::settings::server
