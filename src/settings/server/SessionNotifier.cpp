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

using Extent = common::GroupNameMatcher::Extent;

/// As the text of a list, in which each entry has a line.
std::size_t ListBytes(const Extent& extent) noexcept {
    return extent.bytes + extent.entries;
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

void SessionNotifier::Subscribe(common::GroupNameMatcher groups) {
    common::GroupNameMatcher fresh = _manager.NotSubscribed(this, std::move(groups));
    CheckLimits(fresh);
    _subscribed = true;
    _manager.Subscribe(this, std::move(fresh));
}

void SessionNotifier::Unsubscribe(const common::GroupNameMatcher& groups) {
    if (_subscribed) {
        _manager.UnSubscribe(this, groups);
    }
}

common::GroupNameMatcher SessionNotifier::Subscriptions() const {
    return _manager.Subscriptions(this);
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

void SessionNotifier::CheckLimits(const common::GroupNameMatcher& fresh) const {
    const Extent present = _manager.SubscriptionsExtent(this);
    const Extent added = fresh.GetExtent();
    if (present.entries + added.entries > _limits.listEntries) {
        throw osa::Exception(
            OverLimit("subscribe: subscriptions over their", _limits.listEntries, "entries"));
    }
    if (ListBytes(present) + ListBytes(added) > _limits.document) {
        throw osa::Exception(OverLimit("subscribe: subscriptions over their", _limits.document, "bytes"));
    }
}

}  // namespace zumra::settings::server
