#include "settings/client/ChangeQueue.h"

#include <algorithm>
#include <new>
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
    RememberGiven();
    Arrivals taken;
    taken.any = std::exchange(_any, false);
    taken.whole = std::exchange(_whole, false);
    if (taken.whole) {
        taken.scope = std::exchange(_scope, {});
    }
    taken.groups.swap(_groups);
    for (const auto& [name, group] : taken.groups) {
        if (!group) {
            _given.erase(name);
        }
    }
    _ready.Lower();
    return taken;
}

/// All that needs memory: to think that the taker has a group that it has not is no harm.
void ChangeQueue::RememberGiven() {
    if (_whole) {
        _given.clear();
    }
    for (const auto& [name, group] : _groups) {
        if (group) {
            _given.insert(name);
        }
    }
}

void ChangeQueue::PutBack(Arrivals&& taken) noexcept {
    osa::MutexLock lock(_mutex);
    if (!_whole) {
        // What came meanwhile is newer and stays.
        _groups.merge(taken.groups);
        if (taken.whole) {
            _whole = true;
            _scope = std::move(taken.scope);
            std::erase_if(_groups, [](const auto& group) { return !group.second; });
        }
    }
    _any = true;
    _ready.Raise();
}

void ChangeQueue::OnSnapshot(const GroupMap& groups, const Matcher& scope) {
    GroupMap copy = groups;
    Matcher scopeCopy = scope;
    osa::MutexLock lock(_mutex);
    _groups.swap(copy);
    std::swap(_scope, scopeCopy);
    _whole = true;
    _any = true;
    _ready.Raise();
}

void ChangeQueue::OnChange(const std::shared_ptr<const common::Change>& change,
                           const common::CoveredNames& covered) {
    osa::MutexLock lock(_mutex);
    try {
        for (const std::string* name : covered) {
            Put(*name, change->groups.at(*name));
        }
    } catch (const std::bad_alloc&) {
        MissChange();
    }
    _any = true;
    _ready.Raise();
}

/// The one who made the change is not to blame: the next update asks for everything again.
void ChangeQueue::MissChange() noexcept {
    ++_wantedVersion;
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
