#include "settings/client/ChangeQueue.h"

#include <algorithm>
#include <utility>

namespace zumra::settings::client {

using common::GroupMap;
using common::SharedGroup;
using Matcher = IBackend::Matcher;

namespace {

bool HasAll(const Matcher::Strings& entries, const Matcher::Strings& wanted) {
    return std::all_of(wanted.begin(), wanted.end(),
                       [&entries](const std::string& entry) { return entries.count(entry) != 0; });
}

/// Costs look-ups for `part`, however much there is in `all`: a watcher may want thousands of groups.
bool Covers(const Matcher& all, const Matcher& part) {
    return HasAll(all.Names(), part.Names()) && HasAll(all.Patterns(), part.Patterns());
}

}  // namespace

ChangeQueue::ChangeQueue(IBackend& backend) : _backend(backend) {
    osa::MutexLock lock(_mutex);
    _ready.Raise();
}

ChangeQueue::~ChangeQueue() {
    bool known = false;
    {
        osa::MutexLock lock(_mutex);
        known = _known;
    }
    if (known) {
        _backend.Unfollow(this);
    }
}

void ChangeQueue::Want(const Matcher& groups) {
    {
        osa::MutexLock lock(_mutex);
        if (Covers(_wanted, groups)) {
            return;
        }
        _wanted.Add(groups);
        ++_wantedVersion;
        if (_followedVersion == 0) {
            return;
        }
    }
    FollowWanted();
}

void ChangeQueue::FollowWanted() {
    for (;;) {
        Matcher wanted;
        std::uint64_t version = 0;
        {
            osa::MutexLock lock(_mutex);
            if (_followedVersion == _wantedVersion) {
                return;
            }
            wanted = _wanted;
            version = _wantedVersion;
            _known = _known || !wanted.empty();
        }
        if (wanted.empty()) {
            OnSnapshot({}, wanted);
        } else {
            _backend.Follow(this, wanted);
        }
        osa::MutexLock lock(_mutex);
        _followedVersion = std::max(_followedVersion, version);
    }
}

bool ChangeQueue::Started() const {
    osa::MutexLock lock(_mutex);
    return _followedVersion != 0;
}

bool ChangeQueue::FollowsAllWanted() const {
    osa::MutexLock lock(_mutex);
    return _followedVersion == _wantedVersion;
}

void ChangeQueue::Mark() {
    osa::MutexLock lock(_mutex);
    _any = true;
    _ready.Raise();
}

Arrivals ChangeQueue::Take() {
    osa::MutexLock lock(_mutex);
    Arrivals taken;
    taken.any = std::exchange(_any, false);
    taken.whole = std::exchange(_whole, false);
    if (taken.whole) {
        taken.scope = std::exchange(_scope, {});
    }
    taken.groups = std::exchange(_groups, {});
    RememberGiven(taken);
    _ready.Lower();
    return taken;
}

void ChangeQueue::RememberGiven(const Arrivals& taken) {
    if (taken.whole) {
        _given.clear();
    }
    for (const auto& [name, group] : taken.groups) {
        if (group) {
            _given.insert(name);
        } else {
            _given.erase(name);
        }
    }
}

void ChangeQueue::OnSnapshot(const GroupMap& groups, const Matcher& scope) {
    osa::MutexLock lock(_mutex);
    _groups = groups;
    _scope = scope;
    _whole = true;
    _any = true;
    _ready.Raise();
}

void ChangeQueue::OnChange(const std::shared_ptr<const common::Change>& change,
                           const common::CoveredNames& covered) {
    osa::MutexLock lock(_mutex);
    for (const std::string* name : covered) {
        Put(*name, change->groups.at(*name));
    }
    _any = true;
    _ready.Raise();
}

void ChangeQueue::Put(const std::string& name, const SharedGroup& group) {
    // What the taker will not have needs no removal.
    const bool takerHasIt = !_whole && _given.count(name) != 0;
    if (group || takerHasIt) {
        _groups[name] = group;
    } else {
        _groups.erase(name);
    }
}

}  // namespace zumra::settings::client
