#include "settings/server/SessionNotifier.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "settings/server/Session.h"
#include "settings/server/SessionArguments.h"
#include "settings/server/SessionNotificationText.h"
#include "settings/server/SessionOutput.h"
#include "zumra/osa/Exception.h"
#include "zumra/settings/server/SettingsManager.h"

namespace zumra::settings::server {
namespace {

std::size_t Entries(const common::GroupNameMatcher& groups) noexcept {
    return groups.Names().size() + groups.Patterns().size();
}

std::size_t Bytes(const common::GroupNameMatcher& groups) noexcept {
    std::size_t bytes = 0;
    for (const auto* entries : {&groups.Names(), &groups.Patterns()}) {
        for (const std::string& entry : *entries) {
            bytes += entry.size() + 1;
        }
    }
    return bytes;
}

}  // namespace

SessionNotifier::SessionNotifier(SettingsManager& manager, const Identity* who, const SessionLimits& limits,
                                 OutputQueue& output)
    : _manager(manager), _who(who), _limits(limits), _output(output) {}

SessionNotifier::~SessionNotifier() {
    if (_subscribed) {
        _manager.UnSubscribe(this);
    }
}

void SessionNotifier::Subscribe(const common::GroupNameMatcher& groups) {
    common::GroupNameMatcher fresh;
    {
        osa::MutexLock lock(_mutex);
        fresh = Fresh(groups);
        CheckLimits(fresh);
    }
    _subscribed = true;
    try {
        Remember(fresh);
        _manager.Subscribe(this, fresh);
    } catch (...) {
        Forget(fresh);
        throw;
    }
}

void SessionNotifier::Unsubscribe(const common::GroupNameMatcher& groups) {
    if (!_subscribed) {
        return;
    }
    _manager.UnSubscribe(this, groups);
    Forget(groups);
}

common::GroupNameMatcher SessionNotifier::Subscriptions() const {
    osa::MutexLock lock(_mutex);
    return _wanted;
}

void SessionNotifier::Settle() {
    if (_subscribed) {
        _manager.Settle(this);
    }
}

void SessionNotifier::OnChange(const std::shared_ptr<const common::Change>& change,
                               const common::CoveredNames& covered) {
    try {
        if (_who == nullptr) {
            Notify(change, covered);
            return;
        }
        common::CoveredNames readable;
        std::ranges::copy_if(covered, std::back_inserter(readable),
                             [this](const std::string* name) { return _manager.MayRead(*name, _who); });
        if (!readable.empty()) {
            Notify(change, readable);
        }
    } catch (const std::exception&) {
        // The connection must not go on as if nothing had changed.
        _output.Abort("out of memory");
    }
}

void SessionNotifier::Notify(const std::shared_ptr<const common::Change>& change,
                             const common::CoveredNames& names) {
    _output.Notify(change->revision, NotificationText(change, names, CurrentFormat()));
}

common::GroupNameMatcher SessionNotifier::Fresh(const common::GroupNameMatcher& groups) const {
    common::GroupNameMatcher fresh;
    for (const std::string& name : groups.Names()) {
        if (!_wanted.Names().contains(name)) {
            fresh.AddName(name);
        }
    }
    for (const std::string& pattern : groups.Patterns()) {
        if (!_wanted.Patterns().contains(pattern)) {
            fresh.AddNameOrPattern(pattern);
        }
    }
    return fresh;
}

void SessionNotifier::CheckLimits(const common::GroupNameMatcher& fresh) const {
    if (Entries(_wanted) + Entries(fresh) > _limits.listEntries) {
        throw osa::Exception(
            OverLimit("subscribe: subscriptions over their", _limits.listEntries, "entries"));
    }
    if (_wantedBytes + Bytes(fresh) > _limits.document) {
        throw osa::Exception(OverLimit("subscribe: subscriptions over their", _limits.document, "bytes"));
    }
}

void SessionNotifier::Remember(const common::GroupNameMatcher& fresh) {
    osa::MutexLock lock(_mutex);
    for (const std::string& name : fresh.Names()) {
        _wanted.AddName(name);
        _wantedBytes += name.size() + 1;
    }
    for (const std::string& pattern : fresh.Patterns()) {
        _wanted.AddNameOrPattern(pattern);
        _wantedBytes += pattern.size() + 1;
    }
}

/// As far as they are there.
void SessionNotifier::Forget(const common::GroupNameMatcher& groups) noexcept {
    osa::MutexLock lock(_mutex);
    for (const std::string& name : groups.Names()) {
        _wantedBytes -= _wanted.RemoveName(name) ? name.size() + 1 : 0;
    }
    for (const std::string& pattern : groups.Patterns()) {
        _wantedBytes -= _wanted.Remove(pattern) ? pattern.size() + 1 : 0;
    }
}

}  // namespace zumra::settings::server
