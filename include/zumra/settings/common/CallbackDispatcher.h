#pragma once

#include <memory>
#include <set>
#include <string>

#include "zumra/settings/IChangeCallback.h"
#include "zumra/settings/common/GroupNameMatcher.h"

namespace zumra::settings::common {

/// The table of change subscribers: tells each subscriber that asked for at least one changed group, once a
/// change, which of the groups that it asked for changed.
///
/// Thread-safety: every operation may be called from any thread, also from within a subscriber's call; no
/// lock is held while a subscriber is called. Changes that several threads report at the same time reach a
/// subscriber on those threads, possibly at the same time and in any order; one who reports from one thread
/// at a time keeps the order.
///
/// Cost: reporting a change grows with the changed groups and the subscribers concerned; with the subscribers
/// that there are only by the logarithm.
///
///     common::CallbackDispatcher dispatcher;
///     dispatcher.AddCallback(&subscriber, {"Server", "Resources/*"});
///     dispatcher.OnChange(changed);  // subscriber.SettingsChanged has run when this returns
///     dispatcher.RemoveCallback(&subscriber);
class ZUMRA_EXPORT CallbackDispatcher {
public:
    CallbackDispatcher();
    /// Does not touch the subscribers. Requires that no other operation is running.
    ~CallbackDispatcher();
    CallbackDispatcher(const CallbackDispatcher&) = delete;
    CallbackDispatcher& operator=(const CallbackDispatcher&) = delete;

    /// Registers a subscriber, which is not owned and must live until it is removed, for these names and
    /// patterns. Registering one again adds to what it asked for; it is still called once a change.
    void AddCallback(IChangeCallback* callback, const std::set<std::string>& namesAndPatterns);
    void AddCallback(IChangeCallback* callback, const GroupNameMatcher& groups);
    /// After this the subscriber is not called again. Waits for calls of it that run on other threads, but
    /// returns at once when called from within a call of it. An unknown subscriber is no error.
    void RemoveCallback(IChangeCallback* callback);

    /// Reports a change of the document's groups: calls, before it returns, every subscriber that covers any
    /// of them with those that it covers and with the document itself, whole. When a subscriber throws, the
    /// others are still called; then the first exception is thrown here.
    void OnChange(const core::IniFile& changed) const;
    /// As above for the groups that are named, whether or not the document holds them: a removed group is
    /// named, and missing from the document.
    void OnChange(const std::set<std::string>& changedGroups, const core::IniFile& data) const;

    /// Inserts every name and every pattern (whole, with its "*") that any subscriber asked for.
    void GetAllSubscribedGroups(std::set<std::string>& namesAndPatterns) const;

private:
    struct State;
    std::unique_ptr<State> _state;
};

}  // namespace zumra::settings::common
